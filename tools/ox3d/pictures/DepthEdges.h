// Where a depth image steps from one thing to another.
#ifndef OX3D_TOOL_DEPTH_EDGES_H
#define OX3D_TOOL_DEPTH_EDGES_H

#include "tools/ox3d/pictures/Images.h"

namespace ox3d::tool {

// Marks thin lines along the steps. Slanted surfaces give none, however steep, and neither do the gaps of a
// registered depth image: strips hidden beside near things, and the raster of single missing samples where
// the color image has the finer pixels.
MaskImage FindDepthEdges(const DepthImage& depth);

} // namespace ox3d::tool

#endif

// A point cloud as a picture, for people without a viewer.
#ifndef OX3D_TOOL_CLOUD_VIEW_H
#define OX3D_TOOL_CLOUD_VIEW_H

#include "tools/ox3d/pictures/PointCloud.h"

namespace ox3d::tool {

// Two views in one picture: at the left obliquely from above, in perspective; at the right from the side,
// without perspective, above a ruler in metres along the camera's view. The camera is drawn as a small
// pyramid. Clouds without colors are colored by distance, near red to far blue.
RgbImage CloudPicture(const PointCloud& cloud);

} // namespace ox3d::tool

#endif

// What disparities stand for: distances and points.
#ifndef OX3D_TOOL_STEREO_DEPTH_H
#define OX3D_TOOL_STEREO_DEPTH_H

#include "tools/ox3d/pictures/PointCloud.h"
#include "tools/ox3d/stereo/StereoCalibration.h"
#include "tools/ox3d/stereo/StereoTruth.h"

namespace ox3d::tool {

// Millimetres to the nearest; what lies further away than 16 bits say is none.
DepthImage DepthOf(const DisparityImage& found, const RectifiedCamera& camera);

// Where there is depth, in the frame of the left camera; not rounded to millimetres. Color has the size of the disparities.
PointCloud PointsOf(const DisparityImage& found, const RectifiedCamera& camera, const RgbImage& color);

} // namespace ox3d::tool

#endif

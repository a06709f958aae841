// Points of a depth image by a calibration, without the camera that they are of.
#ifndef OX3D_TOOL_DEPTH_CLOUD_H
#define OX3D_TOOL_DEPTH_CLOUD_H

#include "recording/CalibrationReader.h"
#include "tools/ox3d/pictures/PointCloud.h"

namespace ox3d::tool {

enum class EDepthView {
    Sensor,    // as the depth camera sees it
    Registered // laid onto the color image by the library's default registration
};

// In the frame of the camera whose view it is. Colors are those of the color image where each point is seen, grey where
// it is not; an empty image gives none. A registered image and the color image have one size.
PointCloud CloudOfDepth(const DepthImage& depth, const RgbImage& color,
                        const RecordedCalibration& calibration, EDepthView view);

} // namespace ox3d::tool

#endif

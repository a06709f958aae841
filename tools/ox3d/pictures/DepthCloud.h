// Points of a depth image by a calibration, without the camera that they are of.
#ifndef OX3D_TOOL_DEPTH_CLOUD_H
#define OX3D_TOOL_DEPTH_CLOUD_H

#include "recording/CalibrationReader.h"
#include "tools/ox3d/pictures/PointCloud.h"

namespace ox3d::tool {

enum class EDepthView {
    Sensor,     // as the depth camera sees it
    Registered, // laid onto the color image by the library's default registration
    OnColor     // seen by the color lens, pixel for pixel
};

// Where the line of sight of a pixel is at the distance 1. No numbers where the lens folds the image, so that there is none.
struct Sight {
    double m_x;
    double m_y;
};

// In the frame of the camera whose view it is. What is the same for all images of one size is computed once.
class CDepthCloud {
public:
    CDepthCloud(const RecordedCalibration& calibration, EDepthView view, uint32_t width, uint32_t height);
    // Colors are those of the color image where each point is seen, grey where it is not; an empty image gives none. Where
    // the depth is on the color image both have one size.
    PointCloud Of(const DepthImage& depth, const RgbImage& color) const;

private:
    const RecordedCalibration m_calibration;
    const bool m_isOnColor;
    std::vector<Sight> m_sights;
};

} // namespace ox3d::tool

#endif

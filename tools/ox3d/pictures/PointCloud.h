// Point clouds in the frame of the camera that sees the depth: X to the right, Y down, Z along the view.
#ifndef OX3D_TOOL_POINT_CLOUD_H
#define OX3D_TOOL_POINT_CLOUD_H

#include "tools/ox3d/pictures/Images.h"

#include <ox3drgbd/Ox3dRgbdDefine.h>
#include <vector>

namespace ox3d::tool {

struct CloudPoint {
    float m_x = 0.0F; // metres
    float m_y = 0.0F;
    float m_z = 0.0F;
    float m_gap = 0.0F; // metres to the next samples of the same surface: what a picture has to bridge
    Rgb m_color;
};

struct PointCloud {
    std::vector<CloudPoint> m_points;
    bool m_hasColor = false; // without, the points' colors mean nothing
};

// The cloud of a depth image that was registered to the color camera and is therefore seen from there: its
// points need the color camera's intrinsics. Lens distortion stays out, as it does in registration. color
// may be null; where it has another size it is sampled.
PointCloud CloudFromRegistered(const DepthImage& depth, const RgbImage* color,
                               const OX3D_RGBD_CALIB_INFO& colorCalib);

// The cloud of an organised point image in millimetres (OX3D_RGBD_PIXEL_POINT_CLOUD); points at Z = 0 are
// left out. Without colors: the depth is not registered to anything.
PointCloud CloudFromPointImage(const OX3D_RGBD_IMAGE_DATA& points);

} // namespace ox3d::tool

#endif

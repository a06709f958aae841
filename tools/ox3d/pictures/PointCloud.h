// Point clouds in the frame of a camera: X to the right, Y down, Z along the view.
#ifndef OX3D_TOOL_POINT_CLOUD_H
#define OX3D_TOOL_POINT_CLOUD_H

#include "tools/ox3d/pictures/Images.h"

#include <ox3drgbd/Ox3dRgbdExtension.h>
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

// Of an organised cloud of the library's, floats in millimetres, with colors beside them or none. What is no point is
// left out; points that the color image does not show are grey.
PointCloud CloudOf(const OX3D_RGBD_CLOUD& cloud);

} // namespace ox3d::tool

#endif

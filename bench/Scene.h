// Scene.h - the depth images and cameras of the measurements: the virtual camera's procedural scene with its
// noise and holes, at any size, and more holes. Relies on the virtual camera's frame source.
#ifndef OX3D_BENCH_SCENE_H
#define OX3D_BENCH_SCENE_H

#include "bench/Rows.h"

#include <string>
#include <vector>

namespace ox3dbench {

struct DepthScene {
    explicit DepthScene(Size size);

    Size m_size;
    std::vector<int16_t> m_depth; // millimetres, 0 = no data, of a tenth
    std::vector<int16_t> m_next;  // the frame after it, of another noise
    std::vector<uint8_t> m_grey;  // what the left imager sees
    float m_depthCamera[4] = {};  // fx, fy, cx, cy
    float m_colorCamera[4] = {};
    float m_transform[12] = {}; // row-major 3 x 4, from the depth camera's frame into the color camera's
    float m_distortion[4] = {0.05F, -0.02F, 0.001F, 0.0005F};
};

} // namespace ox3dbench

#endif

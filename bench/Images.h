// Images.h - inputs and outputs of the kernels at one size. Every row of a table works on the same ones.
#ifndef OX3D_BENCH_IMAGES_H
#define OX3D_BENCH_IMAGES_H

#include "bench/Buffer.h"
#include "bench/Scene.h"

namespace ox3dbench {

// Depth to points, and depth to another camera's depth.
struct TransformImages {
    explicit TransformImages(Size size)
        : m_scene(Shared<DepthScene>(size)), m_points(3 * size.Pixels()), m_target(size.Pixels()) {}

    DepthScene& m_scene;
    CBuffer<float> m_points;
    CBuffer<int16_t> m_target;
};

// Three color planes and depth to pixels of five bytes.
struct RgbdImages {
    explicit RgbdImages(Size size)
        : m_pixels(size.Pixels()), m_color(3 * size.Pixels()), m_depth(2 * size.Pixels()),
          m_out(5 * size.Pixels()), m_copied(5 * size.Pixels()) {}

    size_t m_pixels;
    CBuffer<uint8_t> m_color;
    CBuffer<uint8_t> m_depth;
    CBuffer<uint8_t> m_out;
    CBuffer<uint8_t> m_copied; // the source of the limit's copy
};

// Three planes scaled from one and a half times the size, as 1920 x 1080 is of 1280 x 720.
struct ScaleImages {
    explicit ScaleImages(Size size)
        : m_source{size.m_width * 3 / 2, size.m_height * 3 / 2}, m_target(size),
          m_from(3 * m_source.Pixels()), m_to(3 * size.Pixels()) {}

    Size m_source;
    Size m_target;
    CBuffer<uint8_t> m_from;
    CBuffer<uint8_t> m_to;
};

// A map that undoes the distortion of a lens, and an image warped through it.
struct RemapImages {
    explicit RemapImages(Size size);

    Size m_size;
    CBuffer<uint32_t> m_index;
    CBuffer<uint8_t> m_weights;
    CBuffer<uint8_t> m_from;
    CBuffer<uint8_t> m_to;
    float m_matrix[9];     // of the lens
    float m_distortion[5]; // k1, k2, p1, p2, k3
};

// Two noisy frames of a scene that are fused in turn.
struct FusionImages {
    explicit FusionImages(Size size);
    // One more frame.
    void Fuse();

    DepthScene& m_scene;
    CBuffer<uint8_t> m_persistent;
    CBuffer<uint8_t> m_scratch;
    CBuffer<int16_t> m_out;
    bool m_isOdd = false;
};

} // namespace ox3dbench

#endif

// Cloud.h - an image of depths as a cloud of points: of any lens, moved to another camera, as floats or as 16-bit
// numbers, pixel by pixel or the valid ones alone, with colors and normals.
// Relies on its caller for sizes that fit and for usable lenses; depths may be anything.
#ifndef OX3D_RGBD_CLOUD_H
#define OX3D_RGBD_CLOUD_H

#include <cstddef>
#include <cstdint>

namespace ox3d {

// How points are seen in an image: moved by a row-major 3 x 4, then through a lens. Whole numbers are the centres of
// pixels.
struct PointView {
    float m_move[12];
    float m_lens[4];       // fx, fy, cx, cy
    float m_distortion[5]; // k1, k2, p1, p2, k3
    float m_maxRadius2;    // of x / z and y / z, beyond which the distortion turns back into the image
    bool m_isDistorted;
    int32_t m_width;
    int32_t m_height;
};

// Directions x / z and y / z in which pixels look. NaN: nowhere.
struct PixelRays {
    const float* m_x; // one a pixel, or one a column
    const float* m_y; // one a pixel, or one a row
    bool m_isPerPixel;
};

enum class EPointFormat : uint8_t { Float32, Int16 };

struct CloudArgs {
    const uint8_t* m_depth; // rows of m_width samples of 16 bits; 1 to 32767 are depths, all else is none
    int32_t m_width;
    int32_t m_height;
    PixelRays m_rays;
    const float* m_move; // row-major 3 x 4 that every point goes through; null: none does
    // Three planes that follow each other; null: no colors.
    const uint8_t* m_color;
    const PointView*
        m_view; // of the color image, for points that were not moved; null: its pixels are the depth's
    bool m_isBlackNone; // black pixels show nothing
    EPointFormat m_format;
    bool m_isCompact; // valid points alone
    // Where the points go, 3 numbers each: floats, or numbers of 16 bits, rounded to nearest.
    uint8_t* m_points;
    size_t m_pointStride; // bytes; at least the numbers', and the color's where that lies inside
    uint8_t* m_colors; // of the first point, R, G, B and 255 each, or four zeros; where m_color is not null
    size_t m_colorStride;
    float* m_normals;   // 3 a point, towards the camera, of length 1 or 0; null: none are wanted
    float* m_scratch;   // CloudScratchBytes
    uint32_t m_threads; // that may work on it, at least 1; see CThreadsAllowed
};

constexpr int32_t kMaxCloudSide = 65535;

uint64_t CloudScratchBytes(int32_t width, uint32_t threads);

// Returns the number of valid points. Where not only those are stored the others are zeros; where only those are, what lies
// behind them is left open. A point is valid where there is a depth, its ray leads somewhere, all of its numbers fit the
// format, and the third is not 0 in it.
uint64_t BuildCloud(const CloudArgs& args);

} // namespace ox3d

#endif

// Points of an image around which two bright and two dark sectors meet, as the corners of a checkerboard are.
// Relies on memory of the caller.
#pragma once

#include "algorithm/vision/GreyView.h"

namespace ox3d::vision {

// Directions of the two edges that cross there: from edge 0 towards edge 1, as angles grow, it is bright. Edges 2 and 3 go on
// from 0 and 1 on the other side.
struct SaddlePoint {
    float m_x, m_y;
    float m_edgeX[2], m_edgeY[2]; // unit vectors
    float m_contrast;             // bright less dark, grey values
    float m_strength;
    // What the growth of a grid keeps of it.
    int32_t m_next[4];       // the point that each edge leads to, or -1
    int32_t m_waiting;       // the point that is grown from after this one, or -1
    int16_t m_column, m_row; // in the grid, kNowhere before
    int16_t m_turn;          // edge i is direction (i + turn) % 4 of the grid
};

constexpr int16_t kNowhere = INT16_MIN;

// The image that points are looked for in, smoothed, and the strength of a saddle at every pixel.
struct SaddlePlanes {
    uint8_t* m_smooth; // width * height
    float* m_strength; // width * height
};

inline GreyView SmoothView(const SaddlePlanes& planes, const GreyView& image) {
    return {planes.m_smooth, image.m_width, image.m_width, image.m_height};
}

// Around a point the image is looked at along a ring, which has to lie within the four squares.
constexpr float kWideRing = 4; // radius in pixels
constexpr float kSmallRing = 2.5F;

// At most room of them, the strongest; how many. Fills both planes.
int32_t FindSaddlePoints(const GreyView& image, float radius, const SaddlePlanes& planes, int32_t room,
                         SaddlePoint* points);

// The brightness between pixels; only inside the image.
inline float Between(const GreyView& image, float x, float y) {
    const auto left = static_cast<int32_t>(x);
    const auto top = static_cast<int32_t>(y);
    const float dx = x - static_cast<float>(left);
    const float dy = y - static_cast<float>(top);
    const uint8_t* const upper = image.m_pixels + top * image.m_pitch + left;
    const uint8_t* const lower = upper + image.m_pitch;
    const float a = static_cast<float>(upper[0]) + dx * static_cast<float>(upper[1] - upper[0]);
    const float b = static_cast<float>(lower[0]) + dx * static_cast<float>(lower[1] - lower[0]);
    return a + dy * (b - a);
}

// True where Between may be asked.
inline bool IsWithin(const GreyView& image, float x, float y) {
    return x >= 0 && y >= 0 && x < static_cast<float>(image.m_width - 1) &&
           y < static_cast<float>(image.m_height - 1);
}

} // namespace ox3d::vision

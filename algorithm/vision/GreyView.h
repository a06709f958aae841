// A rectangle of an image of bytes, as everything that measures grey images reads it.
// Relies on nothing.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ox3d::vision {

struct GreyView {
    const uint8_t* m_pixels;
    ptrdiff_t m_pitch; // bytes from a row to the next
    int32_t m_width;
    int32_t m_height;

    int32_t At(int32_t x, int32_t y) const { return m_pixels[y * m_pitch + x]; }
};

} // namespace ox3d::vision

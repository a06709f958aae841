// The tool's own images: sized, owned, row-major without padding.
#ifndef OX3D_TOOL_IMAGES_H
#define OX3D_TOOL_IMAGES_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ox3d::tool {

struct Rgb {
    uint8_t r = 0;
    uint8_t g = 0;
    uint8_t b = 0;
    bool operator==(const Rgb&) const = default;
};
static_assert(sizeof(Rgb) == 3, "rows of Rgb are handed to the PNG writer as bytes");

template <typename Sample>
struct Image {
    Image() = default;
    Image(uint32_t width, uint32_t height, Sample fill = Sample())
        : m_width(width), m_height(height), m_samples(size_t{width} * height, fill) {}

    Sample& At(uint32_t x, uint32_t y) { return m_samples[size_t{y} * m_width + x]; }
    const Sample& At(uint32_t x, uint32_t y) const { return m_samples[size_t{y} * m_width + x]; }
    bool IsEmpty() const { return m_samples.empty(); }

    uint32_t m_width = 0;  // pixels
    uint32_t m_height = 0; // pixels
    std::vector<Sample> m_samples;
};

using RgbImage = Image<Rgb>;
using DepthImage = Image<uint16_t>; // millimetres, 0 = no data
using MaskImage = Image<uint8_t>;   // 0 or 1
using GreyImage = Image<uint8_t>;

// Of three planes R, G, B of that size, one behind the other.
inline RgbImage ColorOfPlanes(const std::vector<uint8_t>& planes, uint32_t width, uint32_t height) {
    RgbImage color(width, height);
    const size_t pixels = color.m_samples.size();
    for (size_t i = 0; i < pixels; ++i) {
        color.m_samples[i] = {planes[i], planes[pixels + i], planes[2 * pixels + i]};
    }
    return color;
}

} // namespace ox3d::tool

#endif

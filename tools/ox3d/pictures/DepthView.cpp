// Depth as a picture for people. Layout, left to right: the image, a gap, the bar, its ticks, their labels.
#include "tools/ox3d/pictures/DepthView.h"

#include "tools/ox3d/pictures/PixelFont.h"

#include <algorithm>
#include <string>

namespace ox3d::tool {
namespace {

constexpr Rgb kBackground = {24, 26, 30};
constexpr Rgb kInk = {225, 228, 232};

struct Layout {
    uint32_t m_scale;   // of the font, and the unit of everything else
    uint32_t m_barX;    // left edge of the bar
    uint32_t m_barW;    // its width
    uint32_t m_barTop;  // first row
    uint32_t m_barRows; // its height
    uint32_t m_labelX;  // left edge of the labels
    uint32_t m_width;   // of the whole picture
};

Layout LayoutFor(const DepthImage& depth) {
    const uint32_t scale = std::max(1U, depth.m_height / 240);
    Layout layout{};
    layout.m_scale = scale;
    layout.m_barX = depth.m_width + 8 * scale;
    layout.m_barW = 9 * scale;
    layout.m_barTop = std::min(depth.m_height / 2, (kGlyphHeight + 9) * scale);
    layout.m_barRows = std::max(1U, depth.m_height - std::min(depth.m_height, layout.m_barTop + 8 * scale));
    layout.m_labelX = layout.m_barX + layout.m_barW + 5 * scale;
    layout.m_width = layout.m_labelX + TextWidth("00000", scale) + 6 * scale;
    return layout;
}

void DrawBar(RgbImage& picture, const Layout& layout) {
    for (uint32_t row = 0; row < layout.m_barRows && layout.m_barTop + row < picture.m_height; ++row) {
        const Rgb color = MapColor(static_cast<float>(row) / static_cast<float>(layout.m_barRows));
        for (uint32_t x = layout.m_barX; x < layout.m_barX + layout.m_barW; ++x) {
            picture.At(x, layout.m_barTop + row) = color;
        }
    }
}

void DrawTicks(RgbImage& picture, const Layout& layout, const DepthRange& range) {
    const uint32_t span = range.m_farMm - range.m_nearMm;
    const uint32_t maxTicks = std::max(2U, layout.m_barRows / (kGlyphHeight * layout.m_scale * 2));
    for (const uint32_t tick : TicksOf(range, std::min(maxTicks, 12U))) {
        const uint64_t row = uint64_t{tick - range.m_nearMm} * (layout.m_barRows - 1) / span;
        const auto y = static_cast<uint32_t>(layout.m_barTop + row);
        for (uint32_t x = layout.m_barX + layout.m_barW; x + layout.m_scale < layout.m_labelX; ++x) {
            picture.At(x, std::min(y, picture.m_height - 1)) = kInk;
        }
        DrawText(picture, static_cast<int>(layout.m_labelX),
                 static_cast<int>(y) - static_cast<int>(kGlyphHeight * layout.m_scale / 2),
                 std::to_string(tick), kInk, layout.m_scale);
    }
    DrawText(picture, static_cast<int>(layout.m_barX), static_cast<int>(3 * layout.m_scale), "mm", kInk,
             layout.m_scale);
}

} // namespace

std::vector<uint32_t> TicksOf(const DepthRange& range, uint32_t maxTicks) {
    uint64_t step = 1;
    for (uint32_t round = 0; (range.m_farMm / step) - (range.m_nearMm + step - 1) / step + 1 > maxTicks;
         ++round) {
        step = round % 3 == 1 ? step / 2 * 5 : step * 2; // 1, 2, 5, 10, ...
    }
    std::vector<uint32_t> ticks;
    for (uint64_t tick = (range.m_nearMm + step - 1) / step * step; tick <= range.m_farMm; tick += step) {
        ticks.push_back(static_cast<uint32_t>(tick));
    }
    return ticks;
}

RgbImage DepthPicture(const DepthImage& depth) {
    const Layout layout = LayoutFor(depth);
    const DepthRange range = RangeOf(depth);
    RgbImage picture(layout.m_width, depth.m_height, kBackground);
    for (uint32_t y = 0; y < depth.m_height; ++y) {
        for (uint32_t x = 0; x < depth.m_width; ++x) {
            picture.At(x, y) = DepthColor(depth.At(x, y), range);
        }
    }
    DrawBar(picture, layout);
    DrawTicks(picture, layout, range);
    return picture;
}

} // namespace ox3d::tool

// Depth as a picture for people. Layout, left to right: the image, a gap, the bar, its ticks, their labels.
#include "DepthView.h"

#include "PixelFont.h"

#include <algorithm>
#include <string>

namespace ox3dtool {
namespace {

constexpr Rgb kBackground = {24, 26, 30};
constexpr Rgb kInk = {225, 228, 232};

struct Layout {
    uint32_t m_nScale;   // of the font, and the unit of everything else
    uint32_t m_nBarX;    // left edge of the bar
    uint32_t m_nBarW;    // its width
    uint32_t m_nBarTop;  // first row
    uint32_t m_nBarRows; // its height
    uint32_t m_nLabelX;  // left edge of the labels
    uint32_t m_nWidth;   // of the whole picture
};

Layout LayoutFor(const DepthImage& depth) {
    const uint32_t scale = std::max(1U, depth.m_nHeight / 240);
    Layout layout{};
    layout.m_nScale = scale;
    layout.m_nBarX = depth.m_nWidth + 8 * scale;
    layout.m_nBarW = 9 * scale;
    layout.m_nBarTop = std::min(depth.m_nHeight / 2, (kGlyphHeight + 9) * scale);
    layout.m_nBarRows =
        std::max(1U, depth.m_nHeight - std::min(depth.m_nHeight, layout.m_nBarTop + 8 * scale));
    layout.m_nLabelX = layout.m_nBarX + layout.m_nBarW + 5 * scale;
    layout.m_nWidth = layout.m_nLabelX + TextWidth("00000", scale) + 6 * scale;
    return layout;
}

void DrawBar(RgbImage& picture, const Layout& layout) {
    for (uint32_t row = 0; row < layout.m_nBarRows && layout.m_nBarTop + row < picture.m_nHeight; ++row) {
        const Rgb color = MapColor(static_cast<float>(row) / static_cast<float>(layout.m_nBarRows));
        for (uint32_t x = layout.m_nBarX; x < layout.m_nBarX + layout.m_nBarW; ++x) {
            picture.At(x, layout.m_nBarTop + row) = color;
        }
    }
}

void DrawTicks(RgbImage& picture, const Layout& layout, const DepthRange& range) {
    const uint32_t span = range.m_nFarMm - range.m_nNearMm;
    const uint32_t most = std::max(2U, layout.m_nBarRows / (kGlyphHeight * layout.m_nScale * 2));
    for (const uint32_t tick : TicksOf(range, std::min(most, 12U))) {
        const uint64_t row = uint64_t{tick - range.m_nNearMm} * (layout.m_nBarRows - 1) / span;
        const auto y = static_cast<uint32_t>(layout.m_nBarTop + row);
        for (uint32_t x = layout.m_nBarX + layout.m_nBarW; x + layout.m_nScale < layout.m_nLabelX; ++x) {
            picture.At(x, std::min(y, picture.m_nHeight - 1)) = kInk;
        }
        DrawText(picture, static_cast<int>(layout.m_nLabelX),
                 static_cast<int>(y) - static_cast<int>(kGlyphHeight * layout.m_nScale / 2),
                 std::to_string(tick), kInk, layout.m_nScale);
    }
    DrawText(picture, static_cast<int>(layout.m_nBarX), static_cast<int>(3 * layout.m_nScale), "mm", kInk,
             layout.m_nScale);
}

} // namespace

std::vector<uint32_t> TicksOf(const DepthRange& range, uint32_t most) {
    uint64_t step = 1;
    for (uint32_t round = 0; (range.m_nFarMm / step) - (range.m_nNearMm + step - 1) / step + 1 > most;
         ++round) {
        step = round % 3 == 1 ? step / 2 * 5 : step * 2; // 1, 2, 5, 10, ...
    }
    std::vector<uint32_t> ticks;
    for (uint64_t tick = (range.m_nNearMm + step - 1) / step * step; tick <= range.m_nFarMm; tick += step) {
        ticks.push_back(static_cast<uint32_t>(tick));
    }
    return ticks;
}

RgbImage DepthPicture(const DepthImage& depth) {
    const Layout layout = LayoutFor(depth);
    const DepthRange range = RangeOf(depth);
    RgbImage picture(layout.m_nWidth, depth.m_nHeight, kBackground);
    for (uint32_t y = 0; y < depth.m_nHeight; ++y) {
        for (uint32_t x = 0; x < depth.m_nWidth; ++x) {
            picture.At(x, y) = DepthColor(depth.At(x, y), range);
        }
    }
    DrawBar(picture, layout);
    DrawTicks(picture, layout, range);
    return picture;
}

} // namespace ox3dtool

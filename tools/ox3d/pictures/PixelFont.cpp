// The glyphs, one byte a row, the leftmost pixel in bit 4.
#include "tools/ox3d/pictures/PixelFont.h"

#include <array>

namespace ox3d::tool {
namespace {

struct Glyph {
    char m_character;
    std::array<uint8_t, kGlyphHeight> m_rows;
};

constexpr Glyph kGlyphs[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}}, {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}}, {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}}, {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}}, {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}}, {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}}, {'m', {0x00, 0x00, 0x1A, 0x15, 0x15, 0x15, 0x15}},
};

const Glyph* Find(char character) {
    for (const Glyph& glyph : kGlyphs) {
        if (glyph.m_character == character) {
            return &glyph;
        }
    }
    return nullptr;
}

void FillSquare(RgbImage& image, int64_t x, int64_t y, uint32_t side, Rgb color) {
    for (int64_t row = y; row < y + side; ++row) {
        for (int64_t column = x; column < x + side; ++column) {
            if (row >= 0 && column >= 0 && row < image.m_height && column < image.m_width) {
                image.At(static_cast<uint32_t>(column), static_cast<uint32_t>(row)) = color;
            }
        }
    }
}

void DrawGlyph(RgbImage& image, int64_t x, int64_t y, const Glyph& glyph, Rgb color, uint32_t scale) {
    for (uint32_t row = 0; row < kGlyphHeight; ++row) {
        for (uint32_t column = 0; column < kGlyphWidth; ++column) {
            if ((glyph.m_rows[row] >> (kGlyphWidth - 1 - column) & 1U) != 0) {
                FillSquare(image, x + int64_t{column} * scale, y + int64_t{row} * scale, scale, color);
            }
        }
    }
}

} // namespace

uint32_t TextWidth(std::string_view text, uint32_t scale) {
    return text.empty() ? 0 : (static_cast<uint32_t>(text.size()) * kGlyphAdvance - 1) * scale;
}

void DrawText(RgbImage& image, int x, int y, std::string_view text, Rgb color, uint32_t scale) {
    int64_t left = x;
    for (const char character : text) {
        if (const Glyph* const glyph = Find(character); glyph != nullptr) {
            DrawGlyph(image, left, y, *glyph, color, scale);
        }
        left += int64_t{kGlyphAdvance} * scale;
    }
}

} // namespace ox3d::tool

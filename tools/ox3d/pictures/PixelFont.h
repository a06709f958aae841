// A font of 5 x 7 pixels with what scales and rulers need: digits, '.', 'm'.
#ifndef OX3D_TOOL_PIXEL_FONT_H
#define OX3D_TOOL_PIXEL_FONT_H

#include "tools/ox3d/pictures/Images.h"

#include <string_view>

namespace ox3d::tool {

constexpr uint32_t kGlyphWidth = 5;
constexpr uint32_t kGlyphHeight = 7;
constexpr uint32_t kGlyphAdvance = kGlyphWidth + 1;

// Pixels from the left end of the first glyph to the right end of the last one.
uint32_t TextWidth(std::string_view text, uint32_t scale);

// Draws with the text's top left corner at (x, y). What lies outside the image is left out, and so are
// characters that the font does not have.
void DrawText(RgbImage& image, int x, int y, std::string_view text, Rgb color, uint32_t scale);

} // namespace ox3d::tool

#endif

// Grey pictures and disparities in the plain formats that stereo data sets come in: PGM and PFM. Files may be damaged or hostile.
#ifndef OX3D_TOOL_NETPBM_H
#define OX3D_TOOL_NETPBM_H

#include "tools/ox3d/pictures/Images.h"

#include <string>
#include <string_view>

namespace ox3d::tool {

using FloatImage = Image<float>;

// Whether a file that begins so is one.
bool IsPgm(std::string_view bytes);
bool IsPfm(std::string_view bytes);

// Of the bytes of a whole file; binary PGM with one byte a pixel, PFM with one number a pixel. False where they are none.
bool ReadPgm(std::string_view bytes, GreyImage* image);
bool ReadPfm(std::string_view bytes, FloatImage* image);

// Little-endian. Throws CToolError when the file cannot be written.
void WritePfm(const std::string& file, const FloatImage& image);

} // namespace ox3d::tool

#endif

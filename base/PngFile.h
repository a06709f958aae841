// PngFile.h - depth and color images read from PNG files, which may be damaged or hostile, and written to them.
// Relies on libpng.
#ifndef OX3D_BASE_PNG_FILE_H
#define OX3D_BASE_PNG_FILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace ox3d {

// No image with more pixels is read, whatever its header says.
constexpr uint64_t kMaxPngPixels = uint64_t{64} << 20U;

struct PngSize {
    uint32_t m_width = 0;
    uint32_t m_height = 0;
};

// All return false and put the file's name and what is wrong into *error; the output is then unspecified. They throw nothing but std::bad_alloc.

// Reads the header only. A depth image must be 16-bit grey, a color image anything with 8 bits or fewer.
bool ReadPngSize(const std::string& path, bool isDepth, PngSize* size, std::string* error);
// 16-bit samples, row-major, exactly as stored: gamma information does not apply to distances.
bool ReadDepthPng(const std::string& path, PngSize* size, std::vector<uint16_t>* samples, std::string* error);
// Three planes R, G, B. Grey and palette images are expanded, transparency is dropped.
bool ReadColorPng(const std::string& path, PngSize* size, std::vector<uint8_t>* planes, std::string* error);

// The samples as they are, 16-bit grey.
bool WriteDepthPng(const std::string& path, const PngSize& size, const uint16_t* samples, std::string* error);
// Red, green and blue of every pixel together.
bool WriteColorPng(const std::string& path, const PngSize& size, const uint8_t* interleaved,
                   std::string* error);
// One byte a pixel.
bool WriteGreyPng(const std::string& path, const PngSize& size, const uint8_t* samples, std::string* error);

} // namespace ox3d

#endif

// Writing PNG files. libpng reports an error by a long jump, so the function that calls it owns nothing that
// would need destroying.
#include "tools/ox3d/Png.h"

#include "tools/ox3d/ExitCode.h"

#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <png.h>

namespace ox3dtool {
namespace {

struct Rows {
    const uint8_t* m_bytes;
    uint32_t m_width;
    uint32_t m_height;
    int m_bitDepth;
    int m_colorType;
    size_t m_strideBytes;
};

[[noreturn]] void OnError(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

void Encode(png_structp png, png_infop info, std::FILE* file, const Rows& rows) {
    png_init_io(png, file);
    png_set_IHDR(png, info, rows.m_width, rows.m_height, rows.m_bitDepth, rows.m_colorType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (rows.m_bitDepth == 16 && std::endian::native == std::endian::little) {
        png_set_swap(png);
    }
    for (uint32_t y = 0; y < rows.m_height; ++y) {
        png_write_row(png, rows.m_bytes + y * rows.m_strideBytes);
    }
    png_write_end(png, info);
}

// Nothing in this frame has a destructor, which is what makes the long jump sound.
bool EncodeGuarded(std::FILE* file, const Rows& rows) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning);
    if (png == nullptr) {
        return false;
    }
    png_infop info = png_create_info_struct(png);
    volatile bool done = false;
    // NOLINTNEXTLINE(cert-err52-cpp): this is how libpng reports errors
    if (info != nullptr && setjmp(png_jmpbuf(png)) == 0) {
        Encode(png, info, file, rows);
        done = true;
    }
    png_destroy_write_struct(&png, &info);
    return done;
}

void WriteRows(const std::string& name, const Rows& rows) {
    std::FILE* const file = std::fopen(name.c_str(), "wb");
    if (file == nullptr) {
        throw CToolError(kExitFile, "cannot write " + name + ": " + std::strerror(errno));
    }
    const bool encoded = EncodeGuarded(file, rows);
    if (std::fclose(file) != 0 || !encoded) {
        throw CToolError(kExitFile, "cannot write " + name + ": the disk is full or the image is empty");
    }
}

template <typename Sample>
Rows RowsOf(const Image<Sample>& image, int bitDepth, int colorType) {
    return {reinterpret_cast<const uint8_t*>(image.m_samples.data()),
            image.m_width,
            image.m_height,
            bitDepth,
            colorType,
            size_t{image.m_width} * sizeof(Sample)};
}

} // namespace

void WritePng(const std::string& file, const RgbImage& image) {
    WriteRows(file, RowsOf(image, 8, PNG_COLOR_TYPE_RGB));
}

void WritePng(const std::string& file, const DepthImage& image) {
    WriteRows(file, RowsOf(image, 16, PNG_COLOR_TYPE_GRAY));
}

} // namespace ox3dtool

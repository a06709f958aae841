// Reading back PNG and PLY files.
#include "tests/tools/ReadBack.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <png.h>
#include <sstream>
#include <stdexcept>

namespace {

[[noreturn]] void OnError(png_structp, png_const_charp message) {
    throw std::runtime_error(message);
}

// Reads a file that has this bit depth and color type into rows of `rowBytes` each.
template <typename Sample>
ox3dtool::Image<Sample> ReadPng(const std::string& name, int bitDepth, int colorType) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rb"), std::fclose);
    if (!file) {
        throw std::runtime_error("no file " + name);
    }
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file.get());
    png_read_info(png, info);
    if (png_get_bit_depth(png, info) != bitDepth || png_get_color_type(png, info) != colorType) {
        throw std::runtime_error(name + " has another format");
    }
    ox3dtool::Image<Sample> image(png_get_image_width(png, info), png_get_image_height(png, info));
    for (uint32_t y = 0; y < image.m_height; ++y) {
        png_read_row(png, reinterpret_cast<png_bytep>(&image.At(0, y)), nullptr);
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return image;
}

} // namespace

ox3dtool::RgbImage ReadRgbPng(const std::string& file) {
    return ReadPng<ox3dtool::Rgb>(file, 8, PNG_COLOR_TYPE_RGB);
}

ox3dtool::DepthImage ReadDepthPng(const std::string& file) {
    ox3dtool::DepthImage depth = ReadPng<uint16_t>(file, 16, PNG_COLOR_TYPE_GRAY);
    for (uint16_t& sample : depth.m_samples) {
        sample = static_cast<uint16_t>(sample << 8 | sample >> 8); // PNG has the high byte first
    }
    return depth;
}

PlyFile ReadPly(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    PlyFile ply;
    for (std::string line; std::getline(in, line);) {
        std::istringstream(line.rfind("element vertex ", 0) == 0 ? line.substr(15) : "") >> ply.m_vertices;
        ply.m_header.push_back(line);
        if (line == "end_header") {
            break;
        }
    }
    ply.m_body.assign(std::istreambuf_iterator<char>(in), {});
    return ply;
}

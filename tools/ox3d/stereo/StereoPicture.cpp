// One picture of a stereo pair, out of a PNG or PGM file.
#include "tools/ox3d/stereo/StereoPicture.h"

#include "base/LocalFile.h"
#include "base/PngFile.h"
#include "tools/ox3d/ExitCode.h"

#include <algorithm>

namespace ox3d::tool {
namespace {

constexpr uint64_t kMaxPgmBytes = kMaxPngPixels + 4096;

// Weights of the eye, in 16384ths.
uint8_t GreyOf(const Rgb& color) {
    return static_cast<uint8_t>((4899 * color.r + 9617 * color.g + 1868 * color.b + 8192) >> 14);
}

} // namespace

StereoPicture PictureOf(GreyImage grey) {
    StereoPicture picture;
    picture.m_color = RgbImage(grey.m_width, grey.m_height);
    std::transform(grey.m_samples.begin(), grey.m_samples.end(), picture.m_color.m_samples.begin(),
                   [](uint8_t value) {
                       return Rgb{value, value, value};
                   });
    picture.m_grey = std::move(grey);
    return picture;
}

StereoPicture ReadStereoPicture(const std::string& file) {
    std::string head;
    if (ReadLocalFile(file, 2, &head, ELongFile::Cut) && IsPgm(head)) {
        std::string bytes;
        GreyImage grey;
        if (!ReadLocalFile(file, kMaxPgmBytes, &bytes) || !ReadPgm(bytes, &grey)) {
            throw CToolError(EExitCode::File, "cannot read " + file + ": no PGM file with 8 bits a pixel");
        }
        return PictureOf(std::move(grey));
    }
    PngSize size;
    std::vector<uint8_t> planes;
    std::string error;
    if (!ReadColorPng(file, &size, &planes, &error)) {
        throw CToolError(EExitCode::File, "cannot read " + error);
    }
    StereoPicture picture;
    picture.m_color = ColorOfPlanes(planes, size.m_width, size.m_height);
    picture.m_grey = GreyImage(size.m_width, size.m_height);
    std::transform(picture.m_color.m_samples.begin(), picture.m_color.m_samples.end(),
                   picture.m_grey.m_samples.begin(), GreyOf);
    return picture;
}

} // namespace ox3d::tool

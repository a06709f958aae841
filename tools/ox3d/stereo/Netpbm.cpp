// Both formats: a word, numbers between blanks, one blank, then the samples; PFM has its lowest row first.
#include "tools/ox3d/stereo/Netpbm.h"

#include "base/LocalFile.h"
#include "base/PngFile.h"
#include "tools/ox3d/ExitCode.h"

#include <bit>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>

namespace ox3d::tool {
namespace {

static_assert(std::endian::native == std::endian::little,
              "samples are read and written as they lie in memory");

bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Takes the header's words off the front.
class CHeader {
public:
    explicit CHeader(std::string_view bytes) : m_rest(bytes) {}

    std::string_view Word() {
        SkipBlanks();
        size_t length = 0;
        while (length < m_rest.size() && !IsBlank(m_rest[length])) {
            ++length;
        }
        const std::string_view word = m_rest.substr(0, length);
        m_rest.remove_prefix(length);
        return word;
    }
    template <typename Number>
    bool Next(Number* number) {
        const std::string_view word = Word();
        const char* const end = word.data() + word.size();
        return !word.empty() && std::from_chars(word.data(), end, *number) == std::from_chars_result{end, {}};
    }
    // What follows the one blank behind the header; empty where there is none.
    std::string_view Samples() const { return m_rest.empty() ? m_rest : m_rest.substr(1); }

private:
    void SkipBlanks() {
        bool isComment = false;
        while (!m_rest.empty() && (isComment || IsBlank(m_rest[0]) || m_rest[0] == '#')) {
            isComment = m_rest[0] == '#' || (isComment && m_rest[0] != '\n');
            m_rest.remove_prefix(1);
        }
    }

    std::string_view m_rest;
};

bool IsPossible(uint32_t width, uint32_t height) {
    return width > 0 && height > 0 && uint64_t{width} * height <= kMaxPngPixels;
}

void SwapBytes(float* sample) {
    uint32_t bits = 0;
    std::memcpy(&bits, sample, sizeof(bits));
    bits = __builtin_bswap32(bits);
    std::memcpy(sample, &bits, sizeof(bits));
}

} // namespace

bool IsPgm(std::string_view bytes) {
    return bytes.substr(0, 2) == "P5";
}

bool IsPfm(std::string_view bytes) {
    return bytes.substr(0, 2) == "Pf";
}

bool ReadPgm(std::string_view bytes, GreyImage* image) {
    CHeader header(bytes);
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t maximum = 0;
    if (header.Word() != "P5" || !header.Next(&width) || !header.Next(&height) || !header.Next(&maximum) ||
        maximum != 255 || !IsPossible(width, height)) {
        return false;
    }
    const std::string_view samples = header.Samples();
    const uint64_t pixels = uint64_t{width} * height;
    if (samples.size() < pixels) {
        return false;
    }
    *image = GreyImage(width, height);
    std::memcpy(image->m_samples.data(), samples.data(), pixels);
    return true;
}

bool ReadPfm(std::string_view bytes, FloatImage* image) {
    CHeader header(bytes);
    uint32_t width = 0;
    uint32_t height = 0;
    double scale = 0; // its sign alone means something here: the order of the bytes
    if (header.Word() != "Pf" || !header.Next(&width) || !header.Next(&height) || !header.Next(&scale) ||
        !std::isfinite(scale) || scale == 0 || !IsPossible(width, height)) {
        return false;
    }
    const std::string_view samples = header.Samples();
    const uint64_t rowBytes = uint64_t{width} * sizeof(float);
    if (samples.size() < rowBytes * height) {
        return false;
    }
    *image = FloatImage(width, height);
    for (uint32_t row = 0; row < height; ++row) {
        std::memcpy(&image->At(0, height - 1 - row), samples.data() + row * rowBytes, rowBytes);
    }
    if (scale > 0) {
        for (float& sample : image->m_samples) {
            SwapBytes(&sample);
        }
    }
    return true;
}

void WritePfm(const std::string& file, const FloatImage& image) {
    std::string bytes =
        "Pf\n" + std::to_string(image.m_width) + " " + std::to_string(image.m_height) + "\n-1\n";
    for (uint32_t row = image.m_height; row-- > 0;) {
        bytes.append(reinterpret_cast<const char*>(&image.At(0, row)), image.m_width * sizeof(float));
    }
    if (!WriteLocalFile(file, bytes.data(), bytes.size())) {
        throw CToolError(EExitCode::File, "cannot write " + file + ": " + std::strerror(errno));
    }
}

} // namespace ox3d::tool

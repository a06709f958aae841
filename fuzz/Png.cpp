// Png.cpp - the reader of depth and color images. The first byte says whether the rest is a file or a list of chunks
// (length, four letters of the kind, bytes) that only lack their checksums: libpng reads no further than a
// wrong one.
#include "base/PngFile.h"

#include <zlib.h>

#include <vector>

#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"

namespace {

using namespace ox3d::fuzz;

constexpr uint64_t kMaxDecodedPixels = 1u << 16; // more takes long and goes the same way

void Append32(std::vector<uint8_t>* file, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        file->push_back(static_cast<uint8_t>(value >> shift));
    }
}

std::vector<uint8_t> FileOf(CInput& input) {
    std::vector<uint8_t> file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    while (input.Left() >= 6) {
        const auto length = input.Take<uint16_t>();
        const auto kind = input.Bytes(4);
        const auto bytes = input.Bytes(length);
        Append32(&file, static_cast<uint32_t>(bytes.size()));
        const size_t begin = file.size();
        file.insert(file.end(), kind.begin(), kind.end());
        file.insert(file.end(), bytes.begin(), bytes.end());
        Append32(&file, static_cast<uint32_t>(
                            crc32(0, file.data() + begin, static_cast<uInt>(file.size() - begin))));
    }
    return file;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    static CMemoryFile s_file;
    CInput input(data, lengthBytes);
    if (input.Flag()) {
        s_file.Write(FileOf(input));
    } else {
        s_file.Write(input.Rest());
    }
    ox3d::PngSize size;
    std::string error;
    if (!ox3d::ReadPngSize(s_file.Path(), true, &size, &error)) {
        OX3D_FUZZ_EXPECT(!error.empty());
    } else if (uint64_t{size.m_width} * size.m_height <= kMaxDecodedPixels) {
        std::vector<uint16_t> samples;
        const bool isRead = ox3d::ReadDepthPng(s_file.Path(), &size, &samples, &error);
        OX3D_FUZZ_EXPECT(!isRead || samples.size() == size_t{size.m_width} * size.m_height);
    }
    if (ox3d::ReadPngSize(s_file.Path(), false, &size, &error) &&
        uint64_t{size.m_width} * size.m_height <= kMaxDecodedPixels) {
        std::vector<uint8_t> planes;
        const bool isRead = ox3d::ReadColorPng(s_file.Path(), &size, &planes, &error);
        OX3D_FUZZ_EXPECT(!isRead || planes.size() == size_t{3} * size.m_width * size.m_height);
    }
    return 0;
}

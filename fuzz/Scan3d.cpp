// Scan3d.cpp - range and confidence images as a camera might send them, under rules as its features might give them.
#include <cmath>
#include <memory>
#include <vector>

#include "fuzz/Input.h"
#include "providers/aravis/Scan3dDepth.h"

namespace {

using namespace ox3d;
using namespace ox3d::fuzz;

constexpr uint32_t kMaxSide = 70; // larger ones are for sizes only: their bytes are never there

uint32_t TakeSide(CInput* input) {
    return input->Below(16) == 0 ? input->Take<uint32_t>() : input->Below(kMaxSide);
}

uint32_t TakeFormat(CInput* input) {
    static const uint32_t s_confidence[] = {0x010800C4, 0x010100C5, 0x010800C6, 0x011000C7, 0x012000C8};
    const auto formats = DepthFormats();
    const uint32_t row = input->Below(static_cast<uint32_t>(formats.size() + std::size(s_confidence) + 1));
    if (row < formats.size()) {
        return formats[row].m_code;
    }
    return row - formats.size() < std::size(s_confidence) ? s_confidence[row - formats.size()]
                                                          : input->Take<uint32_t>();
}

DepthRule TakeRule(CInput* input) {
    DepthRule rule;
    for (SampleRule& coordinate : rule.m_coordinates) {
        coordinate.m_scale = input->Flag() ? input->Take<double>() : 1.0;
        coordinate.m_offset = input->Flag() ? input->Take<double>() : 0.0;
        if (input->Flag()) {
            coordinate.m_invalid = input->Flag() ? input->Take<double>() : input->Take<uint8_t>();
        }
    }
    rule.m_unitMm = input->Flag() ? input->Take<double>() : 1.0;
    rule.m_isDisparity = input->Flag();
    rule.m_focalPixels = input->Flag() ? input->Take<double>() : 500.0;
    rule.m_baselineMm = input->Flag() ? input->Take<double>() : 50.0;
    rule.m_confidenceShare = input->Flag() ? input->Take<double>() : 0.0;
    return rule;
}

// Bytes of their own, so that a read beyond them is seen.
struct Image {
    SentImage m_image;
    std::unique_ptr<uint8_t[]> m_bytes;
};

Image TakeImage(CInput* input, const ImageShape* like) {
    Image image;
    image.m_image.m_format = TakeFormat(input);
    image.m_image.m_shape = {TakeSide(input), TakeSide(input), input->Below(4) == 0 ? input->Below(9) : 0};
    if (like != nullptr && input->Flag()) {
        image.m_image.m_shape = *like;
    }
    const DepthFormat* format = FindDepthFormat(image.m_image.m_format);
    const uint64_t needed = format == nullptr ? BytesOfImage(8, image.m_image.m_shape)
                                              : BytesOfImage(*format, image.m_image.m_shape);
    constexpr uint64_t kMaxBytes = uint64_t{kMaxSide} * kMaxSide * 24;
    const uint64_t length =
        std::min(needed, kMaxBytes) - std::min<uint64_t>(needed, input->Below(4) == 0 ? 1 : 0);
    image.m_bytes = std::make_unique<uint8_t[]>(length);
    const auto seed = input->Bytes(length);
    for (uint64_t i = 0; i < length && !seed.empty(); ++i) {
        image.m_bytes[i] = seed[i % seed.size()];
    }
    image.m_image.m_bytes = {image.m_bytes.get(), static_cast<size_t>(length)};
    return image;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    static CScan3dDepth s_converter; // as a stream keeps it from frame to frame
    CInput input(data, lengthBytes);
    const DepthRule rule = TakeRule(&input);
    const bool hasConfidence = input.Flag();
    const Image depth = TakeImage(&input, nullptr);
    const Image confidence = TakeImage(&input, &depth.m_image.m_shape);
    const ImageShape& shape = depth.m_image.m_shape;
    const uint64_t pixels = uint64_t{shape.m_width} * shape.m_height;
    const size_t room = static_cast<size_t>(std::min<uint64_t>(pixels, uint64_t{kMaxSide} * kMaxSide));
    constexpr uint16_t kUntouched = 0xABCD;
    std::vector<uint16_t> out(room, kUntouched);
    const EDepthFault fault =
        s_converter.Convert(rule, depth.m_image, hasConfidence ? &confidence.m_image : nullptr, out);
    OX3D_FUZZ_EXPECT(TextOf(fault)[0] != '\0');
    if (fault != EDepthFault::None) {
        OX3D_FUZZ_EXPECT(std::all_of(out.begin(), out.end(), [](uint16_t d) { return d == kUntouched; }));
        return 0;
    }
    OX3D_FUZZ_EXPECT(pixels == room && FindDepthFormat(depth.m_image.m_format) != nullptr);
    OX3D_FUZZ_EXPECT(rule.m_coordinates[2].m_scale != 0.0 && std::isfinite(rule.m_coordinates[2].m_scale));
    return 0;
}

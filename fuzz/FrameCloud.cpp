// FrameCloud.cpp - points of a small frame by a calibration that is made up, aligned in any way, in any form. What comes
// out is read to its end, and its numbers are numbers.
#include "src/Manager/FrameCloud.h"

#include <cmath>
#include <memory>
#include <vector>

#include "fuzz/FrameRecord.h"
#include "fuzz/Input.h"

namespace {

using namespace ox3d::fuzz;

NotedImage MakeImage(CInput& input, uint32_t type, uint32_t pixelBytes,
                     std::vector<std::unique_ptr<uint8_t[]>>* memory) {
    const auto side = [&] {
        const auto number = input.Take<uint8_t>();
        return number == 0xFF ? input.Take<uint32_t>() : number % 24u;
    };
    NotedImage image = {nullptr, type, side(), side(), 0};
    const uint64_t bytes = uint64_t{image.m_width} * image.m_height * pixelBytes;
    image.m_lengthBytes = input.Flag() || bytes > 4096 ? input.Below(4096) : static_cast<uint32_t>(bytes);
    memory->push_back(std::make_unique<uint8_t[]>(image.m_lengthBytes));
    std::ranges::copy(input.Bytes(image.m_lengthBytes), memory->back().get());
    image.m_data = memory->back().get();
    return image;
}

OX3D_RGBD_CLOUD_OPTIONS MakeOptions(uint32_t bits) {
    OX3D_RGBD_CLOUD_OPTIONS options = {};
    options.nCamera = bits & 1;
    options.nFormat = bits >> 1 & 1;
    options.nLayout = bits >> 2 & 1;
    options.nNormals = bits >> 3 & 1;
    options.nColor = (bits >> 4 & 3) % 3;
    return options;
}

void Read(const OX3D_RGBD_CLOUD& cloud) {
    uint32_t valid = 0;
    for (size_t i = 0; i < cloud.nCount; ++i) {
        const auto* const point = static_cast<const uint8_t*>(cloud.pPoints) + i * cloud.nPointStride;
        float numbers[3] = {};
        memcpy(numbers, point, cloud.nFormat == OX3D_RGBD_CLOUD_FLOAT32 ? 12 : 6);
        OX3D_FUZZ_EXPECT(
            cloud.nFormat != OX3D_RGBD_CLOUD_FLOAT32 ||
            (std::isfinite(numbers[0]) && std::isfinite(numbers[1]) && std::isfinite(numbers[2])));
        valid += numbers[2] != 0.0F ? 1 : 0;
        if (cloud.pColors != nullptr) {
            const uint8_t alpha = cloud.pColors[i * cloud.nColorStride + 3];
            OX3D_FUZZ_EXPECT(alpha == 0 || alpha == 255);
        }
        for (size_t axis = 0; cloud.pNormals != nullptr && axis < 3; ++axis) {
            OX3D_FUZZ_EXPECT(std::abs(cloud.pNormals[3 * i + axis]) < 1.001F);
        }
    }
    OX3D_FUZZ_EXPECT(cloud.nFormat != OX3D_RGBD_CLOUD_FLOAT32 || valid == cloud.nValid);
    OX3D_FUZZ_EXPECT(cloud.nValid <= cloud.nCount && uint64_t{cloud.nWidth} * cloud.nHeight == cloud.nCount);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    std::vector<std::unique_ptr<uint8_t[]>> memory;
    const auto bits = input.Take<uint8_t>();
    KnownFrame known;
    known.m_isCalibrated = true;
    known.m_calibration = TakeCalibration(input);
    FrameNote& note = known.m_note;
    note.m_imageCount = 2;
    note.m_hasColor = (bits & 1) != 0;
    note.m_isAligned = (bits & 2) != 0;
    note.m_alignMode = bits >> 2 & 1;
    note.m_alignTarget = bits >> 3 & 1;
    note.m_images[0] = MakeImage(input, OX3D_RGBD_PIXEL_DEPTH16, 2, &memory);
    note.m_images[1] = MakeImage(input, OX3D_RGBD_PIXEL_RGB8_PLANAR, 3, &memory);
    CFrameCloud cloud;
    for (uint32_t i = 0; i < 2; ++i) { // by turns, in memory that has grown
        const OX3D_RGBD_CLOUD_OPTIONS options = MakeOptions(input.Take<uint8_t>());
        OX3D_RGBD_CLOUD out = {};
        if (CFrameCloud::Check(note, options) == OX3D_RGBD_OK &&
            cloud.Map(known, options, 0, 1, &out) == OX3D_RGBD_OK) {
            Read(out);
        }
    }
    return 0;
}

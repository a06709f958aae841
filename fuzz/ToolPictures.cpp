// ToolPictures.cpp - a frame record as no library should deliver it, turned into the command-line tool's pictures:
// sizes and types are made up, the memory is as long as the record says.
#include <array>
#include <memory>
#include <vector>

#include "fuzz/Input.h"
#include "tools/ox3d/pictures/DepthView.h"
#include "tools/ox3d/pictures/FrameDecode.h"
#include "tools/ox3d/pictures/PointCloud.h"

namespace {

using namespace ox3d::fuzz;
using namespace ox3d::tool;

constexpr uint32_t kMaxBytes = 8192;
constexpr uint32_t kMaxRecords = 3;

uint32_t Side(CInput& input) {
    const auto side = input.Take<uint8_t>();
    return side == 0xFF ? input.Take<uint32_t>() : side % 48;
}

OX3D_RGBD_IMAGE_DATA MakeImage(CInput& input, std::vector<std::unique_ptr<uint8_t[]>>* memory) {
    constexpr uint32_t kTypes[] = {OX3D_RGBD_PIXEL_DEPTH16,
                                   OX3D_RGBD_PIXEL_RGB8_PLANAR,
                                   OX3D_RGBD_PIXEL_POINT_CLOUD,
                                   0x01080001,
                                   0x02180014,
                                   0x02180015};
    constexpr uint32_t kBytes[] = {2, 3, 12, 1, 3, 3};
    const auto kind = input.Take<uint8_t>();
    const size_t type = kind % std::size(kTypes);
    OX3D_RGBD_IMAGE_DATA image = {};
    image.enImageType = kind == 0xFF ? input.Take<uint32_t>() : kTypes[type];
    image.enStreamType = kind / std::size(kTypes) % (OX3D_RGBD_STREAM_RIGHT + 1);
    image.nWidth = Side(input);
    image.nHeight = Side(input);
    const uint64_t bytes = uint64_t{image.nWidth} * image.nHeight * kBytes[type];
    image.nDataLen =
        kind >= 0xC0 || bytes > kMaxBytes ? input.Below(kMaxBytes) : static_cast<uint32_t>(bytes);
    if (kind != 0xFE) {
        memory->push_back(std::make_unique<uint8_t[]>(image.nDataLen));
        image.pData = memory->back().get();
        const auto content = input.Bytes(image.nDataLen);
        std::copy(content.begin(), content.end(), image.pData);
    }
    return image;
}

// Any numbers as the points of a cloud, all of one color.
void MakeCloud(const OX3D_RGBD_IMAGE_DATA& image, uint8_t* color) {
    constexpr uint32_t kPointBytes = 12;
    const uint64_t pixels = uint64_t{image.nWidth} * image.nHeight;
    if (image.pData == nullptr || pixels == 0 || pixels > image.nDataLen / kPointBytes) {
        return;
    }
    OX3D_RGBD_CLOUD cloud = {};
    cloud.pPoints = image.pData;
    cloud.pColors = color;
    cloud.nPointStride = kPointBytes;
    cloud.nWidth = image.nWidth;
    cloud.nHeight = image.nHeight;
    CloudOf(cloud);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    std::vector<std::unique_ptr<uint8_t[]>> memory;
    OX3D_RGBD_FRAME_DATA frame = {};
    frame.nImageCount = input.Below(kMaxRecords + 1);
    auto color = input.Take<std::array<uint8_t, 16>>();
    for (uint32_t i = 0; i < frame.nImageCount; ++i) {
        frame.stImageData[i] = MakeImage(input, &memory);
    }
    const DepthImage depth = DecodeDepth(frame);
    DecodeColor(frame);
    const ViewPair pair = DecodePair(frame);
    OX3D_FUZZ_EXPECT(pair.m_left.m_samples.size() == pair.m_right.m_samples.size());
    for (uint32_t i = 0; i < frame.nImageCount; ++i) {
        MakeCloud(frame.stImageData[i], color.data());
    }
    if (!depth.IsEmpty()) {
        DepthPicture(depth);
    }
    return 0;
}

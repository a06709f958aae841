// StereoKernels.cpp - kernels of the stereo algorithm library on small images. Every table and image is exactly as
// long as the header says and ends at a guard page.
#include <ox3drgbd/Oxb3dBinoStereo.h>

#include "fuzz/GuardedBlock.h"
#include "fuzz/Input.h"

namespace {

using namespace ox3d::fuzz;

constexpr uint32_t kMaxSide = 48;
constexpr size_t kMaxBytes = 1u << 17;

template <int kNumber>
CGuardedBlock& Block() {
    static CGuardedBlock s_block(kMaxBytes);
    return s_block;
}

int32_t Side(CInput& input) {
    return static_cast<int32_t>(input.Take<uint8_t>() % kMaxSide) + 1;
}

// Floats as they come, among them NaN and infinities, or tame ones.
template <int kNumber>
float* Floats(CInput& input, size_t count) {
    const bool isTame = input.Flag();
    auto* const values = Block<kNumber>().template PlaceArray<float>(count);
    for (size_t i = 0; i < count; ++i) {
        values[i] = isTame ? static_cast<float>(input.Take<int16_t>()) / 64.0f : input.Take<float>();
    }
    return values;
}
template <int kNumber>
float* MaybeFloats(CInput& input, size_t count) {
    return input.Take<uint8_t>() % 4 != 0 ? Floats<kNumber>(input, count) : nullptr;
}

struct Rows {
    int32_t m_width;
    int32_t m_height;
    int32_t m_step;

    size_t Samples() const {
        return static_cast<size_t>(m_step) * static_cast<size_t>(m_height - 1) + static_cast<size_t>(m_width);
    }
};
Rows TakeRows(CInput& input) {
    const int32_t width = Side(input);
    return {width, Side(input), width + input.Take<uint8_t>() % 4};
}

void CommonTrans(CInput& input) {
    const Rows rows = TakeRows(input);
    const auto area = static_cast<size_t>(rows.m_width) * static_cast<size_t>(rows.m_height);
    const auto* const depth =
        reinterpret_cast<int16_t*>(Block<0>().PlaceFilled(rows.Samples() * 2, input.Bytes(64), 2));
    void* const points = input.Take<uint8_t>() % 4 != 0 ? Block<1>().Place(rows.Samples() * 12, 4) : nullptr;
    auto* const target = input.Take<uint8_t>() % 4 != 0 ? Block<2>().PlaceArray<int16_t>(area) : nullptr;
    const int32_t targetWidth = 1 + input.Take<uint8_t>() % rows.m_width;
    const float* const source = Floats<3>(input, 4);
    const float* const transform = MaybeFloats<4>(input, 12);
    const float* const intrinsics = MaybeFloats<5>(input, 4);
    const float* const distortion = MaybeFloats<6>(input, 4);
    if (input.Flag()) {
        OXB3D_BINOSTEREO_Comn_Trans_f32(depth, rows.m_step, rows.m_width, rows.m_height,
                                        static_cast<float*>(points), target, targetWidth, source, transform,
                                        intrinsics, distortion);
    } else {
        OXB3D_BINOSTEREO_Comn_Trans_s16(depth, rows.m_step, rows.m_width, rows.m_height,
                                        static_cast<int16_t*>(points), target, targetWidth, source, transform,
                                        intrinsics, distortion);
    }
}

void DepthScore(CInput& input) {
    const Rows rows = TakeRows(input);
    const auto* const samples =
        reinterpret_cast<int16_t*>(Block<0>().PlaceFilled(rows.Samples() * 2, input.Bytes(64), 2));
    const bool isNear = input.Flag(); // else a region that is anywhere
    const auto number = [&] { return isNear ? input.Take<int8_t>() : input.Take<int32_t>(); };
    const ZQA_POINT origin = {number(), number()};
    const ZQA_SIZE region = {number(), number()};
    const int32_t step = input.Take<uint8_t>() % 8 == 0 ? rows.m_width - 1 : rows.m_step;
    int32_t score = 0;
    OXB3D_BINOSTEREO_DepthScore(samples, step, {rows.m_width, rows.m_height}, 0, 0, &score, origin, region);
}

void Rectify(CInput& input) {
    const int32_t width = Side(input);
    const int32_t height = Side(input);
    const auto area = static_cast<size_t>(width) * static_cast<size_t>(height);
    uint32_t* const index = Block<0>().PlaceArray<uint32_t>(area);
    uint8_t* const weights = Block<1>().Place(area * 4, 4);
    if (input.Flag()) {
        auto* const camera = Block<2>().PlaceArray<OXB3D_BINOSTEREO_CAMERA>(1);
        const bool isTame = input.Flag();
        for (float& value : camera->matrix) {
            value = isTame ? static_cast<float>(input.Take<int16_t>()) / 16.0f : input.Take<float>();
        }
        for (float& value : camera->distortion) {
            value = isTame ? static_cast<float>(input.Take<int8_t>()) / 64.0f : input.Take<float>();
        }
        const float* const rotation = Floats<3>(input, 9);
        const float* const projection = Floats<4>(input, 12);
        void* const scratch = Block<5>().Place(OXB3D_BINOSTEREO_RECT_MAP_SCRATCH, 8);
        if (OXB3D_BINOSTEREO_RCT_GeneUndistortRectMap(width, height, camera, input.Take<int32_t>(), rotation,
                                                      projection, index, weights, scratch) != 0) {
            return;
        }
    } else { // a map as nobody computes it
        Block<0>().PlaceFilled(area * 4, input.Bytes(64), 4);
        Block<1>().PlaceFilled(area * 4, input.Bytes(64), 4);
    }
    const uint8_t* const source = Block<6>().PlaceFilled(area, input.Bytes(16));
    uint8_t* const target = Block<7>().Place(area);
    OXB3D_BINOSTEREO_RCT_RectifyImage(source, index, weights, width, height, target);
}

void Fuse(CInput& input) {
    constexpr int kFrames = 3;
    const ZQA_SIZE size = {Side(input), Side(input)};
    uint64_t persistentBytes = 0;
    uint64_t scratchBytes = 0;
    OX3D_FUZZ_EXPECT(OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize(size, &persistentBytes, &scratchBytes) == 0);
    uint8_t* const persistent = Block<0>().Place(persistentBytes, OXB3D_BINOSTEREO_MEM_ALIGNMENT);
    uint8_t* const scratch = Block<1>().Place(scratchBytes, OXB3D_BINOSTEREO_MEM_ALIGNMENT);
    OX3D_FUZZ_EXPECT(OXB3D_BINOSTEREO_MULTI_FUSE_Init(persistent, size, persistent, scratch) == 0);
    for (int i = 0; i < kFrames; ++i) {
        const bool isOther = input.Take<uint8_t>() % 8 == 0;
        OXB3D_BINOSTEREO_FUSE_FRAME frame = {};
        frame.width = isOther ? Side(input) : size.width;
        frame.height = isOther ? Side(input) : size.height;
        const auto area = static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height);
        frame.depth = reinterpret_cast<int16_t*>(Block<2>().PlaceFilled(area * 2, input.Bytes(48), 2));
        frame.grey = input.Take<uint8_t>() % 8 != 0 ? Block<3>().PlaceFilled(area, input.Bytes(32)) : nullptr;
        auto* const config = Block<4>().PlaceArray<int32_t>(OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS);
        for (int word = 0; word < OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS; ++word) {
            const auto kind = input.Take<uint8_t>();
            config[word] = kind == 0xFF ? input.Take<int32_t>() : static_cast<int8_t>(kind);
        }
        OXB3D_BINOSTEREO_MULTI_FUSE_Process(persistent, &frame, config, Block<5>().PlaceArray<int16_t>(area));
    }
}

void Check(CInput& input) {
    auto* const image = Block<0>().PlaceArray<ZQA_IMAGE>(1);
    *image = input.Take<ZQA_IMAGE>();
    ZQA_CheckImage(image);
    OXB_ZqaStatusToOxbAlgStatus(input.Take<int32_t>());
    uint64_t bytes = 0;
    OXB3D_BINOSTEREO_RCT_RectMapBufSize(input.Take<ZQA_SIZE>(), input.Take<uint32_t>(), &bytes);
    uint64_t more = 0;
    OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize(input.Take<ZQA_SIZE>(), &bytes, &more);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    using Kernel = void (*)(CInput&);
    constexpr Kernel kKernels[] = {CommonTrans, DepthScore, Rectify, Fuse, Check};
    CInput input(data, lengthBytes);
    kKernels[input.Take<uint8_t>() % std::size(kKernels)](input);
    return 0;
}

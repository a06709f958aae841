// Scaling.cpp - the scaling library by its exported functions, and color and depth interleaved; planes lie between
// guard pages.
#include <ox3drgbd/OxMediaProcess.h>

#include "algorithm/rgbd/RgbdInterleave.h"
#include "fuzz/GuardedBlock.h"
#include "fuzz/Input.h"

namespace {

using namespace ox3d::fuzz;

constexpr uint32_t kMaxBytes = 1u << 12;

// Most sides are small, so that the planes fit; some are anything.
uint32_t Side(CInput& input) {
    const auto side = input.Take<uint16_t>();
    return side % 8 == 7 ? input.Take<uint32_t>() : side >> 3 & 0x7F;
}

uint32_t Length(CInput& input, uint64_t neededBytes) {
    const auto off = input.Take<int8_t>();
    const bool isNear = off >= -2 && off <= 2 && neededBytes + 2 <= kMaxBytes;
    return isNear && neededBytes >= 2 ? static_cast<uint32_t>(neededBytes + static_cast<uint64_t>(off))
                                      : input.Below(kMaxBytes);
}

void Scale(CInput& input) {
    static CGuardedBlock s_source(kMaxBytes);
    static CGuardedBlock s_target(kMaxBytes);
    static void* const s_handle = OX_MP_CreateHandle();
    OX_MP_SCALING_PARAM param = {};
    param.nSrcWidth = Side(input);
    param.nSrcHeight = Side(input);
    param.nDstWidth = Side(input);
    param.nDstHeight = Side(input);
    param.nMethod = input.Take<uint8_t>() % 8 == 7 ? input.Take<uint32_t>() : OX_MP_METHOD_BILINEAR;
    param.nSrcLen = Length(input, uint64_t{param.nSrcWidth} * param.nSrcHeight);
    param.nDstBufSize = Length(input, uint64_t{param.nDstWidth} * param.nDstHeight);
    param.pSrcData = s_source.PlaceFilled(param.nSrcLen, input.Bytes(32));
    param.pDstData = s_target.Place(param.nDstBufSize);
    const int status = OX_MP_Scaling(s_handle, &param);
    OX3D_FUZZ_EXPECT(status != OX_MP_OK || param.nDstLen == param.nDstWidth * param.nDstHeight);
    OX3D_FUZZ_EXPECT(status != OX_MP_OK || param.nDstLen <= param.nDstBufSize);
}

void Interleave(CInput& input) {
    static CGuardedBlock s_color(kMaxBytes);
    static CGuardedBlock s_depth(kMaxBytes);
    static CGuardedBlock s_out(kMaxBytes);
    const uint64_t pixels = input.Below(kMaxBytes / ox3d::kRgbdPixelBytes);
    const uint32_t colorBytes = Length(input, 3 * pixels);
    const uint32_t depthBytes = Length(input, 2 * pixels);
    const uint8_t* const color = s_color.PlaceFilled(colorBytes, input.Bytes(32));
    const uint8_t* const depth = s_depth.PlaceFilled(depthBytes, input.Bytes(32));
    uint8_t* const out = s_out.Place(pixels * ox3d::kRgbdPixelBytes);
    ox3d::InterleaveRgbd({color, colorBytes}, {depth, depthBytes}, pixels, out);
    for (uint64_t i = 0; i < pixels; ++i) {
        const uint8_t red = i < colorBytes ? color[i] : 0;
        const uint8_t blue = 2 * pixels + i < colorBytes ? color[2 * pixels + i] : 0;
        const uint8_t high = 2 * i + 1 < depthBytes ? depth[2 * i + 1] : 0;
        const uint8_t* const pixel = out + i * ox3d::kRgbdPixelBytes;
        OX3D_FUZZ_EXPECT(pixel[0] == red && pixel[2] == blue && pixel[4] == high);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    if (input.Flag()) {
        Scale(input);
    } else {
        Interleave(input);
    }
    return 0;
}

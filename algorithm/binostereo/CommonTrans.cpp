// The common data transform: its checks, the choice of the mode, and the clearing that goes with each mode.
// Relies on the kernels; uses no object and no scratch memory.
#include "algorithm/binostereo/CheckedSize.h"
#include "algorithm/binostereo/Object.h"
#include "algorithm/binostereo/TransformTiers.h"

namespace {

using Mode = oxb3d::TransformMode;
using oxb3d::TransformArgs;

using Input = OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT;
using Output = OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT;

template <typename TPoint>
Mode SelectMode(const TransformArgs<TPoint>& a) {
    const bool points = a.points != nullptr;
    const bool target = a.targetDepth != nullptr;
    const bool intrinsics = a.targetIntrinsics != nullptr;
    const bool distorted = a.distortion != nullptr;
    if (a.transform == nullptr) {
        return points ? Mode::A : Mode::Refused;
    }
    if (!target) {
        return distorted ? Mode::B3 : Mode::C2;
    }
    if (!intrinsics) {
        return Mode::Refused;
    }
    if (!points) {
        return distorted ? Mode::B1 : Mode::C1;
    }
    return distorted ? Mode::B2 : Mode::C3;
}

// Bytes of the point buffer that a mode clears, per pixel. The 16-bit kernel's points take 6 bytes, yet it
// clears 8 in mode A and 12 in B2, B3 and C3: kept, since callers size their buffers by it.
template <typename TPoint>
uint64_t ClearedPointBytes(Mode mode) {
    constexpr bool kIsFloat = std::is_same_v<TPoint, float>;
    switch (mode) {
    case Mode::A:
        return kIsFloat ? 12 : 8;
    case Mode::C2:
        return kIsFloat ? 12 : 6;
    case Mode::B2:
    case Mode::B3:
    case Mode::C3:
        return 12;
    case Mode::B1:
    case Mode::C1:
    case Mode::Refused:
        break;
    }
    return 0;
}

uint64_t ClearedDepthBytes(Mode mode) {
    const bool registers = mode == Mode::B1 || mode == Mode::B2 || mode == Mode::C1 || mode == Mode::C3;
    return registers ? sizeof(int16_t) : 0;
}

template <typename TPoint>
int32_t RunTransform(const TransformArgs<TPoint>& a) {
    if (a.depth == nullptr || (a.points == nullptr && a.targetDepth == nullptr) ||
        a.sourceIntrinsics == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const Mode mode = SelectMode(a);
    if (mode == Mode::Refused) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    if (a.width < 1 || a.height < 1) {
        return OXB3D_BINOSTEREO_OK;
    }
    const oxb3d::CCheckedSize pointBytes =
        oxb3d::PlaneSize(ClearedPointBytes<TPoint>(mode), a.width, a.height);
    const oxb3d::CCheckedSize depthBytes = oxb3d::PlaneSize(ClearedDepthBytes(mode), a.width, a.height);
    if (!pointBytes.Fits() || !depthBytes.Fits()) {
        return OXB3D_BINOSTEREO_E_OVERFLOW;
    }
    const oxb3d::TransformKernels& kernels = oxb3d::KernelsFor(mode, a);
    if (a.points != nullptr) {
        // A fast kernel that writes every point needs only what lies beyond the points cleared.
        const bool writesAll = !kernels.isReference && mode == Mode::A && a.step == a.width;
        const uint64_t kept = writesAll ? 3 * sizeof(TPoint) * a.width * a.height : 0;
        std::memset(reinterpret_cast<uint8_t*>(a.points) + kept, 0, pointBytes.Bytes() - kept);
    }
    if (a.targetDepth != nullptr) {
        std::memset(a.targetDepth, 0, depthBytes.Bytes());
    }
    oxb3d::RunKernel(kernels, mode, a);
    return OXB3D_BINOSTEREO_OK;
}

int32_t CheckSource(const ZQA_IMAGE& source) {
    const int32_t status = OXB_ZqaStatusToOxbAlgStatus(ZQA_CheckImage(&source));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    if (source.format != ZQA_FORMAT_DEPTH16) {
        return OXB3D_BINOSTEREO_E_IMAGE_FORMAT;
    }
    if (source.width < 640 || source.height < 480) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    // With the image check this demands a step equal to the width, deliberately: rows must be unpadded.
    return source.width < source.step[0] ? OXB3D_BINOSTEREO_E_IMAGE_STEP : OXB3D_BINOSTEREO_OK;
}

template <typename TPoint>
TransformArgs<TPoint> MakeArgs(const Input& in, const Output& out, TPoint* points, int32_t targetWidth) {
    return {static_cast<const int16_t*>(in.sourceDepth.data[0]),
            in.sourceDepth.step[0],
            in.sourceDepth.width,
            in.sourceDepth.height,
            points,
            static_cast<int16_t*>(out.targetDepth.data[0]),
            targetWidth,
            in.sourceIntrinsics,
            in.transform,
            in.targetIntrinsics,
            in.targetDistortion};
}

} // namespace

int32_t OXB3D_BINOSTEREO_Comn_Trans_f32(const int16_t* depth, int32_t step, int32_t width, int32_t height,
                                        float* points, int16_t* targetDepth, int32_t targetWidth,
                                        const float* sourceIntrinsics, const float* transform,
                                        const float* targetIntrinsics, const float* targetDistortion) {
    return RunTransform<float>({depth, step, width, height, points, targetDepth, targetWidth,
                                sourceIntrinsics, transform, targetIntrinsics, targetDistortion});
}

int32_t OXB3D_BINOSTEREO_Comn_Trans_s16(const int16_t* depth, int32_t step, int32_t width, int32_t height,
                                        int16_t* points, int16_t* targetDepth, int32_t targetWidth,
                                        const float* sourceIntrinsics, const float* transform,
                                        const float* targetIntrinsics, const float* targetDistortion) {
    return RunTransform<int16_t>({depth, step, width, height, points, targetDepth, targetWidth,
                                  sourceIntrinsics, transform, targetIntrinsics, targetDistortion});
}

int32_t OXB3D_BINOSTEREO_CommonTransProcess(void* input, int32_t inputSize, void* output,
                                            int32_t outputSize) {
    // The transform has no object; the input stands in for it in the common check.
    int32_t status =
        oxb3d::CheckRecords(input, input, inputSize, sizeof(Input), output, outputSize, sizeof(Output));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    Input in;
    Output out;
    std::memcpy(&in, input, sizeof in);
    std::memcpy(&out, output, sizeof out);
    const bool hasTarget = out.targetDepth.data[0] != nullptr;
    if (in.sourceIntrinsics == nullptr ||
        (out.points16 == nullptr && out.pointsFloat == nullptr && !hasTarget)) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    status = CheckSource(in.sourceDepth);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const int32_t targetWidth = hasTarget ? out.targetDepth.step[0] : 0;
    if (targetWidth > in.sourceDepth.width) {
        return OXB3D_BINOSTEREO_E_IMAGE_STEP;
    }
    return out.pointsFloat != nullptr ? RunTransform(MakeArgs(in, out, out.pointsFloat, targetWidth))
                                      : RunTransform(MakeArgs(in, out, out.points16, targetWidth));
}

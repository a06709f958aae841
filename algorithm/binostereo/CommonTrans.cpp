// The common data transform: the choice of the mode, and the clearing that goes with each mode.
// Relies on the kernels; uses no object, and no scratch memory but the pool's, of a call that threads share.
#include "algorithm/binostereo/CheckedSize.h"
#include "algorithm/binostereo/RegisterShared.h"
#include "algorithm/binostereo/TransformTiers.h"
#include "base/WorkerPool.h"
#include <ox3drgbd/Oxb3dBinoStereo.h>

using namespace ox3d::stereo;

namespace {

using Mode = ETransformMode;

template <typename TPoint>
Mode SelectMode(const TransformArgs<TPoint>& a) {
    const bool points = a.m_points != nullptr;
    const bool target = a.m_targetDepth != nullptr;
    const bool intrinsics = a.m_targetIntrinsics != nullptr;
    const bool distorted = a.m_distortion != nullptr;
    if (a.m_transform == nullptr) {
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
// clears 8 in mode A and 12 in B2, B3 and C3: preserved for compatibility, since callers size their buffers by it.
template <typename TPoint>
uint64_t ClearedPointBytes(Mode mode) {
    constexpr bool kIsFloat = std::is_same_v<TPoint, float>;
    switch (mode) {
    case Mode::A:
        return kIsFloat ? 12 : 8;
    case Mode::C2:
        return kIsFloat ? 12 : 6;
    case Mode::B3:
        return 12;
    case Mode::B2:
    case Mode::C3:
        return kRegisteredPointBytes;
    case Mode::B1:
    case Mode::C1:
    case Mode::Refused:
        break;
    }
    return 0;
}

// The points stay at the source's pixels.
bool IsAtSource(Mode mode) {
    return mode == Mode::A || mode == Mode::B3 || mode == Mode::C2;
}

// What a mode clears of the points. Where their rows are further apart than the image is wide, points at the
// source's pixels reach beyond one for each pixel, and those that are skipped have to be zeros there, too.
template <typename TPoint>
CCheckedSize ClearedPoints(Mode mode, const TransformArgs<TPoint>& a) {
    const CCheckedSize plane = PlaneSize(ClearedPointBytes<TPoint>(mode), a.m_width, a.m_height);
    if (!IsAtSource(mode) || a.m_step <= a.m_width || !plane.Fits()) {
        return plane;
    }
    constexpr uint64_t kPointBytes = 3 * sizeof(TPoint);
    const CCheckedSize reach =
        PlaneSize(kPointBytes, a.m_step, a.m_height - 1).Plus(PlaneSize(kPointBytes, a.m_width, 1));
    return reach.Fits() && reach.Bytes() < plane.Bytes() ? plane : reach;
}

// How much of what a mode clears of the points a fast kernel writes or clears itself. The target it always clears.
template <typename TPoint>
uint64_t FilledPointBytes(Mode mode, const TransformArgs<TPoint>& a) {
    const uint64_t pixels = static_cast<uint64_t>(a.m_width) * static_cast<uint64_t>(a.m_height);
    if (!IsAtSource(mode)) {
        return kRegisteredPointBytes * pixels;
    }
    return a.m_step == a.m_width ? 3 * sizeof(TPoint) * pixels : 0;
}

uint64_t ClearedDepthBytes(Mode mode) {
    const bool registers = mode == Mode::B1 || mode == Mode::B2 || mode == Mode::C1 || mode == Mode::C3;
    return registers ? sizeof(int16_t) : 0;
}

// By as many threads as are allowed, where the order of rows does not matter: points that stay at the source's pixels,
// and depths alone. Of points that are registered the first of the nearest wins. The reference also stands in for
// calls whose outputs lie on the depth: their rows go in order, too.
template <typename TPoint>
void RunRows(const TransformKernels& kernels, Mode mode, const TransformArgs<TPoint>& a) {
    const bool isShared = !kernels.m_isReference && (mode == Mode::B1 || mode == Mode::C1) &&
                          RegisterShared(kernels, {a.m_depth, a.m_step, a.m_width, a.m_height, nullptr,
                                                   a.m_targetDepth, a.m_targetWidth, a.m_sourceIntrinsics,
                                                   a.m_transform, a.m_targetIntrinsics, a.m_distortion});
    if (isShared) {
        return;
    }
    if (kernels.m_isReference || !IsAtSource(mode)) {
        RunKernel(kernels, mode, a);
        return;
    }
    const auto height = static_cast<uint64_t>(a.m_height);
    const ox3d::CPoolTurn turn(height * static_cast<uint64_t>(a.m_width));
    turn.RunRanges(height, [&](uint64_t first, uint64_t end) {
        TransformArgs<TPoint> rows = a;
        rows.m_firstRow = static_cast<int32_t>(first);
        rows.m_height = static_cast<int32_t>(end);
        RunKernel(kernels, mode, rows);
    });
}

template <typename TPoint>
int32_t RunTransform(const TransformArgs<TPoint>& a) {
    if (a.m_depth == nullptr || (a.m_points == nullptr && a.m_targetDepth == nullptr) ||
        a.m_sourceIntrinsics == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const Mode mode = SelectMode(a);
    if (mode == Mode::Refused) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    if (a.m_width < 1 || a.m_height < 1) {
        return OXB3D_BINOSTEREO_OK;
    }
    const CCheckedSize pointBytes = ClearedPoints(mode, a);
    const CCheckedSize depthBytes = PlaneSize(ClearedDepthBytes(mode), a.m_width, a.m_height);
    if (!pointBytes.Fits() || !depthBytes.Fits()) {
        return OXB3D_BINOSTEREO_E_OVERFLOW;
    }
    const TransformKernels& kernels = KernelsFor(mode, a);
    if (a.m_points != nullptr) {
        const uint64_t unclearedBytes = kernels.m_isReference ? 0 : FilledPointBytes(mode, a);
        std::memset(reinterpret_cast<uint8_t*>(a.m_points) + unclearedBytes, 0,
                    pointBytes.Bytes() - unclearedBytes);
    }
    if (a.m_targetDepth != nullptr && kernels.m_isReference) {
        std::memset(a.m_targetDepth, 0, depthBytes.Bytes());
    }
    RunRows(kernels, mode, a);
    return OXB3D_BINOSTEREO_OK;
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

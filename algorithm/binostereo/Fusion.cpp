// Multi-frame depth fusion: its memory, and the fusion of a frame with the one before it.
// Relies on the Gaussian smoothing; state and buffers live in the object's two regions.
#include "algorithm/binostereo/CheckedSize.h"
#include "algorithm/binostereo/FloatToInt.h"
#include "algorithm/binostereo/Gaussian.h"
#include "algorithm/binostereo/ImageTiers.h"
#include "algorithm/binostereo/Object.h"

#include <algorithm>
#include <cmath>
#include <cstring>

using namespace ox3d::stereo;

namespace {

// Head of the persistent block. The buffers follow it, each on a 128-byte boundary; the last three are in
// scratch memory and hold nothing between calls but the fused depth, if no other process has run.
struct FuseState {
    int16_t* m_previousDepth;
    float* m_previousConfidence;
    float* m_currentConfidence;
    uint32_t m_hasPrevious;
    ZQA_SIZE m_largest;  // what the buffers were sized for
    ZQA_SIZE m_previous; // size of the previous frame
    uint32_t m_reserved;
    int16_t* m_fused;
    uint8_t* m_smoothed;
    void* m_gaussianWork;
};
constexpr uint64_t kStateBytes = 128;
static_assert(sizeof(FuseState) <= kStateBytes);

struct Layout {
    CCheckedSize m_depth;
    CCheckedSize m_confidence;
    CCheckedSize m_smoothed;
    CCheckedSize m_work;

    explicit Layout(ZQA_SIZE size)
        : m_depth(PlaneSize(sizeof(int16_t), size.width, size.height).RoundedUp(kMemAlignment)),
          m_confidence(PlaneSize(sizeof(float), size.width, size.height).RoundedUp(kMemAlignment)),
          m_smoothed(PlaneSize(1, size.width, size.height).RoundedUp(kMemAlignment)),
          m_work(GaussianWorkSize(size.width).RoundedUp(kMemAlignment)) {}

    CCheckedSize Persistent() const {
        return CCheckedSize(kStateBytes).Plus(m_depth).Plus(m_confidence).Plus(m_confidence);
    }
    CCheckedSize Scratch() const { return m_depth.Plus(m_smoothed).Plus(m_work); }
};

// One call's inputs under names.
struct FuseCall {
    const int16_t* m_depth;
    const uint8_t* m_grey;
    int32_t m_width;
    int32_t m_height;
    const int32_t* m_config;

    int64_t Config(int32_t word) const { return m_config[word]; }
    int32_t Mode() const { return m_config[OXB3D_BINOSTEREO_FUSE_MODE]; }
    bool UsesConfidence() const { return Mode() == kFuseMeanOrLarger || Mode() == kFuseMeanOrConfident; }
    size_t Pixels() const { return static_cast<size_t>(m_width) * static_cast<size_t>(m_height); }
};

int32_t CheckCall(const FuseCall& call, const FuseState& state) {
    if (call.m_width > state.m_largest.width || call.m_height > state.m_largest.height) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    const int64_t x0 = call.Config(OXB3D_BINOSTEREO_FUSE_X0);
    const int64_t y0 = call.Config(OXB3D_BINOSTEREO_FUSE_Y0);
    const int64_t x1 = call.Config(OXB3D_BINOSTEREO_FUSE_X1);
    const int64_t y1 = call.Config(OXB3D_BINOSTEREO_FUSE_Y1);
    if (x0 < 0 || y0 < 0 || x1 > call.m_width || y1 > call.m_height || x0 >= x1 || y0 >= y1) {
        return OXB3D_BINOSTEREO_E_FUSE_REGION;
    }
    if (call.Mode() == kFuseLarger) {
        return OXB3D_BINOSTEREO_OK;
    }
    if (!call.UsesConfidence()) {
        return OXB3D_BINOSTEREO_E_FUSE_MODE;
    }
    if (call.m_grey == nullptr) {
        return ZQA_E_NULL;
    }
    if (call.Config(OXB3D_BINOSTEREO_FUSE_THRESHOLD) > 255) {
        return OXB3D_BINOSTEREO_E_FUSE_THRESHOLD;
    }
    return call.Config(OXB3D_BINOSTEREO_FUSE_PINNED) == 1 ? OXB3D_BINOSTEREO_OK
                                                          : OXB3D_BINOSTEREO_E_FUSE_PINNED;
}

// A tent over the smoothed grey value: 255 at the peak, 0 at black and at full white, and 0 in the border
// that the smoothing kernel does not cover whole.
void ComputeConfidence(const FuseCall& call, FuseState* state) {
    SmoothGaussian11(call.m_grey, call.m_width, call.m_height, state->m_smoothed, state->m_gaussianWork);
    const int32_t peak = call.m_config[OXB3D_BINOSTEREO_FUSE_PEAK];
    const auto peakGrey = static_cast<float>(peak);
    const ConfidenceTent tent{peak, 255.0F / peakGrey, 255.0F / (255.0F - peakGrey)};
    std::fill_n(state->m_currentConfidence, call.Pixels(), 0.0F);
    const int64_t inner = call.m_width - 2 * kGaussianHalf;
    for (int64_t y = kGaussianHalf; inner > 0 && y < call.m_height - kGaussianHalf; ++y) {
        const int64_t first = y * call.m_width + kGaussianHalf;
        ImageKernelsInUse().m_weigh(tent, state->m_smoothed + first, inner,
                                    state->m_currentConfidence + first);
    }
}

int16_t FuseMeanOrConfident(int16_t d, int16_t p, float wc, float wp, float threshold) {
    if (wc > threshold && wp > threshold) {
        // The sum wraps in 16 bits before it is halved, deliberately: large depths come out negative.
        return static_cast<int16_t>(LowInt16(d + p) / 2);
    }
    return wc > wp ? d : p;
}

int16_t FuseMeanOrLarger(int16_t d, int16_t p, float wc, float wp, float threshold) {
    const bool bothConfident = wc > threshold && wp > threshold;
    if (!bothConfident && std::fabs(wc - wp) >= kEpsilon) {
        return wc > wp ? d : p;
    }
    const int32_t sum = d + p;
    if (sum * 0.1 > std::abs(d - p)) {
        return static_cast<int16_t>(sum / 2);
    }
    return std::max(d, p);
}

// Columns run to an exclusive end and rows to an inclusive one, deliberately. Rows past the image, which a
// region down to the full height with a negative row shift would name, do not exist.
struct WorkingRegion {
    int64_t m_firstColumn;
    int64_t m_endColumn;
    int64_t m_firstRow;
    int64_t m_lastRow;

    explicit WorkingRegion(const FuseCall& call) {
        const int64_t rowShift = call.Config(OXB3D_BINOSTEREO_FUSE_ROW_SHIFT);
        const int64_t columnShift = call.Config(OXB3D_BINOSTEREO_FUSE_COLUMN_SHIFT);
        m_firstColumn = std::max(columnShift, call.Config(OXB3D_BINOSTEREO_FUSE_X0));
        m_endColumn = std::min(call.m_width - 1 - columnShift, call.Config(OXB3D_BINOSTEREO_FUSE_X1));
        m_firstRow = std::max(rowShift, call.Config(OXB3D_BINOSTEREO_FUSE_Y0));
        m_lastRow = std::min({call.Config(OXB3D_BINOSTEREO_FUSE_Y1), call.m_height - 1 - rowShift,
                              static_cast<int64_t>(call.m_height) - 1});
    }
};

// Depths are compared where the pixel is, confidences are read at the shifted place, deliberately. A
// confidence outside the map counts as 0.
void FuseRow(const FuseCall& call, const FuseState& state, const WorkingRegion& region, int64_t y) {
    const int64_t columnShift = call.Config(OXB3D_BINOSTEREO_FUSE_COLUMN_SHIFT);
    const int64_t shiftedRow = y - call.Config(OXB3D_BINOSTEREO_FUSE_ROW_SHIFT);
    const bool rowInside = shiftedRow >= 0 && shiftedRow < call.m_height;
    const auto fuse = [&](int64_t x, int64_t count, const float* wc, const float* wp) {
        const int64_t index = y * call.m_width + x;
        ImageKernelsInUse().m_fuse(
            {call.m_depth + index, state.m_previousDepth + index, wc, wp, state.m_fused + index, count,
             static_cast<float>(call.Config(OXB3D_BINOSTEREO_FUSE_THRESHOLD)), call.Mode()});
    };
    int64_t x = region.m_firstColumn;
    if (!call.UsesConfidence()) {
        fuse(x, region.m_endColumn - x, nullptr, nullptr);
        return;
    }
    // The working region starts at the shift at least, so only its right end can leave the map.
    const int64_t insideEnd = rowInside ? std::min(region.m_endColumn, call.m_width + columnShift) : x;
    if (insideEnd > x) {
        const int64_t shifted = shiftedRow * call.m_width + x - columnShift;
        fuse(x, insideEnd - x, state.m_currentConfidence + shifted, state.m_previousConfidence + shifted);
        x = insideEnd;
    }
    constexpr float kNone = 0.0F;
    for (; x < region.m_endColumn; ++x) {
        fuse(x, 1, &kNone, &kNone);
    }
}

// The frame becomes the previous one. Where mode 3 stores the first frame, nothing is known of its
// confidence.
void StoreFrame(const FuseCall& call, bool hadPrevious, FuseState* state) {
    if (call.UsesConfidence()) {
        std::copy_n(state->m_currentConfidence, call.Pixels(), state->m_previousConfidence);
    } else if (!hadPrevious) {
        std::fill_n(state->m_previousConfidence, call.Pixels(), 0.0F);
    }
    std::copy_n(call.m_depth, call.Pixels(), state->m_previousDepth);
    state->m_previous = {call.m_width, call.m_height};
    state->m_hasPrevious = 1;
}

} // namespace

void ox3d::stereo::reference::Weigh(const ConfidenceTent& tent, const uint8_t* grey, int64_t count,
                                    float* confidence) {
    for (int64_t i = 0; i < count; ++i) {
        confidence[i] = tent.At(grey[i]);
    }
}

void ox3d::stereo::reference::Fuse(const FuseSpan& span) {
    for (int64_t i = 0; i < span.m_count; ++i) {
        const int16_t d = span.m_depth[i];
        const int16_t p = span.m_previousDepth[i];
        if (span.m_mode == kFuseLarger) {
            span.m_fused[i] = std::max(d, p);
            continue;
        }
        const float wc = span.m_confidence[i];
        const float wp = span.m_previousConfidence[i];
        span.m_fused[i] = span.m_mode == kFuseMeanOrConfident
                              ? FuseMeanOrConfident(d, p, wc, wp, span.m_threshold)
                              : FuseMeanOrLarger(d, p, wc, wp, span.m_threshold);
    }
}

int32_t OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize(ZQA_SIZE size, uint64_t* persistent, uint64_t* scratch) {
    if (persistent == nullptr || scratch == nullptr) {
        return ZQA_E_NULL;
    }
    if (size.width < 1 || size.height < 1) {
        return ZQA_E_IMAGE_SIZE;
    }
    const Layout layout(size);
    if (!layout.Persistent().Fits() || !layout.Scratch().Fits()) {
        return ZQA_E_OVERFLOW;
    }
    *persistent = layout.Persistent().Bytes();
    *scratch = layout.Scratch().Bytes();
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB3D_BINOSTEREO_MULTI_FUSE_Init(void* state, ZQA_SIZE size, void* persistent, void* scratch) {
    if (state == nullptr || persistent == nullptr || scratch == nullptr) {
        return ZQA_E_NULL;
    }
    uint64_t persistentBytes = 0;
    uint64_t scratchBytes = 0;
    const int32_t status = OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize(size, &persistentBytes, &scratchBytes);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const Layout layout(size);
    auto* depth = static_cast<uint8_t*>(persistent) + kStateBytes;
    auto* confidence = depth + layout.m_depth.Bytes();
    auto* fused = static_cast<uint8_t*>(scratch);
    FuseState fresh{};
    fresh.m_previousDepth = reinterpret_cast<int16_t*>(depth);
    fresh.m_previousConfidence = reinterpret_cast<float*>(confidence);
    fresh.m_currentConfidence = reinterpret_cast<float*>(confidence + layout.m_confidence.Bytes());
    fresh.m_largest = size;
    fresh.m_fused = reinterpret_cast<int16_t*>(fused);
    fresh.m_smoothed = fused + layout.m_depth.Bytes();
    fresh.m_gaussianWork = fresh.m_smoothed + layout.m_smoothed.Bytes();
    std::memcpy(state, &fresh, sizeof fresh);
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB3D_BINOSTEREO_MULTI_FUSE_Process(void* state, const OXB3D_BINOSTEREO_FUSE_FRAME* frame,
                                            const int32_t config[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS],
                                            int16_t* output) {
    if (state == nullptr || frame == nullptr || config == nullptr || output == nullptr ||
        frame->depth == nullptr) {
        return ZQA_E_NULL;
    }
    auto* self = static_cast<FuseState*>(state);
    const FuseCall call{frame->depth, frame->grey, frame->width, frame->height, config};
    const int32_t status = CheckCall(call, *self);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    // Frames of two sizes have no pixel in common that could be compared.
    const bool hadPrevious = self->m_hasPrevious != 0 && self->m_previous.width == call.m_width &&
                             self->m_previous.height == call.m_height;
    if (call.UsesConfidence()) {
        ComputeConfidence(call, self);
    }
    if (hadPrevious) {
        const WorkingRegion region(call);
        for (int64_t y = region.m_firstRow; y <= region.m_lastRow; ++y) {
            FuseRow(call, *self, region, y);
        }
    }
    StoreFrame(call, hadPrevious, self);
    // Samples outside the working region are never written and go out as the buffer holds them.
    std::copy_n(hadPrevious ? self->m_fused : self->m_previousDepth, call.Pixels(), output);
    return OXB3D_BINOSTEREO_OK;
}

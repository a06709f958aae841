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
    int16_t* previousDepth;
    float* previousConfidence;
    float* currentConfidence;
    uint32_t hasPrevious;
    ZQA_SIZE largest;  // what the buffers were sized for
    ZQA_SIZE previous; // size of the previous frame
    uint32_t reserved;
    int16_t* fused;
    uint8_t* smoothed;
    void* gaussianWork;
};
constexpr uint64_t kStateBytes = 128;
static_assert(sizeof(FuseState) <= kStateBytes);

struct Layout {
    CCheckedSize depth;
    CCheckedSize confidence;
    CCheckedSize smoothed;
    CCheckedSize work;

    explicit Layout(ZQA_SIZE size)
        : depth(PlaneSize(sizeof(int16_t), size.width, size.height).RoundedUp(kMemAlignment)),
          confidence(PlaneSize(sizeof(float), size.width, size.height).RoundedUp(kMemAlignment)),
          smoothed(PlaneSize(1, size.width, size.height).RoundedUp(kMemAlignment)),
          work(GaussianWorkSize(size.width).RoundedUp(kMemAlignment)) {}

    CCheckedSize Persistent() const {
        return CCheckedSize(kStateBytes).Plus(depth).Plus(confidence).Plus(confidence);
    }
    CCheckedSize Scratch() const { return depth.Plus(smoothed).Plus(work); }
};

// One call's inputs under names.
struct FuseCall {
    const int16_t* depth;
    const uint8_t* grey;
    int32_t width;
    int32_t height;
    const int32_t* config;

    int64_t Config(int32_t word) const { return config[word]; }
    int32_t Mode() const { return config[OXB3D_BINOSTEREO_FUSE_MODE]; }
    bool UsesConfidence() const { return Mode() == kFuseMeanOrLarger || Mode() == kFuseMeanOrConfident; }
    size_t Pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
};

int32_t CheckCall(const FuseCall& call, const FuseState& state) {
    if (call.width > state.largest.width || call.height > state.largest.height) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    const int64_t x0 = call.Config(OXB3D_BINOSTEREO_FUSE_X0);
    const int64_t y0 = call.Config(OXB3D_BINOSTEREO_FUSE_Y0);
    const int64_t x1 = call.Config(OXB3D_BINOSTEREO_FUSE_X1);
    const int64_t y1 = call.Config(OXB3D_BINOSTEREO_FUSE_Y1);
    if (x0 < 0 || y0 < 0 || x1 > call.width || y1 > call.height || x0 >= x1 || y0 >= y1) {
        return OXB3D_BINOSTEREO_E_FUSE_REGION;
    }
    if (call.Mode() == kFuseLarger) {
        return OXB3D_BINOSTEREO_OK;
    }
    if (!call.UsesConfidence()) {
        return OXB3D_BINOSTEREO_E_FUSE_MODE;
    }
    if (call.grey == nullptr) {
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
    SmoothGaussian11(call.grey, call.width, call.height, state->smoothed, state->gaussianWork);
    const int32_t peak = call.config[OXB3D_BINOSTEREO_FUSE_PEAK];
    const auto peakGrey = static_cast<float>(peak);
    const ConfidenceTent tent{peak, 255.0F / peakGrey, 255.0F / (255.0F - peakGrey)};
    std::fill_n(state->currentConfidence, call.Pixels(), 0.0F);
    const int64_t inner = call.width - 2 * kGaussianHalf;
    for (int64_t y = kGaussianHalf; inner > 0 && y < call.height - kGaussianHalf; ++y) {
        const int64_t first = y * call.width + kGaussianHalf;
        ImageKernelsInUse().weigh(tent, state->smoothed + first, inner, state->currentConfidence + first);
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
    int64_t firstColumn;
    int64_t endColumn;
    int64_t firstRow;
    int64_t lastRow;

    explicit WorkingRegion(const FuseCall& call) {
        const int64_t rowShift = call.Config(OXB3D_BINOSTEREO_FUSE_ROW_SHIFT);
        const int64_t columnShift = call.Config(OXB3D_BINOSTEREO_FUSE_COLUMN_SHIFT);
        firstColumn = std::max(columnShift, call.Config(OXB3D_BINOSTEREO_FUSE_X0));
        endColumn = std::min(call.width - 1 - columnShift, call.Config(OXB3D_BINOSTEREO_FUSE_X1));
        firstRow = std::max(rowShift, call.Config(OXB3D_BINOSTEREO_FUSE_Y0));
        lastRow = std::min({call.Config(OXB3D_BINOSTEREO_FUSE_Y1), call.height - 1 - rowShift,
                            static_cast<int64_t>(call.height) - 1});
    }
};

// Depths are compared where the pixel is, confidences are read at the shifted place, deliberately. A
// confidence outside the map counts as 0.
void FuseRow(const FuseCall& call, const FuseState& state, const WorkingRegion& region, int64_t y) {
    const int64_t columnShift = call.Config(OXB3D_BINOSTEREO_FUSE_COLUMN_SHIFT);
    const int64_t shiftedRow = y - call.Config(OXB3D_BINOSTEREO_FUSE_ROW_SHIFT);
    const bool rowInside = shiftedRow >= 0 && shiftedRow < call.height;
    const auto fuse = [&](int64_t x, int64_t count, const float* wc, const float* wp) {
        const int64_t index = y * call.width + x;
        ImageKernelsInUse().fuse(
            {call.depth + index, state.previousDepth + index, wc, wp, state.fused + index, count,
             static_cast<float>(call.Config(OXB3D_BINOSTEREO_FUSE_THRESHOLD)), call.Mode()});
    };
    int64_t x = region.firstColumn;
    if (!call.UsesConfidence()) {
        fuse(x, region.endColumn - x, nullptr, nullptr);
        return;
    }
    // The working region starts at the shift at least, so only its right end can leave the map.
    const int64_t insideEnd = rowInside ? std::min(region.endColumn, call.width + columnShift) : x;
    if (insideEnd > x) {
        const int64_t shifted = shiftedRow * call.width + x - columnShift;
        fuse(x, insideEnd - x, state.currentConfidence + shifted, state.previousConfidence + shifted);
        x = insideEnd;
    }
    constexpr float kNone = 0.0F;
    for (; x < region.endColumn; ++x) {
        fuse(x, 1, &kNone, &kNone);
    }
}

// The frame becomes the previous one. Where mode 3 stores the first frame, nothing is known of its
// confidence.
void KeepFrame(const FuseCall& call, bool hadPrevious, FuseState* state) {
    if (call.UsesConfidence()) {
        std::copy_n(state->currentConfidence, call.Pixels(), state->previousConfidence);
    } else if (!hadPrevious) {
        std::fill_n(state->previousConfidence, call.Pixels(), 0.0F);
    }
    std::copy_n(call.depth, call.Pixels(), state->previousDepth);
    state->previous = {call.width, call.height};
    state->hasPrevious = 1;
}

} // namespace

void ox3d::stereo::reference::Weigh(const ConfidenceTent& tent, const uint8_t* grey, int64_t count,
                                    float* confidence) {
    for (int64_t i = 0; i < count; ++i) {
        confidence[i] = tent.At(grey[i]);
    }
}

void ox3d::stereo::reference::Fuse(const FuseSpan& span) {
    for (int64_t i = 0; i < span.count; ++i) {
        const int16_t d = span.depth[i];
        const int16_t p = span.previousDepth[i];
        if (span.mode == kFuseLarger) {
            span.fused[i] = std::max(d, p);
            continue;
        }
        const float wc = span.confidence[i];
        const float wp = span.previousConfidence[i];
        span.fused[i] = span.mode == kFuseMeanOrConfident ? FuseMeanOrConfident(d, p, wc, wp, span.threshold)
                                                          : FuseMeanOrLarger(d, p, wc, wp, span.threshold);
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
    auto* confidence = depth + layout.depth.Bytes();
    auto* fused = static_cast<uint8_t*>(scratch);
    FuseState fresh{};
    fresh.previousDepth = reinterpret_cast<int16_t*>(depth);
    fresh.previousConfidence = reinterpret_cast<float*>(confidence);
    fresh.currentConfidence = reinterpret_cast<float*>(confidence + layout.confidence.Bytes());
    fresh.largest = size;
    fresh.fused = reinterpret_cast<int16_t*>(fused);
    fresh.smoothed = fused + layout.depth.Bytes();
    fresh.gaussianWork = fresh.smoothed + layout.smoothed.Bytes();
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
    const bool hadPrevious =
        self->hasPrevious != 0 && self->previous.width == call.width && self->previous.height == call.height;
    if (call.UsesConfidence()) {
        ComputeConfidence(call, self);
    }
    if (hadPrevious) {
        const WorkingRegion region(call);
        for (int64_t y = region.firstRow; y <= region.lastRow; ++y) {
            FuseRow(call, *self, region, y);
        }
    }
    KeepFrame(call, hadPrevious, self);
    // Samples outside the working region are never written and go out as the buffer holds them.
    std::copy_n(hadPrevious ? self->fused : self->previousDepth, call.Pixels(), output);
    return OXB3D_BINOSTEREO_OK;
}

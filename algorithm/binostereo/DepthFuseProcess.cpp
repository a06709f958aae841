// Process type 6: checks the records and hands the frame to multi-frame fusion with the object's parameters.
// Relies on the fusion functions; their statuses and the image check's are passed on unmapped.
#include "algorithm/binostereo/Gaussian.h"
#include "algorithm/binostereo/ImageTiers.h"
#include "algorithm/binostereo/Records.h"

using namespace ox3d::stereo;

namespace {

using Input = OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT;
using Output = ZQA_IMAGE;

constexpr int32_t kBorder = kGaussianHalf; // that smoothing does not cover whole
constexpr int32_t kPeakGrey = 70;

int32_t CheckImages(const Input& in, int32_t mode) {
    if (in.depth.data[0] == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    if (in.depth.width != in.depth.step[0]) {
        return OXB3D_BINOSTEREO_E_IMAGE_STEP;
    }
    if (mode == kFuseMeanOrLarger || mode == kFuseMeanOrConfident) {
        if (in.grey.width != in.depth.width || in.grey.height != in.depth.height ||
            in.grey.step[0] != in.depth.step[0]) {
            return OXB3D_BINOSTEREO_E_IMAGE_STEP;
        }
        // Unmapped, deliberately, here and below: callers see the small negative values.
        const int32_t status = ZQA_CheckImage(&in.grey);
        if (status != OXB3D_BINOSTEREO_OK) {
            return status;
        }
    }
    return ZQA_CheckImage(&in.depth);
}

struct FuseConfig {
    int32_t m_words[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS];
};

FuseConfig ConfigOf(void* handle, const ZQA_IMAGE& depth) {
    FuseConfig config{};
    config.m_words[OXB3D_BINOSTEREO_FUSE_X0] = kBorder;
    config.m_words[OXB3D_BINOSTEREO_FUSE_Y0] = kBorder;
    config.m_words[OXB3D_BINOSTEREO_FUSE_X1] = depth.width - 1 - kBorder;
    config.m_words[OXB3D_BINOSTEREO_FUSE_Y1] = depth.height - 1 - kBorder;
    config.m_words[OXB3D_BINOSTEREO_FUSE_KERNEL] = kGaussianTaps;
    config.m_words[OXB3D_BINOSTEREO_FUSE_MODE] = ParamOf(handle, EParam::FuseMode);
    config.m_words[OXB3D_BINOSTEREO_FUSE_THRESHOLD] = ParamOf(handle, EParam::FuseThreshold);
    config.m_words[OXB3D_BINOSTEREO_FUSE_PINNED] = ParamOf(handle, EParam::FusePinned);
    config.m_words[OXB3D_BINOSTEREO_FUSE_PEAK] = kPeakGrey;
    config.m_words[OXB3D_BINOSTEREO_FUSE_ROW_SHIFT] = ParamOf(handle, EParam::FuseRowShift);
    config.m_words[OXB3D_BINOSTEREO_FUSE_COLUMN_SHIFT] = ParamOf(handle, EParam::FuseColumnShift);
    return config;
}

} // namespace

int32_t OXB3D_BINOSTEREO_DepthFuseProcess(void* handle, void* input, int32_t inputSize, void* output,
                                          int32_t outputSize) {
    int32_t status = CheckRecords<Input, Output>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<Input>(input);
    const auto out = ReadRecord<Output>(output);
    status = CheckImages(in, ParamOf(handle, EParam::FuseMode));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const BinoObject& object = *ObjectOf(handle);
    if (!FitsAbility(object, in.depth.width, in.depth.height)) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    const OXB3D_BINOSTEREO_FUSE_FRAME frame{static_cast<const int16_t*>(in.depth.data[0]),
                                            static_cast<const uint8_t*>(in.grey.data[0]), in.depth.width,
                                            in.depth.height};
    return OXB3D_BINOSTEREO_MULTI_FUSE_Process(object.m_multiFuseRegion, &frame,
                                               ConfigOf(handle, in.depth).m_words,
                                               static_cast<int16_t*>(out.data[0]));
}

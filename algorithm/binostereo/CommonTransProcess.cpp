// Process type 15: checks the records and hands the image to the common data transform.
// Relies on the transform for the choice of its mode; uses no object.
#include "algorithm/binostereo/Records.h"

using namespace ox3d::stereo;

namespace {

using Input = OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT;
using Output = OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT;

int32_t CheckSource(const ZQA_IMAGE& source) {
    const int32_t status = OXB_ZqaStatusToOxbAlgStatus(ZQA_CheckImage(&source));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    if (source.format != ZQA_FORMAT_DEPTH16) {
        return OXB3D_BINOSTEREO_E_IMAGE_FORMAT;
    }
    if (source.width < kMinWidth || source.height < kMinHeight) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    // With the image check this demands a step equal to the width, deliberately: rows must be unpadded.
    return source.width < source.step[0] ? OXB3D_BINOSTEREO_E_IMAGE_STEP : OXB3D_BINOSTEREO_OK;
}

} // namespace

int32_t OXB3D_BINOSTEREO_CommonTransProcess(void* input, int32_t inputSize, void* output,
                                            int32_t outputSize) {
    // The transform has no object; the input stands in for it in the common check.
    int32_t status = CheckRecords<Input, Output>(input, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<Input>(input);
    const auto out = ReadRecord<Output>(output);
    auto* targetDepth = static_cast<int16_t*>(out.targetDepth.data[0]);
    if (in.sourceIntrinsics == nullptr ||
        (out.points16 == nullptr && out.pointsFloat == nullptr && targetDepth == nullptr)) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const ZQA_IMAGE& source = in.sourceDepth;
    status = CheckSource(source);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const int32_t targetWidth = targetDepth != nullptr ? out.targetDepth.step[0] : 0;
    if (targetWidth > source.width) {
        return OXB3D_BINOSTEREO_E_IMAGE_STEP;
    }
    const auto run = [&](auto transform, auto* points) {
        return transform(static_cast<const int16_t*>(source.data[0]), source.step[0], source.width,
                         source.height, points, targetDepth, targetWidth, in.sourceIntrinsics, in.transform,
                         in.targetIntrinsics, in.targetDistortion);
    };
    return out.pointsFloat != nullptr ? run(OXB3D_BINOSTEREO_Comn_Trans_f32, out.pointsFloat)
                                      : run(OXB3D_BINOSTEREO_Comn_Trans_s16, out.points16);
}

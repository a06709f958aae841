// Process types 3 and 13: check the records and score one region of a depth image, or several.
// Relies on the fill score; the object gives nothing but parameters.
#include "algorithm/binostereo/DepthScore.h"
#include "algorithm/binostereo/Records.h"

#include <algorithm>

using namespace ox3d::stereo;

namespace {

using Region = OXB3D_BINOSTEREO_REGION;
using Input = OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT;
using Output = OXB3D_BINOSTEREO_DEPTH_SCORE_OUTPUT;
using MroiInput = OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT;
using MroiOutput = OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT;

// What both processes ask of the image; isInside stands between format and image check in the order of
// statuses.
int32_t CheckImage(const ZQA_IMAGE& depth, bool isInside) {
    if (depth.format != ZQA_FORMAT_DEPTH16) {
        return OXB3D_BINOSTEREO_E_IMAGE_FORMAT;
    }
    return isInside ? ZQA_CheckImage(&depth) : OXB3D_BINOSTEREO_E_REGION;
}

int32_t ScoreRegion(void* handle, const ZQA_IMAGE& depth, const Region& region, int32_t* score) {
    const int32_t param3Aligned = (ParamOf(handle, EParam::Param3) + 15) / 16 * 16;
    return OXB3D_BINOSTEREO_DepthScore(static_cast<const int16_t*>(depth.data[0]), depth.step[0],
                                       {depth.width, depth.height}, ParamOf(handle, EParam::Param1),
                                       param3Aligned, score, {region.x, region.y},
                                       {region.width, region.height});
}

} // namespace

int32_t OXB3D_BINOSTEREO_DepthScoreProcess(void* handle, void* input, int32_t inputSize, void* output,
                                           int32_t outputSize) {
    int32_t status = CheckRecords<Input, Output>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<Input>(input);
    status = CheckImage(in.depth, IsInside(in.region, in.depth.width, in.depth.height));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    Output out{};
    status = ScoreRegion(handle, in.depth, in.region, &out.score);
    if (status == OXB3D_BINOSTEREO_OK) {
        WriteRecord(out, output);
    }
    return status;
}

int32_t OXB3D_BINOSTEREO_DepthScoreMroiProcess(void* handle, void* input, int32_t inputSize, void* output,
                                               int32_t outputSize) {
    int32_t status = CheckRecords<MroiInput, MroiOutput>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<MroiInput>(input);
    const auto out = ReadRecord<MroiOutput>(output);
    if (in.regions == nullptr || out.scores == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    // All regions are checked before the first score is written.
    const auto isUsable = [&in](const Region& region) {
        return IsInside(region, in.depth.width, in.depth.height) && IsScorable(region);
    };
    status = CheckImage(in.depth, in.count >= 1 && std::all_of(in.regions, in.regions + in.count, isUsable));
    for (int32_t i = 0; status == OXB3D_BINOSTEREO_OK && i < in.count; ++i) {
        status = ScoreRegion(handle, in.depth, in.regions[i], &out.scores[i]);
    }
    return status;
}

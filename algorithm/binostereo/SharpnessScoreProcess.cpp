// Process type 11: checks the records and scores how sharp a region of a grey image is.
// Relies on the measure of edges; the object gives its ability and the pass mark.
#include "algorithm/binostereo/DepthScore.h"
#include "algorithm/binostereo/FloatToInt.h"
#include "algorithm/binostereo/Records.h"
#include "algorithm/binostereo/Sharpness.h"

#include <algorithm>

using namespace ox3d::stereo;

namespace {

using Input = OXB3D_BINOSTEREO_SHARPNESS_SCORE_INPUT;
using Output = OXB3D_BINOSTEREO_SHARPNESS_SCORE_OUTPUT;

constexpr int32_t kMinEdges = 16;
constexpr float kFullScore = 100;
constexpr float kSharpWidth = 1.2F; // pixels, of edges that leave nothing to wish for
constexpr float kScoreOfPixel = 20; // that each pixel more takes

int32_t CheckImage(const BinoObject& object, const Input& in) {
    if (in.grey.format != ZQA_FORMAT_GREY8) {
        return OXB3D_BINOSTEREO_E_IMAGE_FORMAT;
    }
    if (!FitsAbility(object, in.grey.width, in.grey.height)) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    const int32_t status = OXB_ZqaStatusToOxbAlgStatus(ZQA_CheckImage(&in.grey));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    return IsInside(in.region, in.grey.width, in.grey.height) && IsScorable(in.region)
               ? OXB3D_BINOSTEREO_OK
               : OXB3D_BINOSTEREO_E_REGION;
}

Output ScoreOf(const Sharpness& sharpness, int32_t mark) {
    Output out{};
    out.edgeWidth = sharpness.m_edgeWidth;
    out.edges = sharpness.m_edges;
    if (sharpness.m_edges >= kMinEdges) {
        const float score = kFullScore - kScoreOfPixel * (sharpness.m_edgeWidth - kSharpWidth);
        out.score = FloatToInt32(std::clamp(score, 0.0F, kFullScore));
    }
    out.passed = out.score >= mark ? 1 : 0;
    return out;
}

} // namespace

int32_t OXB3D_BINOSTEREO_SharpnessScoreProcess(void* handle, void* input, int32_t inputSize, void* output,
                                               int32_t outputSize) {
    int32_t status = CheckRecords<Input, Output>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<Input>(input);
    status = CheckImage(*ObjectOf(handle), in);
    if (status == OXB3D_BINOSTEREO_OK) {
        const int32_t mark = ParamOf(handle, EParam::SharpnessMark);
        WriteRecord(ScoreOf(MeasureSharpness(ViewOf(in.grey, in.region)), mark), output);
    }
    return status;
}

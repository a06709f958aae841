// Process type 12: checks the records and scores how well a depth and a color image lie on one another.
// Relies on the measure of the shift; the object gives its ability and the pass mark.
#include "algorithm/binostereo/CalibrationCheck.h"
#include "algorithm/binostereo/FloatToInt.h"
#include "algorithm/binostereo/Records.h"
#include "algorithm/binostereo/Registration.h"

using namespace ox3d::stereo;

namespace {

using Input = OXB3D_BINOSTEREO_RGBD_CALIB_SCORE_INPUT;
using Output = OXB3D_BINOSTEREO_RGBD_CALIB_SCORE_OUTPUT;

constexpr int32_t kMinEdges = 64;
constexpr float kFullScore = 100;

int32_t CheckImages(const BinoObject& object, const Input& in, const OXB3D_BINOSTEREO_RGBD_PARAM& param) {
    if (in.depth.format != ZQA_FORMAT_DEPTH16 || in.grey.format != ZQA_FORMAT_GREY8) {
        return OXB3D_BINOSTEREO_E_IMAGE_FORMAT;
    }
    const bool fits = FitsAbility(object, in.depth.width, in.depth.height) &&
                      FitsAbility(object, in.grey.width, in.grey.height);
    if (!fits || in.depth.width != param.depthWidth || in.depth.height != param.depthHeight ||
        in.grey.width != param.colorWidth || in.grey.height != param.colorHeight) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    const int32_t status = ZQA_CheckImage(&in.depth);
    return OXB_ZqaStatusToOxbAlgStatus(status != OXB3D_BINOSTEREO_OK ? status : ZQA_CheckImage(&in.grey));
}

Output ScoreOf(const Registration& registration, int32_t mark) {
    Output out{};
    if (registration.m_edges >= kMinEdges) {
        out.dx = registration.m_dx;
        out.dy = registration.m_dy;
        const float length = std::hypot(out.dx, out.dy);
        out.score = FloatToInt32(
            std::max(kFullScore * (1 - length / static_cast<float>(kMaxRegistrationShift)), 0.0F));
    }
    out.passed = out.score >= mark ? 1 : 0;
    return out;
}

} // namespace

int32_t OXB3D_BINOSTEREO_RgbdCalibScoreProcess(void* handle, void* input, int32_t inputSize, void* output,
                                               int32_t outputSize) {
    int32_t status = CheckRecords<Input, Output>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<Input>(input);
    if (in.param == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const auto param = ReadRecord<OXB3D_BINOSTEREO_RGBD_PARAM>(in.param);
    status = CheckImages(*ObjectOf(handle), in, param);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    if (!IsCalibration(param)) {
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    const GreyView color = ViewOf(in.grey, {0, 0, in.grey.width, in.grey.height});
    const Registration registration =
        MeasureRegistration(static_cast<const int16_t*>(in.depth.data[0]), in.depth.step[0], color, param);
    WriteRecord(ScoreOf(registration, ParamOf(handle, EParam::RegistrationMark)), output);
    return OXB3D_BINOSTEREO_OK;
}

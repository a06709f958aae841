// The process dispatcher: one table of types, ability bits and sub-processes.
// Relies on each sub-process checking its records itself.
#include "algorithm/binostereo/Object.h"

#include <algorithm>
#include <iterator>

using namespace ox3d::stereo;

namespace {

struct ProcessRule {
    int32_t m_type;
    uint32_t m_abilityBit;
    int32_t (*m_run)(void* handle, void* input, int32_t inputSize, void* output, int32_t outputSize);
};

// The transform needs no object.
int32_t CommonTrans(void* /*handle*/, void* input, int32_t inputSize, void* output, int32_t outputSize) {
    return OXB3D_BINOSTEREO_CommonTransProcess(input, inputSize, output, outputSize);
}

constexpr ProcessRule kProcessRules[] = {
    {OXB3D_BINOSTEREO_PROCESS_INIT, OXB3D_BINOSTEREO_ABILITY_DEPTH, OXB3D_BINOSTEREO_InitProcess},
    {OXB3D_BINOSTEREO_PROCESS_DEPTH, OXB3D_BINOSTEREO_ABILITY_DEPTH, OXB3D_BINOSTEREO_DepthProcess},
    {OXB3D_BINOSTEREO_PROCESS_DEPTH_SCORE, OXB3D_BINOSTEREO_ABILITY_SCORE,
     OXB3D_BINOSTEREO_DepthScoreProcess},
    {OXB3D_BINOSTEREO_PROCESS_SADDLE_SCORE, OXB3D_BINOSTEREO_ABILITY_SCORE,
     OXB3D_BINOSTEREO_SaddleScoreProcess},
    {OXB3D_BINOSTEREO_PROCESS_RECTIFY, OXB3D_BINOSTEREO_ABILITY_DEPTH, OXB3D_BINOSTEREO_RectifyProcess},
    {OXB3D_BINOSTEREO_PROCESS_DEPTH_FUSE, OXB3D_BINOSTEREO_ABILITY_MULTI_FUSE,
     OXB3D_BINOSTEREO_DepthFuseProcess},
    {OXB3D_BINOSTEREO_PROCESS_CALIB, OXB3D_BINOSTEREO_ABILITY_CALIB, OXB3D_BINOSTEREO_CalibProcess},
    {OXB3D_BINOSTEREO_PROCESS_RGBD_CALIB, OXB3D_BINOSTEREO_ABILITY_RGBD_CALIB,
     OXB3D_BINOSTEREO_RGBD_CalibProcess},
    {OXB3D_BINOSTEREO_PROCESS_RGBD_PARAM_TRANS, OXB3D_BINOSTEREO_ABILITY_RGBD_CALIB,
     OXB3D_BINOSTEREO_RGBD_ParamTransProcess},
    {OXB3D_BINOSTEREO_PROCESS_RGBD_STEREO_CALIB, OXB3D_BINOSTEREO_ABILITY_RGBD_CALIB,
     OXB3D_BINOSTEREO_RGBD_StereoCalib_Process},
    {OXB3D_BINOSTEREO_PROCESS_SHARPNESS_SCORE, OXB3D_BINOSTEREO_ABILITY_SCORE,
     OXB3D_BINOSTEREO_SharpnessScoreProcess},
    {OXB3D_BINOSTEREO_PROCESS_RGBD_CALIB_SCORE, OXB3D_BINOSTEREO_ABILITY_SCORE,
     OXB3D_BINOSTEREO_RgbdCalibScoreProcess},
    {OXB3D_BINOSTEREO_PROCESS_DEPTH_SCORE_MROI, OXB3D_BINOSTEREO_ABILITY_SCORE,
     OXB3D_BINOSTEREO_DepthScoreMroiProcess},
    {OXB3D_BINOSTEREO_PROCESS_SADDLE_SCORE_MROI, OXB3D_BINOSTEREO_ABILITY_SCORE,
     OXB3D_BINOSTEREO_SaddleScoreMroiProcess},
    {OXB3D_BINOSTEREO_PROCESS_COMMON_TRANS, OXB3D_BINOSTEREO_ABILITY_COMMON_TRANS, CommonTrans},
};

} // namespace

int32_t OXB3D_BINOSTEREO_Process(void* handle, int32_t processType, void* input, int32_t inputSize,
                                 void* output, int32_t outputSize) {
    const int32_t status = CheckHandle(handle);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto* rule = std::find_if(std::begin(kProcessRules), std::end(kProcessRules),
                                    [processType](const ProcessRule& r) { return r.m_type == processType; });
    if (rule == std::end(kProcessRules) ||
        (ObjectOf(handle)->m_ability.abilityFlags & rule->m_abilityBit) == 0) {
        return OXB3D_BINOSTEREO_E_PROCESS_TYPE;
    }
    return rule->m_run(handle, input, inputSize, output, outputSize);
}

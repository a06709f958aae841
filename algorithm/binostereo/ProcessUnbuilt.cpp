// The processes that are not built. Each is reached through its ability bit like the others and fails
// honestly. Relies on nothing.
#include <ox3drgbd/Oxb3dBinoStereo.h>

namespace {

int32_t NotBuilt(const void* handle, const void* input, const void* output) {
    return handle == nullptr || input == nullptr || output == nullptr ? OXB3D_BINOSTEREO_E_NULL
                                                                      : OXB3D_BINOSTEREO_E_GENERAL;
}

} // namespace

int32_t OXB3D_BINOSTEREO_DepthProcess(void* handle, void* input, int32_t /*inputSize*/, void* output,
                                      int32_t /*outputSize*/) {
    return NotBuilt(handle, input, output);
}

int32_t OXB3D_BINOSTEREO_SaddleScoreProcess(void* handle, void* input, int32_t /*inputSize*/, void* output,
                                            int32_t /*outputSize*/) {
    return NotBuilt(handle, input, output);
}

int32_t OXB3D_BINOSTEREO_CalibProcess(void* handle, void* input, int32_t /*inputSize*/, void* output,
                                      int32_t /*outputSize*/) {
    return NotBuilt(handle, input, output);
}

int32_t OXB3D_BINOSTEREO_RGBD_CalibProcess(void* handle, void* input, int32_t /*inputSize*/, void* output,
                                           int32_t /*outputSize*/) {
    return NotBuilt(handle, input, output);
}

int32_t OXB3D_BINOSTEREO_RGBD_ParamTransProcess(void* handle, void* input, int32_t /*inputSize*/,
                                                void* output, int32_t /*outputSize*/) {
    return NotBuilt(handle, input, output);
}

int32_t OXB3D_BINOSTEREO_RGBD_StereoCalib_Process(void* handle, void* input, int32_t /*inputSize*/,
                                                  void* output, int32_t /*outputSize*/) {
    return NotBuilt(handle, input, output);
}

int32_t OXB3D_BINOSTEREO_SharpnessScoreProcess(void* handle, void* input, int32_t /*inputSize*/, void* output,
                                               int32_t /*outputSize*/) {
    return NotBuilt(handle, input, output);
}

int32_t OXB3D_BINOSTEREO_RgbdCalibScoreProcess(void* handle, void* input, int32_t /*inputSize*/, void* output,
                                               int32_t /*outputSize*/) {
    return NotBuilt(handle, input, output);
}

int32_t OXB3D_BINOSTEREO_SaddleScoreMroiProcess(void* handle, void* input, int32_t /*inputSize*/,
                                                void* output, int32_t /*outputSize*/) {
    return NotBuilt(handle, input, output);
}

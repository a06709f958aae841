// The processes that are not implemented. Each is reached through its ability bit like the others and fails
// with a status. Relies on nothing.
#include <ox3drgbd/Oxb3dBinoStereo.h>

namespace {

int32_t NotImplemented(const void* handle, const void* input, const void* output) {
    return handle == nullptr || input == nullptr || output == nullptr ? OXB3D_BINOSTEREO_E_NULL
                                                                      : OXB3D_BINOSTEREO_E_GENERAL;
}

} // namespace

#define OX3D_NOT_IMPLEMENTED(name)                                                                         \
    int32_t name(void* handle, void* input, int32_t /*inputSize*/, void* output, int32_t /*outputSize*/) { \
        return NotImplemented(handle, input, output);                                                      \
    }

OX3D_NOT_IMPLEMENTED(OXB3D_BINOSTEREO_SaddleScoreProcess)
OX3D_NOT_IMPLEMENTED(OXB3D_BINOSTEREO_CalibProcess)
OX3D_NOT_IMPLEMENTED(OXB3D_BINOSTEREO_RGBD_CalibProcess)
OX3D_NOT_IMPLEMENTED(OXB3D_BINOSTEREO_RGBD_ParamTransProcess)
OX3D_NOT_IMPLEMENTED(OXB3D_BINOSTEREO_RGBD_StereoCalib_Process)
OX3D_NOT_IMPLEMENTED(OXB3D_BINOSTEREO_SharpnessScoreProcess)
OX3D_NOT_IMPLEMENTED(OXB3D_BINOSTEREO_RgbdCalibScoreProcess)
OX3D_NOT_IMPLEMENTED(OXB3D_BINOSTEREO_SaddleScoreMroiProcess)

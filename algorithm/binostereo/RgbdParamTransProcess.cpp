// Process type 9: the calibration of a depth and a color camera, as it was taken, becomes that of the depth image and of the
// sizes that are worked with. Relies on the rectification geometry of process type 1; the object gives nothing.
#include "algorithm/binostereo/CalibrationCheck.h"
#include "algorithm/binostereo/Records.h"
#include "algorithm/binostereo/Rectification.h"

using namespace ox3d::stereo;
using namespace ox3d::vision;

namespace {

using Camera = OXB3D_BINOSTEREO_CAMERA;
using Rig = OXB3D_BINOSTEREO_INIT_INPUT;
using Param = OXB3D_BINOSTEREO_RGBD_PARAM;
using Input = OXB3D_BINOSTEREO_RGBD_PARAM_TRANS_INPUT;

bool IsSize(int32_t width, int32_t height) {
    return width >= 1 && height >= 1;
}

// Depth is seen by the rectified left camera, turned against the left one. Only where the right camera lies on the right,
// without which there is no depth. A point goes back into the left camera's frame first.
bool Rectify(const Rig& rig, Param* param) {
    Rectification rectification{};
    if (!ComputeRectification(rig, &rectification) || !(rectification.m_rightOffset > 0)) {
        return false;
    }
    const float* const p = rectification.m_projection;
    param->depth = {{p[0], 0, p[2], 0, p[5], p[6], 0, 0, 1}, {}};
    const Matrix3 back = Transposed(Widened(rectification.m_leftRotation));
    Narrow(Multiply(Widened(param->rotation), back), param->rotation);
    return true;
}

// One row of a camera's matrix; the middle of a pixel is where its number says, so that the image begins at -0.5.
void ScaleRow(double scale, float* row, float* center) {
    constexpr double kHalf = 0.5;
    const double moved = static_cast<double>(*center) * scale + kHalf * (scale - 1);
    for (int32_t i = 0; i < 3; ++i) {
        row[i] = static_cast<float>(static_cast<double>(row[i]) * scale);
    }
    *center = static_cast<float>(moved);
}

void Resize(int32_t width, int32_t height, Camera* camera, int32_t* ownWidth, int32_t* ownHeight) {
    ScaleRow(static_cast<double>(width) / *ownWidth, camera->matrix, &camera->matrix[2]);
    ScaleRow(static_cast<double>(height) / *ownHeight, camera->matrix + 3, &camera->matrix[5]);
    *ownWidth = width;
    *ownHeight = height;
}

int32_t CheckSizes(const Input& in, const Rig* rig) {
    const Param& param = in.param;
    const bool areSizes = IsSize(param.depthWidth, param.depthHeight) &&
                          IsSize(param.colorWidth, param.colorHeight) &&
                          IsSize(in.targetDepthWidth, in.targetDepthHeight) &&
                          IsSize(in.targetColorWidth, in.targetColorHeight);
    const bool agree = rig == nullptr || (rig->width == param.depthWidth && rig->height == param.depthHeight);
    return areSizes && agree ? OXB3D_BINOSTEREO_OK : OXB3D_BINOSTEREO_E_IMAGE_SIZE;
}

} // namespace

int32_t OXB3D_BINOSTEREO_RGBD_ParamTransProcess(void* handle, void* input, int32_t inputSize, void* output,
                                                int32_t outputSize) {
    int32_t status = CheckRecords<Input, Param>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<Input>(input);
    const bool isRaw = in.rig != nullptr;
    const Rig rig = isRaw ? ReadRecord<Rig>(in.rig) : Rig{};
    status = CheckSizes(in, isRaw ? &rig : nullptr);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    Param out = in.param;
    if (!IsCalibration(out) || (isRaw && !Rectify(rig, &out))) {
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    Resize(in.targetDepthWidth, in.targetDepthHeight, &out.depth, &out.depthWidth, &out.depthHeight);
    Resize(in.targetColorWidth, in.targetColorHeight, &out.color, &out.colorWidth, &out.colorHeight);
    if (!IsCalibration(out)) { // a focal length that single precision does not hold
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    std::fill(std::begin(out.reserved), std::end(out.reserved), uint8_t{0});
    WriteRecord(out, output);
    return OXB3D_BINOSTEREO_OK;
}

// Process type 10: calibrates both cameras of a stereo pair and a color camera in one fit, by views of a board.
// Relies on the calibration by boards; the object gives its ability, parameters and memory.
#include "algorithm/binostereo/BoardRequest.h"
#include "algorithm/binostereo/CalibrationCheck.h"
#include "algorithm/binostereo/Records.h"

#include <algorithm>

using namespace ox3d::stereo;

namespace {

using Input = OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_INPUT;
using Output = OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_OUTPUT;

constexpr int32_t kColor = 2; // behind the left and the right camera

} // namespace

int32_t OXB3D_BINOSTEREO_RGBD_StereoCalib_Process(void* handle, void* input, int32_t inputSize, void* output,
                                                  int32_t outputSize) {
    int32_t status = CheckRecords<Input, Output>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<Input>(input);
    if (in.triples == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const BoardRequest request = {in.board, {in.triples, in.views, kColor + 1, {0, 0, kColor}}};
    status = CheckRequest(*ObjectOf(handle), request);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    BoardFit fit{};
    Output out{};
    if (!CalibrateViews(handle, request, nullptr, &fit) ||
        !RigOf(fit, request.m_images.SizeOf(0), &out.rig)) {
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    out.param = RgbdOf(fit, request.m_images, kColor);
    if (!IsCalibration(out.param)) { // a number that single precision does not hold
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    std::transform(std::begin(fit.m_calibration.m_rms), std::end(fit.m_calibration.m_rms), out.rms,
                   [](double rms) { return static_cast<float>(rms); });
    out.used = fit.m_seen.m_views;
    out.mask = fit.m_mask;
    WriteRecord(out, output);
    return OXB3D_BINOSTEREO_OK;
}

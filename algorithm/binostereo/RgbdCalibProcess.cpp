// Process type 8: calibrates a color camera and its place to a depth camera that is known, by views of a board.
// Relies on the calibration by boards; the object gives its ability, parameters and memory.
#include "algorithm/binostereo/BoardRequest.h"
#include "algorithm/binostereo/CalibrationCheck.h"
#include "algorithm/binostereo/LensRecords.h"
#include "algorithm/binostereo/Records.h"

#include <cmath>

using namespace ox3d::stereo;
using namespace ox3d::vision;

namespace {

using Input = OXB3D_BINOSTEREO_RGBD_CALIB_INPUT;
using Output = OXB3D_BINOSTEREO_RGBD_CALIB_OUTPUT;

// Where color has a point that depth sees in this pixel on the plane of a board. False where the plane is not met.
bool Transfer(const BundleCameras& cameras, const Pose& board, const Corner& corner, Point2* pixel) {
    Vector3 ray{};
    if (!RayOf(cameras.m_lenses[0], {corner.x, corner.y}, &ray)) {
        return false;
    }
    const Matrix3& r = board.m_rotation;
    const Vector3 normal = {r[2], r[5], r[8]};
    const double along = Dot(normal, board.m_translation) / Dot(normal, ray);
    const Pose& color = cameras.m_poses[1];
    Vector3 point = Multiply(color.m_rotation, ray);
    for (size_t axis = 0; axis < 3; ++axis) {
        point[axis] = point[axis] * along + color.m_translation[axis];
    }
    *pixel = PixelOf(cameras.m_lenses[1], point);
    return std::isfinite(pixel->x) && std::isfinite(pixel->y);
}

// Of the corners that were kept in both images.
double RmsTransfer(const BoardFit& fit) {
    const BoardViews& seen = fit.m_seen;
    const BoardCalibration& calibration = fit.m_calibration;
    const size_t color = seen.FirstOf(0, 1);
    double squares = 0;
    double count = 0;
    for (size_t i = 0; i < color; ++i) {
        const Pose& board = calibration.m_views[i / seen.BoardCorners()].m_pose;
        Point2 at{};
        if (calibration.m_isLeftOut[i] || calibration.m_isLeftOut[color + i] ||
            !Transfer(calibration.m_cameras, board, seen.m_corners[i], &at)) {
            continue;
        }
        const Corner& found = seen.m_corners[color + i];
        squares += (found.x - at.x) * (found.x - at.x) + (found.y - at.y) * (found.y - at.y);
        count += 1;
    }
    return std::sqrt(squares / std::max(count, 1.0));
}

} // namespace

int32_t OXB3D_BINOSTEREO_RGBD_CalibProcess(void* handle, void* input, int32_t inputSize, void* output,
                                           int32_t outputSize) {
    int32_t status = CheckRecords<Input, Output>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<Input>(input);
    if (in.pairs == nullptr || in.depth == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const BoardRequest request = {in.board, {in.pairs, in.views, 2, {0, 1, 0}}};
    status = CheckRequest(*ObjectOf(handle), request);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto depth = ReadRecord<OXB3D_BINOSTEREO_CAMERA>(in.depth);
    const Lens held = LensOf(depth);
    BoardFit fit{};
    if (!IsCamera(depth) || !CalibrateViews(handle, request, &held, &fit)) {
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    Output out{};
    out.param = RgbdOf(fit, request.m_images, 1);
    out.param.depth = depth;
    if (!IsCalibration(out.param)) { // a number that single precision does not hold
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    out.rmsDepth = static_cast<float>(fit.m_calibration.m_rms[0]);
    out.rmsColor = static_cast<float>(fit.m_calibration.m_rms[1]);
    out.rmsTransfer = static_cast<float>(RmsTransfer(fit));
    out.used = fit.m_seen.m_views;
    out.mask = fit.m_mask;
    WriteRecord(out, output);
    return OXB3D_BINOSTEREO_OK;
}

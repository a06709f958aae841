// Process type 7: calibrates two cameras by views of a board, or sets their calibration right by pairs of any scene.
// Relies on the calibration by boards and on the correction by scenes; the object gives its ability, parameters and memory.
#include "algorithm/binostereo/BoardRequest.h"
#include "algorithm/binostereo/GreyView.h"
#include "algorithm/binostereo/LensRecords.h"
#include "algorithm/binostereo/Records.h"
#include "algorithm/binostereo/Rectification.h"
#include "algorithm/binostereo/Regions.h"

#include <algorithm>
#include <cmath>

using namespace ox3d::stereo;
using namespace ox3d::vision;

namespace {

using Input = OXB3D_BINOSTEREO_CALIB_INPUT;
using Output = OXB3D_BINOSTEREO_CALIB_OUTPUT;
using Rig = OXB3D_BINOSTEREO_INIT_INPUT;

constexpr int32_t kCameras = 2;

// By how far the rows of two rays lie from one another when they are turned into the rectified cameras.
class CRows {
public:
    explicit CRows(const Rig& rig) : m_lenses{LensOf(rig.left), LensOf(rig.right)} {
        m_isKnown = ComputeRectification(rig, &m_rectification);
    }
    // False where no ray belongs to a corner.
    bool ErrorOf(const Corner& left, const Corner& right, double* error) const {
        double rows[kCameras] = {};
        const bool isSeen = RowOf(left, m_lenses[0], Widened(m_rectification.m_leftRotation), &rows[0]) &&
                            RowOf(right, m_lenses[1], Widened(m_rectification.m_rightRotation), &rows[1]);
        *error = std::fabs(rows[0] - rows[1]);
        return m_isKnown && isSeen;
    }

private:
    bool RowOf(const Corner& corner, const Lens& lens, const Matrix3& turn, double* row) const {
        Vector3 ray{};
        if (!RayOf(lens, {corner.x, corner.y}, &ray)) {
            return false;
        }
        ray = Multiply(turn, ray);
        *row = static_cast<double>(m_rectification.m_projection[5]) * ray[1] / ray[2];
        return std::isfinite(*row);
    }

    Lens m_lenses[kCameras];
    Rectification m_rectification{};
    bool m_isKnown = false;
};

// Of the corners that were kept in both images.
double RowErrorP95(const BoardFit& fit, const Rig& rig) {
    const CRows rows(rig);
    const BoardViews& seen = fit.m_seen;
    const size_t right = seen.FirstOf(0, 1);
    size_t count = 0;
    for (size_t i = 0; i < right; ++i) {
        const bool* const isLeftOut = fit.m_calibration.m_isLeftOut;
        count += !isLeftOut[i] && !isLeftOut[right + i] &&
                         rows.ErrorOf(seen.m_corners[i], seen.m_corners[right + i], &fit.m_spare[count])
                     ? 1
                     : 0;
    }
    if (count == 0) {
        return 0;
    }
    double* const at = fit.m_spare + count * 95 / 100;
    std::nth_element(fit.m_spare, at, fit.m_spare + count);
    return *at;
}

void PutSigmas(const BoardCalibration& calibration, float (&sigmas)[14]) {
    const auto* const from = calibration.m_sigmas.data();
    float* to = sigmas;
    for (const auto& [at, count] : {std::pair{LensAt(0), 4}, {LensAt(1), 4}, {PoseAt(1), 6}}) {
        to = std::transform(from + at, from + at + count, to,
                            [](double sigma) { return static_cast<float>(sigma); });
    }
}

int32_t CalibrateByViews(void* handle, const BoardRequest& request, Output* out) {
    const int32_t status = CheckRequest(*ObjectOf(handle), request);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    BoardFit fit{};
    if (!CalibrateViews(handle, request, nullptr, &fit) ||
        !RigOf(fit, request.m_images.SizeOf(0), &out->rig)) {
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    out->rmsLeft = static_cast<float>(fit.m_calibration.m_rms[0]);
    out->rmsRight = static_cast<float>(fit.m_calibration.m_rms[1]);
    out->rmsBoth = RmsOfBoth(fit.m_calibration);
    out->rowErrorP95 = static_cast<float>(RowErrorP95(fit, out->rig));
    out->used = fit.m_seen.m_views;
    out->mask = fit.m_mask;
    PutSigmas(fit.m_calibration, out->sigmas);
    return OXB3D_BINOSTEREO_OK;
}

bool IsRig(const Rig& rig) {
    Rectification rectification{};
    return ComputeRectification(rig, &rectification) && rectification.m_rightOffset > 0;
}

bool SetRight(const BinoObject& object, const ImageList& images, Rig* rig, SceneCorrection* correction) {
    auto* const pairs = static_cast<ScenePair*>(object.m_scratchRegion);
    const auto viewOf = [&images](int32_t view, int32_t camera) {
        const ZQA_IMAGE image = images.At(view, camera);
        return ViewOf(image, {0, 0, image.width, image.height});
    };
    for (int32_t view = 0; view < images.m_views; ++view) {
        pairs[view] = {viewOf(view, 0), viewOf(view, 1)};
    }
    const StereoRig start = {LensOf(rig->left), LensOf(rig->right), Widened(rig->rotation),
                             Widened(rig->translation)};
    if (!CorrectByScene(start, pairs, images.m_views, pairs + images.m_views, correction)) {
        return false;
    }
    Narrow(correction->m_rotation, rig->rotation);
    Narrow(correction->m_translation, rig->translation);
    return IsRig(*rig);
}

int32_t CorrectByPairs(const BinoObject& object, const ImageList& images, const Rig& start, Output* out) {
    if (!IsViewCount(object, images.m_views, 1)) {
        return OXB3D_BINOSTEREO_E_REGION;
    }
    const ZQA_SIZE size = images.SizeOf(0);
    const int32_t status = CheckImages(object, images);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    if (size.width != start.width || size.height != start.height) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    SceneCorrection correction{};
    out->rig = start;
    std::fill(std::begin(out->rig.reserved), std::end(out->rig.reserved), uint8_t{0});
    if (!IsRig(start) || !SetRight(object, images, &out->rig, &correction)) {
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    out->rmsBoth = static_cast<float>(correction.m_rowErrorRms);
    out->rowErrorP95 = static_cast<float>(correction.m_rowErrorP95);
    out->used = __builtin_popcountll(correction.m_pairs);
    out->mask = correction.m_pairs;
    return OXB3D_BINOSTEREO_OK;
}

} // namespace

int32_t OXB3D_BINOSTEREO_CalibProcess(void* handle, void* input, int32_t inputSize, void* output,
                                      int32_t outputSize) {
    int32_t status = CheckRecords<Input, Output>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<Input>(input);
    const bool isCorrection = in.mode == OXB3D_BINOSTEREO_CALIB_CORRECTION;
    if (in.pairs == nullptr || (isCorrection && in.start == nullptr)) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    if (!isCorrection && in.mode != OXB3D_BINOSTEREO_CALIB_BOARD) {
        return OXB3D_BINOSTEREO_E_REGION;
    }
    const ImageList images = {in.pairs, in.views, kCameras, {}};
    Output out{};
    status = isCorrection ? CorrectByPairs(*ObjectOf(handle), images, ReadRecord<Rig>(in.start), &out)
                          : CalibrateByViews(handle, {in.board, images}, &out);
    if (status == OXB3D_BINOSTEREO_OK) {
        WriteRecord(out, output);
    }
    return status;
}

// BoardRequest.cpp - see BoardRequest.h.
#include "algorithm/binostereo/BoardRequest.h"

#include "algorithm/binostereo/CalibrationCheck.h"
#include "algorithm/binostereo/GreyView.h"
#include "algorithm/binostereo/LensRecords.h"
#include "algorithm/binostereo/Rectification.h"
#include "algorithm/binostereo/Regions.h"

#include <cstring>

namespace ox3d::stereo {

using namespace vision;

namespace {

constexpr int32_t kLeastSide = 3; // of an image that a board is looked for in

bool FindIn(const ZQA_IMAGE& image, const BoardRequest& request, void* finder, Corner* corners) {
    const OXB3D_BINOSTEREO_BOARD& board = request.m_board;
    return image.width >= kLeastSide && image.height >= kLeastSide &&
           FindBoard(ViewOf(image, {0, 0, image.width, image.height}), board.columns, board.rows, finder,
                     corners, nullptr);
}

bool IsSame(const Corner* a, const Corner* b, size_t count) {
    return std::memcmp(a, b, count * sizeof(Corner)) == 0;
}

// Where corners of all views stand while boards are looked for, and how many that are in the end.
class CViews {
public:
    CViews(const BoardRequest& request, const CalibrationScratch& scratch)
        : m_request(request), m_scratch(scratch), m_seen{request.m_board.columns,
                                                         request.m_board.rows,
                                                         request.m_board.squareWidth,
                                                         request.m_board.squareHeight,
                                                         request.m_images.m_cameras,
                                                         request.m_images.m_views,
                                                         scratch.m_corners} {}

    // Which views show the board to every camera, and nothing that an earlier one of them showed.
    uint64_t FindAll() {
        uint64_t mask = 0;
        for (int32_t view = 0; view < m_seen.m_views; ++view) {
            mask |= Find(view) && !IsOld(mask, view) ? uint64_t{1} << view : 0;
        }
        return mask;
    }

    // Without the other views: those that stay move to the front of what was seen.
    BoardViews Only(uint64_t mask) const {
        BoardViews kept = m_seen;
        kept.m_views = __builtin_popcountll(mask);
        Corner* to = m_seen.m_corners;
        for (int32_t camera = 0; camera < m_seen.m_cameras; ++camera) {
            for (int32_t view = 0; view < m_seen.m_views; ++view) {
                if ((mask >> view & 1) != 0) {
                    const Corner* const from = At(view, camera);
                    to = std::copy(from, from + m_seen.BoardCorners(), to);
                }
            }
        }
        return kept;
    }

private:
    Corner* At(int32_t view, int32_t camera) const { return m_seen.m_corners + m_seen.FirstOf(view, camera); }
    bool Find(int32_t view) const {
        int32_t found = 0;
        while (found < m_seen.m_cameras &&
               FindIn(m_request.m_images.At(view, found), m_request, m_scratch.m_finder, At(view, found))) {
            ++found;
        }
        return found == m_seen.m_cameras;
    }
    bool IsOld(uint64_t mask, int32_t view) const {
        for (int32_t earlier = 0; earlier < view; ++earlier) {
            int32_t same = (mask >> earlier & 1) != 0 ? 0 : -1;
            while (same >= 0 && same < m_seen.m_cameras &&
                   IsSame(At(earlier, same), At(view, same), m_seen.BoardCorners())) {
                ++same;
            }
            if (same == m_seen.m_cameras) {
                return true;
            }
        }
        return false;
    }

    const BoardRequest& m_request;
    const CalibrationScratch& m_scratch;
    BoardViews m_seen;
};

} // namespace

ZQA_IMAGE ImageList::At(int32_t view, int32_t camera) const {
    ZQA_IMAGE image;
    const auto at = static_cast<ptrdiff_t>(view) * m_cameras + camera;
    std::memcpy(&image, static_cast<const uint8_t*>(m_records) + at * ptrdiff_t{sizeof image}, sizeof image);
    return image;
}

ZQA_SIZE ImageList::SizeOf(int32_t camera) const {
    const ZQA_IMAGE image = At(0, m_sizeOf[camera]);
    return {image.width, image.height};
}

bool IsViewCount(const BinoObject& object, int32_t views, int32_t least) {
    return views >= least && views <= MostViews(object);
}

int32_t CheckImages(const BinoObject& object, const ImageList& images) {
    for (int32_t view = 0; view < images.m_views; ++view) {
        for (int32_t camera = 0; camera < images.m_cameras; ++camera) {
            const ZQA_IMAGE image = images.At(view, camera);
            const ZQA_SIZE size = images.SizeOf(camera);
            if (image.format != ZQA_FORMAT_GREY8) {
                return OXB3D_BINOSTEREO_E_IMAGE_FORMAT;
            }
            if (!FitsAbility(object, image.width, image.height) || image.width != size.width ||
                image.height != size.height) {
                return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
            }
            const int32_t status = ZQA_CheckImage(&image);
            if (status != OXB3D_BINOSTEREO_OK) {
                return OXB_ZqaStatusToOxbAlgStatus(status);
            }
        }
    }
    return OXB3D_BINOSTEREO_OK;
}

int32_t CheckRequest(const BinoObject& object, const BoardRequest& request) {
    const auto isSide = [](float side) { return side > 0 && std::isfinite(side); };
    const OXB3D_BINOSTEREO_BOARD& board = request.m_board;
    const ZQA_SIZE largest = LargestBoard(object);
    const bool isBoard = board.columns >= kMinBoardCorners && board.columns <= largest.width &&
                         board.rows >= kMinBoardCorners && board.rows <= largest.height &&
                         isSide(board.squareWidth) && isSide(board.squareHeight);
    return isBoard && IsViewCount(object, request.m_images.m_views, kMinBoardViews)
               ? CheckImages(object, request.m_images)
               : OXB3D_BINOSTEREO_E_REGION;
}

bool CalibrateViews(void* handle, const BoardRequest& request, const Lens* held, BoardFit* fit) {
    const ImageList& images = request.m_images;
    const auto corners =
        static_cast<size_t>(request.m_board.columns) * static_cast<size_t>(request.m_board.rows);
    CalibrationScratch scratch{};
    LayOutCalibration(corners, images.m_views, images.m_cameras,
                      static_cast<uint8_t*>(ObjectOf(handle)->m_scratchRegion), &scratch);
    CViews views(request, scratch);
    const uint64_t mask = views.FindAll();
    CalibrationTask task{};
    task.m_seen = views.Only(mask);
    if (task.m_seen.m_views < kMinBoardViews) {
        return false;
    }
    for (int32_t camera = 0; camera < images.m_cameras; ++camera) {
        const ZQA_SIZE size = images.SizeOf(camera);
        task.m_middles[camera] = {(size.width - 1) / 2.0, (size.height - 1) / 2.0};
    }
    constexpr int32_t kThreeRadial = 2;
    task.m_isHeld[0] = held != nullptr;
    task.m_isThirdRadialFitted = ParamOf(handle, EParam::Distortion) == kThreeRadial;
    task.m_rounds = ParamOf(handle, EParam::OutlierRounds);
    // An image of the smallest size takes more than the numbers of all views.
    static_assert(uint64_t{kMinWidth} * kMinHeight * kBoardBytesAPixel >=
                  uint64_t{kMaxBoardCorners} * kMaxBoardCorners * kMaxViews * sizeof(double));
    BoardFit found{{}, task.m_seen, static_cast<double*>(scratch.m_finder), mask};
    if (held != nullptr) {
        found.m_calibration.m_cameras.m_lenses[0] = *held;
    }
    if (!CalibrateByBoards(task, scratch.m_fit, &found.m_calibration)) {
        return false;
    }
    *fit = found;
    return true;
}

bool RigOf(const BoardFit& fit, ZQA_SIZE size, OXB3D_BINOSTEREO_INIT_INPUT* rig) {
    constexpr double kTold = 5; // standard deviations by which a base line is told from none
    const BundleCameras& cameras = fit.m_calibration.m_cameras;
    const double* const sigmas = &fit.m_calibration.m_sigmas[PoseAt(1) + 3];
    if (!(Norm(cameras.m_poses[1].m_translation) > kTold * Norm({sigmas[0], sigmas[1], sigmas[2]}))) {
        return false;
    }
    OXB3D_BINOSTEREO_INIT_INPUT made{
        size.width, size.height, CameraOf(cameras.m_lenses[0]), CameraOf(cameras.m_lenses[1]), {}, {}, {}};
    Narrow(cameras.m_poses[1].m_rotation, made.rotation);
    Narrow(cameras.m_poses[1].m_translation, made.translation);
    Rectification rectification{};
    if (!ComputeRectification(made, &rectification) || !(rectification.m_rightOffset > 0)) {
        return false;
    }
    *rig = made;
    return true;
}

OXB3D_BINOSTEREO_RGBD_PARAM RgbdOf(const BoardFit& fit, const ImageList& images, int32_t color) {
    const BundleCameras& cameras = fit.m_calibration.m_cameras;
    const ZQA_SIZE depthSize = images.SizeOf(0);
    const ZQA_SIZE colorSize = images.SizeOf(color);
    OXB3D_BINOSTEREO_RGBD_PARAM param{depthSize.width,
                                      depthSize.height,
                                      CameraOf(cameras.m_lenses[0]),
                                      colorSize.width,
                                      colorSize.height,
                                      CameraOf(cameras.m_lenses[color]),
                                      {},
                                      {},
                                      {}};
    Narrow(cameras.m_poses[color].m_rotation, param.rotation);
    Narrow(cameras.m_poses[color].m_translation, param.translation);
    return param;
}

float RmsOfBoth(const BoardCalibration& calibration) {
    double squares = 0;
    double kept = 0;
    for (int32_t camera = 0; camera < 2; ++camera) {
        squares += calibration.m_kept[camera] * calibration.m_rms[camera] * calibration.m_rms[camera];
        kept += calibration.m_kept[camera];
    }
    return static_cast<float>(std::sqrt(squares / kept));
}

} // namespace ox3d::stereo

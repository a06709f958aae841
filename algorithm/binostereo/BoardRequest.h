// What the calibrations by a board have in common: the checks of what they are given, the board in every image, the fit.
// Relies on the finder of boards and on the scratch memory of the object; allocates nothing.
#pragma once

#include "algorithm/binostereo/Object.h"
#include "algorithm/vision/BoardCalibration.h"

namespace ox3d::stereo {

constexpr int32_t kMinBoardViews = 3;

// Images as a caller has them, those of a view behind one another.
struct ImageList {
    const void* m_records; // views * cameras of ZQA_IMAGE, not aligned
    int32_t m_views;
    int32_t m_cameras;
    int32_t m_sizeOf
        [vision::kMaxBundleCameras]; // the camera of the first view that a camera's images have the size of

    // Only for a view and a camera that there are.
    ZQA_IMAGE At(int32_t view, int32_t camera) const;
    ZQA_SIZE SizeOf(int32_t camera) const;
};

// True where the object takes so many views.
bool IsViewCount(const BinoObject& object, int32_t views, int32_t least);

// Every image in turn, the first fault of each.
int32_t CheckImages(const BinoObject& object, const ImageList& images);

struct BoardRequest {
    OXB3D_BINOSTEREO_BOARD m_board;
    ImageList m_images;
};

// Numbers first, so that no image of a list that is too long is read.
int32_t CheckRequest(const BinoObject& object, const BoardRequest& request);

struct BoardFit {
    vision::BoardCalibration m_calibration;
    vision::BoardViews m_seen; // corners lie in scratch memory
    double* m_spare;           // in scratch memory: a number for each corner of one camera
    uint64_t m_mask;           // of the views that took part
};

// Only for what was checked. held, which may be null, is the lens of the first camera. False where there are too few views of the
// board or where they do not determine what is asked for.
bool CalibrateViews(void* handle, const BoardRequest& request, const vision::Lens* held, BoardFit* fit);

// The first two cameras of a fit for type 1. False where the right camera does not lie on the right, by more than it may
// be off, or where single precision does not hold the numbers.
bool RigOf(const BoardFit& fit, ZQA_SIZE size, OXB3D_BINOSTEREO_INIT_INPUT* rig);

// The first camera of a fit as that of depth, another one as color's.
OXB3D_BINOSTEREO_RGBD_PARAM RgbdOf(const BoardFit& fit, const ImageList& images, int32_t color);

// The root of the mean square that the first two cameras have together.
float RmsOfBoth(const vision::BoardCalibration& calibration);

} // namespace ox3d::stereo

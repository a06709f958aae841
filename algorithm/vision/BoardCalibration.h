// Calibrates up to three cameras that saw a board together: lenses, and where the cameras stand to the first one.
// Relies on memory of the caller; allocates nothing and throws nothing.
#pragma once

#include "algorithm/vision/BoardBundle.h"

namespace ox3d::vision {

struct CalibrationTask {
    BoardViews m_seen;
    Point2 m_middles[kMaxBundleCameras]; // of the images, in pixels, where the optical axis is looked for
    bool m_isHeld[kMaxBundleCameras];    // lenses that are known and stay as they are
    bool m_isThirdRadialFitted;          // k3; else it is 0
    int32_t m_rounds; // in which corners beyond 3 sigma are left out and the fit is repeated
};

struct BoardCalibration {
    BundleCameras m_cameras;                      // beforehand: the lenses that are held
    double m_rms[kMaxBundleCameras];              // pixels, of the corners that were kept
    double m_kept[kMaxBundleCameras];             // how many those are
    const CBoardBundle::View* m_views;            // where the boards stood; in scratch memory, as the next
    const bool* m_isLeftOut;                      // by corner
    std::array<double, kSharedUnknowns> m_sigmas; // by LensAt and PoseAt, 0 where a number was held
};

// Whole words, so that memory that ends where it is used up can begin on a boundary.
constexpr uint64_t CalibrationScratchBytes(size_t boardCorners, int32_t views, int32_t cameras) {
    constexpr uint64_t kWord = 8;
    const auto boards = static_cast<uint64_t>(views) * static_cast<uint64_t>(cameras);
    return static_cast<uint64_t>(views) * sizeof(CBoardBundle::View) + boards * sizeof(Pose) +
           (boards * boardCorners * sizeof(bool) + kWord - 1) / kWord * kWord;
}

// False where the views do not determine what is asked for (all of them parallel, say), are of no plane, or where nothing
// converges; the calibration is not touched then. Corners of boards that look the same when they are turned get the order in which
// the cameras agree, where the views are enough to tell. scratch stands on an 8-byte boundary.
bool CalibrateByBoards(const CalibrationTask& task, void* scratch, BoardCalibration* calibration);

} // namespace ox3d::vision

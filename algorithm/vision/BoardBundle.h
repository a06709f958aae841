// Fits lenses, where cameras stand to one another and where boards stood to all corners of all views at once.
// Relies on memory of the caller; allocates nothing and throws nothing.
#pragma once

#include "algorithm/vision/BoardFinder.h"
#include "algorithm/vision/LeastSquares.h"
#include "algorithm/vision/Lens.h"

namespace ox3d::vision {

constexpr int32_t kMaxBundleCameras = 3;
constexpr size_t kLensUnknowns = 4 + kDistortions; // fx, fy, cx, cy, distortion
constexpr size_t kPoseUnknowns = 6;                // turn, then shift
// What all views share: each camera's lens, then where the cameras behind the first stand.
constexpr size_t kSharedUnknowns =
    kMaxBundleCameras * kLensUnknowns + (kMaxBundleCameras - 1) * kPoseUnknowns;

constexpr size_t LensAt(int32_t camera) {
    return static_cast<size_t>(camera) * kLensUnknowns;
}
// Not for the first camera.
constexpr size_t PoseAt(int32_t camera) {
    return LensAt(kMaxBundleCameras) + static_cast<size_t>(camera - 1) * kPoseUnknowns;
}

// Takes a point into another frame: rotation, then translation.
struct Pose {
    Matrix3 m_rotation;
    Vector3 m_translation;
};

// What was seen. Corners are in the order of FindBoard, of every view in turn, of every camera in turn.
struct BoardViews {
    int32_t m_columns, m_rows;
    double m_squareWidth, m_squareHeight; // the unit of all translations
    int32_t m_cameras, m_views;           // 1 to 3, 1 or more
    Corner* m_corners;

    size_t BoardCorners() const { return static_cast<size_t>(m_columns) * static_cast<size_t>(m_rows); }
    size_t FirstOf(int32_t view, int32_t camera) const {
        return (static_cast<size_t>(camera) * static_cast<size_t>(m_views) + static_cast<size_t>(view)) *
               BoardCorners();
    }
    size_t Corners() const { return FirstOf(0, m_cameras); }
    // On the board, from its middle.
    Vector3 OnBoard(size_t corner) const {
        const auto across = static_cast<size_t>(m_columns);
        const size_t row = corner / across;
        const size_t column = corner % across;
        return {(static_cast<double>(column) - (m_columns - 1) / 2.0) * m_squareWidth,
                (static_cast<double>(row) - (m_rows - 1) / 2.0) * m_squareHeight, 0};
    }
};

// What is fitted. The first camera's pose is that of all: it stays where it is.
struct BundleCameras {
    Lens m_lenses[kMaxBundleCameras];
    Pose m_poses[kMaxBundleCameras]; // from the first camera's frame into this one's
};

// Which unknowns of kSharedUnknowns are fitted; the others stay as they are.
using FreeUnknowns = std::array<bool, kSharedUnknowns>;

// What one view gives to the normal equations: its own pose, and how that goes along with what is shared.
struct ViewEquations {
    NormalEquations<kPoseUnknowns> m_own;
    std::array<std::array<double, kPoseUnknowns>, kSharedUnknowns> m_along;
};

class CBoardBundle {
public:
    // Of a view: its place, the place that is tried, its equations. All memory is the caller's, and stays.
    struct View {
        Pose m_pose;
        Pose m_tried;
        ViewEquations m_equations;
    };

    CBoardBundle(const BoardViews& seen, const FreeUnknowns& free, View* views, const bool* isLeftOut)
        : m_seen(seen), m_free(free), m_views(views), m_isLeftOut(isLeftOut) {}

    // From a start to the least sum of squares. False where something is not determined or nothing converges.
    bool Fit(BundleCameras* cameras);

    // Of the corners that are not left out, in square pixels; infinity where one is not in front of a camera.
    double RestOf(const BundleCameras& cameras) const;

    // What the fitted numbers are spread by, in their units, radians for turns; 0 where they are not free. False where
    // something is not determined.
    bool Sigmas(const BundleCameras& cameras, std::array<double, kSharedUnknowns>* sigmas);

    // Of one coordinate of a corner, in square pixels; not above 0 where there are too few corners to tell.
    double Variance(const BundleCameras& cameras) const;

    // By how many pixels a corner is off.
    Point2 MissOf(const BundleCameras& cameras, int32_t view, int32_t camera, size_t corner) const;

private:
    double Rest(const BundleCameras& cameras, bool isTried) const;
    void Accumulate(const BundleCameras& cameras);
    void AccumulateOne(const BundleCameras& cameras, int32_t view, int32_t camera);
    bool Reduce(double damping, NormalEquations<kSharedUnknowns>* reduced) const;
    bool Try(const BundleCameras& cameras, double damping, BundleCameras* tried);

    BoardViews m_seen;
    FreeUnknowns m_free;
    View* m_views;
    const bool* m_isLeftOut; // by corner, as BoardViews has them
    NormalEquations<kSharedUnknowns> m_shared{};
};

} // namespace ox3d::vision

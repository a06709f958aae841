// Each camera for itself first, from a start in closed form (Zhang 2000, with the optical axis in the middle of the image); then
// all of them and the boards at once.
#include "algorithm/vision/BoardCalibration.h"

#include "algorithm/vision/BoardShape.h"
#include "algorithm/vision/BoardTurns.h"

#include <algorithm>
#include <cmath>

namespace ox3d::vision {

namespace {

struct Scratch {
    CBoardBundle::View* m_views;
    Pose* m_boards; // in every camera's frame, in the order of the corners
    bool* m_isLeftOut;
};

Scratch Cut(const BoardViews& seen, void* memory) {
    Scratch scratch{};
    scratch.m_views = static_cast<CBoardBundle::View*>(memory);
    scratch.m_boards = reinterpret_cast<Pose*>(scratch.m_views + seen.m_views);
    scratch.m_isLeftOut =
        reinterpret_cast<bool*>(scratch.m_boards + ptrdiff_t{seen.m_views} * seen.m_cameras);
    std::fill(scratch.m_isLeftOut, scratch.m_isLeftOut + seen.Corners(), false);
    return scratch;
}

// Columns of the homography in the unit of the board.
struct Columns {
    Vector3 m_x, m_y, m_middle;
};

bool ColumnsOf(const BoardViews& seen, int32_t view, int32_t camera, const Point2& middle, Columns* columns) {
    Matrix3 h{};
    if (!FitHomography(seen.m_corners + seen.FirstOf(view, camera), seen.m_columns, seen.m_rows,
                       {middle.x, middle.y}, &h)) {
        return false;
    }
    const double x = 1 / seen.m_squareWidth;
    const double y = 1 / seen.m_squareHeight;
    *columns = {{x * h[0], x * h[3], x * h[6]}, {y * h[1], y * h[4], y * h[7]}, {h[2], h[5], h[8]}};
    return true;
}

// Sides of a square on the board are as long as each other and upright on each other in the camera's frame.
class CFocalLength {
public:
    explicit CFocalLength(double pixels) : m_pixels(pixels) {}
    void Add(const Columns& columns) {
        const double size = std::sqrt(Norm(columns.m_x) * Norm(columns.m_y)) / m_pixels;
        const auto scaled = [&](const Vector3& v) {
            return Vector3{v[0] / m_pixels / size, v[1] / m_pixels / size, v[2] / size};
        };
        const Vector3 a = scaled(columns.m_x);
        const Vector3 b = scaled(columns.m_y);
        AddRow(a[0] * b[0], a[1] * b[1], a[2] * b[2]);
        AddRow((a[0] * a[0] - b[0] * b[0]) / 2, (a[1] * a[1] - b[1] * b[1]) / 2,
               (a[2] * a[2] - b[2] * b[2]) / 2);
    }
    // Where views hardly tell, the fit begins with a usual lens; whether they tell at all is seen at its end.
    Point2 Guess() const {
        std::array<double, 2> inverse{};
        constexpr double kLongest = 20;
        constexpr double kLeast = 1 / (kLongest * kLongest);
        if (!Solve(m_equations, 0, &inverse) || !(inverse[0] > kLeast) || !(inverse[1] > kLeast)) {
            constexpr double kUsual = 2;
            return {kUsual * m_pixels, kUsual * m_pixels};
        }
        return {m_pixels / std::sqrt(inverse[0]), m_pixels / std::sqrt(inverse[1])};
    }

private:
    void AddRow(double x, double y, double z) {
        m_equations.m_products[0][0] += x * x;
        m_equations.m_products[1][0] += x * y;
        m_equations.m_products[1][1] += y * y;
        m_equations.m_right[0] -= x * z;
        m_equations.m_right[1] -= y * z;
    }

    double m_pixels; // that are 1
    NormalEquations<2> m_equations{};
};

bool GuessLens(const BoardViews& seen, int32_t camera, const Point2& middle, Lens* lens) {
    CFocalLength focal(std::max({middle.x, middle.y, 1.0}));
    for (int32_t view = 0; view < seen.m_views; ++view) {
        Columns columns{};
        if (!ColumnsOf(seen, view, camera, middle, &columns)) {
            return false;
        }
        focal.Add(columns);
    }
    const Point2 guess = focal.Guess();
    *lens = {guess.x, guess.y, middle.x, middle.y, {}};
    return true;
}

// The rotation whose first two columns are nearest to these.
bool GuessPose(const Lens& lens, const Columns& columns, Pose* pose) {
    const auto ray = [&lens](const Vector3& v) { return Vector3{v[0] / lens.m_fx, v[1] / lens.m_fy, v[2]}; };
    const Vector3 x = ray(columns.m_x);
    const Vector3 y = ray(columns.m_y);
    const double size = std::sqrt(Norm(x) * Norm(y));
    const auto mixed = [](const Vector3& a, double shareA, const Vector3& b, double shareB) {
        const Vector3 sum = {a[0] * shareA + b[0] * shareB, a[1] * shareA + b[1] * shareB,
                             a[2] * shareA + b[2] * shareB};
        const double length = Norm(sum);
        return Vector3{sum[0] / length, sum[1] / length, sum[2] / length};
    };
    const Vector3 between = mixed(x, 1 / Norm(x), y, 1 / Norm(y));
    const Vector3 across = mixed(x, 1 / Norm(x), y, -1 / Norm(y));
    const Vector3 first = mixed(between, 1, across, 1);
    const Vector3 second = mixed(between, 1, across, -1);
    const Vector3 third = Cross(first, second);
    const Vector3 at = ray(columns.m_middle);
    *pose = {{first[0], second[0], third[0], first[1], second[1], third[1], first[2], second[2], third[2]},
             {at[0] / size, at[1] / size, at[2] / size}};
    return std::isfinite(Norm(pose->m_translation)) && std::isfinite(Norm(third));
}

FreeUnknowns FreeOf(const CalibrationTask& task, const bool* isHeld, int32_t cameras) {
    FreeUnknowns free{};
    for (int32_t camera = 0; camera < cameras; ++camera) {
        const auto lens = free.begin() + static_cast<ptrdiff_t>(LensAt(camera));
        const ptrdiff_t fitted = ptrdiff_t{kLensUnknowns} - (task.m_isThirdRadialFitted ? 0 : 1);
        std::fill(lens, lens + fitted, !isHeld[camera]);
        if (camera > 0) {
            const auto pose = free.begin() + static_cast<ptrdiff_t>(PoseAt(camera));
            std::fill(pose, pose + ptrdiff_t{kPoseUnknowns}, true);
        }
    }
    return free;
}

constexpr Pose kHere = {{1, 0, 0, 0, 1, 0, 0, 0, 1}, {0, 0, 0}};

bool FitAlone(const CalibrationTask& task, int32_t camera, const Scratch& scratch, Lens* lens) {
    BoardViews seen = task.m_seen;
    seen.m_corners += task.m_seen.FirstOf(0, camera);
    seen.m_cameras = 1;
    if (!task.m_isHeld[camera] && !GuessLens(seen, 0, task.m_middles[camera], lens)) {
        return false;
    }
    for (int32_t view = 0; view < seen.m_views; ++view) {
        Columns columns{};
        if (!ColumnsOf(seen, view, 0, {lens->m_cx, lens->m_cy}, &columns) ||
            !GuessPose(*lens, columns, &scratch.m_views[view].m_pose)) {
            return false;
        }
    }
    BundleCameras cameras{};
    cameras.m_lenses[0] = *lens;
    cameras.m_poses[0] = kHere;
    CBoardBundle bundle(seen, FreeOf(task, &task.m_isHeld[camera], 1), scratch.m_views, scratch.m_isLeftOut);
    if (!bundle.Fit(&cameras)) {
        return false;
    }
    *lens = cameras.m_lenses[0];
    std::transform(scratch.m_views, scratch.m_views + seen.m_views,
                   scratch.m_boards + ptrdiff_t{camera} * seen.m_views,
                   [](const CBoardBundle::View& view) { return view.m_pose; });
    return true;
}

// From the first camera's frame into another's, by one board that both saw.
Pose Between(const Pose& first, const Pose& other) {
    const Matrix3 rotation = Multiply(other.m_rotation, Transposed(first.m_rotation));
    const Vector3 turned = Multiply(rotation, first.m_translation);
    return {rotation,
            {other.m_translation[0] - turned[0], other.m_translation[1] - turned[1],
             other.m_translation[2] - turned[2]}};
}

// Of what each view says of a camera's place, that with which all views agree best: one bad view does no harm.
bool GuessPlaces(const CalibrationTask& task, const Scratch& scratch, BundleCameras* cameras) {
    const int32_t views = task.m_seen.m_views;
    for (int32_t view = 0; view < views; ++view) {
        scratch.m_views[view].m_pose = scratch.m_boards[view];
    }
    std::fill(std::begin(cameras->m_poses), std::end(cameras->m_poses), kHere);
    for (int32_t camera = 1; camera < task.m_seen.m_cameras; ++camera) {
        // Of these two alone.
        BoardViews seen = task.m_seen;
        seen.m_corners += task.m_seen.FirstOf(0, camera);
        seen.m_cameras = 1;
        const CBoardBundle bundle(seen, {}, scratch.m_views, scratch.m_isLeftOut);
        BundleCameras one{};
        one.m_lenses[0] = cameras->m_lenses[camera];
        double least = INFINITY;
        for (int32_t view = 0; view < views; ++view) {
            one.m_poses[0] =
                Between(scratch.m_boards[view], scratch.m_boards[ptrdiff_t{camera} * views + view]);
            const double rest = bundle.RestOf(one);
            if (rest < least) {
                least = rest;
                cameras->m_poses[camera] = one.m_poses[0];
            }
        }
        if (!(least < INFINITY)) {
            return false;
        }
    }
    return true;
}

// Calls see with the number of a corner and by how many pixels it is off.
template <class See>
void ForEachMiss(const BoardViews& seen, const CBoardBundle& bundle, const BundleCameras& cameras, See see) {
    for (int32_t camera = 0; camera < seen.m_cameras; ++camera) {
        for (int32_t view = 0; view < seen.m_views; ++view) {
            for (size_t i = 0; i < seen.BoardCorners(); ++i) {
                see(seen.FirstOf(view, camera) + i, camera, bundle.MissOf(cameras, view, camera, i));
            }
        }
    }
}

bool LeaveOut(const BoardViews& seen, const CBoardBundle& bundle, const BundleCameras& cameras,
              bool* isLeftOut) {
    const double limit = 3 * std::sqrt(bundle.Variance(cameras));
    if (!std::isfinite(limit)) {
        return false;
    }
    ForEachMiss(seen, bundle, cameras, [&](size_t corner, int32_t /*camera*/, const Point2& miss) {
        isLeftOut[corner] = !(std::fabs(miss.x) <= limit && std::fabs(miss.y) <= limit);
    });
    return true;
}

void Measure(const BoardViews& seen, const CBoardBundle& bundle, const bool* isLeftOut,
             BoardCalibration* found) {
    double squares[kMaxBundleCameras] = {};
    double kept[kMaxBundleCameras] = {};
    ForEachMiss(seen, bundle, found->m_cameras, [&](size_t corner, int32_t camera, const Point2& miss) {
        squares[camera] += isLeftOut[corner] ? 0 : miss.x * miss.x + miss.y * miss.y;
        kept[camera] += isLeftOut[corner] ? 0 : 1;
    });
    for (int32_t camera = 0; camera < seen.m_cameras; ++camera) {
        found->m_rms[camera] = std::sqrt(squares[camera] / std::max(kept[camera], 1.0));
        found->m_kept[camera] = kept[camera];
    }
}

// A focal length that is known to no better than this share of itself is not determined by its views.
bool IsDetermined(const CalibrationTask& task, const BoardCalibration& found) {
    constexpr double kMostShare = 0.05;
    for (int32_t camera = 0; camera < task.m_seen.m_cameras; ++camera) {
        const Lens& lens = found.m_cameras.m_lenses[camera];
        const double* const sigmas = &found.m_sigmas[LensAt(camera)];
        if (!(sigmas[0] <= kMostShare * lens.m_fx && sigmas[1] <= kMostShare * lens.m_fy)) {
            return false;
        }
    }
    return std::all_of(found.m_sigmas.begin(), found.m_sigmas.end(),
                       [](double sigma) { return std::isfinite(sigma); });
}

} // namespace

bool CalibrateByBoards(const CalibrationTask& task, void* scratchMemory, BoardCalibration* calibration) {
    const BoardViews& seen = task.m_seen;
    const Scratch scratch = Cut(seen, scratchMemory);
    BoardCalibration found = *calibration;
    for (int32_t camera = 0; camera < seen.m_cameras; ++camera) {
        if (!FitAlone(task, camera, scratch, &found.m_cameras.m_lenses[camera])) {
            return false;
        }
    }
    AgreeOnTurns(seen, scratch.m_boards);
    if (!GuessPlaces(task, scratch, &found.m_cameras)) {
        return false;
    }
    CBoardBundle bundle(seen, FreeOf(task, task.m_isHeld, seen.m_cameras), scratch.m_views,
                        scratch.m_isLeftOut);
    bool isFitted = bundle.Fit(&found.m_cameras);
    for (int32_t round = 0; isFitted && round < task.m_rounds; ++round) {
        isFitted =
            LeaveOut(seen, bundle, found.m_cameras, scratch.m_isLeftOut) && bundle.Fit(&found.m_cameras);
    }
    if (!isFitted || !bundle.Sigmas(found.m_cameras, &found.m_sigmas) || !IsDetermined(task, found)) {
        return false;
    }
    Measure(seen, bundle, scratch.m_isLeftOut, &found);
    found.m_views = scratch.m_views;
    found.m_isLeftOut = scratch.m_isLeftOut;
    *calibration = found;
    return true;
}

} // namespace ox3d::vision

// Levenberg's and Marquardt's method with derivatives in closed form. Poses of boards are eliminated view by view (the Schur
// complement), so that no matrix grows with their number.
#include "algorithm/vision/BoardBundle.h"

#include <algorithm>
#include <cmath>

namespace ox3d::vision {

namespace {

// Of one corner in one camera: its lens, the camera's pose, the board's pose.
constexpr size_t kPoseOfCamera = kLensUnknowns;
constexpr size_t kPoseOfBoard = kPoseOfCamera + kPoseUnknowns;
constexpr size_t kLocalUnknowns = kPoseOfBoard + kPoseUnknowns;
using LocalRow = std::array<double, kLocalUnknowns>;

Vector3 Moved(const Pose& pose, const Vector3& point) {
    const Vector3 turned = Multiply(pose.m_rotation, point);
    return {turned[0] + pose.m_translation[0], turned[1] + pose.m_translation[1],
            turned[2] + pose.m_translation[2]};
}

void Put(const Vector3& values, LocalRow* row, size_t at) {
    std::copy(values.begin(), values.end(), row->begin() + static_cast<ptrdiff_t>(at));
}

// How a pixel moves with a point's frame: slope is that of the pixel by the point, turned the point without the shift.
void PutPose(const Vector3& slope, const Vector3& turned, LocalRow* row, size_t at) {
    Put(Cross(turned, slope), row, at);
    Put(slope, row, at + 3);
}

struct CornerRows {
    LocalRow m_x, m_y;
    Point2 m_pixel;
};

void PutLens(const Lens& lens, const Point2& ray, const LensSlopes& through, CornerRows* rows) {
    const double r2 = ray.x * ray.x + ray.y * ray.y;
    const double xy = 2 * ray.x * ray.y;
    rows->m_x = {through.m_at.x,
                 0,
                 1,
                 0,
                 lens.m_fx * ray.x * r2,
                 lens.m_fx * ray.x * r2 * r2,
                 lens.m_fx * xy,
                 lens.m_fx * (r2 + 2 * ray.x * ray.x),
                 lens.m_fx * ray.x * r2 * r2 * r2};
    rows->m_y = {0,
                 through.m_at.y,
                 0,
                 1,
                 lens.m_fy * ray.y * r2,
                 lens.m_fy * ray.y * r2 * r2,
                 lens.m_fy * (r2 + 2 * ray.y * ray.y),
                 lens.m_fy * xy,
                 lens.m_fy * ray.y * r2 * r2 * r2};
}

CornerRows RowsOf(const Lens& lens, const Pose& camera, const Pose& board, const Vector3& onBoard) {
    const Vector3 turned = Multiply(board.m_rotation, onBoard);
    const Vector3 inFirst = Moved(board, onBoard);
    const Vector3 turnedTwice = Multiply(camera.m_rotation, inFirst);
    const Vector3 p = Moved(camera, inFirst);
    const Point2 ray = {p[0] / p[2], p[1] / p[2]};
    const LensSlopes through = SlopesOf(lens.m_distortion, ray);
    const auto byPoint = [&](double focal, double byX, double byY) {
        const double scale = focal / p[2];
        return Vector3{scale * byX, scale * byY, -scale * (byX * ray.x + byY * ray.y)};
    };
    CornerRows rows{};
    rows.m_pixel = {lens.m_fx * through.m_at.x + lens.m_cx, lens.m_fy * through.m_at.y + lens.m_cy};
    PutLens(lens, ray, through, &rows);
    const Matrix3 back = Transposed(camera.m_rotation);
    const Vector3 x = byPoint(lens.m_fx, through.m_xx, through.m_xy);
    const Vector3 y = byPoint(lens.m_fy, through.m_xy, through.m_yy);
    PutPose(x, turnedTwice, &rows.m_x, kPoseOfCamera);
    PutPose(y, turnedTwice, &rows.m_y, kPoseOfCamera);
    PutPose(Multiply(back, x), turned, &rows.m_x, kPoseOfBoard);
    PutPose(Multiply(back, y), turned, &rows.m_y, kPoseOfBoard);
    return rows;
}

void Add(const LocalRow& row, double miss, NormalEquations<kLocalUnknowns>* equations) {
    const double* const values = row.data();
    for (size_t i = 0; i < kLocalUnknowns; ++i) {
        double* const products = equations->m_products[i].data();
        for (size_t j = 0; j <= i; ++j) {
            products[j] += values[i] * values[j];
        }
        equations->m_right[i] += values[i] * miss;
    }
}

void Move(const double* step, Pose* pose) {
    pose->m_rotation = Multiply(TurnBy({step[0], step[1], step[2]}), pose->m_rotation);
    for (size_t axis = 0; axis < 3; ++axis) {
        pose->m_translation[axis] += step[3 + axis];
    }
}

void Move(const double* step, Lens* lens) {
    lens->m_fx += step[0];
    lens->m_fy += step[1];
    lens->m_cx += step[2];
    lens->m_cy += step[3];
    for (double& k : lens->m_distortion) {
        k += step[4 + (&k - lens->m_distortion)];
    }
}

bool IsLens(const Lens& lens) {
    return lens.m_fx > 0 && lens.m_fy > 0;
}

} // namespace

Point2 CBoardBundle::MissOf(const BundleCameras& cameras, int32_t view, int32_t camera, size_t corner) const {
    const Vector3 point = Moved(cameras.m_poses[camera], Moved(m_views[view].m_pose, m_seen.OnBoard(corner)));
    const Point2 at = PixelOf(cameras.m_lenses[camera], point);
    const Corner& seen = m_seen.m_corners[m_seen.FirstOf(view, camera) + corner];
    return {seen.x - at.x, seen.y - at.y};
}

double CBoardBundle::RestOf(const BundleCameras& cameras) const {
    return Rest(cameras, false);
}

double CBoardBundle::Rest(const BundleCameras& cameras, bool isTried) const {
    double sum = 0;
    const size_t count = m_seen.BoardCorners();
    const auto views = static_cast<size_t>(m_seen.m_views);
    for (size_t i = 0; i < m_seen.Corners(); ++i) {
        if (m_isLeftOut[i]) {
            continue;
        }
        const View& view = m_views[i / count % views];
        const size_t camera = i / count / views;
        const Vector3 inFirst = Moved(isTried ? view.m_tried : view.m_pose, m_seen.OnBoard(i % count));
        const Vector3 point = Moved(cameras.m_poses[camera], inFirst);
        if (!(point[2] > 0) || !IsLens(cameras.m_lenses[camera])) {
            return INFINITY;
        }
        const Point2 at = PixelOf(cameras.m_lenses[camera], point);
        const Corner& seen = m_seen.m_corners[i];
        sum += (seen.x - at.x) * (seen.x - at.x) + (seen.y - at.y) * (seen.y - at.y);
    }
    return std::isfinite(sum) ? sum : INFINITY;
}

void CBoardBundle::AccumulateOne(const BundleCameras& cameras, int32_t view, int32_t camera) {
    const size_t first = m_seen.FirstOf(view, camera);
    NormalEquations<kLocalUnknowns> local{};
    for (size_t i = 0; i < m_seen.BoardCorners(); ++i) {
        if (m_isLeftOut[first + i]) {
            continue;
        }
        const CornerRows rows = RowsOf(cameras.m_lenses[camera], cameras.m_poses[camera],
                                       m_views[view].m_pose, m_seen.OnBoard(i));
        Add(rows.m_x, m_seen.m_corners[first + i].x - rows.m_pixel.x, &local);
        Add(rows.m_y, m_seen.m_corners[first + i].y - rows.m_pixel.y, &local);
    }
    // Where an unknown of the local equations stands among all; the first camera's pose is no unknown.
    const auto shared = [camera](size_t i) {
        return i < kPoseOfCamera ? LensAt(camera) + i
               : camera == 0     ? kSharedUnknowns
                                 : PoseAt(camera) + i - kPoseOfCamera;
    };
    ViewEquations& own = m_views[view].m_equations;
    for (size_t i = 0; i < kPoseOfBoard; ++i) {
        const size_t at = shared(i);
        if (at == kSharedUnknowns || !m_free[at]) {
            continue;
        }
        m_shared.m_right[at] += local.m_right[i];
        for (size_t j = 0; j <= i; ++j) {
            const size_t other = shared(j);
            if (other != kSharedUnknowns && m_free[other]) {
                m_shared.m_products[at][other] += local.m_products[i][j];
            }
        }
        for (size_t j = 0; j < kPoseUnknowns; ++j) {
            own.m_along[at][j] += local.m_products[kPoseOfBoard + j][i];
        }
    }
    for (size_t i = 0; i < kPoseUnknowns; ++i) {
        own.m_own.m_right[i] += local.m_right[kPoseOfBoard + i];
        for (size_t j = 0; j <= i; ++j) {
            own.m_own.m_products[i][j] += local.m_products[kPoseOfBoard + i][kPoseOfBoard + j];
        }
    }
}

void CBoardBundle::Accumulate(const BundleCameras& cameras) {
    m_shared = {};
    for (int32_t view = 0; view < m_seen.m_views; ++view) {
        m_views[view].m_equations = {};
        for (int32_t camera = 0; camera < m_seen.m_cameras; ++camera) {
            AccumulateOne(cameras, view, camera);
        }
    }
}

// Without the poses of boards. An unknown that is not free gets an equation of its own that says 0.
bool CBoardBundle::Reduce(double damping, NormalEquations<kSharedUnknowns>* reduced) const {
    *reduced = m_shared;
    for (size_t i = 0; i < kSharedUnknowns; ++i) {
        double& diagonal = reduced->m_products[i][i];
        diagonal = m_free[i] ? diagonal * (1 + damping) : 1;
    }
    for (const View* view = m_views; view < m_views + m_seen.m_views; ++view) {
        NormalEquations<kPoseUnknowns> own = view->m_equations.m_own;
        const auto& along = view->m_equations.m_along;
        for (size_t i = 0; i < kSharedUnknowns; ++i) {
            if (!m_free[i]) {
                continue;
            }
            std::array<double, kPoseUnknowns> share{};
            own.m_right = along[i];
            if (!Solve(own, damping, &share)) {
                return false;
            }
            for (size_t k = 0; k < kPoseUnknowns; ++k) {
                reduced->m_right[i] -= share[k] * view->m_equations.m_own.m_right[k];
                for (size_t j = 0; j <= i; ++j) {
                    reduced->m_products[i][j] -= share[k] * along[j][k];
                }
            }
        }
    }
    return true;
}

bool CBoardBundle::Try(const BundleCameras& cameras, double damping, BundleCameras* tried) {
    NormalEquations<kSharedUnknowns> reduced{};
    std::array<double, kSharedUnknowns> step{};
    if (!Reduce(damping, &reduced) || !Solve(reduced, 0, &step)) {
        return false;
    }
    *tried = cameras;
    for (int32_t camera = 0; camera < m_seen.m_cameras; ++camera) {
        Move(&step[LensAt(camera)], &tried->m_lenses[camera]);
        if (camera > 0) {
            Move(&step[PoseAt(camera)], &tried->m_poses[camera]);
        }
    }
    for (View* view = m_views; view < m_views + m_seen.m_views; ++view) {
        NormalEquations<kPoseUnknowns> own = view->m_equations.m_own;
        for (size_t k = 0; k < kPoseUnknowns; ++k) {
            for (size_t i = 0; i < kSharedUnknowns; ++i) {
                own.m_right[k] -= view->m_equations.m_along[i][k] * step[i];
            }
        }
        std::array<double, kPoseUnknowns> ownStep{};
        if (!Solve(own, damping, &ownStep)) {
            return false;
        }
        view->m_tried = view->m_pose;
        Move(ownStep.data(), &view->m_tried);
    }
    return true;
}

bool CBoardBundle::Fit(BundleCameras* cameras) {
    constexpr int32_t kRounds = 200;
    constexpr double kMostDamping = 1e12;
    double rest = RestOf(*cameras);
    double damping = 1e-3;
    bool isNew = true;
    for (int32_t round = 0; round < kRounds && rest < INFINITY; ++round) {
        if (isNew) {
            Accumulate(*cameras);
        }
        BundleCameras tried{};
        const double next = Try(*cameras, damping, &tried) ? Rest(tried, true) : INFINITY;
        isNew = next <= rest;
        if (!isNew) {
            damping *= 10;
            if (damping > kMostDamping) {
                return true; // however small the step: nothing is less
            }
            continue;
        }
        const bool isSettled = rest - next <= 1e-11 * rest;
        *cameras = tried;
        std::for_each(m_views, m_views + m_seen.m_views, [](View& view) { view.m_pose = view.m_tried; });
        rest = next;
        damping = std::max(damping / 10, 1e-12);
        if (isSettled) {
            return true;
        }
    }
    return false;
}

double CBoardBundle::Variance(const BundleCameras& cameras) const {
    const auto kept = std::count(m_isLeftOut, m_isLeftOut + m_seen.Corners(), false);
    const auto unknowns = std::count(m_free.begin(), m_free.end(), true) +
                          static_cast<ptrdiff_t>(kPoseUnknowns) * m_seen.m_views;
    return 2 * kept <= unknowns ? -1 : RestOf(cameras) / static_cast<double>(2 * kept - unknowns);
}

bool CBoardBundle::Sigmas(const BundleCameras& cameras, std::array<double, kSharedUnknowns>* sigmas) {
    const double variance = Variance(cameras);
    if (!(variance >= 0)) {
        return false;
    }
    Accumulate(cameras);
    NormalEquations<kSharedUnknowns> reduced{};
    if (!Reduce(0, &reduced)) {
        return false;
    }
    for (size_t i = 0; i < kSharedUnknowns; ++i) {
        std::array<double, kSharedUnknowns> column{};
        reduced.m_right = {};
        reduced.m_right[i] = 1;
        if (!Solve(reduced, 0, &column)) {
            return false;
        }
        (*sigmas)[i] = m_free[i] ? std::sqrt(variance * column[i]) : 0;
    }
    return true;
}

} // namespace ox3d::vision

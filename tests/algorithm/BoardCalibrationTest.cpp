// Cameras whose numbers are known look at a board; what the calibration makes of its corners is judged by those numbers.
#include "algorithm/vision/BoardCalibration.h"
#include "tests/algorithm/Rigs.h"

#include <gtest/gtest.h>

#include <random>

using namespace ox3d;
using namespace ox3d::test;
using namespace ox3d::vision;

namespace {

constexpr int32_t kCameras = 3;
constexpr int32_t kViews = 6;

BundleCameras Truth() {
    BundleCameras truth{};
    truth.m_lenses[0] = {612, 609, 326.5, 236.2, {-0.21, 0.06, 0.0012, -0.0009, 0}};
    truth.m_lenses[1] = {604, 607, 315.1, 243.8, {-0.18, 0.04, -0.0007, 0.0015, 0}};
    truth.m_lenses[2] = {911, 915, 634.2, 371.7, {0.09, -0.12, 0.0004, 0.0006, 0}};
    truth.m_poses[0] = {Turn({}), {}};
    truth.m_poses[1] = {Turn({0.01, 0.03, -0.02}), {-60, 1.5, 2}};
    truth.m_poses[2] = {Turn({-0.02, -0.015, 0.03}), {-25, 4, -3}};
    return truth;
}

Vector3 Moved(const Pose& pose, const Vector3& point) {
    Vector3 moved = Multiply(pose.m_rotation, point);
    for (size_t axis = 0; axis < 3; ++axis) {
        moved[axis] += pose.m_translation[axis];
    }
    return moved;
}

// A board that is tilted every way, and one view of which is upside down.
std::vector<Pose> Tilted() {
    std::vector<Pose> boards;
    for (int32_t view = 0; view < kViews; ++view) {
        const double around = view * 2.4;
        const double upsideDown = view == 4 ? 3.14 : 0;
        boards.push_back(
            {Multiply(Turn({0.5 * std::cos(around), 0.5 * std::sin(around), 0}), Turn({0, 0, upsideDown})),
             {25 + 60 * std::cos(3.1 * view), 45 * std::sin(1.7 * view), 520.0 + 20 * (view % 4)}});
    }
    return boards;
}

class CScene {
public:
    CScene(const std::vector<Pose>& boards, double noise, uint32_t seed, int32_t columns = 6,
           int32_t rows = 5, double squareHeight = 29) {
        std::mt19937 random(seed);
        std::normal_distribution<double> pixels(0, noise > 0 ? noise : 1);
        m_task.m_seen = {columns, rows, 30, squareHeight, kCameras, static_cast<int32_t>(boards.size()),
                         nullptr};
        const BundleCameras truth = Truth();
        for (int32_t camera = 0; camera < kCameras; ++camera) {
            for (const Pose& board : boards) {
                for (size_t i = 0; i < m_task.m_seen.BoardCorners(); ++i) {
                    const Vector3 point =
                        Moved(truth.m_poses[camera], Moved(board, m_task.m_seen.OnBoard(i)));
                    const Point2 at = PixelOf(truth.m_lenses[camera], point);
                    m_corners.push_back(
                        {at.x + (noise > 0 ? pixels(random) : 0), at.y + (noise > 0 ? pixels(random) : 0)});
                }
            }
        }
        m_task.m_middles[0] = m_task.m_middles[1] = {319.5, 239.5};
        m_task.m_middles[2] = {639.5, 359.5};
    }

    // In scratch memory of exactly the size that was asked for.
    bool Calibrate(BoardCalibration* found) {
        m_task.m_seen.m_corners = m_corners.data();
        const CGuardedBlock scratch(CalibrationScratchBytes(m_task.m_seen.BoardCorners(),
                                                            m_task.m_seen.m_views, m_task.m_seen.m_cameras));
        return CalibrateByBoards(m_task, scratch.Data(), found);
    }

    CalibrationTask m_task{};
    std::vector<Corner> m_corners;
};

using Numbers = std::array<double, kSharedUnknowns>;

// By how much each number is off; turns as the vector of the turn that is left.
Numbers Errors(const BundleCameras& found) {
    const BundleCameras truth = Truth();
    Numbers errors{};
    for (int32_t camera = 0; camera < kCameras; ++camera) {
        const Lens& is = found.m_lenses[camera];
        const Lens& was = truth.m_lenses[camera];
        double* const lens = &errors[LensAt(camera)];
        lens[0] = is.m_fx - was.m_fx;
        lens[1] = is.m_fy - was.m_fy;
        lens[2] = is.m_cx - was.m_cx;
        lens[3] = is.m_cy - was.m_cy;
        std::transform(is.m_distortion, is.m_distortion + kDistortions, was.m_distortion, lens + 4,
                       std::minus<>());
        if (camera > 0) {
            const Pose& pose = found.m_poses[camera];
            const Matrix3 left = Multiply(pose.m_rotation, Transposed(truth.m_poses[camera].m_rotation));
            double* const place = &errors[PoseAt(camera)];
            place[0] = (left[7] - left[5]) / 2;
            place[1] = (left[2] - left[6]) / 2;
            place[2] = (left[3] - left[1]) / 2;
            std::transform(pose.m_translation.begin(), pose.m_translation.end(),
                           truth.m_poses[camera].m_translation.begin(), place + 3, std::minus<>());
        }
    }
    return errors;
}

} // namespace

TEST(BoardCalibration, FindsThreeCamerasExactlyWhereCornersAre) {
    for (const bool isThird : {false, true}) {
        CScene scene(Tilted(), 0, 1);
        scene.m_task.m_isThirdRadialFitted = isThird;
        BoardCalibration found{};
        ASSERT_TRUE(scene.Calibrate(&found));
        for (const double error : Errors(found.m_cameras)) {
            EXPECT_NEAR(error, 0, 1e-5);
        }
        EXPECT_LT(found.m_rms[0] + found.m_rms[1] + found.m_rms[2], 1e-6);
    }
}

// Over noisy runs, errors are about as large as each run itself says that they may be.
TEST(BoardCalibration, KnowsHowFarItsNumbersMayBeOff) {
    constexpr int32_t kRuns = 5;
    constexpr double kNoise = 0.05;
    Numbers squares{};
    Numbers counts{};
    double all = 0;
    double count = 0;
    for (int32_t run = 0; run < kRuns; ++run) {
        CScene scene(Tilted(), kNoise, 100 + static_cast<uint32_t>(run));
        scene.m_task.m_isHeld[0] = run % 4 == 3;
        BoardCalibration found{};
        found.m_cameras.m_lenses[0] = Truth().m_lenses[0];
        ASSERT_TRUE(scene.Calibrate(&found)) << run;
        const Numbers errors = Errors(found.m_cameras);
        for (size_t i = 0; i < errors.size(); ++i) {
            const double sigma = found.m_sigmas[i];
            ASSERT_TRUE(sigma > 0 || errors[i] == 0) << i; // what is held stays as it was
            const double share = sigma > 0 ? errors[i] / sigma : 0;
            squares[i] += share * share;
            counts[i] += sigma > 0 ? 1 : 0;
            all += share * share;
            count += sigma > 0 ? 1 : 0;
        }
        EXPECT_NEAR(found.m_rms[2], kNoise * std::sqrt(2), 0.15 * kNoise);
    }
    EXPECT_NEAR(std::sqrt(all / count), 1, 0.15);
    for (size_t i = 0; i < squares.size(); ++i) {
        // A spread of so few is not known better itself.
        const double allowed = 3 / std::sqrt(2 * counts[i]);
        EXPECT_TRUE(counts[i] == 0 || std::abs(std::sqrt(squares[i] / counts[i]) - 1) < allowed) << i;
    }
}

TEST(BoardCalibration, LeavesOutCornersThatAreFarOff) {
    CScene clean(Tilted(), 0.05, 7);
    CScene scene(Tilted(), 0.05, 7);
    scene.m_corners[100].x += 6;
    scene.m_corners[300].y -= 5;
    scene.m_corners[500].x -= 6;
    BoardCalibration withAll{};
    BoardCalibration expected{};
    BoardCalibration found{};
    ASSERT_TRUE(clean.Calibrate(&expected));
    ASSERT_TRUE(scene.Calibrate(&withAll));
    scene.m_task.m_rounds = 2;
    ASSERT_TRUE(scene.Calibrate(&found));
    EXPECT_GT(withAll.m_rms[0], 3 * expected.m_rms[0]);
    EXPECT_LT(found.m_rms[0], 1.02 * expected.m_rms[0]);
    EXPECT_NEAR(found.m_cameras.m_lenses[0].m_fx, expected.m_cameras.m_lenses[0].m_fx,
                expected.m_sigmas[LensAt(0)]);
}

// Corners of a board whose first corner is one farther by quarters: each place of the turned board is looked up on the board.
void TurnView(const BoardViews& seen, int32_t quarters, Corner* corners) {
    const std::vector<Corner> before(corners, corners + seen.BoardCorners());
    for (size_t i = 0; i < before.size(); ++i) {
        Vector3 place = seen.OnBoard(i);
        for (int32_t quarter = 0; quarter < quarters; ++quarter) {
            place = {-place[1], place[0], 0};
        }
        const auto column = std::lround(place[0] / seen.m_squareWidth + (seen.m_columns - 1) / 2.0);
        const auto row = std::lround(place[1] / seen.m_squareHeight + (seen.m_rows - 1) / 2.0);
        corners[i] = before[static_cast<size_t>(row * seen.m_columns + column)];
    }
}

TEST(BoardCalibration, TakesTheTurnsOfABoardInWhichTheCamerasAgree) {
    struct Case {
        int32_t columns, rows;
        double squareHeight;
        int32_t turns;
    };
    for (const Case& board : {Case{6, 4, 29, 2}, Case{3, 5, 29, 2}, Case{5, 5, 30, 2}, Case{4, 4, 30, 4}}) {
        CScene scene(Tilted(), 0, 1, board.columns, board.rows, board.squareHeight);
        const BoardViews& seen = scene.m_task.m_seen;
        for (int32_t view = 0; view < kViews; ++view) {
            for (int32_t camera = 0; camera < kCameras; ++camera) {
                const int32_t turn = (view * 5 + camera * 3 + view * camera) % board.turns;
                TurnView(seen, turn * (4 / board.turns), scene.m_corners.data() + seen.FirstOf(view, camera));
            }
        }
        BoardCalibration found{};
        ASSERT_TRUE(scene.Calibrate(&found)) << board.columns;
        for (const double error : Errors(found.m_cameras)) {
            EXPECT_NEAR(error, 0, 1e-5) << board.columns;
        }
    }
}

TEST(BoardCalibration, RefusesWhatDeterminesNothing) {
    std::vector<Pose> parallel = Tilted();
    for (Pose& board : parallel) {
        board.m_rotation = Turn({0.002, 0, 0.1});
    }
    CScene parallelViews(parallel, 0.05, 3);
    CScene brokenCorner(Tilted(), 0.05, 3);
    brokenCorner.m_corners[40].x = NAN;
    CScene line(Tilted(), 0.05, 3);
    for (Corner& corner : line.m_corners) {
        corner.y = 2 * corner.x + 1;
    }
    CScene onePoint(Tilted(), 0.05, 3);
    std::fill(onePoint.m_corners.begin(), onePoint.m_corners.end(), Corner{5, 5});
    for (CScene* scene : {&parallelViews, &brokenCorner, &line, &onePoint}) {
        BoardCalibration found{};
        found.m_rms[0] = 17;
        EXPECT_FALSE(scene->Calibrate(&found));
        EXPECT_EQ(found.m_rms[0], 17);
        EXPECT_EQ(found.m_cameras.m_lenses[0].m_fx, 0);
    }
}

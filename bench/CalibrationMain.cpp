// CalibrationMain.cpp - the program ox3d_board_calibration: how far the calibrations of process types 7, 8 and 10 are from the truth on
// rendered pictures of a board, and what the fit costs in processor time, beside OpenCV in the same run. With pictures of a real
// pair (P5, left ones, then as many right ones) how well the corners of 9 x 6 agree with what is fitted to them.
#include "algorithm/binostereo/LensRecords.h"
#include "algorithm/binostereo/Rectification.h"
#include "bench/CalibrationViews.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>

using namespace ox3d::test;
using namespace ox3d::vision;
using namespace ox3dbench;

double ox3dbench::NowMs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

namespace {

constexpr size_t kViews = 15;
constexpr uint32_t kSeeds = 20;
constexpr size_t kCameras = 3;
constexpr double kNoise = 2;
using Views = std::vector<BoardView>;

BundleCameras Truth() {
    BundleCameras truth{};
    truth.m_lenses[0] = {601.5, 600.2, 322.4, 237.1, {-0.21, 0.06, 0.001, -0.0005, 0}};
    truth.m_lenses[1] = {598.3, 599.6, 317.8, 243.5, {-0.18, 0.05, -0.0006, 0.0008, 0}};
    truth.m_lenses[2] = {610.9, 612.4, 325.2, 240.7, {0.09, -0.12, 0.0004, 0.0006, 0}};
    truth.m_poses[0] = {TurnBy({}), {}};
    truth.m_poses[1] = {TurnBy({0.01, 0.03, -0.02}), {-60, 1.5, 2}};
    truth.m_poses[2] = {TurnBy({-0.02, -0.015, 0.03}), {-25, 4, -3}};
    return truth;
}

Vector3 Moved(const Pose& pose, const Vector3& point) {
    const Vector3 turned = Multiply(pose.m_rotation, point);
    return {turned[0] + pose.m_translation[0], turned[1] + pose.m_translation[1],
            turned[2] + pose.m_translation[2]};
}

// Of the board, in a camera's own frame.
BoardPose PoseIn(size_t camera, const BoardPose& pose) {
    const Pose place = Truth().m_poses[camera];
    return {Multiply(place.m_rotation, pose.rotation), Moved(place, pose.translation)};
}

// What each camera sees.
struct Stage {
    Views m_views[kCameras];
};

void PutView(const BoardPose& pose, uint32_t seed, Stage* stage) {
    const BundleCameras truth = Truth();
    BoardView views[kCameras];
    for (size_t camera = 0; camera < kCameras; ++camera) {
        const Lens& lens = truth.m_lenses[camera];
        BoardView& view = views[camera];
        view.m_camera = {640, 480, lens.m_fx, lens.m_fy, lens.m_cx, lens.m_cy, {}};
        std::copy(std::begin(lens.m_distortion), std::end(lens.m_distortion),
                  view.m_camera.distortion.begin());
        view.m_truth = TrueCorners(view.m_camera, PoseIn(camera, pose), view.m_look);
        if (!std::all_of(view.m_truth.begin(), view.m_truth.end(),
                         [](const Corner& c) { return c.x > 12 && c.y > 12 && c.x < 627 && c.y < 467; })) {
            return;
        }
    }
    for (size_t camera = 0; camera < kCameras; ++camera) {
        BoardView& view = views[camera];
        view.m_look.noise = kNoise;
        view.m_look.seed =
            static_cast<uint32_t>((seed * kViews + stage->m_views[0].size()) * kCameras + camera + 1);
        view.m_pixels = Rendered(view.m_camera, PoseIn(camera, pose), view.m_look);
    }
    for (size_t camera = 0; camera < kCameras; ++camera) {
        stage->m_views[camera].push_back(views[camera]);
    }
}

// Other poses and other noise in each run.
Stage Set(uint32_t seed) {
    Stage stage;
    std::mt19937 random(seed + 11);
    std::uniform_real_distribution<double> uniform(-1, 1);
    while (stage.m_views[0].size() < kViews) {
        const double distance = 590 + 120 * uniform(random);
        PutView(PoseOf({}, 30 * uniform(random), 30 * uniform(random), 15 * uniform(random),
                       {30 + 70 * uniform(random), 50 * uniform(random), distance}),
                seed, &stage);
    }
    return stage;
}

class CObject {
public:
    CObject() {
        const OXB3D_BINOSTEREO_ABILITY ability = {
            640, 480, OXB3D_BINOSTEREO_ABILITY_CALIB | OXB3D_BINOSTEREO_ABILITY_RGBD_CALIB, 1, 9, 6, 40, 0};
        OXB3D_BINOSTEREO_MEM_TAB tab[OXB3D_BINOSTEREO_MEM_TAB_COUNT] = {};
        if (OXB3D_BINOSTEREO_GetMemSize(&ability, tab) == 0) {
            for (size_t i = 0; i < 2; ++i) {
                m_blocks[i].resize(tab[i].size / sizeof(Block));
                tab[i].base = m_blocks[i].data();
            }
            OXB3D_BINOSTEREO_Create(&ability, tab, &m_handle);
        }
    }
    template <typename TIn, typename TOut>
    TOut Run(int32_t type, TIn in) {
        TOut out{};
        const int32_t status = OXB3D_BINOSTEREO_Process(m_handle, type, &in, sizeof in, &out, sizeof out);
        if (status != 0) {
            std::printf("type %d: 0x%x\n", type, static_cast<unsigned>(status));
            std::exit(1);
        }
        return out;
    }

private:
    struct alignas(OXB3D_BINOSTEREO_MEM_ALIGNMENT) Block {
        uint8_t m_bytes[OXB3D_BINOSTEREO_MEM_ALIGNMENT];
    };
    std::vector<Block> m_blocks[2];
    void* m_handle = nullptr;
};

ZQA_IMAGE ImageOf(const BoardView& view) {
    return {ZQA_FORMAT_GREY8,
            view.m_camera.width,
            view.m_camera.height,
            {view.m_camera.width},
            {const_cast<uint8_t*>(view.m_pixels.data())}};
}

OXB3D_BINOSTEREO_BOARD BoardOf(const BoardView& view) {
    const auto side = static_cast<float>(view.m_look.square);
    return {view.m_look.columns, view.m_look.rows, side, side, {}};
}

std::vector<OXB3D_BINOSTEREO_IMAGE_PAIR> PairsOf(const Views& left, const Views& right) {
    std::vector<OXB3D_BINOSTEREO_IMAGE_PAIR> pairs;
    for (size_t i = 0; i < left.size(); ++i) {
        pairs.push_back({ImageOf(left[i]), ImageOf(right[i])});
    }
    return pairs;
}

PairNumbers NumbersOf(const OXB3D_BINOSTEREO_CAMERA& first, const OXB3D_BINOSTEREO_CAMERA& second,
                      const float (&rotation)[9], const float (&translation)[3]) {
    return {{ox3d::stereo::LensOf(first), ox3d::stereo::LensOf(second)},
            {Widened(rotation), Widened(translation)}};
}

using Calibrated = OXB3D_BINOSTEREO_CALIB_OUTPUT;

Calibrated Calibrate(CObject* object, const Views& left, const Views& right) {
    const auto pairs = PairsOf(left, right);
    return object->Run<OXB3D_BINOSTEREO_CALIB_INPUT, Calibrated>(7, {BoardOf(left[0]),
                                                                     static_cast<int32_t>(pairs.size()),
                                                                     OXB3D_BINOSTEREO_CALIB_BOARD,
                                                                     pairs.data(),
                                                                     nullptr,
                                                                     {}});
}

PairNumbers NumbersOf(const Calibrated& out) {
    return NumbersOf(out.rig.left, out.rig.right, out.rig.rotation, out.rig.translation);
}

PairNumbers RgbdCalibrate(CObject* object, const Views& depth, const Views& color, const Lens& lens) {
    const auto pairs = PairsOf(depth, color);
    const OXB3D_BINOSTEREO_CAMERA held = ox3d::stereo::CameraOf(lens);
    const auto out = object->Run<OXB3D_BINOSTEREO_RGBD_CALIB_INPUT, OXB3D_BINOSTEREO_RGBD_CALIB_OUTPUT>(
        8, {BoardOf(depth[0]), static_cast<int32_t>(pairs.size()), 0, pairs.data(), &held, {}});
    return NumbersOf(out.param.depth, out.param.color, out.param.rotation, out.param.translation);
}

// Left and right, then left and color.
std::pair<PairNumbers, PairNumbers> TripleCalibrate(CObject* object, const Views (&views)[kCameras]) {
    std::vector<OXB3D_BINOSTEREO_IMAGE_TRIPLE> triples;
    for (size_t i = 0; i < views[0].size(); ++i) {
        triples.push_back({ImageOf(views[0][i]), ImageOf(views[1][i]), ImageOf(views[2][i])});
    }
    const auto out =
        object->Run<OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_INPUT, OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_OUTPUT>(
            10, {BoardOf(views[0][0]), static_cast<int32_t>(triples.size()), 0, triples.data(), {}});
    return {NumbersOf(out.rig.left, out.rig.right, out.rig.rotation, out.rig.translation),
            NumbersOf(out.param.depth, out.param.color, out.param.rotation, out.param.translation)};
}

double MedianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return (values[half] + values[values.size() - 1 - half]) / 2;
}

double P95(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() * 95 / 100];
}

// Of corners of both images, in the pair as these numbers rectify it.
double RowErrorOf(const PairNumbers& numbers, const Views& left, const Views& right) {
    OXB3D_BINOSTEREO_INIT_INPUT rig{640,
                                    480,
                                    ox3d::stereo::CameraOf(numbers.m_lenses[0]),
                                    ox3d::stereo::CameraOf(numbers.m_lenses[1]),
                                    {},
                                    {},
                                    {}};
    Narrow(numbers.m_place.m_rotation, rig.rotation);
    Narrow(numbers.m_place.m_translation, rig.translation);
    ox3d::stereo::Rectification common{};
    std::vector<double> errors;
    if (!ComputeRectification(rig, &common)) {
        return NAN;
    }
    const auto rowOf = [&](const Corner& corner, size_t camera, const float(&turn)[9]) {
        Vector3 ray{};
        RayOf(numbers.m_lenses[camera], {corner.x, corner.y}, &ray);
        ray = Multiply(Widened(turn), ray);
        return common.m_projection[5] * ray[1] / ray[2];
    };
    for (size_t view = 0; view < left.size(); ++view) {
        for (size_t i = 0; i < left[view].m_truth.size(); ++i) {
            errors.push_back(std::fabs(rowOf(left[view].m_truth[i], 0, common.m_leftRotation) -
                                       rowOf(right[view].m_truth[i], 1, common.m_rightRotation)));
        }
    }
    return P95(errors);
}

// By how far points at several distances, seen by the first camera, come out beside where the second one has them, root of the
// mean square.
double TransferOf(const PairNumbers& numbers, size_t camera) {
    const BundleCameras truth = Truth();
    double squares = 0;
    double count = 0;
    for (int32_t i = 0; i < 16 * 12 * 3; ++i) {
        const Point2 pixel = {i % 16 * 40.0 + 20, i / 16 % 12 * 40.0 + 20};
        const double distance = 450 + 150 * (i / 192);
        const auto along = [&](const Lens& lens) {
            Vector3 ray{};
            RayOf(lens, pixel, &ray);
            return Vector3{ray[0] * distance, ray[1] * distance, distance};
        };
        const Point2 is = PixelOf(numbers.m_lenses[1], Moved(numbers.m_place, along(numbers.m_lenses[0])));
        const Point2 was =
            PixelOf(truth.m_lenses[camera], Moved(truth.m_poses[camera], along(truth.m_lenses[0])));
        squares += (is.x - was.x) * (is.x - was.x) + (is.y - was.y) * (is.y - was.y);
        count += 1;
    }
    return std::sqrt(squares / count);
}

enum { kBaseLine, kTurn, kRow, kFocal, kFocalRight, kTransfer, kMeasures };
constexpr const char* kNames[kMeasures] = {"base line mm", "turn degrees", "row p95",
                                           "fx first",     "fx second",    "transfer rms"};
struct Errors {
    std::vector<double> m_values[kMeasures];
    void Add(const PairNumbers& numbers, const Stage& stage, size_t camera) {
        const BundleCameras truth = Truth();
        const Pose& place = truth.m_poses[camera];
        const Matrix3 left = Multiply(numbers.m_place.m_rotation, Transposed(place.m_rotation));
        const Vector3 turn = {left[7] - left[5], left[2] - left[6], left[3] - left[1]};
        const double values[kMeasures] = {
            std::fabs(Norm(numbers.m_place.m_translation) - Norm(place.m_translation)),
            Norm(turn) / 2 * 180 / 3.14159265358979,
            RowErrorOf(numbers, stage.m_views[0], stage.m_views[camera]),
            std::fabs(numbers.m_lenses[0].m_fx - truth.m_lenses[0].m_fx),
            std::fabs(numbers.m_lenses[1].m_fx - truth.m_lenses[camera].m_fx),
            TransferOf(numbers, camera)};
        for (size_t i = 0; i < kMeasures; ++i) {
            m_values[i].push_back(values[i]);
        }
    }
    void Print(const char* name) const {
        std::printf("%-44s", name);
        for (const std::vector<double>& values : m_values) {
            std::printf(" %12.5f", MedianOf(values));
        }
        std::printf("\n");
    }
};

// How far numbers are off beside what the fit says of that: root of the mean square.
struct Spread {
    double m_squares[14] = {};
    void Add(const Calibrated& out) {
        const BundleCameras truth = Truth();
        const Lens lenses[2] = {ox3d::stereo::LensOf(out.rig.left), ox3d::stereo::LensOf(out.rig.right)};
        const Matrix3 left = Multiply(Widened(out.rig.rotation), Transposed(truth.m_poses[1].m_rotation));
        double errors[14] = {};
        for (size_t camera = 0; camera < 2; ++camera) {
            const Lens& was = truth.m_lenses[camera];
            double* const own = errors + 4 * camera;
            own[0] = lenses[camera].m_fx - was.m_fx;
            own[1] = lenses[camera].m_fy - was.m_fy;
            own[2] = lenses[camera].m_cx - was.m_cx;
            own[3] = lenses[camera].m_cy - was.m_cy;
        }
        errors[8] = (left[7] - left[5]) / 2;
        errors[9] = (left[2] - left[6]) / 2;
        errors[10] = (left[3] - left[1]) / 2;
        for (size_t axis = 0; axis < 3; ++axis) {
            errors[11 + axis] =
                static_cast<double>(out.rig.translation[axis]) - truth.m_poses[1].m_translation[axis];
        }
        for (size_t i = 0; i < 14; ++i) {
            const double share = errors[i] / static_cast<double>(out.sigmas[i]);
            m_squares[i] += share * share / kSeeds;
        }
    }
    void Print() const {
        std::printf("errors beside sigmas (7):");
        double sum = 0;
        for (const double square : m_squares) {
            std::printf(" %.2f", std::sqrt(square));
            sum += square;
        }
        std::printf(", together %.2f\n", std::sqrt(sum / 14));
    }
};

// The fit alone: what is left of the process without the finding of boards.
double SolveMs(CObject* object, const Views& left, const Views& right) {
    double begin = NowMs();
    Calibrate(object, left, right);
    const double whole = NowMs() - begin;
    std::vector<uint64_t> scratch(BoardScratchBytes(640, 480, 0) / sizeof(uint64_t) + 1);
    Corners corners(left[0].m_truth.size());
    begin = NowMs();
    for (const Views* views : {&left, &right}) {
        for (const BoardView& view : *views) {
            FindBoard({view.m_pixels.data(), 640, 640, 480}, view.m_look.columns, view.m_look.rows,
                      scratch.data(), corners.data(), nullptr);
        }
    }
    return whole - (NowMs() - begin);
}

void RunRendered() {
    CObject object;
    Errors stereo, rgbd, after, tripleRight, tripleColor, opencv[4];
    std::vector<double> times, opencvTimes;
    Spread spread;
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        const Stage stage = Set(seed);
        const Views(&views)[kCameras] = stage.m_views;
        const Calibrated out = Calibrate(&object, views[0], views[1]);
        spread.Add(out);
        stereo.Add(NumbersOf(out), stage, 1);
        times.push_back(SolveMs(&object, views[0], views[1]));
        rgbd.Add(RgbdCalibrate(&object, views[0], views[2], Truth().m_lenses[0]), stage, 2);
        after.Add(RgbdCalibrate(&object, views[0], views[2], NumbersOf(out).m_lenses[0]), stage, 2);
        const auto [right, color] = TripleCalibrate(&object, views);
        tripleRight.Add(right, stage, 1);
        tripleColor.Add(color, stage, 2);
#ifdef OX3D_BENCH_OPENCV
        const Lens held = Truth().m_lenses[0];
        for (size_t i = 0; i < 4; ++i) {
            const size_t camera = 1 + i / 2;
            const PairNumbers found =
                CalibratedByOpenCv({{views[0], views[camera]}, i % 2 == 0 ? 5 : 11, i < 2 ? nullptr : &held});
            opencv[i].Add(found, stage, camera);
            if (i == 0) {
                opencvTimes.push_back(found.m_solveMs);
            }
        }
#endif
    }
    std::printf("%-44s", "medians of the errors of 20 runs");
    for (const char* name : kNames) {
        std::printf(" %12s", name);
    }
    std::printf("\n");
    stereo.Print("left and right: ours (7)");
    tripleRight.Print("left and right: ours (10)");
#ifdef OX3D_BENCH_OPENCV
    opencv[0].Print("left and right: OpenCV, window 5");
    opencv[1].Print("left and right: OpenCV, window 11");
#endif
    rgbd.Print("depth held and color: ours (8)");
    after.Print("left and color: ours (8 after 7)");
    tripleColor.Print("left and color: ours (10)");
#ifdef OX3D_BENCH_OPENCV
    opencv[2].Print("depth held and color: OpenCV, window 5");
    opencv[3].Print("depth held and color: OpenCV, window 11");
#endif
    spread.Print();
    std::printf("solving (7): ours %.1f ms", MedianOf(times));
    if (!opencvTimes.empty()) {
        std::printf(", OpenCV %.1f ms", MedianOf(opencvTimes));
    }
    std::printf("\n");
}

bool ReadPicture(const char* path, BoardView* view) {
    std::ifstream file(path, std::ios::binary);
    std::string kind;
    int32_t most = 0;
    file >> kind >> view->m_camera.width >> view->m_camera.height >> most;
    file.get();
    view->m_look.square = 1;
    view->m_pixels.resize(size_t{640} * 480);
    file.read(reinterpret_cast<char*>(view->m_pixels.data()), 640 * 480);
    if (!file || kind != "P5" || view->m_camera.width != 640 || view->m_camera.height != 480 || most != 255) {
        return false;
    }
    std::vector<uint64_t> scratch(BoardScratchBytes(640, 480, 0) / sizeof(uint64_t) + 1);
    view->m_truth.resize(54);
    return FindBoard({view->m_pixels.data(), 640, 640, 480}, 9, 6, scratch.data(), view->m_truth.data(),
                     nullptr);
}

int RunReal(int count, char** paths) {
    Views views[2];
    for (int i = 0; i < count / 2; ++i) {
        BoardView left, right;
        if (ReadPicture(paths[i], &left) && ReadPicture(paths[count / 2 + i], &right)) {
            views[0].push_back(left);
            views[1].push_back(right);
        } else {
            std::printf("not used: %s, %s\n", paths[i], paths[count / 2 + i]);
        }
    }
    CObject object;
    const Calibrated out = Calibrate(&object, views[0], views[1]);
    std::printf("ours: %d views, rms %.4f, row error p95 %.4f, solving %.1f ms\n", out.used,
                static_cast<double>(out.rmsBoth), static_cast<double>(out.rowErrorP95),
                SolveMs(&object, views[0], views[1]));
#ifdef OX3D_BENCH_OPENCV
    for (const int32_t window : {5, 11}) {
        const PairNumbers found = CalibratedByOpenCv({{views[0], views[1]}, window, nullptr});
        std::printf("OpenCV, window %d: rms %.4f, row error p95 of our corners %.4f, solving %.1f ms\n",
                    window, found.m_rms, RowErrorOf(found, views[0], views[1]), found.m_solveMs);
    }
#endif
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 2) {
        return RunReal(argc - 1, argv + 1);
    }
    RunRendered();
    return 0;
}

// Process types 7, 8 and 10 on pictures of a board that three known cameras see: what they find, which views they take, and what
// they refuse. Relies on the linker wrapping the C allocation functions for everything linked in statically.
#define OX3D_WRAPPED_ALLOCATIONS
#include "algorithm/binostereo/LensRecords.h"
#include "algorithm/binostereo/Regions.h"
#include "algorithm/vision/BoardBundle.h"
#include "fuzz/session/Allocations.h"
#include "tests/algorithm/RenderedBoard.h"
#include "tests/algorithm/Rigs.h"

#include <climits>
#include <functional>

bool ox3d::test::MustCount(const void* /*caller*/) {
    return true;
}

using namespace ox3d::test;
using ox3d::stereo::LensOf;
using ox3d::vision::BundleCameras;
using ox3d::vision::Lens;
using ox3d::vision::Pose;

namespace {

constexpr int32_t kGeneral = 0x10000000, kFormat = 0x10000007, kSize = 0x10000008, kStep = 0x10000009,
                  kPlane = 0x1000000A, kNull = 0x10000014, kRegion = 0x10000019;
constexpr size_t kViews = 5;
constexpr OXB3D_BINOSTEREO_BOARD kBoard = {7, 5, 30, 30, {}};

using Calib = OXB3D_BINOSTEREO_CALIB_INPUT;
using CalibOut = OXB3D_BINOSTEREO_CALIB_OUTPUT;
using Rgbd = OXB3D_BINOSTEREO_RGBD_CALIB_INPUT;
using RgbdOut = OXB3D_BINOSTEREO_RGBD_CALIB_OUTPUT;
using Triple = OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_INPUT;
using TripleOut = OXB3D_BINOSTEREO_RGBD_STEREO_CALIB_OUTPUT;
static_assert(sizeof kBoard == 24 && sizeof(Calib) == 64 && offsetof(Calib, start) == 40 &&
              sizeof(CalibOut) == 512 && offsetof(CalibOut, rmsLeft) == 428 &&
              offsetof(CalibOut, mask) == 448);
static_assert(sizeof(Rgbd) == 64 && offsetof(Rgbd, depth) == 40 && sizeof(RgbdOut) == 256 &&
              offsetof(RgbdOut, mask) == 208);
static_assert(sizeof(Triple) == 64 && offsetof(Triple, triples) == 32 && sizeof(TripleOut) == 672 &&
              offsetof(TripleOut, param) == 432 && offsetof(TripleOut, used) == 636);

BundleCameras Truth() {
    BundleCameras truth{};
    truth.m_lenses[0] = {241, 239, 129.5, 94.2, {-0.15, 0.04, 0.001, -0.0008, 0}};
    truth.m_lenses[1] = {237, 238, 125.1, 98.8, {-0.12, 0.03, -0.0007, 0.001, 0}};
    truth.m_lenses[2] = {251, 253, 139.2, 97.7, {0.06, -0.08, 0.0004, 0.0006, 0}};
    truth.m_poses[0] = {Turn({}), {}};
    truth.m_poses[1] = {Turn({0.01, 0.03, -0.02}), {-60, 1.5, 2}};
    truth.m_poses[2] = {Turn({-0.02, -0.015, 0.03}), {-25, 4, -3}};
    return truth;
}

// Views that are tilted every way, one of them upside down. The board looks the same then.
struct Pictures {
    std::vector<std::vector<uint8_t>> m_pixels[3];

    Pictures() {
        const BoardLook look{7, 5, 30, 40, 210, 120, 0.7, 2, 1};
        for (size_t view = 0; view < kViews; ++view) {
            const double around = 2.4 * static_cast<double>(view);
            const BoardPose pose = PoseOf(
                look, 28 * std::cos(around), 28 * std::sin(around), view == 4 ? 175 : 5,
                {25 + 40 * std::cos(3 * around), 25 * std::sin(2 * around), 430 + 50 * std::cos(around)});
            for (size_t camera = 0; camera < 3; ++camera) {
                m_pixels[camera].push_back(
                    Seen(camera, pose, look, static_cast<uint32_t>(3 * view + camera)));
            }
        }
    }
    static std::vector<uint8_t> Seen(size_t camera, const BoardPose& pose, BoardLook look, uint32_t seed) {
        const BundleCameras truth = Truth();
        const Lens& lens = truth.m_lenses[camera];
        BoardCamera seen{256, 192, lens.m_fx, lens.m_fy, lens.m_cx, lens.m_cy, {}};
        if (camera == 2) {
            seen.width = 280, seen.height = 200;
        }
        std::copy(std::begin(lens.m_distortion), std::end(lens.m_distortion), seen.distortion.begin());
        BoardPose here{Multiply(truth.m_poses[camera].m_rotation, pose.rotation),
                       Multiply(truth.m_poses[camera].m_rotation, pose.translation)};
        for (size_t axis = 0; axis < 3; ++axis) {
            here.translation[axis] += truth.m_poses[camera].m_translation[axis];
        }
        look.seed = seed + 1;
        return Rendered(seen, here, look);
    }
    ZQA_IMAGE Record(size_t view, size_t camera) const {
        return Image(1, m_pixels[camera][view].data(), camera == 2 ? 280 : 256, camera == 2 ? 200 : 192);
    }
    static const Pictures& Get() {
        static const Pictures s_pictures;
        return s_pictures;
    }
};

// In guarded memory of exactly the size it asks for, and with all records of one call.
class CBench {
public:
    CBench() : m_memory(kAbility) {
        EXPECT_EQ(OXB3D_BINOSTEREO_Create(&kAbility, m_memory.Tab(), &m_handle), 0);
        const Pictures& pictures = Pictures::Get();
        for (size_t view = 0; view < kViews; ++view) {
            m_pairs.push_back({pictures.Record(view, 0), pictures.Record(view, 1)});
            m_rgbdPairs.push_back({pictures.Record(view, 0), pictures.Record(view, 2)});
            m_triples.push_back({m_pairs[view].left, m_pairs[view].right, m_rgbdPairs[view].right});
        }
        m_rgbd.pairs = m_rgbdPairs.data();
        m_triple.triples = m_triples.data();
    }
    template <class In, class Out>
    int32_t Run(int32_t type, In in, Out& out) {
        return OXB3D_BINOSTEREO_Process(m_handle, type, &in, sizeof in, &out, sizeof out);
    }
    int32_t Calibrate() {
        m_calib.pairs = m_hasPairs ? m_pairs.data() : nullptr;
        return Run(7, m_calib, m_out);
    }

    static constexpr OXB3D_BINOSTEREO_ABILITY kAbility = {640, 480, 24, 1, 7, 5, 9, 0};
    CMemory m_memory;
    void* m_handle = nullptr;
    std::vector<OXB3D_BINOSTEREO_IMAGE_PAIR> m_pairs, m_rgbdPairs;
    std::vector<OXB3D_BINOSTEREO_IMAGE_TRIPLE> m_triples;
    Rig m_start = kLevel;
    Calib m_calib = {kBoard, kViews, 1, nullptr, nullptr, {}};
    Rgbd m_rgbd = {kBoard, kViews, 0, nullptr, &m_start.left, {}};
    Triple m_triple = {kBoard, kViews, 0, nullptr, {}};
    CalibOut m_out = {};
    bool m_hasPairs = true;
};

template <class TRecord>
bool AreSameBytes(const TRecord& a, const TRecord& b) {
    const auto* const bytes = reinterpret_cast<const uint8_t*>(&a);
    return std::equal(bytes, bytes + sizeof a, reinterpret_cast<const uint8_t*>(&b));
}

void ExpectCamera(const Camera& found, const Lens& truth, double pixels) {
    const Lens lens = LensOf(found);
    EXPECT_NEAR(lens.m_fx, truth.m_fx, pixels);
    EXPECT_NEAR(lens.m_fy, truth.m_fy, pixels);
    EXPECT_NEAR(lens.m_cx, truth.m_cx, pixels);
    EXPECT_NEAR(lens.m_cy, truth.m_cy, pixels);
}

void ExpectPlace(const float (&rotation)[9], const float (&translation)[3], const Pose& truth) {
    for (size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(rotation[i], truth.m_rotation[i], 0.002) << i;
    }
    for (size_t axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(translation[axis], truth.m_translation[axis], axis == 2 ? 0.6 : 0.1) << axis;
    }
}

TEST(Calibration, FindsHowTwoCamerasSeeAndStand) {
    CBench bench;
    ASSERT_EQ(bench.Calibrate(), 0);
    const CalibOut& out = bench.m_out;
    const BundleCameras truth = Truth();
    EXPECT_EQ(out.rig.width, 256);
    EXPECT_EQ(out.rig.height, 192);
    ExpectCamera(out.rig.left, truth.m_lenses[0], 0.5);
    ExpectCamera(out.rig.right, truth.m_lenses[1], 0.5);
    ExpectPlace(out.rig.rotation, out.rig.translation, truth.m_poses[1]);
    EXPECT_EQ(out.used, 5);
    EXPECT_EQ(out.mask, 0x1FU);
    EXPECT_LT(out.rowErrorP95, 0.12);
    EXPECT_TRUE(out.rmsLeft > 0.01 && out.rmsLeft < 0.1 && out.rmsRight > 0.01 && out.rmsRight < 0.1);
    EXPECT_TRUE(out.rmsBoth >= std::min(out.rmsLeft, out.rmsRight) &&
                out.rmsBoth <= std::max(out.rmsLeft, out.rmsRight));
    // Each number is off by about as much as it is said to be.
    EXPECT_LT(std::abs(out.rig.left.matrix[0] - truth.m_lenses[0].m_fx), 4 * out.sigmas[0]);
    EXPECT_LT(std::abs(out.rig.right.matrix[5] - truth.m_lenses[1].m_cy), 4 * out.sigmas[7]);
    EXPECT_LT(std::abs(out.rig.translation[0] + 60), 4 * out.sigmas[11]);
    EXPECT_TRUE(std::all_of(std::begin(out.sigmas), std::end(out.sigmas), [](float s) { return s > 0; }));
    EXPECT_EQ(out.rig.left.distortion[4], 0);
}

TEST(Calibration, TakesViewsInWhichAllCamerasSeeTheBoardAndEachOnce) {
    CBench clean;
    ASSERT_EQ(clean.Calibrate(), 0);
    CBench mixed;
    const std::vector<uint8_t> black(size_t{256} * 192, 0);
    mixed.m_pairs.insert(mixed.m_pairs.begin() + 1, mixed.m_pairs[0]);
    mixed.m_pairs.insert(mixed.m_pairs.begin() + 3, mixed.m_pairs[4]);
    mixed.m_pairs[3].right = Image(1, black.data(), 256, 192);
    mixed.m_calib.views = 7;
    const uint64_t before = g_allocations;
    ASSERT_EQ(mixed.Calibrate(), 0);
    EXPECT_EQ(g_allocations, before);
    EXPECT_EQ(mixed.m_out.used, 5);
    EXPECT_EQ(mixed.m_out.mask, 0x75U);
    mixed.m_out.mask = clean.m_out.mask;
    EXPECT_TRUE(AreSameBytes(mixed.m_out, clean.m_out));
}

TEST(Calibration, HoldsADepthCameraThatIsKnown) {
    CBench bench;
    bench.m_start.left = ox3d::stereo::CameraOf(Truth().m_lenses[0]);
    RgbdOut out{};
    ASSERT_EQ(bench.Run(8, bench.m_rgbd, out), 0);
    EXPECT_TRUE(AreSameBytes(out.param.depth, bench.m_start.left));
    EXPECT_TRUE(out.param.depthWidth == 256 && out.param.depthHeight == 192 && out.param.colorWidth == 280 &&
                out.param.colorHeight == 200);
    ExpectCamera(out.param.color, Truth().m_lenses[2], 0.5);
    ExpectPlace(out.param.rotation, out.param.translation, Truth().m_poses[2]);
    EXPECT_EQ(out.mask, 0x1FU);
    EXPECT_TRUE(out.rmsDepth > 0.01 && out.rmsDepth < 0.1 && out.rmsColor > 0.01 && out.rmsColor < 0.1);
    // Both corners' errors add up.
    EXPECT_TRUE(out.rmsTransfer > out.rmsColor && out.rmsTransfer < 0.15);
}

TEST(Calibration, FindsThreeCamerasInOneFit) {
    CBench bench;
    TripleOut out{};
    ASSERT_EQ(bench.Run(10, bench.m_triple, out), 0);
    ExpectCamera(out.rig.left, Truth().m_lenses[0], 0.5);
    ExpectCamera(out.param.color, Truth().m_lenses[2], 0.5);
    ExpectPlace(out.rig.rotation, out.rig.translation, Truth().m_poses[1]);
    ExpectPlace(out.param.rotation, out.param.translation, Truth().m_poses[2]);
    EXPECT_TRUE(AreSameBytes(out.param.depth, out.rig.left));
    EXPECT_EQ(out.used, 5);
    EXPECT_EQ(out.mask, 0x1FU);
    EXPECT_TRUE(
        std::all_of(std::begin(out.rms), std::end(out.rms), [](float r) { return r > 0.01 && r < 0.1; }));
}

#define FAULT(statement) [](CBench& b) { statement; }

// Those that are found first come first.
const struct {
    int32_t m_status;
    std::vector<void (*)(CBench&)> m_faults;
} kFaults[] = {
    {kNull, {FAULT(b.m_hasPairs = false)}},
    {kRegion, {FAULT(b.m_calib.mode = 0), FAULT(b.m_calib.mode = 3), FAULT(b.m_calib.views = 2)}},
    {kRegion, {FAULT(b.m_calib.views = 10), FAULT(b.m_calib.views = INT_MAX), FAULT(b.m_calib.views = -1)}},
    {kRegion, {FAULT(b.m_calib.board.columns = 8), FAULT(b.m_calib.board.rows = 1)}},
    {kRegion, {FAULT(b.m_calib.board.squareWidth = NAN), FAULT(b.m_calib.board.squareHeight = 0)}},
    {kRegion, {FAULT(b.m_calib.board.squareWidth = INFINITY), FAULT(b.m_calib.board.squareHeight = -30)}},
    {kFormat, {FAULT(b.m_pairs[0].left.format = 3)}},
    {kSize, {FAULT(b.m_pairs[0].right.height = 191)}},
    {kPlane, {FAULT(b.m_pairs[1].left.data[0] = nullptr)}},
    {kSize, {FAULT(b.m_pairs[4].left.width = 255), FAULT(b.m_pairs[4].left.height = 193)}},
    {kStep, {FAULT(b.m_pairs[4].right.step[0] = 255)}},
    {kGeneral,
     {FAULT(for (auto& pair
                 : b.m_pairs) pair = b.m_pairs[0])}}};

TEST(Calibration, FindsEveryFaultAloneAndBeforeThoseThatStandBehindItAndWritesNothing) {
    CBench behind;
    for (size_t row = std::size(kFaults); row-- > 0;) {
        for (size_t i = kFaults[row].m_faults.size(); i-- > 0;) {
            CBench alone;
            for (CBench* const bench : {&alone, &behind}) {
                kFaults[row].m_faults[i](*bench);
                bench->m_out.used = -77;
                EXPECT_EQ(bench->Calibrate(), kFaults[row].m_status) << row << ", " << i;
                EXPECT_EQ(bench->m_out.used, -77);
                EXPECT_EQ(bench->m_out.rig.width, 0);
            }
        }
    }
}

TEST(Calibration, RefusesWhatIsNoCalibration) {
    CBench bench;
    bench.m_calib.views = bench.m_triple.views = 3;
    for (auto& pair : bench.m_pairs) { // the right camera on the left
        std::swap(pair.left, pair.right);
    }
    EXPECT_EQ(bench.Calibrate(), kGeneral);
    for (auto& pair : bench.m_pairs) { // and where the left one is
        pair.right = pair.left;
    }
    EXPECT_EQ(bench.Calibrate(), kGeneral);
    for (size_t view = 0; view < kViews; ++view) {
        std::swap(bench.m_triples[view].left, bench.m_triples[view].right);
    }
    TripleOut triple{};
    EXPECT_EQ(bench.Run(10, bench.m_triple, triple), kGeneral);
    RgbdOut rgbd{};
    bench.m_start.left.matrix[4] = NAN;
    EXPECT_EQ(bench.Run(8, bench.m_rgbd, rgbd), kGeneral);
    bench.m_rgbd.depth = nullptr;
    EXPECT_EQ(bench.Run(8, bench.m_rgbd, rgbd), kNull);
    bench.m_triple.triples = nullptr;
    EXPECT_EQ(bench.Run(10, bench.m_triple, triple), kNull);
    EXPECT_TRUE(triple.used == 0 && rgbd.used == 0);
}

} // namespace

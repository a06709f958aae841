// Every process: what it asks of its records and in which order, that it runs in exactly the asked blocks, allocates
// nothing and keeps nothing in scratch memory that it needs.
// Relies on the linker wrapping the C allocation functions for everything linked in statically.
#define OX3D_WRAPPED_ALLOCATIONS
#include "algorithm/binostereo/Object.h"
#include "fuzz/session/Allocations.h"
#include "tests/algorithm/TestObject.h"

#include <climits>
#include <cmath>
#include <functional>

bool ox3d::test::MustCount(const void* /*caller*/) {
    return true;
}

using namespace ox3d::test;

namespace {

constexpr int32_t kGeneral = 0x10000000, kFormat = 0x10000007, kSize = 0x10000008, kStep = 0x10000009,
                  kPlane = 0x1000000A, kNull = 0x10000014, kRegion = 0x10000019;
constexpr int32_t kFusion = 0; // stands for the function itself
constexpr float kIntrinsics[4] = {520, 516, 311, 247};
constexpr float kMove[12] = {1, 0, 0, 20, 0, 1, 0, 3, 0, 0, 1, 0};
constexpr OXB3D_BINOSTEREO_CAMERA kCamera = {{520, 0, 311, 0, 516, 247, 0, 0, 1},
                                             {-0.2F, 0.06F, 0.001F, 0, 0}};
constexpr size_t kPixels = size_t{640} * 480;

// Planes in blocks of exactly their size.
struct Planes {
    CGuardedBlock grey{kPixels}, depth{kPixels * 2};
    CGuardedBlock left{kPixels}, right{kPixels}, fused{kPixels * 2}, target{kPixels * 2},
        points{kPixels * 12};

    Planes() {
        for (size_t i = 0; i < kPixels; ++i) {
            grey.Data<uint8_t>()[i] = static_cast<uint8_t>(i % 640 / 3 + i / 640);
            const auto column = static_cast<int32_t>(i % 640) - 200;
            const auto row = static_cast<int32_t>(i / 640) - 150;
            if (column >= 0 && row >= 0 && column < 180 && row < 180) { // a board of 2 x 2 corners
                grey.Data<uint8_t>()[i] = (column / 60 + row / 60) % 2 != 0 ? 220 : 30;
            }
            depth.Data<int16_t>()[i] = static_cast<int16_t>(500 + i % 640);
        }
    }
};

// Valid records of every process.
struct Records {
    explicit Records(const Planes& planes) : m_planes(planes) {}

    int32_t Run(CTestObject& object, int32_t type) {
        if (type == kFusion) {
            void* const state = ox3d::stereo::ObjectOf(object.Handle())->m_multiFuseRegion;
            return OXB3D_BINOSTEREO_MULTI_FUSE_Process(state, &m_frame, m_config,
                                                       m_planes.fused.Data<int16_t>());
        }
        const auto run = [&](const auto& in, auto& out) { return object.Process(type, in, out); };
        return type == 1    ? run(m_init, m_common)
               : type == 3  ? run(m_score, m_scores[0])
               : type == 4  ? run(m_saddle, m_saddled)
               : type == 5  ? run(m_in, m_out)
               : type == 6  ? run(m_fuse, m_fused)
               : type == 11 ? run(m_sharpness, m_sharp)
               : type == 13 ? run(m_several, m_severalOut)
               : type == 14 ? run(m_saddles, m_saddlesOut)
                            : run(m_trans, m_transOut);
    }

    // disturb runs before every call. The result has a bit of every failure.
    int32_t RunAll(CTestObject& object, const std::function<void()>& disturb) {
        int32_t status = 0;
        for (const auto& [type, mode] : {std::pair{1, 1},
                                         {3, 1},
                                         {4, 1},
                                         {5, 1},
                                         {11, 1},
                                         {13, 1},
                                         {14, 1},
                                         {6, 3},
                                         {6, 2},
                                         {6, 1},
                                         {15, 1},
                                         {15, 2}}) {
            object.SetParam(257, mode);
            m_transOut.points16 = m_planes.points.Data<int16_t>();
            m_transOut.pointsFloat = mode == 2 ? m_planes.points.Data<float>() : nullptr;
            disturb();
            status |= Run(object, type);
        }
        return status;
    }
    bool IsUnwritten() const {
        return m_common.fx == 0 && m_common.baseLine == 0 && m_scores[0] == -77 && m_sharp.score == -77 &&
               m_saddled.score == -77 && m_boardsFound[0].score == -77;
    }

    const Planes& m_planes;
    ZQA_IMAGE m_grey = Image(1, m_planes.grey.Data()), m_depth = Image(3, m_planes.depth.Data());
    OXB3D_BINOSTEREO_INIT_INPUT m_init = {640,         480, kCamera, kCamera, {1, 0, 0, 0, 1, 0, 0, 0, 1},
                                          {-80, 0, 0}, {}};
    OXB3D_BINOSTEREO_INIT_OUTPUT m_common = {};
    OXB3D_BINOSTEREO_IMAGE_PAIR m_in = {m_grey, m_grey};
    OXB3D_BINOSTEREO_IMAGE_PAIR m_out = {Image(1, m_planes.left.Data()), Image(1, m_planes.right.Data())};
    OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT m_fuse = {m_depth, m_grey};
    ZQA_IMAGE m_fused = Image(3, m_planes.fused.Data());
    OXB3D_BINOSTEREO_REGION m_regions[2] = {{0, 0, 9, 9}, {630, 470, 10, 10}};
    OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT m_score = {m_depth, m_regions[1]};
    OXB3D_BINOSTEREO_SHARPNESS_SCORE_INPUT m_sharpness = {m_grey, {0, 0, 640, 480}};
    OXB3D_BINOSTEREO_SHARPNESS_SCORE_OUTPUT m_sharp = {-77, 0, 0, 0};
    OXB3D_BINOSTEREO_SADDLE_SCORE_INPUT m_saddle = {m_grey, {0, 0, 640, 480}, 2, 2, {}};
    OXB3D_BINOSTEREO_SADDLE_SCORE_OUTPUT m_saddled = {-77, 0, 0, 0};
    OXB3D_BINOSTEREO_SADDLE_REGION m_boards[2] = {{{170, 120, 240, 240}, 2, 2}, {{0, 0, 3, 3}, 2, 2}};
    OXB3D_BINOSTEREO_SADDLE_SCORE_OUTPUT m_boardsFound[2] = {{-77, 0, 0, 0}, {-77, 0, 0, 0}};
    OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_INPUT m_saddles = {m_grey, 2, 0, m_boards};
    OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_OUTPUT m_saddlesOut = {m_boardsFound};
    int32_t m_scores[2] = {-77, -77};
    OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT m_several = {m_depth, 2, 0, m_regions};
    OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT m_severalOut = {m_scores};
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT m_trans = {m_depth,     kIntrinsics, kMove,
                                                        kIntrinsics, nullptr,     {}};
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT m_transOut = {nullptr, nullptr,
                                                            Image(3, m_planes.target.Data())};
    OXB3D_BINOSTEREO_FUSE_FRAME m_frame = {m_planes.depth.Data<int16_t>(), m_planes.grey.Data<uint8_t>(), 640,
                                           480};
    int32_t m_config[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS] = {5, 5, 634, 474, 11, 1, 155, 1, 70, 0, 0};
};

#define SET(member, value) [](Records& r) { r.m_##member = (value); }

// Faults of a process that give one status; those that are found first come first.
const struct {
    int32_t m_process, m_status;
    std::vector<void (*)(Records&)> m_faults;
} kFaults[] = {
    {1, kSize, {SET(init.width, 639), SET(init.height, 479), SET(init.width, 641), SET(init.height, 481)}},
    {1, kGeneral, {SET(init.left.matrix[0], 0), SET(init.right.matrix[4], -500)}},
    {1, kGeneral, {SET(init.right.distortion[4], NAN), SET(init.translation[1], INFINITY)}},
    {1, kGeneral, {SET(init.rotation[4], -1), SET(init.rotation[0], 1.01F), SET(init.translation[0], 0)}},
    {3, kFormat, {SET(score.depth.format, 2)}},
    {3, kRegion, {SET(score.region.x, -1), SET(score.region.y, -1), SET(score.region.x, 631)}},
    {3, kRegion, {SET(score.region.y, INT_MAX), SET(score.region.y, 471), SET(score.region.x, INT_MAX)}},
    {3, -11, {SET(score.depth.data[0], nullptr)}},
    {3, kRegion, {SET(score.region.width, 2), SET(score.region.height, INT_MIN)}},
    {3, kRegion, {SET(score.region.height, 2)}},
    {4, kFormat, {SET(saddle.grey.format, 3)}},
    {4, kSize, {SET(saddle.grey.width, 641), SET(saddle.grey.height, 0)}},
    {4, kStep, {SET(saddle.grey.step[0], 639)}},
    {4, kPlane, {SET(saddle.grey.data[0], nullptr)}},
    {4, kRegion, {SET(saddle.region.x, -1), SET(saddle.region.height, 2), SET(saddle.columns, 1)}},
    {4, kRegion, {SET(saddle.columns, 3), SET(saddle.rows, 3), SET(saddle.rows, INT_MIN)}},
    {5, kFormat, {SET(in.left.format, 2), SET(out.right.format, 2)}},
    {5, kSize, {SET(in.right.width, 641), SET(in.left.height, 479)}},
    {5, kStep, {SET(in.right.step[0], 639), SET(in.left.step[0], 639)}},
    {5, -11, {SET(in.right.data[0], nullptr)}},
    {5, -10, {SET(out.left.step[0], 639)}},
    {5, -9, {SET(out.right.width, 0)}},
    {5, kSize, {SET(out.right.width, 639), SET(out.left.height, 479)}},
    {6, kNull, {SET(fuse.depth.data[0], nullptr)}},
    {6, kStep, {SET(fuse.depth.step[0], 641), SET(fuse.grey.width, 639), SET(fuse.grey.height, 479)}},
    {6, kStep, {SET(fuse.grey.step[0], 641)}},
    {6, -8, {SET(fuse.grey.format, 99)}},
    {6, -11, {SET(fuse.grey.data[0], nullptr)}},
    {6, -10, {SET(fuse.depth.format, 104)}},
    {kFusion, -21, {SET(frame.depth, nullptr)}},
    {kFusion, kSize, {SET(frame.width, 641), SET(frame.height, 481)}},
    {kFusion, 0x32000003, {SET(config[0], -1), SET(config[1], -1), SET(config[2], 641), SET(config[3], 5)}},
    {kFusion, 0x32000001, {SET(config[5], 4), SET(config[5], 0)}},
    {kFusion, -21, {SET(frame.grey, nullptr)}},
    {kFusion, 0x32000002, {SET(config[6], 256)}},
    {kFusion, 0x32000004, {SET(config[7], 2)}},
    {11, kFormat, {SET(sharpness.grey.format, 3)}},
    {11, kSize, {SET(sharpness.grey.width, 641), SET(sharpness.grey.height, 0)}},
    {11, kStep, {SET(sharpness.grey.step[0], 639)}},
    {11, kPlane, {SET(sharpness.grey.data[0], nullptr)}},
    {11, kRegion, {SET(sharpness.region.x, -1), SET(sharpness.region.y, 1), SET(sharpness.region.width, 2)}},
    {13, kNull, {SET(several.regions, nullptr), SET(severalOut.scores, nullptr)}},
    {13, kFormat, {SET(several.depth.format, 2)}},
    {13, kRegion, {SET(several.count, 0), SET(regions[1].height, 11), SET(regions[1].width, 2)}},
    {13, -11, {SET(several.depth.data[0], nullptr)}},
    {14, kNull, {SET(saddles.regions, nullptr), SET(saddlesOut.results, nullptr)}},
    {14, kFormat, {SET(saddles.grey.format, 2)}},
    {14, kSize, {SET(saddles.grey.height, 481)}},
    {14, kPlane, {SET(saddles.grey.data[0], nullptr)}},
    {14, kRegion, {SET(saddles.count, 0), SET(boards[1].region.height, 2), SET(boards[1].rows, 3)}},
    {15, kNull, {SET(trans.sourceIntrinsics, nullptr), SET(transOut.targetDepth.data[0], nullptr)}},
    {15, kFormat, {SET(trans.sourceDepth.format, 77)}},
    {15, kStep, {SET(trans.sourceDepth.step[0], 600)}},
    {15, kPlane, {SET(trans.sourceDepth.data[0], nullptr)}},
    {15, kFormat, {SET(trans.sourceDepth.format, 2)}},
    {15, kSize, {SET(trans.sourceDepth.width, 639), SET(trans.sourceDepth.height, 479)}},
    {15, kStep, {SET(trans.sourceDepth.step[0], 641), SET(transOut.targetDepth.step[0], 641)}},
    {15, kNull, {SET(trans.targetIntrinsics, nullptr), SET(trans.transform, nullptr)}}};

TEST(Processes, FindEveryFaultAloneAndBeforeThoseThatStandBehindIt) {
    const Planes planes;
    CTestObject object(63);
    for (const int32_t process : {1, 3, 4, 5, 6, 11, 13, 14, 15, kFusion}) {
        Records behind(planes);
        EXPECT_EQ(Records(planes).Run(object, process), 0) << process;
        for (size_t i = std::size(kFaults); i-- > 0;) {
            const auto& [owner, status, faults] = kFaults[i];
            for (auto fault = faults.rbegin(); owner == process && fault != faults.rend(); ++fault) {
                Records alone(planes);
                for (Records* const records : {&alone, &behind}) {
                    (*fault)(*records);
                    EXPECT_EQ(records->Run(object, process), status)
                        << "process " << process << ", row " << i << ", from behind "
                        << fault - faults.rbegin();
                    EXPECT_TRUE(records->IsUnwritten()) << process;
                }
            }
        }
    }
}

TEST(Processes, HoldDepthToTheAbilityAndAskNothingOfWhatIsNotUsed) {
    const Planes planes;
    CTestObject object(63);
    Records r(planes);
    r.m_fuse.depth.height = r.m_fuse.grey.height = 481;
    EXPECT_EQ(r.Run(object, 6), kSize);
    r.m_fuse.depth.height = 480;
    object.SetParam(257, 3); // the larger depth, which takes no grey image
    r.m_fuse.grey = {};
    EXPECT_EQ(r.Run(object, 6), 0);
    r.m_frame.grey = nullptr;
    r.m_config[5] = 3, r.m_config[6] = 999, r.m_config[7] = 0;
    EXPECT_EQ(r.Run(object, kFusion), 0);
    r.m_transOut.targetDepth.step[0] = -5; // no column lies inside
    EXPECT_EQ(r.Run(object, 15), 0);
    r.m_trans.transform = nullptr;
    r.m_transOut = {planes.points.Data<int16_t>(), planes.points.Data<float>(), {}};
    EXPECT_EQ(r.Run(object, 15), 0);
    EXPECT_EQ(planes.points.Data<float>()[2], 500) << "floats where both are given";
    r.m_transOut.pointsFloat = nullptr;
    EXPECT_EQ(r.Run(object, 15), 0);
    EXPECT_EQ(planes.points.Data<int16_t>()[2], 500);
    EXPECT_EQ(OXB3D_BINOSTEREO_DepthScore(nullptr, 60, {60, 40}, 0, 0, r.m_scores, {0, 0}, {9, 9}), kNull);
}

TEST(Memory, IsNeitherReadNorWrittenBeyondWhatWasAskedFor) {
    const Planes planes;
    Records records(planes);
    for (const EAgainst against : {EAgainst::End, EAgainst::Start}) {
        for (const auto& [width, height] : {std::pair{640, 480}, {643, 491}}) {
            CTestObject object(63, width, height, against);
            EXPECT_EQ(records.RunAll(object, [] {}), 0);
            EXPECT_TRUE(records.m_saddled.found == 1 && records.m_boardsFound[0].found == 1) << width;
        }
    }
}

TEST(Memory, IsNeverAllocated) {
    const Planes planes;
    Records records(planes);
    CTestObject object(63);
    CMemory memory(Ability(63));
    const OXB3D_BINOSTEREO_ABILITY ability = Ability(63);
    OXB3D_BINOSTEREO_MEM_TAB tab[8];
    void* handle = nullptr;
    const uint64_t before = g_allocations;
    const int32_t status = OXB3D_BINOSTEREO_GetMemSize(&ability, tab) |
                           OXB3D_BINOSTEREO_Create(&ability, memory.Tab(), &handle) |
                           OXB3D_BINOSTEREO_SetConfig(handle, 3, nullptr, 0) | records.RunAll(object, [] {});
    const uint64_t after = g_allocations;
    EXPECT_EQ(status, 0);
    EXPECT_EQ(after, before);
    EXPECT_FALSE(std::vector<int>(1 + after).empty());
    EXPECT_GT(g_allocations, after) << "the count itself must work";
}

TEST(Memory, MayLoseItsScratchBetweenAnyTwoCalls) {
    const Planes planes;
    const Planes disturbed;
    CTestObject object(63);
    CTestObject other(63);
    const OXB3D_BINOSTEREO_MEM_TAB scratch = other.Tab()[1];
    int garbage = 0x31;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Records(planes).RunAll(object, [] {}), 0);
        const auto disturb = [&] { std::memset(scratch.base, garbage += 5, scratch.size); };
        EXPECT_EQ(Records(disturbed).RunAll(other, disturb), 0);
        const auto isSame = [&](CGuardedBlock Planes::*block, size_t at, size_t bytes) {
            return std::memcmp((planes.*block).Data<uint8_t>() + at, (disturbed.*block).Data<uint8_t>() + at,
                               bytes) == 0;
        };
        EXPECT_TRUE(isSame(&Planes::left, 0, kPixels) && isSame(&Planes::right, 0, kPixels));
        EXPECT_TRUE(isSame(&Planes::target, 0, kPixels * 2));
        EXPECT_TRUE(isSame(&Planes::points, 0, kPixels * 12));
        for (size_t y = 5; y <= 474; ++y) { // outside lies what the scratch memory holds
            ASSERT_TRUE(isSame(&Planes::fused, (y * 640 + 5) * 2, size_t{629} * 2));
        }
    }
}

} // namespace

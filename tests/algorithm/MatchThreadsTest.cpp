// Stereo matching by several threads finds what one finds, to the bit, and takes nothing from the heap. Relies on the pool of
// the process having the threads that are asked for, and on the linker wrapping the C allocation functions.
#define OX3D_WRAPPED_ALLOCATIONS
#include "fuzz/session/Allocations.h"
#include "tests/algorithm/StereoPairs.h"

bool ox3d::test::MustCount(const void* /*caller*/) {
    return true;
}

using namespace ox3d;
using namespace ox3d::stereo;
using namespace ox3d::test;

namespace {

struct Variant {
    int32_t m_width, m_height, m_disparities;
    bool m_scansBothWays;
};
// Of less and more blocks of columns than threads, of less and more rows than a strip, with a last strip of one row.
constexpr Variant kVariants[] = {
    {300, 49, 32, true}, {300, 49, 32, false}, {40, 33, 16, true}, {129, 2, 64, true}, {131, 70, 16, false}};

TEST(MatchThreads, FindWhatOneFinds) {
    CPoolUse use;
    use.Ask(kMaxMatchThreads);
    for (const Variant& v : kVariants) {
        const Pair pair = Mixed(v.m_width, v.m_height, 5);
        const MatchSettings settings = Settings(pair, v.m_disparities, v.m_scansBothWays);
        const std::vector<int16_t> expected = Matched(pair, settings, BestKernelTier());
        for (uint32_t threads = 2; threads <= kMaxMatchThreads; ++threads) {
            for (int32_t round = 0; round < 3; ++round) {
                ASSERT_EQ(Matched(pair, settings, BestKernelTier(), threads), expected)
                    << v.m_width << "x" << v.m_height << " by " << threads;
            }
        }
    }
}

TEST(MatchThreads, LeaveWhereTheyWaitForEachOtherTooOftenButOne) {
    CWavefront front;
    EXPECT_TRUE(front.Enter() && front.Enter());
    EXPECT_FALSE(front.Leaves(100, 3)) << "once in a while all do";
    EXPECT_TRUE(front.Enter());
    EXPECT_TRUE(front.Leaves(100, 30));
    EXPECT_FALSE(front.Enter()) << "one that comes late";
    EXPECT_TRUE(front.Leaves(101, 31));
    EXPECT_FALSE(front.Leaves(102, 99)) << "the last";
}

TEST(MatchThreads, AreThoseOfTheAbility) {
    constexpr int32_t kWidth = 640;
    constexpr int32_t kHeight = 480;
    Pair pair = Mixed(kWidth, kHeight, 2);
    std::vector<int16_t> expected;
    for (uint32_t threads = 1; threads <= kMaxMatchThreads; ++threads) {
        CTestObject object(1, kWidth, kHeight, EAgainst::End, threads);
        const OXB3D_BINOSTEREO_CAMERA camera = {{500, 0, 320, 0, 500, 240, 0, 0, 1}, {}};
        const OXB3D_BINOSTEREO_INIT_INPUT rig = {
            kWidth, kHeight, camera, camera, {1, 0, 0, 0, 1, 0, 0, 0, 1}, {-80, 0, 0}, {}};
        OXB3D_BINOSTEREO_INIT_OUTPUT common{};
        ASSERT_EQ(object.Process(1, rig, common), 0);
        {
            const CThreadsAllowed allowed(kMaxMatchThreads);
            EXPECT_GE(CPoolTurn(kMinSharedPixels).Threads(), threads) << "from type 1 on";
        }
        ASSERT_EQ(object.SetParam(3, 16), 0);
        std::vector<int16_t> found(size_t{kWidth} * kHeight);
        OXB3D_BINOSTEREO_DEPTH_OUTPUT out{{}, Image(3, found.data())};
        const OXB3D_BINOSTEREO_IMAGE_PAIR in{Image(1, pair.m_left.data()), Image(1, pair.m_right.data())};
        const uint64_t before = g_allocations;
        const int32_t status = object.Process(2, in, out);
        const uint64_t after = g_allocations;
        ASSERT_EQ(status, 0);
        EXPECT_EQ(after, before) << "type 1 has started the threads";
        expected = threads == 1 ? found : expected;
        EXPECT_EQ(found, expected) << threads;
    }
}

} // namespace

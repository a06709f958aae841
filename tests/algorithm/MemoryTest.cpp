// The promise on memory: every process runs in exactly the asked blocks, allocates nothing, and keeps nothing
// in scratch memory that it needs. Relies on the linker wrapping the C allocation functions for everything
// linked in statically.
#define OX3D_WRAPPED_ALLOCATIONS
#include "tests/algorithm/StereoRig.h"
#include "tests/algorithm/TestObject.h"
#include "tests/support/Allocations.h"

bool ox3d::test::MustCount(const void* /*caller*/) {
    return true;
}

using namespace ox3d::test;

namespace {

constexpr OXB3D_BINOSTEREO_CAMERA kCamera = {{520, 0, 311, 0, 516, 247, 0, 0, 1},
                                             {-0.2F, 0.06F, 0.001F, 0, 0}};

constexpr size_t kPixels = size_t{640} * 480;

// Images in blocks of exactly their size, and a round of every process over them.
struct Round {
    CGuardedBlock grey{kPixels}, depth{kPixels * 2};
    CGuardedBlock left{kPixels}, right{kPixels}, fused{kPixels * 2}, target{kPixels * 2},
        points{kPixels * 12};
    StereoRig rig{kCamera, kCamera, Turn({0.01, 0.04, -0.02}), {-80, 2, 1}};

    Round() {
        for (size_t i = 0; i < kPixels; ++i) {
            grey.Data<uint8_t>()[i] = static_cast<uint8_t>(i % 640 / 3 + i / 640);
            depth.Data<int16_t>()[i] = static_cast<int16_t>(500 + i % 640);
        }
    }

    // disturb runs between every two calls. The result has a bit of every failure.
    template <typename TDisturb>
    int32_t Run(CTestObject& object, TDisturb disturb) const {
        const auto process = [&](int32_t type, auto in, auto& out) {
            disturb();
            return object.Process(type, in, out);
        };
        const ZQA_IMAGE picture = Image(1, 640, 480, grey.Data());
        const ZQA_IMAGE map = Image(3, 640, 480, depth.Data());
        const OXB3D_BINOSTEREO_IMAGE_PAIR pair{picture, picture};
        const OXB3D_BINOSTEREO_REGION whole{0, 0, 640, 480};
        const float k[4] = {520, 516, 311, 247};
        const float move[12] = {1, 0, 0, 20, 0, 1, 0, 3, 0, 0, 1, 0};
        const OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT transform{map, k, move, k, nullptr, {}};
        OXB3D_BINOSTEREO_INIT_OUTPUT common{};
        OXB3D_BINOSTEREO_IMAGE_PAIR rectified{Image(1, 640, 480, left.Data()),
                                              Image(1, 640, 480, right.Data())};
        ZQA_IMAGE fusedImage = Image(3, 640, 480, fused.Data());
        OXB3D_BINOSTEREO_DEPTH_SCORE_OUTPUT score{};
        int32_t scores[1];
        OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT several{scores};
        const ZQA_IMAGE targetImage = Image(3, 640, 480, target.Data());
        OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT shorts{points.Data<int16_t>(), nullptr, targetImage};
        OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT floats{nullptr, points.Data<float>(), targetImage};
        int32_t status = process(1, rig.m_input, common) | process(5, pair, rectified);
        for (int32_t mode = 3; mode >= 1; --mode) {
            object.SetParam(257, mode);
            status |= process(6, OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT{map, picture}, fusedImage);
        }
        return status | process(3, OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT{map, whole}, score) |
               process(13, OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT{map, 1, 0, &whole}, several) |
               process(15, transform, shorts) | process(15, transform, floats);
    }
    int32_t Run(CTestObject& object) const {
        return Run(object, [] {});
    }
};

TEST(Memory, IsNeitherReadNorWrittenBeyondWhatWasAskedFor) {
    const Round round;
    for (const EAgainst against : {EAgainst::End, EAgainst::Start}) {
        for (const auto& [width, height] : {std::pair{640, 480}, {643, 491}}) {
            CTestObject object(63, width, height, against);
            EXPECT_EQ(round.Run(object), 0);
        }
    }
}

TEST(Memory, ThatIsABlockShortIsRefusedUntouched) {
    for (uint32_t flags = 1; flags <= 63; ++flags) {
        const OXB3D_BINOSTEREO_ABILITY ability = Ability(flags);
        CMemory memory(ability);
        for (const size_t entry : {0U, 1U}) {
            OXB3D_BINOSTEREO_MEM_TAB tab[2] = {memory.Tab()[0], memory.Tab()[1]};
            if (tab[entry].size == 0) {
                continue;
            }
            OXB3D_BINOSTEREO_MEM_TAB& shortened = memory.Tab()[entry];
            shortened.size -= 128;
            void* handle = nullptr;
            EXPECT_EQ(OXB3D_BINOSTEREO_Create(&ability, memory.Tab(), &handle), 0x10000004) << flags;
            EXPECT_EQ(handle, nullptr);
            for (const auto& block : tab) {
                const auto* bytes = static_cast<const uint8_t*>(block.base);
                EXPECT_EQ(std::count(bytes, bytes + block.size, 0xA7), block.size) << flags;
            }
            shortened.size += 128;
        }
    }
}

TEST(Memory, IsNeverAllocated) {
    const Round round;
    CTestObject object(63);
    CMemory memory(Ability(63));
    const OXB3D_BINOSTEREO_ABILITY ability = Ability(63);
    OXB3D_BINOSTEREO_MEM_TAB tab[8];
    void* handle = nullptr;
    const uint64_t before = g_allocations;
    const int32_t status = OXB3D_BINOSTEREO_GetMemSize(&ability, tab) |
                           OXB3D_BINOSTEREO_Create(&ability, memory.Tab(), &handle) |
                           OXB3D_BINOSTEREO_SetConfig(handle, 3, nullptr, 0) | round.Run(object);
    const uint64_t after = g_allocations;
    EXPECT_EQ(status, 0);
    EXPECT_EQ(after, before);
    EXPECT_FALSE(std::vector<int>(1 + after).empty());
    EXPECT_GT(g_allocations, after) << "the count itself must work";
}

TEST(Memory, MayLoseItsScratchBetweenAnyTwoCalls) {
    const Round round;
    const Round disturbed;
    CTestObject object(63);
    CTestObject other(63);
    const OXB3D_BINOSTEREO_MEM_TAB scratch = other.Memory().Tab()[1];
    int garbage = 0x31;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(round.Run(object), 0);
        EXPECT_EQ(disturbed.Run(other, [&] { std::memset(scratch.base, garbage += 5, scratch.size); }), 0);
        const auto same = [](const CGuardedBlock& a, const CGuardedBlock& b, size_t at, size_t bytes) {
            return std::memcmp(a.Data<uint8_t>() + at, b.Data<uint8_t>() + at, bytes) == 0;
        };
        EXPECT_TRUE(same(round.left, disturbed.left, 0, kPixels));
        EXPECT_TRUE(same(round.right, disturbed.right, 0, kPixels));
        EXPECT_TRUE(same(round.target, disturbed.target, 0, kPixels * 2));
        EXPECT_TRUE(same(round.points, disturbed.points, 0, kPixels * 12));
        for (size_t y = 5; y <= 474; ++y) { // outside lies what the scratch memory holds
            ASSERT_TRUE(same(round.fused, disturbed.fused, (y * 640 + 5) * 2, size_t{629} * 2));
        }
    }
}

} // namespace

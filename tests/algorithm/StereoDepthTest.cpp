// Process type 2 as applications call it: what the matcher finds, as disparities and as depth, in memory of exactly the
// size that was asked for.
#include "algorithm/binostereo/Regions.h"
#include "tests/algorithm/StereoPairs.h"

#include <map>

using namespace ox3d;
using namespace ox3d::stereo;
using namespace ox3d::test;

namespace {

using Rig = OXB3D_BINOSTEREO_INIT_INPUT;
using Images = OXB3D_BINOSTEREO_IMAGE_PAIR;
using Depths = OXB3D_BINOSTEREO_DEPTH_OUTPUT;
using Samples = std::vector<int16_t>;

constexpr int32_t kWidth = 640;
constexpr int32_t kHeight = 480;
constexpr size_t kPixels = size_t{kWidth} * kHeight;
constexpr int16_t kUntouched = -77;

Rig LevelRig(float rightOffset) {
    const OXB3D_BINOSTEREO_CAMERA camera = {{500, 0, 320, 0, 500, 240, 0, 0, 1}, {}};
    return {kWidth, kHeight, camera, camera, {1, 0, 0, 0, 1, 0, 0, 0, 1}, {-rightOffset, 0, 0}, {}};
}

// Cameras that look at each other's place and are turned against each other, so that parts of the rectified images are black.
Rig TurnedRig() {
    Rig rig = LevelRig(80);
    const float turn = 0.06F;
    const float c = std::cos(turn);
    const float s = std::sin(turn);
    const float rotation[9] = {c, -s, 0, s, c, 0, 0, 0, 1};
    std::copy(std::begin(rotation), std::end(rotation), rig.rotation);
    return rig;
}

// Rows of a width and a few samples behind each.
template <typename T>
struct Padded {
    explicit Padded(int32_t padding)
        : m_step(kWidth + padding), m_plane(size_t{kHeight} * static_cast<size_t>(m_step)) {}
    Padded(const std::vector<T>& samples, int32_t padding) : Padded(padding) {
        for (int32_t y = 0; y < kHeight; ++y) {
            std::copy_n(samples.data() + At(0, y, kWidth), kWidth, m_plane.Data() + At(0, y, m_step));
        }
    }
    ZQA_IMAGE Image(int32_t format) const { return {format, kWidth, kHeight, {m_step}, {m_plane.Data()}}; }
    // The samples; what lies behind the rows has to be as it was.
    std::vector<T> Unpadded() const {
        std::vector<T> samples;
        for (int32_t y = 0; y < kHeight; ++y) {
            const T* const row = m_plane.Data() + At(0, y, m_step);
            samples.insert(samples.end(), row, row + kWidth);
            for (int32_t x = kWidth; x < m_step; ++x) {
                EXPECT_EQ(row[x], kUntouched) << x << ' ' << y;
            }
        }
        return samples;
    }
    int32_t m_step;
    CPlane<T> m_plane;
};

struct Found {
    int32_t m_status = -1;
    Samples m_depth;
    Samples m_disparity;
};

Found DepthOf(CTestObject& object, const Pair& pair, int32_t padding = 0) {
    const Padded<uint8_t> left(pair.m_left, padding);
    const Padded<uint8_t> right(pair.m_right, padding);
    const Padded<int16_t> depth(Samples(kPixels, kUntouched), 0);
    const Padded<int16_t> disparity(padding);
    std::fill(disparity.m_plane.Data(), disparity.m_plane.End(), kUntouched);
    Depths out{depth.Image(3), disparity.Image(3)};
    Found found;
    found.m_status = object.Process(2, Images{left.Image(1), right.Image(1)}, out);
    found.m_depth = depth.Unpadded();
    found.m_disparity = disparity.Unpadded();
    return found;
}

OXB3D_BINOSTEREO_INIT_OUTPUT Begin(CTestObject& object, const Rig& rig = LevelRig(80)) {
    OXB3D_BINOSTEREO_INIT_OUTPUT common{};
    EXPECT_EQ(object.Process(1, rig, common), 0);
    return common;
}

TEST(StereoDepth, IsThatOfTheDisparitiesOfTheMatcher) {
    const Pair pair = Mixed(kWidth, kHeight, 9);
    const Samples expected = Matched(pair, Settings(pair, 64), BestKernelTier());
    for (const EAgainst against : {EAgainst::End, EAgainst::Start}) {
        CTestObject object(1, kWidth, kHeight, against);
        EXPECT_EQ(DepthOf(object, pair).m_status, 0x10000000) << "before type 1";
        const auto common = Begin(object);
        EXPECT_EQ(object.SetParam(3, 50), 0); // up to a multiple of 16
        for (const int32_t padding : {0, 5}) {
            const Found found = DepthOf(object, pair, padding);
            ASSERT_EQ(found.m_status, 0);
            EXPECT_EQ(found.m_disparity, expected);
            for (size_t i = 0; i < kPixels; ++i) {
                const double product =
                    static_cast<double>(common.fx) * static_cast<double>(common.baseLine) * 16;
                const double depth = expected[i] > 0 ? std::floor(product / expected[i] + 0.5) : 0;
                ASSERT_EQ(found.m_depth[i], depth > 32767 ? 0 : depth) << i << ' ' << expected[i];
            }
        }
    }
}

TEST(StereoDepth, FollowsItsParametersAsLongAsTheObjectLives) {
    const Pair pair = Mixed(kWidth, kHeight, 4);
    CTestObject object(1);
    Begin(object);
    const std::map<uint32_t, int32_t> sets[] = {
        {{1, 8},
         {2, 5},
         {3, 33},
         {4, 1},
         {6, 7},
         {769, 4},
         {770, 40},
         {772, 2},
         {773, 10},
         {774, 80},
         {775, 5},
         {776, 90}},
        {{3, 288}, {2, 400}, {771, 2}},
    };
    for (const auto& set : sets) {
        ASSERT_EQ(OXB3D_BINOSTEREO_SetConfig(object.Handle(), 3, nullptr, 0), 0);
        const auto valueOf = [&set](uint32_t id, int32_t standard) {
            const auto found = set.find(id);
            return found == set.end() ? standard : found->second;
        };
        for (const auto& [id, value] : set) {
            ASSERT_EQ(object.SetParam(id, value), 0) << id;
        }
        MatchSettings settings =
            Settings(pair, (valueOf(3, 240) + 15) / 16 * 16, valueOf(4, 2) == 2, valueOf(1, 11));
        settings.m_smallest = valueOf(2, 0);
        settings.m_toleranceSixteenths = valueOf(773, 30);
        settings.m_islandPixels = valueOf(769, 7) * valueOf(769, 7);
        settings.m_islandStepSixteenths = valueOf(770, 15);
        settings.m_dropsIslands = valueOf(771, 1) == 1;
        settings.m_hasMedian = valueOf(772, 1) == 1;
        SetPenalties(valueOf(6, 4), valueOf(774, 50), valueOf(775, 20), valueOf(776, 40), &settings);
        EXPECT_EQ(DepthOf(object, pair).m_disparity, Matched(pair, settings, BestKernelTier()));
    }
}

TEST(StereoDepth, SmoothingFindsMoreUnderNoise) {
    const Pair pair = Rendered({20, 0.02, 0.01}, kWidth, kHeight, 60);
    CTestObject object(1);
    Begin(object);
    ASSERT_EQ(object.SetParam(3, 64), 0);
    const auto share = [&](int32_t smoothing) {
        EXPECT_EQ(object.SetParam(777, smoothing), 0);
        const Samples found = DepthOf(object, pair).m_depth;
        return static_cast<double>(
                   std::count_if(found.begin(), found.end(), [](int16_t z) { return z > 0; })) /
               kPixels;
    };
    const double plain = share(1);
    EXPECT_GT(share(2), plain + 0.05);
}

TEST(StereoDepth, RectifiesWhatIsRawAndFindsNothingWhereTheLeftCameraSeesNothing) {
    const Pair raw = Mixed(kWidth, kHeight, 6);
    CTestObject object(1);
    Begin(object, TurnedRig());
    ASSERT_EQ(object.SetParam(3, 16), 0);
    Pair rectified{kWidth, kHeight, std::vector<uint8_t>(kPixels), std::vector<uint8_t>(kPixels)};
    Images pair{Image(1, rectified.m_left.data()), Image(1, rectified.m_right.data())};
    ASSERT_EQ(object.Process(5, Images{Image(1, raw.m_left.data()), Image(1, raw.m_right.data())}, pair), 0);
    Samples expected = DepthOf(object, rectified).m_disparity;
    const uint32_t* const index =
        RectMapOf(*ObjectOf(object.Handle()), {kWidth, kHeight}, ESide::Left).m_indexPlane;
    size_t unseen = 0;
    for (size_t i = 0; i < kPixels; ++i) {
        unseen += index[i] == 0 ? 1 : 0;
        expected[i] = index[i] == 0 ? int16_t{0} : expected[i];
    }
    EXPECT_GT(unseen, kPixels / 100);
    ASSERT_EQ(object.SetParam(5, 2), 0);
    for (const int32_t padding : {0, 3}) {
        EXPECT_EQ(DepthOf(object, raw, padding).m_disparity, expected) << padding;
    }
}

TEST(StereoDepth, GivesWhatIsWantedAndRefusesTheRestWithoutAWord) {
    const Pair pair = Mixed(kWidth, kHeight, 2);
    CTestObject object(1, kWidth + 64, kHeight);
    Begin(object);
    ASSERT_EQ(object.SetParam(3, 16), 0);
    const Found both = DepthOf(object, pair);
    Samples depth(kPixels, kUntouched);
    Samples disparity(kPixels, kUntouched);
    const Images in{Image(1, pair.m_left.data()), Image(1, pair.m_right.data())};
    const Depths out{Image(3, depth.data()), Image(3, disparity.data())};
    const auto run = [&](auto change) {
        Images images = in;
        Depths depths = out;
        change(images, depths);
        return object.Process(2, images, depths);
    };
    const auto without = [](Images&, Depths& o) { o.depth.data[0] = o.disparity.data[0] = nullptr; };
    EXPECT_EQ(run(without), 0x1000000A);
    EXPECT_EQ(run([](Images& i, Depths&) { i.left.data[0] = nullptr; }), 0x1000000A);
    EXPECT_EQ(run([](Images& i, Depths&) { i.right.format = 3; }), 0x10000007);
    EXPECT_EQ(run([](Images&, Depths& o) { o.depth.format = 1; }), 0x10000007);
    EXPECT_EQ(run([](Images& i, Depths&) { i.right.width = kWidth + 64; }), 0x10000008);
    EXPECT_EQ(run([](Images&, Depths& o) { o.disparity.height = kHeight - 1; }), 0x10000008);
    EXPECT_EQ(run([](Images& i, Depths&) { i.left.step[0] = kWidth - 1; }), 0x10000009);
    EXPECT_EQ(run([](Images&, Depths& o) { o.depth.step[0] = -kWidth; }), 0x10000009);
    ASSERT_EQ(OXB3D_BINOSTEREO_SetConfig(object.Handle(), 4, nullptr, 0), 0);
    EXPECT_EQ(run([](Images&, Depths&) {}), 0x10000000) << "after a restart";
    Begin(object, LevelRig(-80));
    EXPECT_EQ(run([](Images&, Depths&) {}), 0x10000000) << "the right camera on the left";
    EXPECT_EQ(depth, Samples(kPixels, kUntouched));
    EXPECT_EQ(disparity, Samples(kPixels, kUntouched));
    Begin(object);
    EXPECT_EQ(run([](Images&, Depths& o) { o.depth = {}; }), 0);
    EXPECT_EQ(disparity, both.m_disparity);
    EXPECT_EQ(run([](Images&, Depths& o) { o.disparity.data[0] = nullptr; }), 0);
    EXPECT_EQ(depth, both.m_depth);
}

TEST(StereoDepth, GoesOnInAnObjectThatIsMadeAnew) {
    const Pair pair = Mixed(kWidth, kHeight, 3);
    CTestObject object(1);
    Begin(object);
    ASSERT_EQ(object.SetParam(3, 32), 0);
    const Found before = DepthOf(object, pair);
    const auto ability = Ability(1, kWidth + 96, kHeight + 32);
    CMemory memory(ability);
    void* handle = object.Handle();
    ASSERT_EQ(OXB3D_BINOSTEREO_Create(&ability, memory.Tab(), &handle), 0);
    Samples depth(kPixels);
    Images in{Image(1, pair.m_left.data()), Image(1, pair.m_right.data())};
    Depths out{Image(3, depth.data()), {}};
    ASSERT_EQ(OXB3D_BINOSTEREO_Process(handle, 2, &in, sizeof in, &out, sizeof out), 0);
    EXPECT_EQ(depth, before.m_depth);
}

} // namespace

// Depth and color laid onto each other, held against what perfect cameras would measure in the virtual camera's scene.
#include "algorithm/alignment/ColorToDepth.h"
#include "bench/AlignQuality.h"
#include "bench/AlignScene.h"
#include "tests/algorithm/TestObject.h"
#include "virtual-camera/frames/SceneBackdrop.h"

#include <cmath>
#include <numeric>

using namespace ox3d;
using ox3dbench::AlignQuality;
using ox3dbench::CAlignTruth;

namespace {

// A noisy frame with holes and shadows, and cameras of the depth's size.
struct Scene {
    explicit Scene(const CAlignTruth::Lens& lens) : m_truth(m_config, 40, lens) {
        std::string error;
        EXPECT_TRUE(CreateFrameSource(m_config, &error)->Render(40, true, false, &m_images));
        m_args.m_cameras = ox3dbench::CamerasOf(m_truth.Calibration());
        m_args.m_depth = m_images.m_depth.data();
        m_filled.resize(m_images.m_depth.size());
        EXPECT_TRUE(Fill(m_args, m_filled.data()));
    }

    FrameSourceConfig m_config;
    CAlignTruth m_truth;
    FrameImages m_images;
    AlignArgs m_args = {nullptr, 640, 480, 30, {}};
    std::vector<uint16_t> m_filled;
};

TEST(Fill, IsWholeSharpAndInItsPlaceWhateverTheLens) {
    for (const CAlignTruth::Lens& lens :
         {CAlignTruth::Lens{}, CAlignTruth::Lens{1.6, {0.08, -0.05, 0.002, -0.001, 1.5}}}) {
        const Scene scene(lens);
        const ox3dbench::AlignScene plain = {640, 480, scene.m_images.m_depth, {},
                                             0,   0,   scene.m_args.m_cameras};
        const AlignQuality other = scene.m_truth.Judge(scene.m_images.m_depth, plain.Truncated());
        const AlignQuality own = scene.m_truth.Judge(scene.m_images.m_depth, scene.m_filled);
        EXPECT_GE(own.m_validShare, own.m_sourceShare);
        EXPECT_GT(own.m_sourceShare, 0.98);
        EXPECT_LE(own.m_medianMm, other.m_medianMm);
        EXPECT_LT(std::fabs(own.m_shiftX), 0.05);
        EXPECT_LT(std::fabs(own.m_shiftY), 0.05);
        EXPECT_GT(other.m_shiftY, 0.4) << "the measure finds the half pixel of truncated targets";
        EXPECT_LT(own.m_bleedShare, 0.0001);
    }
}

TEST(Fill, DrawsNothingAcrossAStepAndTheMaskSaysSo) {
    const Scene scene({});
    std::vector<uint8_t> mask(scene.m_filled.size(), kMaskSeen);
    MaskFilled(scene.m_args, scene.m_filled.data(), CPoolTurn(0), mask.data());
    AlignArgs args = scene.m_args;
    args.m_stepPermille = 1000;
    std::vector<uint16_t> closed(mask.size());
    ASSERT_TRUE(Fill(args, closed.data()));
    size_t opened = 0;
    size_t hidden = 0;
    for (size_t i = 0; i < mask.size(); ++i) {
        EXPECT_EQ(mask[i] == kMaskSeen, scene.m_filled[i] != 0);
        const bool isOpen = closed[i] != 0 && scene.m_filled[i] == 0;
        opened += static_cast<size_t>(isOpen);
        hidden += static_cast<size_t>(isOpen && mask[i] == kMaskHidden);
    }
    EXPECT_GT(opened, 400u);
    EXPECT_GT(hidden, opened * 9 / 10);
}

TEST(Fill, IsBoundedAndDefinedForCamerasThatMakeNoSense) {
    const std::vector<uint16_t> depth(640 * 480, 1000);
    std::vector<uint16_t> target(depth.size());
    AlignArgs args = {
        depth.data(), 640, 480, 30, {{500, 500, 320, 240}, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, {}}};
    for (const float focal : {0.0F, NAN, INFINITY, 1e30F, -1e-30F}) {
        args.m_cameras.m_target[0] = args.m_cameras.m_target[1] = focal;
        EXPECT_TRUE(Fill(args, target.data()));
    }
    args.m_cameras.m_target[0] = args.m_cameras.m_target[1] = 50000;
    ASSERT_TRUE(Fill(args, target.data()));
    EXPECT_EQ(std::count(target.begin(), target.end(), 1000), (5 + 6 * 8) * (5 + 4 * 8)) << "pieces of 8 x 8";
    AlignArgs flat = args;
    flat.m_height = 8;
    flat.m_cameras.m_depth[3] = 0;
    for (int i = 1; i < 200; ++i) {
        flat.m_cameras.m_target[2] = 4.5F + 0.14F * static_cast<float>(i);
        ASSERT_TRUE(Fill(flat, target.data()));
        ASSERT_EQ(std::count(target.begin(), target.begin() + 640 * 8, 1000), 7 * 8 * 4) << i;
    }
    args.m_cameras.m_transform[11] = -2000; // behind the camera
    ASSERT_TRUE(Fill(args, target.data()));
    EXPECT_EQ(std::accumulate(target.begin(), target.end(), 0), 0);
    args.m_width = 16385;
    EXPECT_FALSE(Fill(args, target.data()));
}

// What lies so far aside that the polynomial turns back is not seen, and hides nothing.
TEST(Fill, SeesNothingBeyondTheTurnOfTheDistortion) {
    std::vector<uint16_t> depth(640 * 480, 1000);
    std::vector<uint8_t> expected(depth.size(), kMaskSeen);
    for (int i = 0; i < 640 * 480; ++i) {
        const int u = i % 640 - 320, v = i / 640 - 240;
        if (u * u + v * v > 0.835 * 200 * 200) {
            depth[i] = 500;
            expected[i] = kMaskOutside;
        }
    }
    AlignArgs args = {depth.data(), 640, 480, 30, {{200, 200, 320, 240}, {}, {200, 200, 320, 240, -0.4F}}};
    args.m_cameras.m_transform[0] = args.m_cameras.m_transform[5] = args.m_cameras.m_transform[10] = 1;
    std::vector<uint16_t> target(depth.size());
    std::vector<uint8_t> mask(depth.size());
    ASSERT_TRUE(Fill(args, target.data()) &&
                ColorToDepth(args, target.data(), {}, CPoolTurn(0), nullptr, mask.data()));
    EXPECT_EQ(std::count(target.begin(), target.end(), 500), 0);
    EXPECT_EQ(mask, expected);
}

TEST(ColorToDepth, HasTheColorOfEachPointThatTheColorCameraSees) {
    const Scene scene({});
    const size_t pixels = scene.m_filled.size();
    const ColorPlanes planes = {scene.m_images.m_color.data(), 1280, 960};
    std::vector<uint8_t> color(3 * pixels);
    std::vector<uint8_t> mask(pixels);
    ASSERT_TRUE(
        ColorToDepth(scene.m_args, scene.m_filled.data(), planes, CPoolTurn(0), color.data(), mask.data()));

    const CSceneModel& model = CSceneModel::Get();
    std::vector<uint8_t> truth(3 * pixels);
    CPictureBackdrop(model.DepthCamera(640, 480), 640, 480, false).Render(model.BallAt(40), truth.data());
    const CGroundTruth ground(scene.m_config);
    std::vector<int> errors;
    size_t wrong = 0;
    for (size_t i = 0; i < pixels; ++i) {
        const bool isDepth = scene.m_args.m_depth[i] != 0;
        EXPECT_EQ(mask[i] == kMaskNone, !isDepth);
        wrong +=
            static_cast<size_t>(isDepth && mask[i] != scene.m_truth.MaskAt(static_cast<uint32_t>(i % 640),
                                                                           static_cast<uint32_t>(i / 640)));
        for (size_t c = i; c < 3 * pixels; c += pixels) {
            if (mask[i] == kMaskSeen) {
                errors.push_back(std::abs(color[c] - truth[c]));
            } else {
                ASSERT_EQ(color[c], 0);
            }
        }
    }
    EXPECT_LT(wrong, pixels / 200);
    const auto most = errors.begin() + static_cast<ptrdiff_t>(errors.size() * 9 / 10);
    std::nth_element(errors.begin(), most, errors.end());
    EXPECT_LE(*most, 6) << "of 255, for nine tenths of all";
}

// By cameras that are one: centres lie on centres, and how far in front something is decides what it hides.
TEST(ColorToDepth, SamplesBetweenPixelsAndLeavesSurfacesTheirRoom) {
    const std::vector<uint16_t> depth(8 * 4, 1000);
    AlignArgs args = {depth.data(), 8, 4, 0, {{9, 9, 3, 2}, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, {9, 9, 3, 2}}};
    uint8_t planes[3 * 16 * 8];
    for (int i = 0; i < 3 * 16 * 8; ++i) {
        planes[i] = static_cast<uint8_t>(i < 128 ? 4 * (i % 16) : 8 * (i / 16));
    }
    std::vector<uint8_t> color(3 * depth.size());
    std::vector<uint8_t> mask(depth.size());
    for (const int nearest : {991, 985, 975, 965}) {
        args.m_stepPermille = nearest > 980 ? 0 : 30;
        const uint8_t seen = nearest == 985 || nearest == 965 ? kMaskHidden : kMaskSeen;
        const std::vector<uint16_t> filled(depth.size(), static_cast<uint16_t>(nearest));
        ASSERT_TRUE(
            ColorToDepth(args, filled.data(), {planes, 16, 8}, CPoolTurn(0), color.data(), mask.data()));
        EXPECT_EQ(mask, std::vector<uint8_t>(mask.size(), seen)) << nearest;
        for (int i = 0; i < 32; ++i) {
            EXPECT_EQ(color[i], seen == kMaskSeen ? 8 * (i % 8) + 2 : 0);
            EXPECT_EQ(color[32 + i], seen == kMaskSeen ? 64 + 16 * (i / 8) + 4 : 0);
        }
    }
}

} // namespace

// Every tier of the image kernels gives the bits of the reference: remapping, fusion with its smoothing and
// confidences, and the fill score, on random and extreme numbers, odd extents, any address, recorded images.
// Relies on the tier being set in-process; tiers that this processor lacks are skipped.
#include "algorithm/binostereo/ImageTiers.h"
#include "base/PngFile.h"
#include "tests/algorithm/TestObject.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

using namespace algorithm_test;
using ox3d::EKernelTier;

namespace {

using Bytes = std::vector<uint8_t>;
using Depth = std::vector<int16_t>;

template <typename T>
std::vector<T> Noise(std::mt19937& random, size_t count, uint32_t range = 65536) {
    std::vector<T> noise(count);
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<T>(random() % range); });
    return noise;
}

class ImageTier : public testing::TestWithParam<EKernelTier> {
protected:
    void SetUp() override {
        if (GetParam() > ox3d::BestKernelTier()) {
            GTEST_SKIP() << "this processor lacks the tier";
        }
    }
    void TearDown() override { ox3d::stereo::UseImageKernelTier(ox3d::BestKernelTier()); }

    // What `result` gives with the reference and with the tier.
    template <typename TResult>
    static void Compare(TResult result) {
        ox3d::stereo::UseImageKernelTier(EKernelTier::Reference);
        const auto expected = result();
        EXPECT_EQ(ox3d::stereo::UseImageKernelTier(GetParam()), GetParam());
        ASSERT_TRUE(expected == result());
    }
};

// A map as nobody builds it: any weights, and now and then entries at and beyond the source's end.
std::vector<uint32_t> AnyIndices(std::mt19937& random, int32_t width, uint32_t pixels, bool isSound) {
    const uint32_t last = pixels - std::min(pixels, static_cast<uint32_t>(width) + 2);
    std::vector<uint32_t> indices(pixels);
    for (uint32_t& index : indices) {
        index = static_cast<uint32_t>(random() % (last + 1));
        if (!isSound && random() % 16 == 0) {
            const uint32_t edges[] = {last, last + 1, pixels, UINT_MAX,
                                      UINT_MAX - static_cast<uint32_t>(width)};
            index = edges[random() % std::size(edges)];
        }
    }
    return indices;
}

TEST_P(ImageTier, RemapsToTheReferencesBytes) {
    std::mt19937 random(5);
    for (int round = 0; round < 2000; ++round) {
        const auto width = static_cast<int32_t>(1 + random() % (round % 20 == 0 ? 700 : 40));
        const auto height = static_cast<int32_t>(1 + random() % 9);
        const size_t pixels = At(0, height, width);
        const Bytes noise = Noise<uint8_t>(random, pixels);
        const CGuardedBlock src(pixels);
        std::memcpy(src.Data(), noise.data(), pixels);
        const auto indices = AnyIndices(random, width, static_cast<uint32_t>(pixels), round % 3 == 0);
        const size_t offset = random() % 40;
        const Bytes weights = Noise<uint8_t>(random, offset + 4 * pixels);
        SCOPED_TRACE(round);
        ASSERT_NO_FATAL_FAILURE(Compare([&] {
            Bytes dst(offset + pixels, 7);
            EXPECT_EQ(OXB3D_BINOSTEREO_RCT_RectifyImage(src.Data<uint8_t>(), indices.data(),
                                                        weights.data() + offset, width, height,
                                                        dst.data() + offset),
                      0);
            return dst;
        }));
    }
}

// An output on an input is the caller's mistake, but one with one result.
TEST_P(ImageTier, RemapsToTheReferencesBytesWhereTheOutputLiesOnAnInput) {
    constexpr int32_t kWidth = 90;
    constexpr int32_t kHeight = 9;
    constexpr size_t kPixels = size_t{kWidth} * kHeight;
    std::mt19937 random(6);
    const auto indices = AnyIndices(random, kWidth, kPixels, true);
    const Bytes noise = Noise<uint8_t>(random, 9 * kPixels);
    for (const size_t at : {size_t{0}, kPixels - 1, kPixels, 3 * kPixels, 5 * kPixels - 1, 7 * kPixels}) {
        ASSERT_NO_FATAL_FAILURE(Compare([&] {
            std::vector<uint32_t> all(9 * kPixels / 4 + 1);
            auto* bytes = reinterpret_cast<uint8_t*>(all.data());
            std::memcpy(bytes, noise.data(), noise.size());
            // The indices come first, then the weights, then the source.
            std::memcpy(bytes, indices.data(), 4 * kPixels);
            OXB3D_BINOSTEREO_RCT_RectifyImage(bytes + 8 * kPixels, all.data(), bytes + 4 * kPixels, kWidth,
                                              kHeight, bytes + at);
            return all;
        })) << at;
    }
}

// Three frames through one fusion: the outputs one after the other.
Depth FuseFrames(ZQA_SIZE size, const std::vector<Depth>& depths, const std::vector<Bytes>& greys,
                 const int32_t (&config)[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS]) {
    uint64_t persistent = 0;
    uint64_t scratch = 0;
    EXPECT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize(size, &persistent, &scratch), 0);
    const CGuardedBlock state(persistent);
    const CGuardedBlock work(scratch);
    EXPECT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Init(state.Data(), size, state.Data(), work.Data()), 0);
    Depth outputs;
    for (size_t frame = 0; frame < depths.size(); ++frame) {
        const OXB3D_BINOSTEREO_FUSE_FRAME input{depths[frame].data(), greys[frame].data(), size.width,
                                                size.height};
        Depth output(depths[frame].size());
        EXPECT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Process(state.Data(), &input, config, output.data()), 0);
        outputs.insert(outputs.end(), output.begin(), output.end());
    }
    return outputs;
}

TEST_P(ImageTier, FusesToTheReferencesSamples) {
    std::mt19937 random(8);
    constexpr int32_t kPeaks[] = {70, 70, 0, 255, -9, INT_MAX};
    for (int round = 0; round < 600; ++round) {
        const ZQA_SIZE size{static_cast<int32_t>(1 + random() % (round % 10 == 0 ? 500 : 60)),
                            static_cast<int32_t>(1 + random() % 24)};
        const size_t pixels = At(0, size.height, size.width);
        std::vector<Depth> depths(3);
        std::vector<Bytes> greys(3);
        for (size_t frame = 0; frame < 3; ++frame) {
            depths[frame] = Noise<int16_t>(random, pixels, round % 2 == 0 ? 65536 : 300);
            // Slow changes, so that confidences come near each other, or any.
            greys[frame] = Noise<uint8_t>(random, pixels, round % 3 == 0 ? 256 : 3 + random() % 120);
        }
        const auto shift = [&random] { return static_cast<int32_t>(random() % 9) - 2; };
        const int32_t config[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS] = {0,
                                                                    0,
                                                                    size.width,
                                                                    size.height,
                                                                    11,
                                                                    1 + round % 3,
                                                                    static_cast<int32_t>(random() % 256),
                                                                    1,
                                                                    kPeaks[random() % 6],
                                                                    shift(),
                                                                    shift()};
        SCOPED_TRACE(round);
        ASSERT_NO_FATAL_FAILURE(Compare([&] { return FuseFrames(size, depths, greys, config); }));
    }
}

TEST_P(ImageTier, FusesExtremesToTheReferencesSamples) {
    constexpr int16_t kDepths[] = {0, 1, -1, 9, 10, 11, 1000, 1222, 1223, -20000, 20000, 32767, -32768};
    constexpr float kConfidences[] = {0.0F,      1e-7F,  1.1920929e-7F, 1.2e-7F, 60.0F,
                                      60.00001F, 255.0F, -1.0F,         NAN,     INFINITY};
    std::mt19937 random(9);
    Depth depth(3001);
    Depth previous(depth.size());
    std::vector<float> confidence(depth.size());
    std::vector<float> before(depth.size());
    for (size_t i = 0; i < depth.size(); ++i) {
        depth[i] = kDepths[random() % std::size(kDepths)];
        previous[i] = kDepths[random() % std::size(kDepths)];
        confidence[i] = kConfidences[random() % std::size(kConfidences)];
        before[i] = kConfidences[random() % std::size(kConfidences)];
    }
    for (const int32_t mode : {1, 2, 3}) {
        ASSERT_NO_FATAL_FAILURE(Compare([&] {
            Depth fused(depth.size());
            ox3d::stereo::ImageKernelsInUse().fuse({depth.data(), previous.data(), confidence.data(),
                                                    before.data(), fused.data(),
                                                    static_cast<int64_t>(fused.size()), 60.0F, mode});
            return fused;
        })) << mode;
    }
}

TEST_P(ImageTier, CountsTheReferencesSamples) {
    std::mt19937 random(10);
    for (int64_t count = 0; count < 140000; count = count * 5 / 4 + 1) {
        const Depth samples = Noise<int16_t>(random, static_cast<size_t>(count) + 1, 1 + random() % 5);
        ASSERT_NO_FATAL_FAILURE(
            Compare([&] { return ox3d::stereo::ImageKernelsInUse().countZeros(samples.data() + 1, count); }));
    }
}

TEST_P(ImageTier, GivesTheReferencesBitsForRecordedImages) {
    const std::string folder = OX3D_DATA_DIR;
    ox3d::PngSize size;
    std::string error;
    std::vector<Depth> depths;
    std::vector<Bytes> colors(2);
    for (const char* name : {"/office/depth/000000.png", "/desk/depth/000000.png"}) {
        std::vector<uint16_t> samples;
        ASSERT_TRUE(ox3d::ReadDepthPng(folder + name, &size, &samples, &error)) << error;
        depths.emplace_back(samples.begin(), samples.end());
    }
    const ZQA_SIZE extent{static_cast<int32_t>(size.m_width), static_cast<int32_t>(size.m_height)};
    ASSERT_TRUE(ox3d::ReadColorPng(folder + "/office/color/000000.png", &size, &colors[0], &error)) << error;
    ASSERT_TRUE(ox3d::ReadColorPng(folder + "/desk/color/000000.png", &size, &colors[1], &error)) << error;
    ASSERT_EQ(static_cast<int32_t>(size.m_width), extent.width);
    for (const int32_t mode : {1, 2, 3}) {
        const int32_t config[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS] = {
            5, 5, extent.width - 6, extent.height - 6, 11, mode, 60, 1, 70, 0, 64};
        ASSERT_NO_FATAL_FAILURE(Compare([&] { return FuseFrames(extent, depths, colors, config); }));
    }
    ASSERT_NO_FATAL_FAILURE(Compare([&] {
        std::vector<int64_t> zeros; // of each row, from an odd sample on
        for (size_t row = 0; row < static_cast<size_t>(extent.height); ++row) {
            const int16_t* const samples =
                depths[0].data() + row * static_cast<size_t>(extent.width) + row % 7;
            zeros.push_back(ox3d::stereo::ImageKernelsInUse().countZeros(samples, extent.width - 7));
        }
        return zeros;
    }));
    const OXB3D_BINOSTEREO_CAMERA camera = {{520, 0, 311, 0, 516, 247, 0, 0, 1},
                                            {-0.21F, 0.06F, 0.0012F, -0.0009F, -0.008F}};
    const float turn[9] = {0.9998F, -0.02F, 0.01F, 0.02F, 0.9998F, 0, -0.01F, 0, 1};
    const float projection[12] = {480, 0, 320, 0, 0, 480, 240, 0, 0, 0, 1, 0};
    std::vector<uint32_t> index(At(0, extent.height, extent.width));
    Bytes weights(4 * index.size());
    double scratch[32];
    ASSERT_EQ(OXB3D_BINOSTEREO_RCT_GeneUndistortRectMap(extent.width, extent.height, &camera, 0, turn,
                                                        projection, index.data(), weights.data(), scratch),
              0);
    ASSERT_NO_FATAL_FAILURE(Compare([&] {
        Bytes dst(index.size());
        OXB3D_BINOSTEREO_RCT_RectifyImage(colors[0].data(), index.data(), weights.data(), extent.width,
                                          extent.height, dst.data());
        return dst;
    }));
}

// Run once more with a wish in the environment; the first call in the process chooses.
TEST(ImageKernelsInUse, AreOfTheTierThatTheEnvironmentAsksFor) {
    const ox3d::stereo::ImageKernels* const chosen = &ox3d::stereo::ImageKernelsInUse();
    ox3d::stereo::UseImageKernelTier(
        ox3d::KernelTierFor(std::getenv("OX3D_KERNELS"), ox3d::BestKernelTier()));
    EXPECT_EQ(chosen, &ox3d::stereo::ImageKernelsInUse());
}

INSTANTIATE_TEST_SUITE_P(Tiers, ImageTier,
                         testing::Values(EKernelTier::Sse2, EKernelTier::Avx2, EKernelTier::Avx512));

} // namespace

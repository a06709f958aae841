// Every tier of the transform's kernels gives the bits of the reference: random and extreme numbers, odd
// extents, rows at any address, recorded depth.
// Relies on the tier being set in-process; tiers that this processor lacks are skipped.
#include "algorithm/binostereo/TransformTiers.h"
#include "base/PngFile.h"
#include "tests/algorithm/TestObject.h"

#include <bit>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

using namespace algorithm_test;
using ox3d::EKernelTier;

namespace {

// One call. Buffers begin `offset` samples into their allocation.
struct Scene {
    int32_t width = 0, height = 0, step = 0, targetWidth = 0;
    size_t offset = 0;
    std::vector<int16_t> depth;
    float source[4] = {}, transform[12] = {}, target[4] = {}, distortion[4] = {};
};

// The result for one tier, with whatever the call left alone.
struct Result {
    std::vector<uint32_t> points;
    std::vector<int16_t> target;
    int32_t status = 0;
    bool operator==(const Result&) const = default;
};

// Which of two NaNs an operation hands on is not defined by the language, so all of them count as one.
uint32_t BitsOf(float value) {
    return std::isnan(value) ? 0x7FC00000U : std::bit_cast<uint32_t>(value);
}
uint32_t BitsOf(int16_t value) {
    return static_cast<uint16_t>(value);
}

template <typename TPoint>
Result ResultOf(const Scene& s, uint32_t mode, EKernelTier tier) {
    // A target may be wider than the source, and so may what is written.
    const size_t pixels =
        static_cast<size_t>(std::max({s.targetWidth, s.step, s.width})) * static_cast<size_t>(s.height);
    std::vector<TPoint> points(s.offset + pixels * 12 / sizeof(TPoint), TPoint{7});
    std::vector<int16_t> target(s.offset + pixels, 7);
    const bool withPoints = (mode & 1) != 0;
    TPoint* toPoints = withPoints ? points.data() + s.offset : nullptr;
    int16_t* toTarget = (mode & 2) != 0 ? target.data() + s.offset : nullptr;
    EXPECT_EQ(ox3d::stereo::UseTransformKernelTier(tier), tier);
    const auto call = [&](auto kernel) {
        return kernel(s.depth.data() + s.offset, s.step, s.width, s.height, toPoints, toTarget, s.targetWidth,
                      s.source, (mode & 4) != 0 ? s.transform : nullptr, s.target,
                      (mode & 8) != 0 ? s.distortion : nullptr);
    };
    Result result;
    if constexpr (std::is_same_v<TPoint, float>) {
        result.status = call(OXB3D_BINOSTEREO_Comn_Trans_f32);
    } else {
        result.status = call(OXB3D_BINOSTEREO_Comn_Trans_s16);
    }
    for (const TPoint value : points) {
        result.points.push_back(BitsOf(value));
    }
    result.target = std::move(target);
    return result;
}

class TransformTier : public testing::TestWithParam<EKernelTier> {
protected:
    void SetUp() override {
        if (GetParam() > ox3d::BestKernelTier()) {
            GTEST_SKIP() << "this processor lacks the tier";
        }
    }
    void TearDown() override { ox3d::stereo::UseTransformKernelTier(ox3d::BestKernelTier()); }

    // All modes of both kernels, refused ones included.
    static void Compare(const Scene& scene) {
        for (uint32_t mode = 0; mode < 16; ++mode) {
            ASSERT_TRUE(ResultOf<float>(scene, mode, EKernelTier::Reference) ==
                        ResultOf<float>(scene, mode, GetParam()))
                << "float points, mode " << mode;
            ASSERT_TRUE(ResultOf<int16_t>(scene, mode, EKernelTier::Reference) ==
                        ResultOf<int16_t>(scene, mode, GetParam()))
                << "16-bit points, mode " << mode;
        }
    }
};

float AnyFloat(std::mt19937& random) {
    constexpr float kEdges[] = {0.0F,          -0.0F,     1.0F,           -1.0F, 2.0F,     NAN,
                                INFINITY,      -INFINITY, 1e20F,          1e-9F, 32768.0F, -32768.0F,
                                2147483648.0F, -3e9F,     -1.1920929e-7F, 1e38F};
    return kEdges[random() % std::size(kEdges)];
}

// A camera pair that sees something, by and by spoilt by extreme numbers and extreme samples.
Scene RandomScene(std::mt19937& random) {
    std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
    Scene s;
    s.width = 1 + static_cast<int32_t>(random() % (random() % 8 == 0 ? 600 : 70));
    s.height = 1 + static_cast<int32_t>(random() % 9);
    s.step = s.width + static_cast<int32_t>(random() % 4 == 0 ? random() % 9 : 0);
    s.targetWidth = random() % 4 == 0 ? static_cast<int32_t>(random() % 90) - 5 : s.width;
    s.offset = random() % 17;
    s.depth.resize(s.offset + static_cast<size_t>(s.step) * static_cast<size_t>(s.height));
    const uint32_t range = random() % 3 == 0 ? 65536 : 1 + random() % 4000;
    for (int16_t& sample : s.depth) {
        sample = random() % 5 == 0 ? int16_t{0} : static_cast<int16_t>(random() % range);
    }
    const float w = static_cast<float>(s.width);
    const float h = static_cast<float>(s.height);
    float cameras[2][4];
    for (float(&k)[4] : cameras) {
        const float scale = w * (1.0F + 0.3F * unit(random));
        const float numbers[4] = {scale, scale, w / 2 + unit(random), h / 2 + unit(random)};
        std::memcpy(k, numbers, sizeof numbers);
    }
    std::memcpy(s.source, cameras[0], sizeof s.source);
    std::memcpy(s.target, cameras[1], sizeof s.target);
    for (int i = 0; i < 12; ++i) {
        const float shift = random() % 2 == 0 ? 20.0F : 2000.0F;
        s.transform[i] =
            i % 4 == 3 ? shift * unit(random) : 0.03F * unit(random) + (i % 5 == 0 ? 1.0F : 0.0F);
    }
    for (float& k : s.distortion) {
        k = 0.1F * unit(random);
    }
    for (float* numbers : {s.source, s.transform, s.target, s.distortion}) {
        if (random() % 8 == 0) {
            numbers[random() % (numbers == s.transform ? 12 : 4)] = AnyFloat(random);
        }
    }
    return s;
}

TEST_P(TransformTier, GivesTheReferencesBitsForAnything) {
    std::mt19937 random(20240607);
    for (int round = 0; round < 1500; ++round) {
        SCOPED_TRACE(round);
        ASSERT_NO_FATAL_FAILURE(Compare(RandomScene(random)));
    }
}

TEST_P(TransformTier, GivesTheReferencesBitsAtEveryWidthAndWhereRowsOverlap) {
    std::mt19937 random(3);
    Scene scene = RandomScene(random);
    scene.offset = 1;
    scene.height = 3;
    scene.depth.assign(400, 1);
    for (int16_t& sample : scene.depth) {
        sample = static_cast<int16_t>(random());
    }
    for (int32_t width = 1; width <= 70; ++width) {
        for (const int32_t less : {0, 1}) {
            SCOPED_TRACE(width);
            scene.width = scene.targetWidth = width;
            scene.step = std::max(1, width - less);
            scene.depth.resize(400);
            ASSERT_NO_FATAL_FAILURE(Compare(scene));
        }
    }
}

// An output on the depth samples is the caller's mistake, but one with one result.
TEST_P(TransformTier, GivesTheReferencesBitsWhereTheOutputLiesOnTheDepth) {
    const float k[4] = {500, 500, 300, 0};
    const float t[12] = {1, 0, 0, 9, 0, 1, 0, 0, 0, 0, 1, 0};
    for (const size_t shift : {0, 37, 640, 1279}) {
        std::vector<int16_t> buffers[2];
        for (const EKernelTier tier : {EKernelTier::Reference, GetParam()}) {
            std::vector<int16_t>& both = buffers[tier == EKernelTier::Reference ? 0 : 1];
            for (int16_t i = 0; i < 4000; ++i) {
                both.push_back(static_cast<int16_t>(1 + i % 3000));
            }
            ox3d::stereo::UseTransformKernelTier(tier);
            EXPECT_EQ(OXB3D_BINOSTEREO_Comn_Trans_f32(both.data() + shift, 640, 640, 2, nullptr,
                                                      both.data() + 640, 640, k, t, k, nullptr),
                      0);
        }
        EXPECT_EQ(buffers[0], buffers[1]) << shift;
    }
}

// The depth begins where the points of the source's pixels end; those of a wider target reach into it.
TEST_P(TransformTier, GivesTheReferencesBitsWhereAWideTargetsPointsLieOnTheDepth) {
    const float source[4] = {500, 500, 300, 0};
    const float target[4] = {500, 500, 410, 0};
    const float t[12] = {1, 0, 0, 9, 0, 1, 0, 0, 0, 0, 1, 0};
    constexpr ptrdiff_t kPointWords = ptrdiff_t{6} * 2 * 640;
    std::vector<int16_t> buffers[2];
    for (const EKernelTier tier : {EKernelTier::Reference, GetParam()}) {
        std::vector<int16_t>& both = buffers[tier == EKernelTier::Reference ? 0 : 1];
        both.resize(static_cast<size_t>(2 * kPointWords));
        for (ptrdiff_t i = kPointWords; i < 2 * kPointWords; ++i) {
            both[static_cast<size_t>(i)] = static_cast<int16_t>(1 + i % 3000);
        }
        std::vector<int16_t> depths(size_t{2} * 1280);
        ox3d::stereo::UseTransformKernelTier(tier);
        EXPECT_EQ(OXB3D_BINOSTEREO_Comn_Trans_f32(both.data() + kPointWords, 640, 640, 2,
                                                  reinterpret_cast<float*>(both.data()), depths.data(), 1280,
                                                  source, t, target, nullptr),
                  0);
        both.insert(both.end(), depths.begin(), depths.end());
    }
    EXPECT_EQ(buffers[0], buffers[1]);
}

TEST_P(TransformTier, GivesTheReferencesBitsForRecordedDepth) {
    for (const char* name : {"/office/depth/000000.png", "/desk/depth/000000.png"}) {
        const std::string file = std::string(OX3D_DATA_DIR) + name;
        ox3d::PngSize size;
        std::vector<uint16_t> samples;
        std::string error;
        ASSERT_TRUE(ox3d::ReadDepthPng(file, &size, &samples, &error)) << error;
        Scene scene{.width = static_cast<int32_t>(size.m_width),
                    .height = static_cast<int32_t>(size.m_height),
                    .step = static_cast<int32_t>(size.m_width),
                    .targetWidth = static_cast<int32_t>(size.m_width),
                    .depth = {samples.begin(), samples.end()},
                    .source = {525.0F, 525.0F, 319.5F, 239.5F},
                    .transform = {1, 0, 0.01F, -25, 0, 1, 0.02F, 3, -0.01F, -0.02F, 1, 1.5F},
                    .target = {517.3F, 516.5F, 318.6F, 255.3F},
                    .distortion = {0.1F, -0.05F, 0.001F, 0.002F}};
        ASSERT_NO_FATAL_FAILURE(Compare(scene));
    }
}

INSTANTIATE_TEST_SUITE_P(Transform, TransformTier,
                         testing::Values(EKernelTier::Sse2, EKernelTier::Avx2, EKernelTier::Avx512));

TEST(KernelTiers, AreChosenDownwardsByTheEnvironment) {
    const struct {
        const char* word;
        EKernelTier best;
        EKernelTier chosen;
    } kChoices[] = {
        {nullptr, EKernelTier::Avx512, EKernelTier::Avx512},
        {"", EKernelTier::Avx2, EKernelTier::Avx2},
        {"reference", EKernelTier::Avx512, EKernelTier::Reference},
        {"sse2", EKernelTier::Avx512, EKernelTier::Sse2},
        {"avx2", EKernelTier::Avx512, EKernelTier::Avx2},
        {"avx512", EKernelTier::Avx2, EKernelTier::Avx2},
        {"avx2", EKernelTier::Sse2, EKernelTier::Sse2},
        {"AVX2", EKernelTier::Avx512, EKernelTier::Avx512},
    };
    for (const auto& choice : kChoices) {
        EXPECT_EQ(ox3d::KernelTierFor(choice.word, choice.best), choice.chosen)
            << (choice.word != nullptr ? choice.word : "nothing");
    }
}

// Run once more with a wish in the environment; the first call in the process chooses.
TEST(TransformKernelsInUse, AreTheReferenceWhereTheEnvironmentAsksForIt) {
    const char* const wish = std::getenv("OX3D_KERNELS");
    const int16_t depth[4] = {};
    float points[12] = {};
    ox3d::stereo::TransformArgs<float> args = {};
    args.depth = depth;
    args.step = args.width = 2;
    args.height = 2;
    args.points = points;
    const bool isReference = ox3d::stereo::KernelsFor(ox3d::stereo::ETransformMode::A, args).isReference;
    EXPECT_EQ(isReference, wish != nullptr && wish == std::string("reference"));
}

} // namespace

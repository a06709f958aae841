// Every tier of every kernel gives the bytes of the reference: random and extreme samples and numbers, any size,
// outputs on inputs. Inputs end, and outputs end, where an inaccessible page begins.
// Relies on the tier being set in-process; tiers that this processor lacks are skipped.
#include "algorithm/binostereo/ImageTiers.h"
#include "algorithm/binostereo/TransformTiers.h"
#include "algorithm/rgbd/RgbdInterleave.h"
#include "algorithm/rgbd/RgbdInterleaveTiers.h"
#include "algorithm/scaling/BilinearTiers.h"
#include "tests/algorithm/GuardedBlock.h"
#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <iterator>
#include <random>
#include <string>

using namespace ox3d;
using namespace ox3d::test;

namespace {

// A round of a case: makes its input from random numbers and returns every byte that the kernel could have written.
using Random = std::mt19937;
using Result = std::vector<uint8_t>;

struct Case {
    const char* m_name;
    EKernelTier (*m_use)(EKernelTier);
    int m_rounds;
    Result (*m_run)(Random& random);
};

// Samples and guard bytes. Which of two NaNs an operation hands on is not defined by the language, so all count as one.
template <typename T>
Result BytesOf(const CPlane<T>& plane) {
    if constexpr (std::is_same_v<T, float>) {
        std::replace_if(
            plane.Data(), plane.End(), [](float value) { return std::isnan(value); }, NAN);
    }
    return {plane.Guard(), reinterpret_cast<const uint8_t*>(plane.End())};
}

void Append(const Result& more, Result* result) {
    result->insert(result->end(), more.begin(), more.end());
}

int32_t Below(Random& random, uint32_t end) {
    return static_cast<int32_t>(random() % end);
}

template <typename T>
std::vector<T> Noise(Random& random, size_t count, uint32_t range = 65536) {
    std::vector<T> noise(count);
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<T>(random() % range); });
    return noise;
}

// A map like no generator makes it: any weights, and now and then entries at and beyond the source's end.
std::vector<uint32_t> AnyIndices(Random& random, uint32_t width, uint32_t pixels) {
    const uint32_t last = pixels - std::min(pixels, width + 2);
    const uint32_t edges[] = {last, last + 1, pixels, UINT_MAX, UINT_MAX - width};
    const bool isSound = random() % 3 == 0;
    std::vector<uint32_t> indices(pixels);
    for (uint32_t& index : indices) {
        const bool isEdge = !isSound && random() % 16 == 0;
        index = isEdge ? edges[random() % std::size(edges)] : static_cast<uint32_t>(random() % (last + 1));
    }
    return indices;
}

Result Remap(Random& random) {
    const int32_t width = 1 + Below(random, random() % 20 == 0 ? 700 : 40);
    const int32_t height = 1 + Below(random, 9);
    const auto pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    const CPlane<uint8_t> source(Noise<uint8_t>(random, pixels));
    const CPlane<uint32_t> indices(
        AnyIndices(random, static_cast<uint32_t>(width), static_cast<uint32_t>(pixels)));
    const CPlane<uint8_t> weights(Noise<uint8_t>(random, 4 * pixels));
    const CPlane<uint8_t> target(pixels);
    EXPECT_EQ(OXB3D_BINOSTEREO_RCT_RectifyImage(source.Data(), indices.Data(), weights.Data(), width, height,
                                                target.Data()),
              0);
    return BytesOf(target);
}

// An output on an input is the caller's mistake, but one with one result. The indices come first, then the weights,
// then the source.
Result RemapOntoAnInput(Random& random) {
    constexpr int32_t kWidth = 90;
    constexpr int32_t kHeight = 9;
    constexpr size_t kPixels = size_t{kWidth} * kHeight;
    constexpr size_t kPlaces[] = {0, kPixels - 1, kPixels, 3 * kPixels, 5 * kPixels - 1, 7 * kPixels};
    const CPlane<uint32_t> all((9 * kPixels + 3) / 4);
    auto* bytes = reinterpret_cast<uint8_t*>(all.Data());
    std::generate_n(bytes, 9 * kPixels, [&] { return static_cast<uint8_t>(random()); });
    const auto indices = AnyIndices(random, kWidth, kPixels);
    std::copy(indices.begin(), indices.end(), all.Data());
    OXB3D_BINOSTEREO_RCT_RectifyImage(bytes + 8 * kPixels, all.Data(), bytes + 4 * kPixels, kWidth, kHeight,
                                      bytes + kPlaces[random() % std::size(kPlaces)]);
    return BytesOf(all);
}

// Frames through one fusion: the outputs one after the other.
using FuseConfig = int32_t[OXB3D_BINOSTEREO_FUSE_CONFIG_WORDS];
Result FuseFrames(ZQA_SIZE size, const std::vector<std::vector<int16_t>>& depths,
                  const std::vector<std::vector<uint8_t>>& greys, const FuseConfig& config) {
    uint64_t persistent = 0;
    uint64_t scratch = 0;
    EXPECT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize(size, &persistent, &scratch), 0);
    const CGuardedBlock state(persistent);
    const CGuardedBlock work(scratch);
    EXPECT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Init(state.Data(), size, state.Data(), work.Data()), 0);
    Result result;
    for (size_t frame = 0; frame < depths.size(); ++frame) {
        const CPlane<int16_t> depth(depths[frame]);
        const CPlane<uint8_t> grey(greys[frame]);
        const CPlane<int16_t> output(depths[frame].size());
        const OXB3D_BINOSTEREO_FUSE_FRAME input{depth.Data(), grey.Data(), size.width, size.height};
        EXPECT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Process(state.Data(), &input, config, output.Data()), 0);
        Append(BytesOf(output), &result);
    }
    return result;
}

Result Fuse(Random& random) {
    constexpr int32_t kPeaks[] = {70, 70, 0, 255, -9, INT_MAX};
    const ZQA_SIZE size{1 + Below(random, random() % 10 == 0 ? 500 : 60), 1 + Below(random, 24)};
    const auto pixels = static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
    const uint32_t depthRange = random() % 2 == 0 ? 65536 : 300;
    // Any greys, or such of slow changes, so that confidences come near each other.
    const uint32_t greyRange = random() % 3 == 0 ? 256 : 3 + random() % 120;
    std::vector<std::vector<int16_t>> depths(3);
    std::vector<std::vector<uint8_t>> greys(3);
    for (size_t frame = 0; frame < 3; ++frame) {
        depths[frame] = Noise<int16_t>(random, pixels, depthRange);
        greys[frame] = Noise<uint8_t>(random, pixels, greyRange);
    }
    const int32_t mode = 1 + Below(random, 3);
    const int32_t peak = kPeaks[random() % std::size(kPeaks)];
    const FuseConfig config = {
        0, 0,    size.width,           size.height,         11, mode, Below(random, 256),
        1, peak, Below(random, 9) - 2, Below(random, 9) - 2};
    return FuseFrames(size, depths, greys, config);
}

Result FuseExtremes(Random& random) {
    constexpr int16_t kDepths[] = {0, 1, -1, 9, 10, 11, 1000, 1222, 1223, -20000, 20000, 32767, -32768};
    constexpr float kConfidences[] = {0.0F,      1e-7F,  1.1920929e-7F, 1.2e-7F, 60.0F,
                                      60.00001F, 255.0F, -1.0F,         NAN,     INFINITY};
    const size_t count = 1 + random() % 300;
    std::vector<int16_t> depths[2];
    std::vector<float> confidences[2];
    for (size_t i = 0; i < 2 * count; ++i) {
        depths[i % 2].push_back(kDepths[random() % std::size(kDepths)]);
        confidences[i % 2].push_back(kConfidences[random() % std::size(kConfidences)]);
    }
    const CPlane<int16_t> depth(depths[0]);
    const CPlane<int16_t> previous(depths[1]);
    const CPlane<float> confidence(confidences[0]);
    const CPlane<float> before(confidences[1]);
    const CPlane<int16_t> fused(count);
    stereo::ImageKernelsInUse().m_fuse({depth.Data(), previous.Data(), confidence.Data(), before.Data(),
                                        fused.Data(), static_cast<int64_t>(count), 60.0F,
                                        1 + Below(random, 3)});
    return BytesOf(fused);
}

Result CountZeros(Random& random) {
    const size_t count = random() % (random() % 4 == 0 ? 140000 : 300);
    const CPlane<int16_t> samples(Noise<int16_t>(random, count, 1 + random() % 5));
    const int64_t zeros =
        stereo::ImageKernelsInUse().m_countZeros(samples.Data(), static_cast<int64_t>(count));
    return {reinterpret_cast<const uint8_t*>(&zeros), reinterpret_cast<const uint8_t*>(&zeros + 1)};
}

// A call of the data transform.
struct Scene {
    int32_t m_width = 0, m_height = 0, m_step = 0, m_targetWidth = 0;
    std::vector<int16_t> m_depth;
    float m_source[4] = {}, m_transform[12] = {}, m_target[4] = {}, m_distortion[4] = {};
};

template <typename TPoint>
void TransformInMode(const Scene& s, uint32_t mode, Result* result) {
    // A target may be wider than the source, and so may what is written.
    const auto pixels = static_cast<size_t>(std::max({s.m_targetWidth, s.m_step, s.m_width}) * s.m_height);
    const CPlane<int16_t> depth(s.m_depth);
    const CPlane<TPoint> points(pixels * 12 / sizeof(TPoint));
    const CPlane<int16_t> target(pixels);
    const auto call = [&](auto kernel) {
        return kernel(depth.Data(), s.m_step, s.m_width, s.m_height,
                      (mode & 1) != 0 ? points.Data() : nullptr, (mode & 2) != 0 ? target.Data() : nullptr,
                      s.m_targetWidth, s.m_source, (mode & 4) != 0 ? s.m_transform : nullptr, s.m_target,
                      (mode & 8) != 0 ? s.m_distortion : nullptr);
    };
    if constexpr (std::is_same_v<TPoint, float>) {
        call(OXB3D_BINOSTEREO_Comn_Trans_f32);
    } else {
        call(OXB3D_BINOSTEREO_Comn_Trans_s16);
    }
    Append(BytesOf(points), result);
    Append(BytesOf(target), result);
}

// All modes of both point types, refused ones included.
Result TransformAllModes(const Scene& scene) {
    Result result;
    for (uint32_t mode = 0; mode < 16; ++mode) {
        TransformInMode<float>(scene, mode, &result);
        TransformInMode<int16_t>(scene, mode, &result);
    }
    return result;
}

float AnyFloat(Random& random) {
    constexpr float kEdges[] = {0.0F,          -0.0F,     1.0F,           -1.0F, 2.0F,     NAN,
                                INFINITY,      -INFINITY, 1e20F,          1e-9F, 32768.0F, -32768.0F,
                                2147483648.0F, -3e9F,     -1.1920929e-7F, 1e38F};
    return kEdges[random() % std::size(kEdges)];
}

// A camera pair that sees something, by and by spoilt by extreme numbers and extreme samples.
Scene RandomScene(Random& random) {
    std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
    Scene s;
    s.m_width = 1 + Below(random, random() % 8 == 0 ? 600 : 70);
    s.m_height = 1 + Below(random, 9);
    s.m_step = s.m_width + (random() % 4 == 0 ? Below(random, 9) : 0);
    s.m_targetWidth = random() % 4 == 0 ? Below(random, 90) - 5 : s.m_width;
    const uint32_t range = random() % 3 == 0 ? 65536 : 1 + random() % 4000;
    s.m_depth =
        Noise<int16_t>(random, static_cast<size_t>(s.m_step) * static_cast<size_t>(s.m_height), range);
    std::replace_if(
        s.m_depth.begin(), s.m_depth.end(), [&](int16_t) { return random() % 5 == 0; }, int16_t{0});
    for (float* camera : {s.m_source, s.m_target}) {
        camera[0] = camera[1] = static_cast<float>(s.m_width) * (1.0F + 0.3F * unit(random));
        camera[2] = static_cast<float>(s.m_width) / 2 + unit(random);
        camera[3] = static_cast<float>(s.m_height) / 2 + unit(random);
    }
    for (int i = 0; i < 12; ++i) {
        const float shift = random() % 2 == 0 ? 20.0F : 2000.0F;
        s.m_transform[i] =
            i % 4 == 3 ? shift * unit(random) : 0.03F * unit(random) + (i % 5 == 0 ? 1.0F : 0.0F);
    }
    std::generate(std::begin(s.m_distortion), std::end(s.m_distortion), [&] { return 0.1F * unit(random); });
    for (float* numbers : {s.m_source, s.m_transform, s.m_target, s.m_distortion}) {
        if (random() % 8 == 0) {
            numbers[random() % (numbers == s.m_transform ? 12 : 4)] = AnyFloat(random);
        }
    }
    return s;
}

Result Transform(Random& random) {
    Scene scene = RandomScene(random);
    if (random() % 8 == 0) { // rows that overlap
        scene.m_step = std::max(1, scene.m_width - 1);
        scene.m_depth.resize(static_cast<size_t>(scene.m_step) * static_cast<size_t>(scene.m_height) + 1, 9);
    }
    return TransformAllModes(scene);
}

// An output on the depth samples is the caller's mistake, but one with one result. The depth begins `ahead` samples
// before the target depth, or where the points of the source's pixels end; those of a wider target reach into it.
Result TransformOntoTheDepth(Random& random) {
    constexpr ptrdiff_t kPointWords = ptrdiff_t{6} * 2 * 640;
    constexpr ptrdiff_t kAhead[] = {640, 603, 0, -639};
    const bool hasPoints = random() % 2 == 0;
    const float k[4] = {500, 500, 300, 0};
    const float wide[4] = {500, 500, 410, 0};
    const float t[12] = {1, 0, 0, 9, 0, 1, 0, 0, 0, 0, 1, 0};
    const CPlane<int16_t> both(2 * kPointWords);
    const CPlane<int16_t> depths(std::vector<int16_t>(size_t{2} * 1280)); // the call clears the half of it
    int16_t* const depth = both.Data() + kPointWords;
    std::generate_n(depth, kPointWords, [&] { return static_cast<int16_t>(1 + Below(random, 3000)); });
    int16_t* const target = hasPoints ? depths.Data() : depth + kAhead[random() % std::size(kAhead)];
    EXPECT_EQ(OXB3D_BINOSTEREO_Comn_Trans_f32(
                  depth, 640, 640, 2, hasPoints ? reinterpret_cast<float*>(both.Data()) : nullptr, target,
                  hasPoints ? 1280 : 640, k, t, hasPoints ? wide : k, nullptr),
              0);
    Result result = BytesOf(both);
    Append(BytesOf(depths), &result);
    return result;
}

// Samples of a plane, now and then nothing but the extremes.
Result Scale(Random& random, int32_t width, int32_t height, int32_t targetWidth, int32_t targetHeight) {
    const bool isHard = random() % 4 == 0;
    auto samples = Noise<uint8_t>(random, static_cast<size_t>(width) * static_cast<size_t>(height));
    for (uint8_t& sample : samples) {
        sample = isHard ? static_cast<uint8_t>(sample < 128 ? 0 : 255) : sample;
    }
    const CPlane<uint8_t> source(samples);
    const CPlane<uint8_t> target(static_cast<size_t>(targetWidth) * static_cast<size_t>(targetHeight));
    scaling::ScaleBilinear({source.Data(), width, height, target.Data(), targetWidth, targetHeight});
    return BytesOf(target);
}

Result ScaleAnySizes(Random& random) {
    const uint32_t end = random() % 100 == 0 ? 4500 : (random() % 3 == 0 ? 300 : 70);
    return Scale(random, 1 + Below(random, end), 1 + Below(random, 9), 1 + Below(random, end),
                 1 + Below(random, 9));
}

// Of every remainder to whole groups of columns, and of more than one strip.
Result ScaleAtCommonRatios(Random& random) {
    constexpr int32_t kRatios[][2] = {{3, 2}, {2, 3}, {2, 1}, {1, 2},  {3, 1}, {1, 3},
                                      {1, 1}, {4, 3}, {9, 4}, {25, 4}, {8, 1}};
    constexpr int32_t kTimes[] = {1, 2, 7, 31, 32, 33, 64, 97, 160, 323, 700, 1281};
    const auto [from, to] = kRatios[random() % std::size(kRatios)];
    const int32_t times = kTimes[random() % std::size(kTimes)];
    return Scale(random, from * times + Below(random, 2), 3 * from, to * times + Below(random, 2), 3 * to);
}

Result ScaleTheLargestSides(Random& random) {
    constexpr int32_t kSides[] = {1, 2, 3, 16383, 16384};
    const int32_t from = kSides[random() % std::size(kSides)];
    const int32_t to = kSides[random() % std::size(kSides)];
    return random() % 2 == 0 ? Scale(random, from, 2, to, 3) : Scale(random, 2, from, 3, to);
}

// Sources of exactly their size, or now and then a byte short.
Result Interleave(Random& random) {
    const uint64_t pixels = random() % 300;
    const uint64_t lacking = pixels > 0 && random() % 4 == 0 ? 1 : 0;
    const CPlane<uint8_t> color(Noise<uint8_t>(random, 3 * pixels - lacking));
    const CPlane<uint8_t> depth(Noise<uint8_t>(random, 2 * pixels));
    const CPlane<uint8_t> out(kRgbdPixelBytes * pixels);
    InterleaveRgbd({color.Data(), 3 * pixels - lacking}, {depth.Data(), 2 * pixels}, pixels, out.Data());
    return BytesOf(out);
}

constexpr Case kCases[] = {
    {"Remap", stereo::UseImageKernelTier, 2000, Remap},
    {"RemapOntoAnInput", stereo::UseImageKernelTier, 30, RemapOntoAnInput},
    {"Fuse", stereo::UseImageKernelTier, 600, Fuse},
    {"FuseExtremes", stereo::UseImageKernelTier, 200, FuseExtremes},
    {"CountZeros", stereo::UseImageKernelTier, 200, CountZeros},
    {"Transform", stereo::UseTransformKernelTier, 500, Transform},
    {"TransformOntoTheDepth", stereo::UseTransformKernelTier, 30, TransformOntoTheDepth},
    {"ScaleAnySizes", scaling::UseScaleKernelTier, 3000, ScaleAnySizes},
    {"ScaleAtCommonRatios", scaling::UseScaleKernelTier, 400, ScaleAtCommonRatios},
    {"ScaleTheLargestSides", scaling::UseScaleKernelTier, 50, ScaleTheLargestSides},
    {"Interleave", UseInterleaveKernelTier, 1000, Interleave}};

class KernelTier : public testing::TestWithParam<std::tuple<Case, EKernelTier>> {};

TEST_P(KernelTier, GivesTheBytesOfTheReference) {
    const auto& [kernel, tier] = GetParam();
    if (kernel.m_use(tier) != tier) {
        GTEST_SKIP() << "this processor lacks the tier";
    }
    for (int round = 0; round < kernel.m_rounds && !HasFailure(); ++round) {
        Result results[2];
        for (const EKernelTier used : {EKernelTier::Reference, tier}) {
            Random random(static_cast<uint32_t>(round));
            kernel.m_use(used);
            results[used == tier ? 1 : 0] = kernel.m_run(random);
        }
        EXPECT_TRUE(results[0] == results[1]) << "round " << round;
    }
    kernel.m_use(BestKernelTier());
}

std::string NameOf(const testing::TestParamInfo<std::tuple<Case, EKernelTier>>& test) {
    constexpr const char* kTiers[] = {"Reference", "Sse2", "Avx2", "Avx512"};
    return std::string(std::get<0>(test.param).m_name) + kTiers[static_cast<int>(std::get<1>(test.param))];
}

INSTANTIATE_TEST_SUITE_P(Every, KernelTier,
                         testing::Combine(testing::ValuesIn(kCases),
                                          testing::Values(EKernelTier::Sse2, EKernelTier::Avx2,
                                                          EKernelTier::Avx512)),
                         NameOf);

} // namespace

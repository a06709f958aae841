// Every tier of every kernel gives the bytes of the reference: random and extreme samples and numbers, any size,
// outputs on inputs. Inputs and outputs end where an inaccessible page begins. And the choice of a tier.
// Relies on the tier being set in-process; tiers that this processor lacks are left out.
#include "algorithm/alignment/ColorToDepth.h"
#include "algorithm/alignment/FillTiers.h"
#include "algorithm/binostereo/ImageTiers.h"
#include "algorithm/binostereo/TransformTiers.h"
#include "algorithm/dispatch/KernelChoice.h"
#include "algorithm/rgbd/Cloud.h"
#include "algorithm/rgbd/CloudTiers.h"
#include "algorithm/rgbd/RgbdInterleave.h"
#include "algorithm/rgbd/RgbdInterleaveTiers.h"
#include "algorithm/scaling/BilinearTiers.h"
#include "base/WorkerPool.h"
#include "tests/algorithm/TestObject.h"

#include <climits>
#include <cmath>
#include <random>

using namespace ox3d;
using namespace ox3d::test;

namespace {

using enum EKernelTier;

// A round of a case: makes its input from random numbers and returns every byte that the kernel could have written.
using Random = std::mt19937;
using Result = std::vector<uint8_t>;

// Samples and guard bytes. Which of two NaNs an operation hands on is not defined by the language, so all count as one.
template <typename T>
Result BytesOf(const CPlane<T>& plane) {
    if constexpr (std::is_same_v<T, float>) {
        std::replace_if(
            plane.Data(), plane.End(), [](float value) { return std::isnan(value); }, NAN);
    }
    return {plane.Guard(), reinterpret_cast<const uint8_t*>(plane.End())};
}

template <typename T>
void Append(const CPlane<T>& plane, Result* result) {
    const Result more = BytesOf(plane);
    result->insert(result->end(), more.begin(), more.end());
}

int32_t Below(Random& random, uint32_t end) {
    return static_cast<int32_t>(random() % end);
}

template <typename T>
T OneOf(Random& random, std::initializer_list<T> values) {
    return values.begin()[random() % values.size()];
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
    const bool isSound = random() % 3 == 0;
    std::vector<uint32_t> indices(pixels);
    for (uint32_t& index : indices) {
        const bool isEdge = !isSound && random() % 16 == 0;
        index = isEdge ? OneOf(random, {last, last + 1, pixels, UINT_MAX, UINT_MAX - width})
                       : static_cast<uint32_t>(random() % (last + 1));
    }
    return indices;
}

Result Remap(Random& random) {
    const int32_t width = 1 + Below(random, random() % 20 == 0 ? 700 : 40);
    const int32_t height = 1 + Below(random, 9);
    const size_t pixels = At(0, height, width);
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
    constexpr size_t kPixels = size_t{90} * 9;
    const CPlane<uint32_t> all((9 * kPixels + 3) / 4);
    auto* bytes = reinterpret_cast<uint8_t*>(all.Data());
    std::generate_n(bytes, 9 * kPixels, [&] { return static_cast<uint8_t>(random()); });
    const auto indices = AnyIndices(random, 90, kPixels);
    std::copy(indices.begin(), indices.end(), all.Data());
    const size_t place =
        OneOf(random, {size_t{0}, kPixels - 1, kPixels, 3 * kPixels, 5 * kPixels - 1, 7 * kPixels});
    OXB3D_BINOSTEREO_RCT_RectifyImage(bytes + 8 * kPixels, all.Data(), bytes + 4 * kPixels, 90, 9,
                                      bytes + place);
    return BytesOf(all);
}

// Three frames through one fusion: the outputs one after the other.
Result Fuse(Random& random) {
    const ZQA_SIZE size{1 + Below(random, random() % 10 == 0 ? 500 : 60), 1 + Below(random, 24)};
    const uint32_t depthRange = random() % 2 == 0 ? 65536 : 300;
    // Any greys, or such of slow changes, so that confidences come near each other.
    const uint32_t greyRange = random() % 3 == 0 ? 256 : 3 + random() % 120;
    const int32_t mode = 1 + Below(random, 3);
    const int32_t peak = OneOf(random, {70, 70, 0, 255, -9, INT_MAX});
    const int32_t config[] = {
        0, 0,    size.width,           size.height,         11, mode, Below(random, 256),
        1, peak, Below(random, 9) - 2, Below(random, 9) - 2};
    uint64_t persistent = 0, scratch = 0;
    EXPECT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize(size, &persistent, &scratch), 0);
    const CGuardedBlock state(persistent);
    const CGuardedBlock work(scratch);
    EXPECT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Init(state.Data(), size, state.Data(), work.Data()), 0);
    const size_t pixels = At(0, size.height, size.width);
    Result result;
    for (int frame = 0; frame < 3; ++frame) {
        const CPlane<int16_t> depth(Noise<int16_t>(random, pixels, depthRange));
        const CPlane<uint8_t> grey(Noise<uint8_t>(random, pixels, greyRange));
        const CPlane<int16_t> output(pixels);
        const OXB3D_BINOSTEREO_FUSE_FRAME input{depth.Data(), grey.Data(), size.width, size.height};
        EXPECT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Process(state.Data(), &input, config, output.Data()), 0);
        Append(output, &result);
    }
    return result;
}

Result FuseExtremes(Random& random) {
    const size_t count = 1 + random() % 300;
    const CPlane<int16_t> depths[2] = {CPlane<int16_t>(count), CPlane<int16_t>(count)};
    const CPlane<float> confidences[2] = {CPlane<float>(count), CPlane<float>(count)};
    for (size_t i = 0; i < 2 * count; ++i) {
        depths[i % 2].Data()[i / 2] =
            OneOf<int16_t>(random, {0, 1, -1, 9, 10, 11, 1000, 1222, 1223, -20000, 20000, 32767, -32768});
        confidences[i % 2].Data()[i / 2] = OneOf(
            random, {0.0F, 1e-7F, 1.1920929e-7F, 1.2e-7F, 60.0F, 60.00001F, 255.0F, -1.0F, NAN, INFINITY});
    }
    const CPlane<int16_t> fused(count);
    stereo::ImageKernelsInUse().m_fuse({depths[0].Data(), depths[1].Data(), confidences[0].Data(),
                                        confidences[1].Data(), fused.Data(), static_cast<int64_t>(count),
                                        60.0F, 1 + Below(random, 3)});
    return BytesOf(fused);
}

Result CountZeros(Random& random) {
    const size_t count = random() % (random() % 4 == 0 ? 140000 : 300);
    const CPlane<int16_t> samples(Noise<int16_t>(random, count, 1 + random() % 5));
    const int64_t zeros =
        stereo::ImageKernelsInUse().m_countZeros(samples.Data(), static_cast<int64_t>(count));
    return {reinterpret_cast<const uint8_t*>(&zeros), reinterpret_cast<const uint8_t*>(&zeros + 1)};
}

// A camera pair that sees something, now and then spoilt by extreme numbers.
struct Numbers {
    Numbers(Random& random, int32_t width, int32_t height) {
        std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
        for (float* camera : {m_source, m_target}) {
            camera[0] = camera[1] = static_cast<float>(width) * (1.0F + 0.3F * unit(random));
            camera[2] = static_cast<float>(width) / 2 + unit(random);
            camera[3] = static_cast<float>(height) / 2 + unit(random);
        }
        const float turn = OneOf(random, {0.0F, 0.03F}); // without one depths come to a tie
        for (int i = 0; i < 12; ++i) {
            const float shift = OneOf(random, {0.0F, 20.0F, 2000.0F});
            m_transform[i] =
                i % 4 == 3 ? shift * unit(random) : turn * unit(random) + (i % 5 == 0 ? 1.0F : 0.0F);
        }
        std::generate(std::begin(m_distortion), std::end(m_distortion), [&] { return 0.1F * unit(random); });
        if (random() % 16 == 0) {
            m_target[0] = m_target[1] = 0; // all samples land on one pixel
        }
        for (float* numbers : {m_source, m_transform, m_target, m_distortion}) {
            if (random() % 8 == 0) {
                numbers[random() % (numbers == m_transform ? 12 : 4)] =
                    OneOf(random, {0.0F, -0.0F, 1.0F, -1.0F, 2.0F, NAN, INFINITY, -INFINITY, 1e20F, 1e-9F,
                                   32768.0F, -32768.0F, 2147483648.0F, -3e9F, -1.1920929e-7F, 1e38F});
            }
        }
    }
    float m_source[4], m_transform[12], m_target[4], m_distortion[4];
};

// All modes of both point types, refused ones included; of rows that lie apart, and of such that overlap.
Result Transform(Random& random, int32_t width, int32_t height, int32_t targetWidth,
                 uint32_t modes = 0xFFFF) {
    const int32_t step = std::max(1, width + OneOf(random, {0, 0, 0, 0, 0, Below(random, 9), 8, -1}));
    const Numbers n(random, width, height);
    const CPlane<int16_t> depth(
        Noise<int16_t>(random, At(width, height - 1, step), random() % 3 == 0 ? 65536 : 1 + random() % 4000));
    std::replace_if(
        depth.Data(), depth.End(),
        [&, share = OneOf(random, {2U, 5U})](int16_t) { return random() % share == 0; }, int16_t{0});
    const auto samples = static_cast<uint32_t>(depth.End() - depth.Data());
    std::fill_n(depth.Data(), random() % (1 + samples / 2), int16_t{0});
    depth.Data()[random() % samples] =
        OneOf<int16_t>(random, {0, 1, 32767}); // amid others one that leaves 16 bits
    // A target may be wider than the source, and so may what is written.
    const size_t pixels = At(0, height, std::max({targetWidth, step, width}));
    Result result;
    const auto runAllModes = [&](auto kernel, auto pointSample) {
        for (uint32_t mode = 0; mode < 16; ++mode) {
            if ((modes >> mode & 1U) == 0) {
                continue;
            }
            const CPlane<decltype(pointSample)> points(mode % 2 * pixels * 12 / sizeof pointSample);
            const CPlane<int16_t> target(pixels);
            const auto given = [mode](uint32_t bit, auto* data) {
                return (mode & bit) != 0 ? data : nullptr;
            };
            kernel(depth.Data(), step, width, height, given(1, points.Data()), given(2, target.Data()),
                   targetWidth, n.m_source, given(4, n.m_transform), n.m_target, given(8, n.m_distortion));
            Append(points, &result);
            Append(target, &result);
        }
    };
    runAllModes(OXB3D_BINOSTEREO_Comn_Trans_f32, 0.0F);
    const CPlane<int16_t> target(pixels);
    const stereo::TransformArgs<float> args{depth.Data(),  step,          width,       height,
                                            nullptr,       target.Data(), targetWidth, n.m_source,
                                            n.m_transform, n.m_target,    nullptr};
    const int64_t hits = stereo::KernelsFor(stereo::ETransformMode::C1, args).m_countHits(args);
    result.push_back(static_cast<uint8_t>(hits % 251));
    runAllModes(OXB3D_BINOSTEREO_Comn_Trans_s16, int16_t{0});
    return result;
}

Result TransformAnySizes(Random& random) {
    const bool isWide = random() % 16 == 0; // or of more than one list
    const int32_t width =
        1 + (isWide ? OneOf(random, {Below(random, 600), 2040 + Below(random, 400)}) : Below(random, 70));
    const int32_t targetWidth = OneOf(random, {Below(random, 90) - 5, width, width, width});
    return Transform(random, width, 1 + Below(random, 9), targetWidth);
}

// Images that threads share; those of the transform its reference does alone.
template <Result (*kRun)(Random&)>
Result OnThreads(Random& random) {
    CPoolUse use;
    use.Ask(7);
    const CThreadsAllowed allowed(OneOf(random, {2U, 3U, 7U}));
    return kRun(random);
}

constexpr uint32_t kPointsAtTheSource = 1U << 1 | 1U << 5 | 1U << 13; // modes A, C2 and B3
constexpr uint32_t kDepthAlone = 1U << 6 | 1U << 14;                  // C1 and B1

template <uint32_t kModes>
Result TransformALargeImage(Random& random) {
    const int32_t width = 640 + Below(random, 9);
    const int32_t targetWidth = OneOf(random, {width, width, width - 7, width + 40});
    return Transform(random, width, 480 + Below(random, 9), targetWidth, kModes);
}

// Surfaces with steps and holes, or noise, in one band or several.
Result Align(Random& random, int32_t width, int32_t height) {
    const size_t pixels = At(0, height, width);
    const Numbers n(random, width, height);
    const CPlane<uint16_t> depth(
        Noise<uint16_t>(random, pixels, random() % 3 == 0 ? 65536 : 1 + random() % 40));
    const auto base = static_cast<uint16_t>(random() % 3000);
    for (size_t i = 0; i < pixels; ++i) {
        const bool isHole = random() % 16 == 0;
        depth.Data()[i] =
            isHole ? 0 : static_cast<uint16_t>(depth.Data()[i] + (i / 9 % 3 == 0 ? base : 2 * base));
    }
    AlignArgs args = {depth.Data(), width, height, OneOf(random, {0U, 30U, 1000U}), {}};
    std::copy_n(n.m_source, 4, args.m_cameras.m_depth);
    std::copy_n(n.m_transform, 12, args.m_cameras.m_transform);
    std::copy_n(n.m_target, 4, args.m_cameras.m_target);
    if (random() % 2 == 0) {
        std::copy_n(n.m_distortion, 4, args.m_cameras.m_target + 4);
        args.m_cameras.m_target[4] *= OneOf(random, {1.0F, 30.0F}); // turns back within the image
        args.m_cameras.m_target[8] = n.m_distortion[0];
    }
    const CPlane<uint16_t> filled(pixels);
    const CPlane<uint8_t> mask(pixels);
    const CPlane<uint8_t> moved(3 * pixels);
    const ColorPlanes color = {nullptr, 1 + Below(random, 50), 1 + Below(random, 50)};
    const CPlane<uint8_t> planes(Noise<uint8_t>(random, 3 * At(0, color.m_height, color.m_width)));
    const CPoolTurn turn(pixels);
    std::vector<uint16_t> spare(pixels * turn.Threads());
    EXPECT_TRUE(Fill(args, filled.Data(), turn, spare.data()));
    EXPECT_TRUE(ColorToDepth(args, filled.Data(), {planes.Data(), color.m_width, color.m_height}, turn,
                             moved.Data(), mask.Data()));
    Result result = BytesOf(filled);
    Append(mask, &result);
    Append(moved, &result);
    std::fill_n(mask.Data(), pixels, uint8_t{1}); // no mask has it
    const CPlane<uint8_t> alone(std::vector<uint8_t>(pixels, 2));
    MaskFilled(args, filled.Data(), turn, mask.Data());
    MaskFilled(args, filled.Data(), CPoolTurn(0), alone.Data());
    EXPECT_EQ(BytesOf(mask), BytesOf(alone));
    return result;
}

Result AlignAnySizes(Random& random) {
    const int32_t width = 1 + (random() % 8 == 0 ? 2040 + Below(random, 300) : Below(random, 70));
    return Align(random, width, 1 + Below(random, 12));
}

Result AlignALargeImage(Random& random) {
    return Align(random, 640 + Below(random, 9), 480 + Below(random, 9));
}

// An output on an input is the caller's mistake, but one with one result. The depth begins some samples before the
// target depth, or where the points of the source's pixels end; those of a wider target reach into it. Or the target
// holds the transform.
Result TransformOntoTheDepth(Random& random) {
    constexpr ptrdiff_t kPointWords = ptrdiff_t{6} * 2 * 640;
    const bool hasPoints = random() % 2 == 0;
    const float k[4] = {500, 500, 300, 0};
    const float wide[4] = {500, 500, 410, 0};
    const float t[12] = {1, 0, 0, 9, 0, 1, 0, 0, 0, 0, 1, 0};
    const CPlane<int16_t> both(2 * kPointWords);
    const CPlane<int16_t> depths(std::vector<int16_t>(size_t{2} * 1280)); // the call clears the half of it
    int16_t* const depth = both.Data() + kPointWords;
    std::generate_n(depth, kPointWords, [&] { return static_cast<int16_t>(1 + Below(random, 3000)); });
    const bool holdsTransform = !hasPoints && random() % 3 == 0;
    int16_t* const target =
        hasPoints || holdsTransform ? depths.Data() : depth + OneOf(random, {640, 603, 0, -639});
    auto* held = reinterpret_cast<float*>(depths.Data() + 640);
    std::copy_n(t, 12, held);
    EXPECT_EQ(OXB3D_BINOSTEREO_Comn_Trans_f32(
                  depth, 640, 640, 2, hasPoints ? reinterpret_cast<float*>(both.Data()) : nullptr, target,
                  hasPoints ? 1280 : 640, k, holdsTransform ? held : t, hasPoints ? wide : k, nullptr),
              0);
    Result result = BytesOf(both);
    Append(depths, &result);
    return result;
}

// Samples of a plane, now and then nothing but the extremes.
Result Scale(Random& random, int32_t width, int32_t height, int32_t targetWidth, int32_t targetHeight) {
    const bool isHard = random() % 4 == 0;
    auto samples = Noise<uint8_t>(random, At(0, height, width));
    for (uint8_t& sample : samples) {
        sample = isHard ? static_cast<uint8_t>(sample < 128 ? 0 : 255) : sample;
    }
    const CGuardedBlock source(samples.size(), OneOf(random, {EAgainst::End, EAgainst::Start}));
    std::copy(samples.begin(), samples.end(), source.Data<uint8_t>());
    const CPlane<uint8_t> target(At(0, targetHeight, targetWidth));
    const int32_t middle = Below(random, static_cast<uint32_t>(targetHeight));
    for (const auto& [first, end] : {std::pair{middle, targetHeight}, std::pair{0, middle}}) {
        scaling::ScaleBilinear(
            {source.Data<uint8_t>(), width, height, target.Data(), targetWidth, targetHeight, first, end});
    }
    return BytesOf(target);
}

Result ScaleAnySizes(Random& random) {
    const uint32_t end = random() % 100 == 0 ? 4500 : (random() % 3 == 0 ? 300 : 70);
    return Scale(random, 1 + Below(random, end), 1 + Below(random, 9), 1 + Below(random, end),
                 1 + Below(random, 9));
}

// Of every remainder to whole groups of columns, and of more than one strip.
Result ScaleAtCommonRatios(Random& random) {
    using Ratio = std::pair<int32_t, int32_t>;
    const auto [from, to] = OneOf<Ratio>(
        random, {{3, 2}, {2, 3}, {2, 1}, {1, 2}, {3, 1}, {1, 3}, {1, 1}, {4, 3}, {9, 4}, {25, 4}, {8, 1}});
    const int32_t times = std::min(OneOf(random, {1, 2, 7, 31, 32, 33, 64, 97, 160, 323, 700, 1281}),
                                   10000 / std::max(from, to));
    return Scale(random, from * times + Below(random, 2), 3 * from, to * times + Below(random, 2), 3 * to);
}

Result ScaleTheLargestSides(Random& random) {
    const int32_t from = OneOf(random, {1, 2, 3, 16383, 16384});
    const int32_t to = OneOf(random, {1, 2, 3, 16383, 16384});
    return random() % 2 == 0 ? Scale(random, from, 2, to, 3) : Scale(random, 2, from, 3, to);
}

// Sources of exactly their size, or now and then a byte short.
Result Interleave(Random& random, uint64_t pixels) {
    const uint64_t lacking = pixels > 0 && random() % 4 == 0 ? 1 : 0;
    const CPlane<uint8_t> color(Noise<uint8_t>(random, 3 * pixels - lacking));
    const CPlane<uint8_t> depth(Noise<uint8_t>(random, 2 * pixels));
    const CPlane<uint8_t> out(kRgbdPixelBytes * pixels);
    InterleaveRgbd({color.Data(), 3 * pixels - lacking}, {depth.Data(), 2 * pixels}, pixels, out.Data());
    return BytesOf(out);
}

Result InterleaveAnySizes(Random& random) {
    return Interleave(random, random() % 300);
}

Result InterleaveALargeImage(Random& random) {
    return Interleave(random, kMinSharedPixels + random() % 300);
}

// Numbers around the edges of what is a point, and of what the view shows.
Result Cloud(Random& random, int32_t width, int32_t height) {
    const size_t pixels = At(0, height, width);
    const auto floats = [&](size_t count, float range) {
        std::vector<float> numbers(count);
        for (float& number : numbers) {
            const float usual = range * (static_cast<float>(random() % 20001) / 10000.0F - 1.0F);
            number = random() % 500 != 0 ? usual : OneOf(random, {0.0F, NAN, INFINITY, 1e30F, -1e-30F});
        }
        return numbers;
    };
    const bool isPerPixel = random() % 2 == 0;
    const CPlane<uint16_t> depth(Noise<uint16_t>(random, pixels));
    const CPlane<float> x(floats(isPerPixel ? pixels : static_cast<size_t>(width), 1.5F));
    const CPlane<float> y(floats(isPerPixel ? pixels : static_cast<size_t>(height), 1.5F));
    const CPlane<uint8_t> color(Noise<uint8_t>(random, 3 * pixels));
    const std::vector<float> move = floats(12, 2.0F);
    PointView view = {{}, {}, {}, 2.0F, random() % 2 == 0, width, height};
    std::copy_n(floats(12, 1.0F).begin(), 12, view.m_move);
    std::copy_n(floats(4, static_cast<float>(width)).begin(), 4, view.m_lens);
    std::copy_n(floats(5, 0.2F).begin(), 5, view.m_distortion);
    const bool isMixed = random() % 2 == 0;
    const bool isShort = random() % 3 == 0;
    const size_t stride = (isShort ? 6 : 12) + (isMixed ? (isShort ? 6 : 4) : 0);
    const CPlane<uint8_t> points(stride * pixels);
    const CPlane<uint8_t> colors(4 * pixels);
    const CPlane<float> normals(3 * pixels);
    const bool isNormal = random() % 2 == 0;
    const bool isCompact = random() % 3 == 0;
    std::fill(points.Data(), points.End(), uint8_t{0});
    std::fill(colors.Data(), colors.End(), uint8_t{0});
    std::fill(normals.Data(), normals.End(), 0.0F);
    const uint32_t threads = 3;
    std::vector<float> scratch(CloudScratchBytes(width, threads) / sizeof(float));
    const uint64_t valid = BuildCloud({.m_depth = reinterpret_cast<const uint8_t*>(depth.Data()),
                                       .m_width = width,
                                       .m_height = height,
                                       .m_rays = {x.Data(), y.Data(), isPerPixel},
                                       .m_move = random() % 2 == 0 ? move.data() : nullptr,
                                       .m_color = color.Data(),
                                       .m_view = random() % 4 != 0 ? &view : nullptr,
                                       .m_isBlackNone = random() % 2 == 0,
                                       .m_format = isShort ? EPointFormat::Int16 : EPointFormat::Float32,
                                       .m_isCompact = isCompact,
                                       .m_points = points.Data(),
                                       .m_pointStride = stride,
                                       .m_colors = isMixed ? points.Data() + stride - 4 : colors.Data(),
                                       .m_colorStride = isMixed ? stride : 4,
                                       .m_normals = isNormal ? normals.Data() : nullptr,
                                       .m_scratch = scratch.data(),
                                       .m_threads = threads});
    const size_t stored = isCompact ? valid : pixels; // what lies behind is left open
    std::fill(points.Data() + stride * stored, points.End(), uint8_t{0});
    std::fill(colors.Data() + 4 * stored, colors.End(), uint8_t{0});
    std::fill(normals.Data() + 3 * stored, normals.End(), 0.0F);
    Result result = BytesOf(points);
    Append(colors, &result);
    Append(normals, &result);
    result.push_back(static_cast<uint8_t>(valid));
    return result;
}

Result CloudOfAnySize(Random& random) {
    return Cloud(random, 1 + Below(random, 70), 1 + Below(random, 9));
}

Result CloudOfALargeImage(Random& random) {
    return Cloud(random, 700, 480);
}

const struct {
    const char* m_name;
    EKernelTier (*m_use)(EKernelTier);
    uint32_t m_rounds;
    Result (*m_run)(Random& random);
} kCases[] = {
    {"Remap", stereo::UseImageKernelTier, 1000, Remap},
    {"RemapOntoAnInput", stereo::UseImageKernelTier, 30, RemapOntoAnInput},
    {"Fuse", stereo::UseImageKernelTier, 300, Fuse},
    {"FuseExtremes", stereo::UseImageKernelTier, 200, FuseExtremes},
    {"CountZeros", stereo::UseImageKernelTier, 100, CountZeros},
    {"Transform", stereo::UseTransformKernelTier, 160, TransformAnySizes},
    {"PointsOnThreads", stereo::UseTransformKernelTier, 1,
     OnThreads<TransformALargeImage<kPointsAtTheSource>>},
    {"DepthOnThreads", stereo::UseTransformKernelTier, 4, OnThreads<TransformALargeImage<kDepthAlone>>},
    {"Align", alignment::UseFillKernelTier, 250, AlignAnySizes},
    {"AlignOnThreads", alignment::UseFillKernelTier, 2, OnThreads<AlignALargeImage>},
    {"TransformOntoTheDepth", stereo::UseTransformKernelTier, 30, TransformOntoTheDepth},
    {"ScaleAnySizes", scaling::UseScaleKernelTier, 2000, ScaleAnySizes},
    {"ScaleAtCommonRatios", scaling::UseScaleKernelTier, 80, ScaleAtCommonRatios},
    {"ScaleTheLargestSides", scaling::UseScaleKernelTier, 50, ScaleTheLargestSides},
    {"Cloud", UseCloudKernelTier, 600, CloudOfAnySize},
    {"CloudOnThreads", UseCloudKernelTier, 4, OnThreads<CloudOfALargeImage>},
    {"Interleave", UseInterleaveKernelTier, 500, InterleaveAnySizes},
    {"InterleaveOnThreads", UseInterleaveKernelTier, 2, OnThreads<InterleaveALargeImage>}};

// The few rounds of large images have strays, unusual depths, and targets narrower and wider than the source.
constexpr uint32_t kFirstSeed = 6;

TEST(KernelTiers, GiveTheBytesOfTheReference) {
    for (const auto& [name, use, rounds, run] : kCases) {
        for (uint32_t round = 0; round < rounds; ++round) {
            Result reference;
            for (const EKernelTier tier : {Reference, Sse2, Avx2, Avx512}) {
                Random random(kFirstSeed + round);
                const bool isThere = use(tier) == tier;
                const Result result = isThere ? run(random) : reference;
                reference = tier == Reference ? result : reference;
                ASSERT_TRUE(result == reference) << name << ", round " << round << ", tier " << int(tier);
            }
        }
    }
    if (BestKernelTier() != Avx512) {
        GTEST_SKIP() << "this processor lacks the tiers above " << int(BestKernelTier());
    }
}

TEST(KernelTiers, AreChosenDownwardsByAWord) {
    const struct {
        const char* m_word;
        EKernelTier m_best, m_chosen;
    } kChoices[] = {{nullptr, Avx512, Avx512}, {"", Avx2, Avx2},        {"reference", Avx512, Reference},
                    {"sse2", Avx512, Sse2},    {"avx2", Avx512, Avx2},  {"avx512", Avx2, Avx2},
                    {"avx2", Sse2, Sse2},      {"AVX2", Avx512, Avx512}};
    for (const auto& [word, best, chosen] : kChoices) {
        EXPECT_EQ(KernelTierFor(word, best), chosen) << (word != nullptr ? word : "nothing");
    }
}

constexpr EKernelTier kReference = Reference, kSse2 = Sse2, kAvx2 = Avx2, kAvx512 = Avx512;
template <bool kNeedsVbmi>
using Choice = CKernelChoice<EKernelTier, kReference, kSse2, kAvx2, kAvx512, kNeedsVbmi>;

TEST(KernelTiers, AreTakenFromTheEnvironmentAtTheFirstUseAlone) {
    for (const char* const word : {"reference", "sse2", "avx2", "avx512"}) {
        ASSERT_EQ(setenv("OX3D_KERNELS", word, 1), 0);
        Choice<false> choice;
        const EKernelTier expected = KernelTierFor(word, BestKernelTier());
        EXPECT_EQ(choice.InUse(), expected);
        ASSERT_EQ(setenv("OX3D_KERNELS", "reference", 1), 0);
        EXPECT_EQ(choice.InUse(), expected);
        EXPECT_EQ(choice.Use(Sse2), Sse2);
        EXPECT_EQ(choice.InUse(), Sse2);
    }
    unsetenv("OX3D_KERNELS");
}

TEST(KernelTiers, ForAvx512NeedVbmiWhereAFamilySaysSo) {
    Choice<true> choice;
    EXPECT_EQ(choice.Use(BestKernelTier()), BestKernelTier());
    EXPECT_EQ(choice.InUse(), HasVbmi() ? BestKernelTier() : std::min(BestKernelTier(), Avx2));
}

} // namespace

// What the tiers are held to: the scaler's and the interleave's reference against results computed by hand, and
// the choice of a tier by processor and environment.
#include "algorithm/dispatch/KernelChoice.h"
#include "algorithm/rgbd/RgbdInterleave.h"
#include "algorithm/rgbd/RgbdInterleaveTiers.h"
#include "algorithm/scaling/BilinearTiers.h"
#include "tests/algorithm/GuardedBlock.h"

#include <cstdlib>

using namespace ox3d;
using namespace ox3d::test;

namespace {

using Plane = std::vector<uint8_t>;

Plane Scaled(const Plane& source, int32_t width, int32_t height, int32_t targetWidth, int32_t targetHeight) {
    scaling::UseScaleKernelTier(EKernelTier::Reference);
    Plane target(static_cast<size_t>(targetWidth * targetHeight));
    scaling::ScaleBilinear({source.data(), width, height, target.data(), targetWidth, targetHeight});
    return target;
}

TEST(Scaling, RoundsExactWeightsHalfUp) {
    // 3:2 lies on quarters: sixteenths, here with sums of 8 and 24 sixteenths.
    EXPECT_EQ(Scaled({8, 0, 0, 0, 0, 0, 0, 0, 0}, 3, 3, 2, 2), (Plane{5, 0, 0, 0}));
    EXPECT_EQ(Scaled({0, 8, 0, 0, 0, 0, 0, 0, 8}, 3, 3, 2, 2), (Plane{2, 2, 0, 5}));
    EXPECT_EQ(Scaled({1, 2, 2, 1}, 2, 2, 1, 1), Plane{2});
    EXPECT_EQ(Scaled({10, 20}, 2, 1, 4, 2), (Plane{10, 13, 18, 20, 10, 13, 18, 20}));
    EXPECT_EQ(Scaled({7}, 1, 1, 2, 2), (Plane{7, 7, 7, 7}));
}

TEST(Interleave, PutsFiveBytesAPixelAndZeroForWhatASourceLacks) {
    UseInterleaveKernelTier(EKernelTier::Reference);
    const uint8_t color[] = {1, 2, 3, 4, 5, 6};
    const uint8_t depth[] = {7, 8, 9, 10};
    const auto interleaved = [&](ByteSpan colors, ByteSpan depths) {
        const CPlane<uint8_t> out(10);
        InterleaveRgbd(colors, depths, 2, out.Data());
        return Plane(out.Data(), out.Data() + 10);
    };
    EXPECT_EQ(interleaved({color, 6}, {depth, 4}), (Plane{1, 3, 5, 7, 8, 2, 4, 6, 9, 10}));
    EXPECT_EQ(interleaved({color, 5}, {depth, 4}), (Plane{1, 3, 5, 7, 8, 2, 4, 0, 9, 10}));
    EXPECT_EQ(interleaved({color, 6}, {depth, 3}), (Plane{1, 3, 5, 7, 8, 2, 4, 6, 9, 0}));
    EXPECT_EQ(interleaved({nullptr, 6}, {depth, 4}), (Plane{0, 0, 0, 7, 8, 0, 0, 0, 9, 10}));
    EXPECT_EQ(interleaved({color, 6}, {nullptr, 4}), (Plane{1, 3, 5, 0, 0, 2, 4, 6, 0, 0}));
}

TEST(KernelTiers, AreChosenDownwardsByAWord) {
    using enum EKernelTier;
    const struct {
        const char* m_word;
        EKernelTier m_best, m_chosen;
    } kChoices[] = {{nullptr, Avx512, Avx512}, {"", Avx2, Avx2},        {"reference", Avx512, Reference},
                    {"sse2", Avx512, Sse2},    {"avx2", Avx512, Avx2},  {"avx512", Avx2, Avx2},
                    {"avx2", Sse2, Sse2},      {"AVX2", Avx512, Avx512}};
    for (const auto& choice : kChoices) {
        EXPECT_EQ(KernelTierFor(choice.m_word, choice.m_best), choice.m_chosen)
            << (choice.m_word != nullptr ? choice.m_word : "nothing");
    }
}

using Kernels = EKernelTier; // that name their tier
constexpr Kernels kReference = EKernelTier::Reference;
constexpr Kernels kSse2 = EKernelTier::Sse2;
constexpr Kernels kAvx2 = EKernelTier::Avx2;
constexpr Kernels kAvx512 = EKernelTier::Avx512;

TEST(KernelTiers, AreTakenFromTheEnvironmentAtTheFirstUseAlone) {
    for (const char* const word : {"reference", "sse2", "avx2", "avx512"}) {
        ASSERT_EQ(setenv("OX3D_KERNELS", word, 1), 0);
        CKernelChoice<Kernels, kReference, kSse2, kAvx2, kAvx512> choice;
        const EKernelTier expected = KernelTierFor(word, BestKernelTier());
        EXPECT_EQ(choice.InUse(), expected);
        ASSERT_EQ(setenv("OX3D_KERNELS", "reference", 1), 0);
        EXPECT_EQ(choice.InUse(), expected);
        EXPECT_EQ(choice.Use(EKernelTier::Sse2), EKernelTier::Sse2);
        EXPECT_EQ(choice.InUse(), EKernelTier::Sse2);
        EXPECT_EQ(choice.Use(EKernelTier::Avx512), BestKernelTier());
        EXPECT_EQ(choice.InUse(), BestKernelTier());
    }
    unsetenv("OX3D_KERNELS");
}

TEST(KernelTiers, ForAvx512NeedVbmiWhereAFamilySaysSo) {
    CKernelChoice<Kernels, kReference, kSse2, kAvx2, kAvx512, true> choice;
    EXPECT_EQ(choice.Use(BestKernelTier()), BestKernelTier());
    EXPECT_EQ(choice.InUse(), HasVbmi() ? BestKernelTier() : std::min(BestKernelTier(), EKernelTier::Avx2));
}

} // namespace

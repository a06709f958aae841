// RGB-D interleaving: every tier weaves the bytes that the definition names, at any length and address, and
// what a source lacks is 0. Relies on the loop being set in-process; those this processor lacks are skipped.
#include "algorithm/rgbd/RgbdInterleave.h"
#include "algorithm/dispatch/KernelTier.h"
#include "algorithm/rgbd/RgbdInterleaveTiers.h"
#include "base/PngFile.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

using namespace ox3d;

namespace {

class RgbdInterleave : public testing::TestWithParam<EKernelTier> {
protected:
    void SetUp() override {
        if (UseInterleaveKernelTier(GetParam()) != GetParam()) {
            GTEST_SKIP() << "this processor lacks the tier";
        }
    }
    void TearDown() override { UseInterleaveKernelTier(BestKernelTier()); }
};

TEST_P(RgbdInterleave, WeavesPlanesAndDepthIntoFiveBytesAPixel) {
    std::mt19937 random(5);
    std::vector<uint8_t> bytes(5000);
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(random());
    }
    for (uint64_t pixels = 0; pixels < 300; ++pixels) {
        SCOPED_TRACE(pixels);
        const uint64_t start = pixels % 33;
        // Sources of exactly their size, or one byte short, in blocks of their own; no byte beyond is written.
        const uint64_t lacking = pixels > 0 && pixels % 4 == 0 ? 1 : 0;
        const std::vector<uint8_t> color(bytes.begin(),
                                         bytes.begin() + static_cast<long>(start + 3 * pixels - lacking));
        const std::vector<uint8_t> depth(bytes.end() - static_cast<long>(start + 2 * pixels), bytes.end());
        std::vector<uint8_t> out(start + kRgbdPixelBytes * pixels + 1, 0xA5);
        InterleaveRgbd({color.data() + start, color.size() - start},
                       {depth.data() + start, depth.size() - start}, pixels, out.data() + start);
        EXPECT_EQ(out.back(), 0xA5);
        for (uint64_t p = 0; p < pixels; ++p) {
            const uint8_t* woven = out.data() + start + kRgbdPixelBytes * p;
            for (uint64_t plane = 0; plane < 3; ++plane) {
                const uint64_t at = start + p + plane * pixels;
                ASSERT_EQ(woven[plane], at < color.size() ? color[at] : 0) << p;
            }
            ASSERT_EQ(woven[3], depth[start + 2 * p]) << p;
            ASSERT_EQ(woven[4], depth[start + 2 * p + 1]) << p;
        }
    }
}

TEST_P(RgbdInterleave, GivesTheDefinitionsBytesForARecording) {
    const std::string folder = OX3D_DATA_DIR "/office";
    ox3d::PngSize size;
    std::string error;
    std::vector<uint16_t> depth;
    std::vector<uint8_t> color;
    ASSERT_TRUE(ox3d::ReadDepthPng(folder + "/depth/000000.png", &size, &depth, &error)) << error;
    ASSERT_TRUE(ox3d::ReadColorPng(folder + "/color/000000.png", &size, &color, &error)) << error;
    const uint64_t pixels = std::min(depth.size(), color.size() / 3);
    const auto woven = [&] {
        std::vector<uint8_t> out(kRgbdPixelBytes * pixels);
        InterleaveRgbd({color.data(), 3 * pixels},
                       {reinterpret_cast<const uint8_t*>(depth.data()), 2 * pixels}, pixels, out.data());
        return out;
    };
    const std::vector<uint8_t> ofTheTier = woven();
    UseInterleaveKernelTier(EKernelTier::Reference);
    EXPECT_TRUE(ofTheTier == woven());
}

INSTANTIATE_TEST_SUITE_P(Tiers, RgbdInterleave,
                         testing::Values(EKernelTier::Reference, EKernelTier::Avx2, EKernelTier::Avx512));

} // namespace

// Multi-frame depth fusion: the smoothing, the fusion of random maps against its definition, and process type 6.
// Relies on buffers of exactly the asked size between guard pages.
#include "algorithm/binostereo/Gaussian.h"
#include "tests/algorithm/TestObject.h"

#include <climits>
#include <cmath>
#include <random>

using namespace ox3d::stereo;
using namespace ox3d::test;

namespace {

using Depth = std::vector<int16_t>;
using Grey = std::vector<uint8_t>;

TEST(Smoothing, IsAGaussianOfSigmaTwoWithReflectedBorders) {
    std::mt19937 random(1);
    for (const auto& [width, height] : {std::pair{40, 23}, {3, 2}, {1, 12}}) {
        Grey src(At(0, height, width));
        std::generate(src.begin(), src.end(), [&] { return static_cast<uint8_t>(random()); });
        Grey dst(src.size());
        const CGuardedBlock work(GaussianWorkSize(width).RoundedUp(128).Bytes());
        SmoothGaussian11(src.data(), width, height, dst.data(), work.Data());
        const auto reflect = [](int i, int n) {
            const int period = std::max(2 * (n - 1), 1);
            const int phase = ((i % period) + period) % period;
            return n == 1 ? 0 : std::min(phase, period - phase);
        };
        for (int i = 0; i < width * height; ++i) {
            double sum = 0;
            double total = 0;
            for (int tap = 0; tap < 11 * 11; ++tap) {
                const int dx = tap % 11 - 5;
                const int dy = tap / 11 - 5;
                const double weight = std::exp(-(dx * dx + dy * dy) / 8.0);
                total += weight;
                sum +=
                    weight * src[At(reflect(i % width + dx, width), reflect(i / width + dy, height), width)];
            }
            ASSERT_NEAR(dst[static_cast<size_t>(i)], sum / total, 0.51) << i;
        }
    }
}

struct Maps {
    Depth m_depth;
    std::vector<float> m_confidence;
};

// config: x0, y0, x1, y1, kernel, mode, threshold, pinned, peak, row shift, column shift
Depth ExpectedFusion(const Maps& now, const Maps& before, const int32_t (&c)[11], int w, int h, Depth out) {
    for (int y = std::max(c[9], c[1]); y <= std::min({c[3], h - 1 - c[9], h - 1}); ++y) {
        for (int x = std::max(c[10], c[0]); x < std::min(w - 1 - c[10], c[2]); ++x) {
            const int16_t d = now.m_depth[At(x, y, w)];
            const int16_t p = before.m_depth[At(x, y, w)];
            const auto confidence = [&](const Maps& maps) {
                const bool isInside = y - c[9] >= 0 && y - c[9] < h && x - c[10] >= 0 && x - c[10] < w;
                return isInside ? maps.m_confidence[At(x - c[10], y - c[9], w)] : 0;
            };
            const float wc = confidence(now);
            const float wp = confidence(before);
            const bool areSure = wc > c[6] && wp > c[6];
            const int sum = d + p;
            int16_t& fused = out[At(x, y, w)];
            if (c[5] == 2 && areSure) {
                fused = static_cast<int16_t>(static_cast<int16_t>(sum) / 2);
            } else if (c[5] == 2 || (c[5] == 1 && !areSure && wc != wp)) {
                fused = wc > wp ? d : p;
            } else if (c[5] == 1 && sum > 10 * std::abs(d - p)) {
                fused = static_cast<int16_t>(sum / 2);
            } else {
                fused = std::max(d, p);
            }
        }
    }
    return out;
}

std::vector<float> Tent(const Grey& grey, int w, int h) {
    std::vector<float> map(grey.size());
    Grey smooth(grey.size());
    std::vector<uint16_t> work(static_cast<size_t>(11 * w));
    SmoothGaussian11(grey.data(), w, h, smooth.data(), work.data());
    for (int y = 5; y <= h - 6; ++y) {
        for (int x = 5; x <= w - 6; ++x) {
            const auto g = static_cast<float>(smooth[At(x, y, w)]);
            map[At(x, y, w)] = g <= 70 ? g * (255.0F / 70.0F) : (255.0F - g) * (255.0F / 185.0F);
        }
    }
    return map;
}

TEST(Fusion, FollowsItsDefinitionOnRandomMaps) {
    constexpr int w = 48;
    constexpr int h = 36;
    std::mt19937 random(5);
    for (int32_t mode = 1; mode <= 3; ++mode) {
        for (const auto& [rowShift, columnShift] :
             {std::pair{0, 0}, {7, 3}, {-9, -14}, {-40, 60}, {INT_MIN, INT_MAX}}) {
            SCOPED_TRACE(testing::Message() << mode << ' ' << rowShift << ' ' << columnShift);
            const int32_t config[11] = {2, 1, w, h, 11, mode, 120, 1, 70, rowShift, columnShift};
            const ZQA_SIZE largest{w + 2, h + 1}; // frames may be smaller than the buffers
            uint64_t persistent = 0;
            uint64_t scratch = 0;
            ASSERT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize(largest, &persistent, &scratch), 0);
            const CGuardedBlock state(persistent);
            const CGuardedBlock work(scratch);
            ASSERT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Init(state.Data(), largest, state.Data(), work.Data()), 0);
            Maps last;
            Depth fused(size_t{w} * h, static_cast<int16_t>(0xA7A7)); // what the scratch memory held
            for (size_t frame = 0; frame < 3; ++frame) {
                Maps maps{Depth(fused.size()), {}};
                std::generate(maps.m_depth.begin(), maps.m_depth.end(), [&] {
                    return static_cast<int16_t>(random() % 8 == 0 ? random() : 900 + random() % 300);
                });
                Grey grey(fused.size());
                for (size_t i = 0; i < grey.size(); ++i) { // dark, bright and ideal areas
                    grey[i] = static_cast<uint8_t>(random() % 16 + 50 * ((i / 12 + frame) % 4));
                }
                maps.m_confidence = Tent(grey, w, h);
                const CPlane<int16_t> input(maps.m_depth);
                const CPlane<int16_t> output(fused.size());
                const OXB3D_BINOSTEREO_FUSE_FRAME in{input.Data(), mode == 3 ? nullptr : grey.data(), w, h};
                ASSERT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Process(state.Data(), &in, config, output.Data()), 0);
                if (frame > 0 && rowShift != INT_MIN) {
                    fused = ExpectedFusion(maps, last, config, w, h, fused);
                }
                ASSERT_EQ(Depth(output.Data(), output.End()), frame == 0 ? maps.m_depth : fused) << frame;
                last = maps;
            }
        }
    }
}

class FuseProcess : public testing::Test {
protected:
    // One frame of one depth and one grey value; returns the fused depth at a pixel.
    int16_t Fuse(int16_t depth, uint8_t grey, int x = 300, int y = 200) {
        const Depth depths(m_out.size(), depth);
        const Grey greys(m_out.size(), grey);
        ZQA_IMAGE out = Image(3, 640, 480, m_out.data());
        EXPECT_EQ(m_object.Process(6,
                                   OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT{Image(3, 640, 480, depths.data()),
                                                                     Image(1, 640, 480, greys.data())},
                                   out),
                  0);
        return Fused(x, y);
    }
    int16_t Fused(int x, int y) const { return m_out[At(x, y, 640)]; }

    CTestObject m_object{4};
    Depth m_out = Depth(size_t{640} * 480);
};

TEST_F(FuseProcess, FollowsTheModeAndThresholdOfTheParameters) {
    EXPECT_EQ(Fuse(1000, 0), 1000) << "the first frame comes back unchanged";
    EXPECT_EQ(Fuse(1050, 0), 1025);
    EXPECT_EQ(OXB3D_BINOSTEREO_Restart(m_object.Handle()), 0); // forgets no frame
    EXPECT_EQ(Fuse(1300, 0), 1300);
    EXPECT_EQ(Fuse(900, 70), 900) << "the more confident";
    EXPECT_EQ(Fuse(2000, 255), 900);
    m_object.SetParam(257, 2);
    m_object.SetParam(259, 254); // grey 70 is confident to 255
    Fuse(20000, 70);
    EXPECT_EQ(Fuse(20000, 70), -12768) << "the sum wraps in 16 bits";
    m_object.SetParam(259, 255);
    EXPECT_EQ(Fuse(500, 70), 20000) << "not confident enough, and not more so than the last";
}

TEST_F(FuseProcess, NarrowsTheRegionByTheShifts) {
    m_object.SetParam(257, 3);
    m_object.SetParam(260, 20);
    m_object.SetParam(261, 64);
    Fuse(1, 0);
    const auto untouched = static_cast<int16_t>(0xA7A7);
    EXPECT_EQ(Fuse(7, 0, 64, 20), 7);
    EXPECT_EQ(Fused(63, 20), untouched);
    EXPECT_EQ(Fused(64, 19), untouched);
    EXPECT_EQ(Fused(574, 459), 7) << "the last row is taken in";
    EXPECT_EQ(Fused(575, 459), untouched) << "the last column is not";
    EXPECT_EQ(Fused(574, 460), untouched);
    m_object.SetParam(260, -64);
    EXPECT_EQ(Fuse(9, 0, 64, 474), 9) << "a negative shift takes no row away";
    EXPECT_EQ(Fused(64, 475), untouched);
}

} // namespace

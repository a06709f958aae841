// Multi-frame depth fusion: the smoothing, the fusion of random maps against its definition, and process
// type 6. Relies on buffers of exactly the asked size between guard pages.
#include "algorithm/binostereo/Gaussian.h"
#include "tests/algorithm/TestObject.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <vector>

using namespace algorithm_test;

namespace {

using Depth = std::vector<int16_t>;
using Grey = std::vector<uint8_t>;
using FuseInput = OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT;

Grey RandomGrey(std::mt19937& random, size_t pixels) {
    Grey grey(pixels);
    std::generate(grey.begin(), grey.end(), [&] { return static_cast<uint8_t>(random()); });
    return grey;
}

TEST(Smoothing, IsAGaussianOfSigmaTwoWithReflectedBorders) {
    std::mt19937 random(1);
    for (const auto& [width, height] : {std::pair{40, 23}, {3, 2}, {1, 12}}) {
        const Grey src = RandomGrey(random, At(0, height, width));
        Grey dst(src.size());
        CGuardedBlock work(ox3d::stereo::GaussianWorkSize(width).RoundedUp(128).Bytes());
        ox3d::stereo::SmoothGaussian11(src.data(), width, height, dst.data(), work.Data());
        const auto reflect = [](int i, int n) {
            const int period = std::max(2 * (n - 1), 1);
            const int phase = ((i % period) + period) % period;
            return n == 1 ? 0 : std::min(phase, period - phase);
        };
        for (int i = 0; i < width * height; ++i) {
            double sum = 0;
            double total = 0;
            for (int dy = -5; dy <= 5; ++dy) {
                for (int dx = -5; dx <= 5; ++dx) {
                    const double weight = std::exp(-(dx * dx + dy * dy) / 8.0);
                    const int from = reflect(i / width + dy, height) * width + reflect(i % width + dx, width);
                    total += weight;
                    sum += weight * src[static_cast<size_t>(from)];
                }
            }
            ASSERT_NEAR(dst[static_cast<size_t>(i)], sum / total, 0.51) << i;
        }
    }
}

// The fusion functions on memory of exactly their own size.
struct Fusion {
    uint64_t persistent = 0, scratch = 0;
    int32_t sized;
    CGuardedBlock state, work;

    explicit Fusion(ZQA_SIZE size)
        : sized(OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize(size, &persistent, &scratch)), state(persistent),
          work(scratch) {
        EXPECT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Init(state.Data(), size, state.Data(), work.Data()), 0);
    }
};

// config: x0, y0, x1, y1, kernel, mode, threshold, pinned, peak, row shift, column shift
Depth ExpectedFusion(const Depth& d, const Depth& p, const std::vector<float>& current,
                     const std::vector<float>& previous, const int32_t (&c)[11], int w, int h, Depth out) {
    const auto confidence = [&](const std::vector<float>& map, int x, int y) {
        return x < 0 || y < 0 || x >= w || y >= h ? 0 : map[At(x, y, w)];
    };
    for (int y = std::max(c[9], c[1]); y <= std::min({c[3], h - 1 - c[9], h - 1}); ++y) {
        for (int x = std::max(c[10], c[0]); x < std::min(w - 1 - c[10], c[2]); ++x) {
            const size_t i = At(x, y, w);
            const float wc = confidence(current, x - c[10], y - c[9]);
            const float wp = confidence(previous, x - c[10], y - c[9]);
            const bool sure = wc > c[6] && wp > c[6];
            const int16_t larger = std::max(d[i], p[i]);
            const int16_t surer = wc > wp ? d[i] : p[i];
            if (c[5] == 3) {
                out[i] = larger;
            } else if (c[5] == 2) {
                out[i] = sure ? static_cast<int16_t>(static_cast<int16_t>(d[i] + p[i]) / 2) : surer;
            } else if (!sure && wc != wp) {
                out[i] = surer;
            } else {
                const int sum = d[i] + p[i];
                out[i] = sum > 10 * std::abs(d[i] - p[i]) ? static_cast<int16_t>(sum / 2) : larger;
            }
        }
    }
    return out;
}

std::vector<float> Tent(const Grey& grey, int w, int h) {
    std::vector<float> map(grey.size());
    Grey smooth(grey.size());
    std::vector<uint16_t> work(static_cast<size_t>(11 * w));
    ox3d::stereo::SmoothGaussian11(grey.data(), w, h, smooth.data(), work.data());
    for (int i = 0; i < w * h; ++i) {
        const bool inside = i % w >= 5 && i % w <= w - 6 && i / w >= 5 && i / w <= h - 6;
        const auto g = static_cast<float>(smooth[static_cast<size_t>(i)]);
        const float value = g <= 70 ? g * (255.0F / 70.0F) : (255.0F - g) * (255.0F / 185.0F);
        map[static_cast<size_t>(i)] = inside ? value : 0;
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
            Fusion fusion({w + 2, h + 1}); // frames may be smaller than the buffers
            CGuardedBlock output(size_t{2} * w * h);
            CGuardedBlock input(size_t{2} * w * h);
            const int16_t* out = output.Data<int16_t>();
            Depth last;
            std::vector<float> lastConfidence;
            Depth fused(size_t{w} * h, static_cast<int16_t>(0xA7A7)); // what the scratch memory held
            for (int frame = 0; frame < 3; ++frame) {
                Depth depth(fused.size());
                for (int16_t& d : depth) {
                    d = static_cast<int16_t>(random() % 8 == 0 ? random() : 900 + random() % 300);
                }
                Grey grey = RandomGrey(random, depth.size());
                for (size_t i = 0; i < grey.size(); ++i) { // dark, bright and ideal areas
                    grey[i] =
                        static_cast<uint8_t>(grey[i] % 16 + 50 * ((i / 12 + static_cast<size_t>(frame)) % 4));
                }
                const auto confidence = Tent(grey, w, h);
                std::copy(depth.begin(), depth.end(), input.Data<int16_t>());
                const OXB3D_BINOSTEREO_FUSE_FRAME in{input.Data<int16_t>(), mode == 3 ? nullptr : grey.data(),
                                                     w, h};
                ASSERT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Process(fusion.state.Data(), &in, config,
                                                              output.Data<int16_t>()),
                          0);
                if (frame > 0 && rowShift != INT_MIN) {
                    fused = ExpectedFusion(depth, last, confidence, lastConfidence, config, w, h, fused);
                }
                ASSERT_EQ(Depth(out, out + fused.size()), frame == 0 ? depth : fused) << frame;
                last = depth;
                lastConfidence = confidence;
            }
        }
    }
}

TEST(Fusion, ChecksItsArgumentsInOrder) {
    Fusion fusion({40, 30});
    Depth depth(1200);
    const Grey grey(1200);
    const auto run = [&](auto change) {
        OXB3D_BINOSTEREO_FUSE_FRAME frame{depth.data(), grey.data(), 40, 30};
        int32_t c[11] = {5, 5, 34, 24, 11, 1, 155, 1, 70, 0, 0};
        change(frame, c);
        return OXB3D_BINOSTEREO_MULTI_FUSE_Process(fusion.state.Data(), &frame, c, depth.data());
    };
    EXPECT_EQ(run([](auto& f, auto&) { f.depth = nullptr; }), -21);
    EXPECT_EQ(run([](auto& f, auto&) { f.width = 41; }), 0x10000008);
    EXPECT_EQ(run([](auto&, auto& c) { c[0] = -1; }), 0x32000003);
    EXPECT_EQ(run([](auto& f, auto& c) { c[2] = 41, f.grey = nullptr; }), 0x32000003);
    EXPECT_EQ(run([](auto&, auto& c) { c[3] = 5; }), 0x32000003);
    EXPECT_EQ(run([](auto& f, auto& c) { f.grey = nullptr, c[6] = 256; }), -21);
    EXPECT_EQ(run([](auto&, auto& c) { c[6] = 256, c[7] = 2; }), 0x32000002);
    EXPECT_EQ(run([](auto&, auto& c) { c[5] = 4, c[7] = 2; }), 0x32000001);
    EXPECT_EQ(run([](auto&, auto& c) { c[7] = 2; }), 0x32000004);
    EXPECT_EQ(run([](auto& f, auto& c) { c[5] = 3, c[6] = 999, c[7] = 0, f.grey = nullptr; }), 0);
}

class FuseProcess : public testing::Test {
protected:
    // One frame of one depth and one grey value; returns the fused depth at a pixel.
    int16_t Fuse(int16_t depth, uint8_t grey, int x = 300, int y = 200) {
        std::fill(m_Depth.begin(), m_Depth.end(), depth);
        std::fill(m_Grey.begin(), m_Grey.end(), grey);
        EXPECT_EQ(Run([](FuseInput&) {}), 0);
        return m_Out[At(x, y, 640)];
    }
    template <typename TChange>
    int32_t Run(TChange change) {
        FuseInput in{Image(3, 640, 480, m_Depth.data()), Image(1, 640, 480, m_Grey.data())};
        change(in);
        ZQA_IMAGE out{};
        out.data[0] = m_Out.data();
        return m_Object.Process(6, in, out);
    }
    CTestObject m_Object{4};
    Depth m_Depth = Depth(size_t{640} * 480);
    Grey m_Grey = Grey(m_Depth.size());
    Depth m_Out = m_Depth;
};

TEST_F(FuseProcess, FollowsTheModeAndThresholdOfTheParameters) {
    EXPECT_EQ(Fuse(1000, 0), 1000) << "the first frame comes back unchanged";
    EXPECT_EQ(Fuse(1050, 0), 1025);
    EXPECT_EQ(OXB3D_BINOSTEREO_SetConfig(m_Object.Handle(), 4, nullptr, 0), 0); // forgets no frame
    EXPECT_EQ(Fuse(1300, 0), 1300);
    EXPECT_EQ(Fuse(900, 70), 900) << "the more confident";
    EXPECT_EQ(Fuse(2000, 255), 900);
    m_Object.SetParam(257, 2);
    m_Object.SetParam(259, 254); // grey 70 is confident to 255
    Fuse(20000, 70);
    EXPECT_EQ(Fuse(20000, 70), -12768) << "the sum wraps in 16 bits";
    m_Object.SetParam(259, 255);
    EXPECT_EQ(Fuse(500, 70), 20000) << "not confident enough, and not more so than the last";
}

TEST_F(FuseProcess, NarrowsTheRegionByTheShifts) {
    m_Object.SetParam(257, 3);
    m_Object.SetParam(260, 20);
    m_Object.SetParam(261, 64);
    Fuse(1, 0);
    const auto untouched = static_cast<int16_t>(0xA7A7);
    EXPECT_EQ(Fuse(7, 0, 64, 20), 7);
    EXPECT_EQ(m_Out[At(63, 20, 640)], untouched);
    EXPECT_EQ(m_Out[At(64, 19, 640)], untouched);
    EXPECT_EQ(m_Out[At(574, 459, 640)], 7) << "the last row is taken in";
    EXPECT_EQ(m_Out[At(575, 459, 640)], untouched) << "the last column is not";
    EXPECT_EQ(m_Out[At(574, 460, 640)], untouched);
    m_Object.SetParam(260, -64);
    EXPECT_EQ(Fuse(9, 0, 64, 474), 9) << "a negative shift takes no row away";
    EXPECT_EQ(m_Out[At(64, 475, 640)], untouched);
}

TEST_F(FuseProcess, ChecksItsImagesInOrder) {
    EXPECT_EQ(Run([](FuseInput& in) { in.depth.data[0] = nullptr, in.depth.step[0] = 1; }), 0x10000014);
    EXPECT_EQ(Run([](FuseInput& in) { in.depth.step[0] = 641; }), 0x10000009);
    EXPECT_EQ(Run([](FuseInput& in) { in.grey.height = 479, in.grey.format = 99; }), 0x10000009);
    EXPECT_EQ(Run([](FuseInput& in) { in.grey.step[0] = 641; }), 0x10000009);
    EXPECT_EQ(Run([](FuseInput& in) { in.grey.format = 99, in.depth.format = 99; }), -8);
    EXPECT_EQ(Run([](FuseInput& in) { in.grey.data[0] = nullptr; }), -11);
    EXPECT_EQ(Run([](FuseInput& in) { in.depth.format = 104; }), -10);
    EXPECT_EQ(Run([](FuseInput& in) {
                  in = {Image(3, 641, 480, in.depth.data[0]), Image(1, 641, 480, in.grey.data[0])};
              }),
              0x10000008);
    EXPECT_EQ(Run([](FuseInput& in) {
                  in = {Image(3, 10, 10, in.depth.data[0]), Image(1, 10, 10, in.grey.data[0])};
              }),
              0x32000003);
    m_Object.SetParam(257, 3);
    EXPECT_EQ(Run([](FuseInput& in) { in.grey = {}; }), 0);
}

} // namespace

// Rectified pairs of which the truth is known, and what the matcher finds in them.
#pragma once

#include "algorithm/binostereo/Matcher.h"
#include "tests/algorithm/TestObject.h"

#include <cmath>
#include <random>

namespace ox3d::test {

struct Pair {
    int32_t m_width;
    int32_t m_height;
    std::vector<uint8_t> m_left;
    std::vector<uint8_t> m_right;
};

// A texture of blobs at any place of a plane, 0 to 255.
class CTexture {
public:
    explicit CTexture(uint32_t seed) : m_values(4096) {
        std::mt19937 random(seed);
        std::generate(m_values.begin(), m_values.end(), [&random] { return 20 + random() % 216; });
    }
    double At(double u, double v) const {
        const double size = 4;
        u /= size;
        v /= size;
        const double fu = u - std::floor(u);
        const double fv = v - std::floor(v);
        const auto value = [&](int32_t du, int32_t dv) {
            const auto row = static_cast<uint32_t>(std::floor(v)) + static_cast<uint32_t>(dv);
            const auto at = static_cast<uint32_t>(std::floor(u)) + static_cast<uint32_t>(du) + row * 1031;
            return static_cast<double>(m_values[at % m_values.size()]);
        };
        return (value(0, 0) * (1 - fu) + value(1, 0) * fu) * (1 - fv) +
               (value(0, 1) * (1 - fu) + value(1, 1) * fu) * fv;
    }

private:
    std::vector<uint32_t> m_values;
};

// A plane whose disparity at a pixel of the left view is a + b x + c y.
struct Plane {
    double m_a;
    double m_b;
    double m_c;
    double At(int32_t x, int32_t y) const { return m_a + m_b * x + m_c * y; }
};

inline Pair Rendered(const Plane& plane, int32_t width, int32_t height, double noise) {
    const CTexture texture(5);
    std::mt19937 random(1);
    std::normal_distribution<double> sensor(0, 1);
    Pair pair{width, height, {}, {}};
    const auto sampled = [&](double x, int32_t y) {
        return static_cast<uint8_t>(
            std::clamp(std::lround(texture.At(x + 4000, y) + noise * sensor(random)), 0L, 255L));
    };
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            pair.m_left.push_back(sampled(x, y));
            // The left column that is seen at x on the right: x = u - plane.At(u).
            pair.m_right.push_back(sampled((x + plane.m_a + plane.m_c * y) / (1 - plane.m_b), y));
        }
    }
    return pair;
}

// Half of it a plane and half noise, so that every way through the code is taken.
inline Pair Mixed(int32_t width, int32_t height, uint32_t seed) {
    Pair pair = Rendered({9, 0.05, 0.02}, width, height, 3);
    std::mt19937 random(seed);
    for (int32_t y = height / 2; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            pair.m_left[At(x, y, width)] = static_cast<uint8_t>(random());
            pair.m_right[At(x, y, width)] = static_cast<uint8_t>(random());
        }
    }
    return pair;
}

inline stereo::MatchSettings Settings(const Pair& pair, int32_t disparities, bool scansBothWays = true,
                                      int32_t window = 11) {
    stereo::MatchSettings s{};
    s.m_width = pair.m_width;
    s.m_height = pair.m_height;
    s.m_window = window;
    s.m_disparities = disparities;
    s.m_scansBothWays = scansBothWays;
    s.m_toleranceSixteenths = 30;
    s.m_hasMedian = true;
    s.m_dropsIslands = true;
    s.m_islandPixels = 49;
    s.m_islandStepSixteenths = 15;
    stereo::SetPenalties(4, 50, 20, 40, &s);
    return s;
}

// In memory of exactly the size that was asked for.
inline std::vector<int16_t> Matched(const Pair& pair, const stereo::MatchSettings& settings, EKernelTier tier,
                                    uint32_t threads = 1) {
    stereo::UseMatchKernelTier(tier);
    stereo::MatchBuffers buffers{};
    const int32_t w = pair.m_width;
    const int32_t h = pair.m_height;
    const stereo::MatchExtent extent{w, h, settings.m_disparities, threads};
    const CGuardedBlock block(stereo::LayOutMatch(extent, nullptr, &buffers).Bytes(), EAgainst::End);
    stereo::LayOutMatch(extent, block.Data<uint8_t>(), &buffers);
    stereo::FillView(pair.m_left.data(), w, w, h, false, buffers.m_left);
    stereo::FillView(pair.m_right.data(), w, w, h, true, buffers.m_right);
    const CThreadsAllowed allowed(threads);
    const CPoolTurn turn(kMinSharedPixels);
    EXPECT_EQ(turn.Threads(), threads);
    const stereo::DisparityMap& found = stereo::Match(settings, buffers, turn);
    std::vector<int16_t> disparities;
    for (int32_t y = 0; y < h; ++y) {
        const int16_t* const row = found.Row(y);
        disparities.insert(disparities.end(), row, row + w);
    }
    return disparities;
}

} // namespace ox3d::test

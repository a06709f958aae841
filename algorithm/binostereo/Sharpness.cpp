// Sharpness.cpp - see Sharpness.h. The strongest points of edges, one after the other along the rows, and the median of
// the widths of those that are straight and stand alone.
#include "algorithm/binostereo/Sharpness.h"

#include "algorithm/binostereo/EdgeFit.h"

#include <algorithm>
#include <array>
#include <cmath>

using namespace ox3d::stereo;

namespace {

constexpr size_t kMaxEdges = 384;       // that are looked at, for time
constexpr int32_t kLevels = 256;        // of strength
constexpr int32_t kWeight = 8;          // of the gradient's kernel
constexpr double kMinSlope = 1;         // grey values a pixel
constexpr double kWidthOfSigma = 2.563; // from 10 to 90 percent of a Gaussian step

struct Gradient {
    int32_t m_x;
    int32_t m_y;
    int32_t Square() const { return m_x * m_x + m_y * m_y; }
    double Slope() const { return std::sqrt(static_cast<double>(Square())) / kWeight; }
};

// Sobel's; only inside the border.
Gradient GradientAt(const GreyView& v, int32_t x, int32_t y) {
    const int32_t falling = v.At(x + 1, y + 1) - v.At(x - 1, y - 1);
    const int32_t rising = v.At(x + 1, y - 1) - v.At(x - 1, y + 1);
    return {falling + rising + 2 * (v.At(x + 1, y) - v.At(x - 1, y)),
            falling - rising + 2 * (v.At(x, y + 1) - v.At(x, y - 1))};
}

// True where the gradient is largest among the neighbours that it points to; the first of equal ones.
bool IsCrest(const GreyView& view, int32_t x, int32_t y, const Gradient& gradient) {
    const int32_t ax = std::abs(gradient.m_x);
    const int32_t ay = std::abs(gradient.m_y);
    const int32_t dx = 2 * ax < ay ? 0 : 1;
    const int32_t sign = (gradient.m_x < 0) == (gradient.m_y < 0) ? 1 : -1;
    const int32_t dy = 2 * ay < ax ? 0 : (dx == 0 ? 1 : sign);
    const int32_t own = gradient.Square();
    return own > GradientAt(view, x - dx, y - dy).Square() &&
           own >= GradientAt(view, x + dx, y + dy).Square();
}

template <typename TVisit>
void ForEachCrest(const GreyView& view, double minSlope, TVisit visit) {
    const double least = minSlope * minSlope * kWeight * kWeight;
    for (int32_t y = 2; y < view.m_height - 2; ++y) {
        for (int32_t x = 2; x < view.m_width - 2; ++x) {
            const Gradient gradient = GradientAt(view, x, y);
            if (gradient.Square() >= least && IsCrest(view, x, y, gradient)) {
                visit(x, y, gradient);
            }
        }
    }
}

// How steep the strongest are, and how many there are of them.
struct Strongest {
    double m_minSlope;
    uint64_t m_count;
};

Strongest FindStrongest(const GreyView& view) {
    std::array<uint64_t, kLevels> counts{};
    ForEachCrest(view, kMinSlope, [&counts](int32_t, int32_t, const Gradient& gradient) {
        ++counts[static_cast<size_t>(gradient.Slope())];
    });
    Strongest strongest{0, 0};
    for (size_t level = counts.size(); level-- > 0 && strongest.m_count < kMaxEdges;) {
        strongest = {static_cast<double>(level), strongest.m_count + counts[level]};
    }
    strongest.m_minSlope = std::max(strongest.m_minSlope, kMinSlope);
    return strongest;
}

} // namespace

Sharpness ox3d::stereo::MeasureSharpness(const GreyView& view) {
    const Strongest strongest = FindStrongest(view);
    const uint64_t stride = strongest.m_count / kMaxEdges + 1;
    std::array<double, kMaxEdges> sigmas{};
    size_t edges = 0;
    uint64_t met = 0;
    ForEachCrest(view, strongest.m_minSlope, [&](int32_t x, int32_t y, const Gradient& gradient) {
        if (met++ % stride == 0 && edges < kMaxEdges) {
            const double sigma =
                FitEdge(view, {x, y, std::atan2(gradient.m_y, gradient.m_x), gradient.Slope()});
            sigmas[edges] = sigma;
            edges += sigma > 0 ? 1 : 0;
        }
    });
    if (edges == 0) {
        return {};
    }
    auto* const middle = sigmas.begin() + edges / 2;
    std::nth_element(sigmas.begin(), middle, sigmas.begin() + edges);
    return {static_cast<float>(kWidthOfSigma * *middle), static_cast<int32_t>(edges)};
}

// EdgeFit.cpp - see EdgeFit.h. A least-squares fit of five numbers and not the width between two levels of a profile:
// an edge along a row or column has one pixel in its rise, between whose levels there is nothing to interpolate.
#include "algorithm/binostereo/EdgeFit.h"

#include <algorithm>
#include <cmath>

using namespace ox3d::stereo;

namespace {

constexpr int32_t kUnknowns = 5;
constexpr int32_t kMaxRounds = 24;
constexpr double kAlong = 2.5;  // pixels of the edge to each side of the point
constexpr double kAcross = 2.5; // standard deviations to each side, and the margin
constexpr double kMargin = 1.5; // pixels
constexpr double kMinSigma = 0.2;
constexpr double kMaxSigma = 6;
constexpr double kMaxGrowth = 1.5;   // of the standard deviation, a round
constexpr double kMaxShift = 1;      // pixels a round
constexpr double kMaxTurn = 0.2;     // radians a round
constexpr double kDamping = 1e-3;    // share of the diagonal
constexpr double kSettled = 1e-3;    // change of the standard deviation, as a share of it
constexpr double kMinContrast = 10;  // grey values
constexpr double kMaxResidual = 0.1; // of the contrast, root mean square
constexpr double kSqrtTwo = 1.4142135623730951;
constexpr double kSqrtTwoPi = 2.5066282746310002;

struct Step {
    double m_base;
    double m_height;
    double m_offset; // of the edge from the point, pixels along the gradient
    double m_angle;
    double m_sigma;
};

// The lower triangle of the normal equations, the residuals beside them.
struct Normal {
    double m_matrix[kUnknowns][kUnknowns] = {};
    double m_right[kUnknowns] = {};
    double m_squares = 0;
    int32_t m_pixels = 0;

    void Add(const double (&slopes)[kUnknowns], double residual) {
        for (int32_t i = 0; i < kUnknowns; ++i) {
            for (int32_t j = 0; j <= i; ++j) {
                m_matrix[i][j] += slopes[i] * slopes[j];
            }
            m_right[i] += slopes[i] * residual;
        }
        m_squares += residual * residual;
        ++m_pixels;
    }

    // By Cholesky's decomposition; false where the pixels do not determine the step.
    bool Solve(double (&x)[kUnknowns]) {
        for (int32_t i = 0; i < kUnknowns; ++i) {
            m_matrix[i][i] *= 1 + kDamping;
            x[i] = m_right[i];
            for (int32_t j = 0; j <= i; ++j) {
                double sum = m_matrix[i][j];
                for (int32_t k = 0; k < j; ++k) {
                    sum -= m_matrix[i][k] * m_matrix[j][k];
                }
                if (i == j && !(sum > 1e-12)) {
                    return false;
                }
                m_matrix[i][j] = i == j ? std::sqrt(sum) : sum / m_matrix[j][j];
            }
            for (int32_t k = 0; k < i; ++k) {
                x[i] -= m_matrix[i][k] * x[k];
            }
            x[i] /= m_matrix[i][i];
        }
        for (int32_t i = kUnknowns; i-- > 0;) {
            for (int32_t k = i + 1; k < kUnknowns; ++k) {
                x[i] -= m_matrix[k][i] * x[k];
            }
            x[i] /= m_matrix[i][i];
        }
        return true;
    }
};

double AcrossOf(const Step& step) {
    return kAcross * step.m_sigma + kMargin;
}

// The square that holds the pixels of a step, whichever way it runs.
int32_t RadiusOf(const Step& step) {
    const double across = AcrossOf(step) + std::abs(step.m_offset);
    return static_cast<int32_t>(std::ceil(std::sqrt(across * across + kAlong * kAlong)));
}

bool IsInside(const GreyView& view, const EdgePoint& point, int32_t radius) {
    return point.m_x >= radius && point.m_y >= radius && point.m_x + radius < view.m_width &&
           point.m_y + radius < view.m_height;
}

// Only where the square of the step lies inside.
Normal NormalOf(const GreyView& view, const EdgePoint& point, const Step& step) {
    const int32_t radius = RadiusOf(step);
    const double cosine = std::cos(step.m_angle);
    const double sine = std::sin(step.m_angle);
    const double most = AcrossOf(step);
    Normal normal;
    for (int32_t dy = -radius; dy <= radius; ++dy) {
        for (int32_t dx = -radius; dx <= radius; ++dx) {
            const double across = dx * cosine + dy * sine - step.m_offset;
            const double along = dy * cosine - dx * sine;
            if (std::abs(across) > most || std::abs(along) > kAlong) {
                continue;
            }
            const double z = across / step.m_sigma;
            const double level = 0.5 * (1 + std::erf(z / kSqrtTwo));
            const double rise = step.m_height * std::exp(-0.5 * z * z) / (kSqrtTwoPi * step.m_sigma);
            const double slopes[kUnknowns] = {1, level, -rise, rise * along, -rise * z};
            normal.Add(slopes,
                       view.At(point.m_x + dx, point.m_y + dy) - (step.m_base + step.m_height * level));
        }
    }
    return normal;
}

void Move(const double (&by)[kUnknowns], Step* step) {
    step->m_base += by[0];
    step->m_height += by[1];
    step->m_offset += std::clamp(by[2], -kMaxShift, kMaxShift);
    step->m_angle += std::clamp(by[3], -kMaxTurn, kMaxTurn);
    step->m_sigma = std::clamp(step->m_sigma + by[4], step->m_sigma / kMaxGrowth, step->m_sigma * kMaxGrowth);
}

bool IsPlausible(const Step& step) {
    return step.m_sigma >= kMinSigma && step.m_sigma <= kMaxSigma &&
           std::abs(step.m_offset) <= 1 + step.m_sigma;
}

bool IsStep(const Step& step, const Normal& normal) {
    const double residual = std::sqrt(normal.m_squares / normal.m_pixels);
    return step.m_height >= kMinContrast && residual <= kMaxResidual * step.m_height;
}

} // namespace

double ox3d::stereo::FitEdge(const GreyView& view, const EdgePoint& point) {
    const double start = point.m_slope * kSqrtTwoPi; // with a standard deviation of 1
    Step step{view.At(point.m_x, point.m_y) - start / 2, start, 0, point.m_angle, 1};
    for (int32_t round = 0; round < kMaxRounds; ++round) {
        if (!IsPlausible(step) || !IsInside(view, point, RadiusOf(step))) {
            return 0;
        }
        Normal normal = NormalOf(view, point, step);
        const double before = step.m_sigma;
        double by[kUnknowns];
        if (!normal.Solve(by)) {
            return 0;
        }
        // Of the step that has settled: the one that the residuals belong to.
        if (std::abs(by[4]) <= kSettled * before) {
            return IsStep(step, normal) ? before : 0;
        }
        Move(by, &step);
    }
    return 0;
}

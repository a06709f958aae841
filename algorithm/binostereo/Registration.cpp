// Registration.cpp - see Registration.h. Where depth steps, something stands before something else, and mostly brightness
// steps, too: of all shifts of the depth edges that one is taken under which most brightness steps lie.
#include "algorithm/binostereo/Registration.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

using namespace ox3d::stereo;

namespace {

constexpr int32_t kMinStep = 40; // of depth
constexpr int32_t kMaxGap = 4;   // pixels without depth beside what stands in front
constexpr int32_t kShifts = 2 * kMaxRegistrationShift + 1;
constexpr int32_t kMargin = kMaxRegistrationShift + 1;

enum class EAlong { Row, Column };

// The brightness under the depth edges, by shift.
using Sums = std::array<std::array<int64_t, kShifts>, kShifts>;

class CEdgeSums {
public:
    CEdgeSums(const GreyView& color, const OXB3D_BINOSTEREO_RGBD_PARAM& param)
        : m_color(color), m_param(param) {}

    // A point of an edge that crosses a row, or a column, of the depth image.
    void Add(int32_t x, int32_t y, int16_t depth, EAlong along) {
        int32_t column = 0;
        int32_t row = 0;
        if (!Project(x, y, depth, &column, &row) || !IsSeen(column, row)) {
            return;
        }
        ++m_edges;
        for (int32_t dy = 0; dy < kShifts; ++dy) {
            for (int32_t dx = 0; dx < kShifts; ++dx) {
                m_sums[static_cast<size_t>(dy)][static_cast<size_t>(dx)] +=
                    StepAt(column + dx - kMaxRegistrationShift, row + dy - kMaxRegistrationShift, along);
            }
        }
    }

    // Depth ends up to a few pixels beside what it belongs to: sums of neighbouring shifts count, too.
    void Smooth() {
        const Sums from = m_sums;
        for (int32_t y = 0; y < kShifts; ++y) {
            for (int32_t x = 0; x < kShifts; ++x) {
                int64_t sum = 0;
                int64_t weights = 0;
                for (int32_t dy = std::max(y - 1, 0); dy <= std::min(y + 1, kShifts - 1); ++dy) {
                    for (int32_t dx = std::max(x - 1, 0); dx <= std::min(x + 1, kShifts - 1); ++dx) {
                        const int64_t weight = int64_t{dx == x ? 2 : 1} * (dy == y ? 2 : 1);
                        sum += weight * from[static_cast<size_t>(dy)][static_cast<size_t>(dx)];
                        weights += weight;
                    }
                }
                m_sums[static_cast<size_t>(y)][static_cast<size_t>(x)] = sum / weights;
            }
        }
    }

    Registration Best() const {
        size_t bestX = 0;
        size_t bestY = 0;
        for (size_t y = 0; y < kShifts; ++y) {
            for (size_t x = 0; x < kShifts; ++x) {
                if (m_sums[y][x] > m_sums[bestY][bestX]) {
                    bestX = x;
                    bestY = y;
                }
            }
        }
        const auto column = [&](size_t x) { return m_sums[bestY][x]; };
        const auto row = [&](size_t y) { return m_sums[y][bestX]; };
        return {static_cast<float>(Crest(bestX, column)), static_cast<float>(Crest(bestY, row)), m_edges};
    }

private:
    // The nearest pixel of the color image; false where the camera does not look.
    bool Project(int32_t x, int32_t y, int16_t depth, int32_t* column, int32_t* row) const {
        const float* const from = m_param.depth.matrix;
        const double z = depth;
        const double point[3] = {(x - static_cast<double>(from[2])) / from[0] * z,
                                 (y - static_cast<double>(from[5])) / from[4] * z, z};
        double p[3];
        for (size_t i = 0; i < 3; ++i) {
            const float* const r = m_param.rotation + 3 * i;
            p[i] = r[0] * point[0] + r[1] * point[1] + r[2] * point[2] + m_param.translation[i];
        }
        if (!(p[2] > 0)) {
            return false;
        }
        const float* const k = m_param.color.distortion;
        const float* const to = m_param.color.matrix;
        const double a = p[0] / p[2];
        const double b = p[1] / p[2];
        const double r2 = a * a + b * b;
        const double q = 1 + r2 * (k[0] + r2 * (k[1] + r2 * k[4]));
        const double u = to[0] * (a * q + 2.0 * k[2] * a * b + k[3] * (r2 + 2 * a * a)) + to[2];
        const double v = to[4] * (b * q + k[2] * (r2 + 2 * b * b) + 2.0 * k[3] * a * b) + to[5];
        if (!(u >= kMargin && v >= kMargin && u < m_color.m_width - kMargin - 1 &&
              v < m_color.m_height - kMargin - 1)) {
            return false;
        }
        *column = static_cast<int32_t>(std::lround(u));
        *row = static_cast<int32_t>(std::lround(v));
        return true;
    }

    // Black to the last bit is what pictures are filled up with; the border of such a part is no edge of anything.
    bool IsSeen(int32_t column, int32_t row) const {
        for (const int32_t dy : {-kMaxRegistrationShift, 0, kMaxRegistrationShift}) {
            for (const int32_t dx : {-kMaxRegistrationShift, 0, kMaxRegistrationShift}) {
                if (m_color.At(column + dx, row + dy) == 0) {
                    return false;
                }
            }
        }
        return true;
    }

    int32_t StepAt(int32_t x, int32_t y, EAlong along) const {
        const GreyView& c = m_color;
        const int32_t falling = c.At(x + 1, y + 1) - c.At(x - 1, y - 1);
        const int32_t rising = c.At(x + 1, y - 1) - c.At(x - 1, y + 1);
        return along == EAlong::Row ? std::abs(falling + rising + 2 * (c.At(x + 1, y) - c.At(x - 1, y)))
                                    : std::abs(falling - rising + 2 * (c.At(x, y + 1) - c.At(x, y - 1)));
    }

    // The top of the parabola through the largest of sums and its neighbours; none beyond the end.
    template <typename TSum>
    static double Crest(size_t best, TSum sum) {
        const double shift = static_cast<double>(best) - kMaxRegistrationShift;
        if (best == 0 || best == kShifts - 1) {
            return shift;
        }
        const auto before = static_cast<double>(sum(best - 1));
        const auto after = static_cast<double>(sum(best + 1));
        const double bend = before + after - 2 * static_cast<double>(sum(best));
        return bend < 0 ? shift + 0.5 * (before - after) / bend : shift;
    }

    const GreyView& m_color;
    const OXB3D_BINOSTEREO_RGBD_PARAM& m_param;
    Sums m_sums{};
    int32_t m_edges = 0;
};

// Edges along a row or a column of length samples; visit takes the place and depth of the nearer side.
template <typename TVisit>
void ForEachEdge(const int16_t* samples, ptrdiff_t pitch, int32_t length, TVisit visit) {
    int32_t last = -kMaxGap - 2;
    int16_t lastDepth = 0;
    for (int32_t i = 0; i < length; ++i) {
        const int16_t depth = samples[i * pitch];
        if (depth <= 0) {
            continue;
        }
        if (i - last <= kMaxGap + 1 && std::abs(depth - lastDepth) > kMinStep) {
            depth < lastDepth ? visit(i, depth) : visit(last, lastDepth);
        }
        last = i;
        lastDepth = depth;
    }
}

} // namespace

Registration ox3d::stereo::MeasureRegistration(const int16_t* depth, ptrdiff_t step, const GreyView& color,
                                               const OXB3D_BINOSTEREO_RGBD_PARAM& param) {
    CEdgeSums sums(color, param);
    for (int32_t y = 0; y < param.depthHeight; ++y) {
        ForEachEdge(depth + y * step, 1, param.depthWidth,
                    [&](int32_t x, int16_t z) { sums.Add(x, y, z, EAlong::Row); });
    }
    for (int32_t x = 0; x < param.depthWidth; ++x) {
        ForEachEdge(depth + x, step, param.depthHeight,
                    [&](int32_t y, int16_t z) { sums.Add(x, y, z, EAlong::Column); });
    }
    sums.Smooth();
    sums.Smooth();
    return sums.Best();
}

// SceneMatches.cpp - see SceneMatches.h. What looks alike is judged by a census (Zabih, Woodfill 1994), which brightness and
// contrast do not change, and the place is refined by the brightness itself (Lucas, Kanade 1981).
#include "algorithm/vision/SceneMatches.h"

#include "algorithm/vision/LeastSquares.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <functional>

namespace ox3d::vision {
namespace {

constexpr int32_t kCensusReach = 5;
constexpr int32_t kCensus[] = {-5, -3, -2, 0, 2, 3, 5}; // along both axes
constexpr int32_t kPatch = 5;                           // around a place, on each side
constexpr int32_t kMargin = kPatch + 2;                 // of places from the edge of the left image
constexpr int32_t kCornerReach = 3;
// The least change of brightness over a corner along any direction, squared and summed: above what noise of 2 makes.
constexpr double kLeastCorner = 200;

constexpr int32_t kDisparities = 288;
// Rows above and below, and disparities below zero, in which a place is looked for: half a degree about each axis and
// some more.
constexpr int32_t kLeastBand = 8;
constexpr int32_t kMostBand = 48;
constexpr double kBandOfFocal = 0.0131;
constexpr int32_t kMostDiffering = 14; // of 48 comparisons
constexpr int32_t kClearly = 1;        // by which any other row has to be worse
constexpr int32_t kSameRow = 3;

struct Place {
    int32_t m_x;
    int32_t m_y;
    int32_t m_differing;
};

uint64_t CensusAt(const GreyView& view, int32_t x, int32_t y) {
    const int32_t centre = view.At(x, y);
    uint64_t bits = 0;
    for (const int32_t dy : kCensus) {
        for (const int32_t dx : kCensus) {
            bits = bits * 2 + (centre > view.At(x + dx, y + dy) ? 1 : 0);
        }
    }
    return bits;
}

bool IsWithin(const GreyView& view, int32_t x, int32_t y, int32_t margin) {
    return x >= margin && y >= margin && x < view.m_width - margin && y < view.m_height - margin;
}

// The smaller eigenvalue of the products of gradients.
double CornerAt(const GreyView& view, int32_t x, int32_t y) {
    int32_t xx = 0;
    int32_t xy = 0;
    int32_t yy = 0;
    for (int32_t v = y - kCornerReach; v <= y + kCornerReach; ++v) {
        for (int32_t u = x - kCornerReach; u <= x + kCornerReach; ++u) {
            const int32_t gx = view.At(u + 1, v) - view.At(u - 1, v);
            const int32_t gy = view.At(u, v + 1) - view.At(u, v - 1);
            xx += gx * gx;
            xy += gx * gy;
            yy += gy * gy;
        }
    }
    return ((xx + yy) / 2.0 - std::hypot((xx - yy) / 2.0, xy)) / 4;
}

// The best corner of a cell. False where it has none.
bool CornerOf(const GreyView& view, int32_t left, int32_t top, int32_t side, Place* corner) {
    double best = kLeastCorner;
    bool isFound = false;
    for (int32_t y = top; y < std::min(top + side, view.m_height - kMargin); y += 2) {
        for (int32_t x = left; x < std::min(left + side, view.m_width - kMargin); x += 2) {
            const double here = CornerAt(view, x, y);
            if (here > best) {
                best = here;
                *corner = {x, y, 0};
                isFound = true;
            }
        }
    }
    return isFound;
}

// The place in the right image for a place of the left one: along the line on which the rig has it, and rows beside that.
class CSearch {
public:
    CSearch(const StereoRig& rig, const GreyView& right, const uint64_t* bits)
        : m_rig(rig), m_right(right), m_bits(bits), m_band(BandOf(kBandOfFocal * rig.m_left.m_fx)) {}

    bool Find(uint64_t census, const Vector3& ray, Place* found) {
        std::fill_n(m_best, 2 * m_band + 1, Place{0, 0, INT32_MAX});
        const Vector3 turned = Multiply(m_rig.m_rotation, ray);
        const double perPixel = 1 / (m_rig.m_left.m_fx * Norm(m_rig.m_translation));
        Place last{-1, -1, 0};
        for (int32_t disparity = -m_band; disparity <= kDisparities; ++disparity) {
            Vector3 point = turned;
            for (size_t i = 0; i < 3; ++i) {
                point[i] += m_rig.m_translation[i] * perPixel * disparity;
            }
            const Place at = PlaceOf(point);
            if (at.m_x >= 0 && (at.m_x != last.m_x || at.m_y != last.m_y)) {
                LookAround(census, at);
            }
            last = at;
        }
        return Choose(found);
    }

private:
    static int32_t BandOf(double rows) {
        return !(rows > kLeastBand) ? kLeastBand : rows < kMostBand ? static_cast<int32_t>(rows) : kMostBand;
    }

    // Below zero where it is not in the image.
    [[nodiscard]] Place PlaceOf(const Vector3& point) const {
        if (point[2] > 0) {
            const Point2 pixel = PixelOf(m_rig.m_right, point);
            if (pixel.x > 0 && pixel.y > -kMostBand && pixel.x < m_right.m_width &&
                pixel.y < m_right.m_height + kMostBand) {
                return {static_cast<int32_t>(std::lround(pixel.x)),
                        static_cast<int32_t>(std::lround(pixel.y)), 0};
            }
        }
        return {-1, -1, 0};
    }

    void LookAround(uint64_t census, const Place& at) {
        for (int32_t row = -m_band; row <= m_band; ++row) {
            const int32_t y = at.m_y + row;
            if (IsWithin(m_right, at.m_x, y, kCensusReach)) {
                const int32_t differing =
                    std::popcount(census ^ m_bits[ptrdiff_t{y} * m_right.m_width + at.m_x]);
                Place& best = m_best[row + m_band];
                if (differing < best.m_differing) {
                    best = {at.m_x, y, differing};
                }
            }
        }
    }

    bool Choose(Place* found) const {
        const Place* const end = m_best + 2 * ptrdiff_t{m_band} + 1;
        const auto isBetter = [](const Place& a, const Place& b) { return a.m_differing < b.m_differing; };
        const Place* const best = std::min_element(m_best, end, isBetter);
        if (best->m_differing > kMostDiffering) {
            return false;
        }
        *found = *best;
        return std::none_of(m_best, end, [&](const Place& other) {
            return std::abs(&other - best) > kSameRow && other.m_differing < best->m_differing + kClearly;
        });
    }

    const StereoRig& m_rig;
    const GreyView& m_right;
    const uint64_t* const m_bits;
    const int32_t m_band;
    Place m_best[2 * kMostBand + 1]{}; // of each row of the band
};

double Sampled(const GreyView& view, double x, double y) {
    const auto column = static_cast<int32_t>(x);
    const auto row = static_cast<int32_t>(y);
    const double fx = x - column;
    const double fy = y - row;
    const auto alongRow = [&](int32_t at) {
        return view.At(column, at) * (1 - fx) + view.At(column + 1, at) * fx;
    };
    return alongRow(row) * (1 - fy) + alongRow(row + 1) * fy;
}

// A patch of the left image as it lies in the right one: moved, and along rows stretched and slanted, as a plane that both see is.
class CPatch {
public:
    CPatch(const GreyView& left, const Place& at) : m_left(left), m_at(at) {
        for (int32_t y = -kPatch; y <= kPatch; ++y) {
            for (int32_t x = -kPatch; x <= kPatch; ++x) {
                const Shape slopes = SlopesAt(x, y);
                for (size_t i = 0; i < kShape; ++i) {
                    for (size_t j = 0; j <= i; ++j) {
                        m_equations.m_products[i][j] += slopes[i] * slopes[j];
                    }
                }
            }
        }
        for (size_t i = 0; i < kShape; ++i) {
            m_equations.m_products[i][i] += kStays[i];
        }
    }

    // From a place that is right to a pixel or so. False where the patch is not there.
    bool Refine(const GreyView& right, Point2* place) {
        constexpr int32_t kRounds = 15;
        constexpr double kFarthest = 2;    // pixels
        constexpr double kMostSlant = 0.5; // pixels a pixel
        constexpr double kStill = 0.01;
        const auto isNear = [](double a, double b, double limit) { return std::fabs(a - b) < limit; };
        Shape shape{place->x, place->y};
        for (int32_t round = 0; round < kRounds; ++round) {
            Shape move{};
            bool isAlike = false;
            if (!StepAt(right, shape, &isAlike) || !Solve(m_equations, 0, &move)) {
                return false;
            }
            std::transform(shape.begin(), shape.end(), move.begin(), shape.begin(), std::plus<>());
            const bool isSlanted = std::any_of(shape.begin() + kStretch, shape.begin() + kBrightness,
                                               [](double slant) { return !(std::fabs(slant) < kMostSlant); });
            if (isSlanted || !isNear(shape[kColumn], place->x, kFarthest) ||
                !isNear(shape[kRow], place->y, kFarthest)) {
                return false;
            }
            if (isNear(move[kColumn], 0, kStill) && isNear(move[kRow], 0, kStill)) {
                *place = {shape[kColumn], shape[kRow]};
                return isAlike;
            }
        }
        return false;
    }

private:
    enum { kColumn, kRow, kStretch, kSlant, kTurn, kHeight, kBrightness, kShape };
    using Shape = std::array<double, kShape>;
    // What the picture does not tell is not there: a noise of 2 against slants by a tenth and turns by a thirtieth.
    static constexpr Shape kStays = {0, 0, 400, 400, 3600, 3600, 0};

    [[nodiscard]] double Grey(int32_t x, int32_t y) const {
        return static_cast<double>(m_left.At(m_at.m_x + x, m_at.m_y + y));
    }
    [[nodiscard]] Shape SlopesAt(int32_t x, int32_t y) const {
        const double alongRow = (Grey(x + 1, y) - Grey(x - 1, y)) / 2;
        const double alongColumn = (Grey(x, y + 1) - Grey(x, y - 1)) / 2;
        return {alongRow, alongColumn, alongRow * x, alongRow * y, alongColumn * x, alongColumn * y, 1};
    }

    // The right sides of the equations.
    bool StepAt(const GreyView& right, const Shape& shape, bool* isAlike) {
        const double across = kPatch * (1 + std::fabs(shape[kStretch]) + std::fabs(shape[kSlant]));
        const double down = kPatch * (1 + std::fabs(shape[kTurn]) + std::fabs(shape[kHeight]));
        if (!(shape[kColumn] >= across && shape[kRow] >= down &&
              shape[kColumn] < right.m_width - across - 1 && shape[kRow] < right.m_height - down - 1)) {
            return false;
        }
        for (size_t i = 0; i < kShape; ++i) {
            m_equations.m_right[i] = -kStays[i] * shape[i];
        }
        double differing = 0;
        double sum = 0;
        double squares = 0;
        for (int32_t y = -kPatch; y <= kPatch; ++y) {
            for (int32_t x = -kPatch; x <= kPatch; ++x) {
                const double column = shape[kColumn] + x + shape[kStretch] * x + shape[kSlant] * y;
                const double row = shape[kRow] + y + shape[kTurn] * x + shape[kHeight] * y;
                const double difference = Grey(x, y) - Sampled(right, column, row) - shape[kBrightness];
                const Shape slopes = SlopesAt(x, y);
                for (size_t i = 0; i < kShape; ++i) {
                    m_equations.m_right[i] += difference * slopes[i];
                }
                differing += difference * difference;
                sum += Grey(x, y);
                squares += Grey(x, y) * Grey(x, y);
            }
        }
        constexpr double kMostShare = 0.1;
        constexpr double kCount = (2 * kPatch + 1) * (2 * kPatch + 1);
        *isAlike = differing <= kMostShare * (squares - sum * sum / kCount);
        return true;
    }

    const GreyView& m_left;
    const Place m_at;
    NormalEquations<kShape> m_equations{};
};

} // namespace

size_t MatchScene(const StereoRig& rig, const ScenePair& pair, uint64_t* bits, SceneMatch* matches,
                  size_t most) {
    const GreyView& left = pair.m_left;
    const GreyView& right = pair.m_right;
    for (int32_t y = kCensusReach; y < right.m_height - kCensusReach; ++y) {
        for (int32_t x = kCensusReach; x < right.m_width - kCensusReach; ++x) {
            bits[ptrdiff_t{y} * right.m_width + x] = CensusAt(right, x, y);
        }
    }
    CSearch search(rig, right, bits);
    const double pixels = static_cast<double>(left.m_width) * left.m_height;
    const auto side = static_cast<int32_t>(std::ceil(std::sqrt(pixels / static_cast<double>(most)))) + 1;
    size_t count = 0;
    for (int32_t top = kMargin; top < left.m_height - kMargin; top += side) {
        for (int32_t column = kMargin; column < left.m_width - kMargin && count < most; column += side) {
            Place corner{};
            Place found{};
            Vector3 leftRay{};
            Vector3 rightRay{};
            if (!CornerOf(left, column, top, side, &corner) ||
                !RayOf(rig.m_left, {1.0 * corner.m_x, 1.0 * corner.m_y}, &leftRay) ||
                !search.Find(CensusAt(left, corner.m_x, corner.m_y), leftRay, &found)) {
                continue;
            }
            Point2 place{1.0 * found.m_x, 1.0 * found.m_y};
            if (CPatch(left, corner).Refine(right, &place) && RayOf(rig.m_right, place, &rightRay)) {
                matches[count++] = {{leftRay[0], leftRay[1]}, {rightRay[0], rightRay[1]}};
            }
        }
    }
    return count;
}

} // namespace ox3d::vision

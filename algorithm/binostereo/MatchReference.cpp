// The kernels of stereo matching as plain loops: what defines the results of every tier.
// Relies on MatchTiers.h for the layouts.
#include "algorithm/binostereo/MatchTiers.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace ox3d::stereo::reference {
namespace {

// The gradient keeps 6 bits, of which a quarter of the difference counts.
constexpr int32_t kGradientLimit = 31;

uint8_t Gradient(const DescribeArgs& a, int32_t x) {
    const uint8_t* const at = a.m_rows[a.m_lattice / 2];
    const int32_t behind = a.m_above[x - 1] + 2 * at[x - 1] + a.m_below[x - 1];
    const int32_t ahead = a.m_above[x + 1] + 2 * at[x + 1] + a.m_below[x + 1];
    const int32_t rise = a.m_isMirrored ? behind - ahead : ahead - behind;
    return static_cast<uint8_t>(kGradientLimit + std::clamp(rise / 2, -kGradientLimit, kGradientLimit));
}

void Describe(const DescribeArgs& a) {
    const uint8_t* const centre = a.m_rows[a.m_lattice / 2];
    for (int32_t x = 0; x < a.m_width; ++x) {
        int32_t bit = 0;
        for (int32_t row = 0; row < a.m_lattice; ++row) {
            for (int32_t column = 0; column < a.m_lattice; ++column) {
                if (row == a.m_lattice / 2 && column == a.m_lattice / 2) {
                    continue;
                }
                const int32_t dx = a.m_columns[column];
                const uint8_t neighbour = a.m_rows[row][a.m_isMirrored ? x - dx : x + dx];
                uint8_t& bits = a.m_planes[bit / 8][x];
                bits = static_cast<uint8_t>(bits * 2 + (centre[x] > neighbour ? 1 : 0));
                ++bit;
            }
        }
        a.m_planes[kCensusPlanes][x] = Gradient(a, x);
    }
}

uint8_t Distance(const CostArgs& a, int32_t x, int32_t k) {
    const int32_t at = a.m_width - 1 - x + k;
    int32_t differing = 0;
    for (int32_t plane = 0; plane < a.m_planes; ++plane) {
        differing += std::popcount(static_cast<uint8_t>(a.m_left[plane][x] ^ a.m_right[plane][at]));
    }
    const int32_t rise = a.m_left[kCensusPlanes][x] - a.m_right[kCensusPlanes][at];
    return static_cast<uint8_t>(differing + (std::abs(rise) >> 2));
}

void Cost(const CostArgs& a, int32_t begin, int32_t end) {
    const ptrdiff_t pitch = DisparityPitch(a.m_disparities);
    for (ptrdiff_t x = begin; x < std::min(end + 1, a.m_width); ++x) {
        // A range computes the column that the next one begins with, too: it needs that for its own last sums.
        for (int32_t k = 0; k < a.m_disparities; ++k) {
            a.m_newest[x * pitch + k] = Distance(a, static_cast<int32_t>(x), k);
        }
    }
    if (a.m_cost == nullptr) {
        return;
    }
    const ptrdiff_t last = a.m_width - 1;
    for (ptrdiff_t x = begin; x < end; ++x) {
        for (ptrdiff_t k = 0; k < pitch; ++k) {
            int32_t sum = 4;
            for (const ptrdiff_t near : {std::max<ptrdiff_t>(x - 1, 0), x, std::min(x + 1, last)}) {
                const ptrdiff_t at = near * pitch + k;
                sum += a.m_older[at] + a.m_middle[at] + a.m_newest[at];
            }
            a.m_cost[x * pitch + k] = k < a.m_disparities ? static_cast<uint8_t>(sum >> 3) : kNoCost;
        }
    }
}

// One path's step at one pixel. Returns the least of what comes out.
uint8_t Step(const ScanArgs& a, int32_t x, const uint8_t* before, uint8_t beforeLeast, uint8_t greyBefore,
             uint8_t* after) {
    const uint8_t* const cost = a.m_cost + ptrdiff_t{x} * DisparityPitch(a.m_disparities);
    const int32_t anyStep = beforeLeast + a.m_largeStep[std::abs(a.m_grey[x] - greyBefore)];
    int32_t least = kNoCost;
    for (int32_t k = 0; k < a.m_disparities; ++k) {
        const int32_t lower = k > 0 ? before[k - 1] : kNoCost;
        const int32_t upper = k + 1 < a.m_disparities ? before[k + 1] : kNoCost;
        const int32_t step =
            std::min({int32_t{before[k]}, lower + a.m_smallStep, upper + a.m_smallStep, anyStep});
        const int32_t value = cost[k] + step - beforeLeast;
        after[k] = static_cast<uint8_t>(value);
        least = std::min(least, value);
    }
    for (int32_t k = a.m_disparities; k < DisparityPitch(a.m_disparities); ++k) {
        after[k] = kNoCost;
    }
    return static_cast<uint8_t>(least);
}

// The three paths from the row before, of which `ahead` tells the direction along the row: 1 or -1.
void StepFromRow(const ScanArgs& a, int32_t x, int32_t ahead) {
    const ptrdiff_t pitch = DisparityPitch(a.m_disparities);
    uint32_t minima = 0;
    for (int32_t path = 0; path < 3; ++path) {
        const ptrdiff_t from = x + ahead * (path - 1);
        const auto least = static_cast<uint8_t>(a.m_before.m_minimum[from] >> 8 * path);
        const uint32_t next =
            Step(a, x, a.m_before.m_costs + (3 * from + path) * pitch, least, a.m_greyBefore[from],
                 a.m_after.m_costs + (ptrdiff_t{3} * x + path) * pitch);
        minima |= next << 8 * path;
    }
    a.m_after.m_minimum[x] = minima;
}

uint8_t* RunAt(const ScanArgs& a, int32_t x) {
    return a.m_run + (x & 1) * ptrdiff_t{DisparityPitch(a.m_disparities)};
}

void StepAlong(const ScanArgs& a, int32_t x, int32_t ahead) {
    *a.m_runMinimum = Step(a, x, RunAt(a, x - ahead), *a.m_runMinimum, a.m_grey[x - ahead], RunAt(a, x));
}

int32_t SumAt(const ScanArgs& a, int32_t x, int32_t k) {
    const ptrdiff_t pitch = DisparityPitch(a.m_disparities);
    const uint8_t* const paths = a.m_after.m_costs + ptrdiff_t{3} * x * pitch + k;
    return paths[0] + paths[pitch] + paths[2 * pitch] + RunAt(a, x)[k];
}

void Scan(const ScanArgs& a, int32_t begin, int32_t end) {
    for (int32_t x = begin; x < end; ++x) {
        StepFromRow(a, x, 1);
    }
}

void ScanSumming(const ScanArgs& a, int32_t begin, int32_t end) {
    uint16_t* const sums = a.m_sums;
    for (int32_t x = begin; x < end; ++x) {
        StepFromRow(a, x, 1);
        StepAlong(a, x, 1);
        for (int32_t k = 0; k < a.m_disparities; ++k) {
            sums[x * ptrdiff_t{DisparityPitch(a.m_disparities)} + k] = static_cast<uint16_t>(SumAt(a, x, k));
        }
    }
}

// The least sum wins, the least disparity among equal ones: for the right image, too, whose disparities come in
// falling order.
void Choose(const ScanArgs& a, const ChooseArgs& c, int32_t x) {
    int16_t* const line = c.m_line;
    int32_t winner = 0;
    for (int32_t k = 0; k < a.m_disparities; ++k) {
        winner = line[k] < line[winner] ? k : winner;
        // Seen from the column before, the same one of the right image stood at the next disparity.
        const bool isBetter = line[k] <= c.m_rightLeast[k + 1];
        c.m_rightLeast[k] = isBetter ? line[k] : c.m_rightLeast[k + 1];
        c.m_rightLeastAt[k] = isBetter ? static_cast<int16_t>(k) : c.m_rightLeastAt[k + 1];
    }
    c.m_rightWinner[a.m_width - 1 - x] = c.m_rightLeastAt[0]; // none looks at it any more
    const bool isInside = winner > 0 && winner + 1 < a.m_disparities;
    const int32_t fraction = isInside ? FractionOf(line[winner - 1], line[winner], line[winner + 1]) : 0;
    c.m_winner[x] = static_cast<uint16_t>(winner);
    c.m_sixteenths[x] = static_cast<int16_t>(16 * winner + fraction);
}

void ScanChoosing(const ScanArgs& a, const ChooseArgs& c, int32_t begin, int32_t end) {
    const ptrdiff_t pitch = DisparityPitch(a.m_disparities);
    for (int32_t x = end - 1; x >= begin; --x) {
        StepFromRow(a, x, -1);
        StepAlong(a, x, -1);
        for (int32_t k = 0; k < a.m_disparities; ++k) {
            c.m_line[k] = static_cast<int16_t>(a.m_sums[x * pitch + k] + SumAt(a, x, k));
        }
        Choose(a, c, x);
    }
}

void RunChoosing(const ScanArgs& a, const ChooseArgs& c, int32_t begin, int32_t end) {
    const ptrdiff_t pitch = DisparityPitch(a.m_disparities);
    for (int32_t x = end - 1; x >= begin; --x) {
        StepAlong(a, x, -1);
        for (int32_t k = 0; k < a.m_disparities; ++k) {
            c.m_line[k] = static_cast<int16_t>(a.m_sums[x * pitch + k] + RunAt(a, x)[k]);
        }
        Choose(a, c, x);
    }
}

void Median(const int16_t* const (&rows)[3], int32_t width, int16_t* out) {
    for (int32_t x = 0; x < width; ++x) {
        int16_t samples[9];
        const int16_t centre = rows[1][x];
        for (int32_t i = 0; i < 9; ++i) {
            const int16_t sample = rows[i / 3][x + i % 3 - 1];
            samples[i] = sample > 0 ? sample : centre;
        }
        std::nth_element(samples, samples + 4, samples + 9);
        out[x] = centre > 0 ? samples[4] : int16_t{0};
    }
}

int16_t Levelled(const int16_t* const (&rows)[kLevelled], int32_t x) {
    const int16_t centre = rows[kLevelled / 2][x];
    const auto belongs = [centre](int16_t sample) {
        return sample > 0 && std::abs(sample - centre) <= kSurfaceStep;
    };
    int32_t rises = 0;
    for (int32_t i = 0; i < kLevelled * kLevelled; ++i) {
        const int32_t dx = i % kLevelled - kLevelled / 2;
        const int16_t here = rows[i / kLevelled][x + dx];
        const int16_t opposite = rows[kLevelled - 1 - i / kLevelled][x - dx];
        rises += belongs(here) && belongs(opposite) ? here - centre : 0;
    }
    return MeanOfLevelled(centre, static_cast<int16_t>(rises));
}

void Level(const int16_t* const (&rows)[kLevelled], int32_t width, int16_t* out) {
    for (int32_t x = kLevelled / 2; x < width - kLevelled / 2; ++x) {
        out[x] = rows[kLevelled / 2][x] > 0 ? Levelled(rows, x) : int16_t{0};
    }
}

} // namespace

constinit const MatchKernels kMatchKernels = {Describe,     Cost,        Scan,   ScanSumming,
                                              ScanChoosing, RunChoosing, Median, Level};

} // namespace ox3d::stereo::reference

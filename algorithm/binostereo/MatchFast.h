// The fast kernels of stereo matching: the reference kernels' arithmetic on as many disparities at once as a vector
// has bytes. Compiled once for each tier; a unit includes its lanes first, names its tier in OX3D_TIER and includes
// this file, once. Everything here is local to that unit.
#pragma once

#include "algorithm/binostereo/MatchTiers.h"

#include <cstring>

namespace ox3d::stereo::OX3D_TIER {
namespace {

constexpr int32_t kGradientLimit = 31;

int32_t Pitch(int32_t disparities) {
    return DisparityPitch(disparities);
}

// Bytes of vectors that hold all disparities.
int32_t Reach(int32_t disparities) {
    return (disparities + kBytes - 1) / kBytes * kBytes;
}

void CompareRow(const uint8_t* __restrict centre, const uint8_t* __restrict neighbour, int32_t width,
                uint8_t* __restrict bits) {
    for (ptrdiff_t x = 0; x < width; ++x) {
        bits[x] = static_cast<uint8_t>(bits[x] + bits[x] + (centre[x] > neighbour[x] ? 1 : 0));
    }
}

void GradientRow(const DescribeArgs& a, uint8_t* __restrict out) {
    const uint8_t* __restrict above = a.m_above;
    const uint8_t* __restrict at = a.m_rows[a.m_lattice / 2];
    const uint8_t* __restrict below = a.m_below;
    const auto sign = static_cast<int16_t>(a.m_isMirrored ? -1 : 1);
    for (ptrdiff_t x = 0; x < a.m_width; ++x) {
        const auto behind = static_cast<int16_t>(above[x - 1] + 2 * at[x - 1] + below[x - 1]);
        const auto ahead = static_cast<int16_t>(above[x + 1] + 2 * at[x + 1] + below[x + 1]);
        const auto rise = static_cast<int16_t>(sign * static_cast<int16_t>(ahead - behind));
        const auto half = static_cast<int16_t>(static_cast<int16_t>(rise + (rise < 0 ? 1 : 0)) >> 1);
        const auto low = static_cast<int16_t>(half < -kGradientLimit ? -kGradientLimit : half);
        const auto cut = static_cast<int16_t>(low > kGradientLimit ? kGradientLimit : low);
        out[x] = static_cast<uint8_t>(kGradientLimit + cut);
    }
}

void Describe(const DescribeArgs& a) {
    const int32_t middle = a.m_lattice / 2;
    int32_t bit = 0;
    for (int32_t row = 0; row < a.m_lattice; ++row) {
        for (int32_t column = 0; column < a.m_lattice; ++column) {
            if (row == middle && column == middle) {
                continue;
            }
            uint8_t* const plane = a.m_planes[bit / 8];
            if (bit % 8 == 0) {
                std::memset(plane, 0, static_cast<size_t>(a.m_width));
            }
            const ptrdiff_t dx = a.m_isMirrored ? -a.m_columns[column] : a.m_columns[column];
            CompareRow(a.m_rows[middle], a.m_rows[row] + dx, a.m_width, plane);
            ++bit;
        }
    }
    GradientRow(a, a.m_planes[kCensusPlanes]);
}

// Distances of one column from its candidates on the right.
template <int kPlanes>
void DistanceColumn(const CostArgs& a, int32_t x, uint8_t* out) {
    Bytes left[kPlanes];
    for (int plane = 0; plane < kPlanes; ++plane) {
        left[plane] = SetAll(a.m_left[plane][x]);
    }
    const Bytes gradient = SetAll(a.m_left[kCensusPlanes][x]);
    const ptrdiff_t at = a.m_width - 1 - x;
    const int32_t reach = Reach(a.m_disparities);
    for (ptrdiff_t k = 0; k < reach; k += kBytes) {
        Bytes differing[kPlanes];
        for (int plane = 0; plane < kPlanes; ++plane) {
            differing[plane] = Xor(left[plane], Load(a.m_right[plane] + at + k));
        }
        // Sums of three bits at a time, as a digit of ones and a digit of twos.
        Bytes ones = CountBits(OnesOfThree(differing[0], differing[1], differing[2]));
        Bytes twos = CountBits(TwosOfThree(differing[0], differing[1], differing[2]));
        if constexpr (kPlanes == kCensusPlanes) {
            ones = Add(ones, CountBits(OnesOfThree(differing[3], differing[4], differing[5])));
            twos = Add(twos, CountBits(TwosOfThree(differing[3], differing[4], differing[5])));
        }
        const Bytes rise = QuarterOf(DifferenceOf(gradient, Load(a.m_right[kCensusPlanes] + at + k)));
        Store(out + k, Add(Add(ones, rise), Add(twos, twos)));
    }
}

void SumColumn(const CostArgs& a, ptrdiff_t x, int32_t reach, uint8_t* out) {
    const ptrdiff_t at = x * Pitch(a.m_disparities);
    for (ptrdiff_t k = 0; k < reach; k += kBytes) {
        Store(out + k,
              Add(Add(Load(a.m_older + at + k), Load(a.m_middle + at + k)), Load(a.m_newest + at + k)));
    }
}

// An eighth of the sum over three columns, rounded.
void MeanColumn(const uint8_t* behind, const uint8_t* at, const uint8_t* ahead, int32_t disparities,
                uint8_t* out) {
    const int32_t reach = Reach(disparities);
    for (ptrdiff_t k = 0; k < reach; k += kBytes) {
        const Bytes mean = EighthOfSum(Load(behind + k), Load(at + k), Load(ahead + k));
        const bool isTail = k + kBytes > disparities;
        Store(out + k, isTail ? Or(mean, LanesFrom(static_cast<int32_t>(disparities - k))) : mean);
    }
}

template <int kPlanes>
void CostOf(const CostArgs& a, int32_t begin, int32_t end) {
    const int32_t pitch = Pitch(a.m_disparities);
    const int32_t reach = Reach(a.m_disparities);
    const int32_t last = a.m_width - 1;
    if (a.m_cost == nullptr) {
        for (int32_t x = begin; x < end; ++x) {
            DistanceColumn<kPlanes>(a, x, a.m_newest + ptrdiff_t{x} * pitch);
        }
        return;
    }
    const auto column = [&](int32_t x) { return a.m_columns + (x & 3) * ptrdiff_t{pitch}; };
    const auto clamped = [last](int32_t x) { return x < 0 ? 0 : (x > last ? last : x); };
    // The range before has left its last columns, and the first one of this range.
    for (int32_t x = begin == 0 ? 0 : begin + 1; x <= end; ++x) {
        if (x <= last) {
            DistanceColumn<kPlanes>(a, x, a.m_newest + ptrdiff_t{x} * pitch);
            SumColumn(a, x, reach, column(x));
        }
        if (x > begin) {
            MeanColumn(column(clamped(x - 2)), column(x - 1), column(clamped(x)), a.m_disparities,
                       a.m_cost + ptrdiff_t{x - 1} * pitch);
        }
    }
}

void Cost(const CostArgs& a, int32_t begin, int32_t end) {
    if (a.m_planes == kCensusPlanes) {
        CostOf<kCensusPlanes>(a, begin, end);
    } else {
        CostOf<kCensusPlanes / 2>(a, begin, end);
    }
}

// One path's way into a pixel: where it comes from, its least cost there, and that with a large step.
struct Way {
    const uint8_t* m_before;
    uint8_t* m_after;
    Bytes m_least;
    Bytes m_any;
};

uint8_t LargeStepFrom(const ScanArgs& a, int32_t x, uint8_t greyBefore) {
    const int32_t step = a.m_grey[x] - greyBefore;
    return a.m_largeStep[step < 0 ? -step : step];
}

Way WayFrom(const ScanArgs& a, int32_t x, const uint8_t* before, uint8_t* after, uint32_t least,
            uint8_t greyBefore) {
    const auto any = static_cast<uint8_t>(least + LargeStepFrom(a, x, greyBefore));
    return {before, after, SetAll(static_cast<uint8_t>(least)), SetAll(any)};
}

inline __attribute__((always_inline)) Bytes Take(const Way& way, ptrdiff_t k, Bytes cost, Bytes smallStep,
                                                 Bytes* least) {
    Bytes lower;
    Bytes upper;
    LoadAround(way.m_before + k, &lower, &upper);
    const Bytes near = AddUpTo255(Least(lower, upper), smallStep);
    const Bytes step = Least(Least(near, Load(way.m_before + k)), way.m_any);
    const Bytes value = AddUpTo255(cost, Subtract(step, way.m_least));
    Store(way.m_after + k, value);
    *least = Least(*least, value);
    return value;
}

enum class ESums { None, Set, Choose };

// The winner among the sums of a pixel, and what they are for the right view. Sums come in the order of disparities.
struct Choice {
    Words m_least;
    Words m_winner;
    Words m_index;
};

inline __attribute__((always_inline)) void ChooseAmong(Words sums, ptrdiff_t k, const ChooseArgs& c,
                                                       Choice* choice) {
    StoreWords(c.m_line + k, sums);
    TakeSmaller(sums, choice->m_index, &choice->m_least, &choice->m_winner);
    // Seen from the column before, the same one of the right image stood at the next disparity.
    const auto moved = [k](const int16_t* from) {
        return FromSecond(LoadWords(from + k), LoadWords(from + k + kBytes / 2));
    };
    Words least = moved(c.m_rightLeast);
    StoreWords(c.m_rightLeastAt + k,
               TakeSmallerOrEqual(sums, choice->m_index, moved(c.m_rightLeastAt), &least));
    StoreWords(c.m_rightLeast + k, least);
    choice->m_index = AddWords(choice->m_index, SetAllWords(kBytes / 2));
}

void FinishChoice(const ScanArgs& a, const ChooseArgs& c, const Choice& choice, int32_t x) {
    const int32_t winner = WinnerOf(choice.m_least, choice.m_winner);
    const bool isInside = winner > 0 && winner + 1 < a.m_disparities;
    const int16_t* const line = c.m_line + winner;
    const int32_t fraction = isInside ? FractionOf(line[-1], line[0], line[1]) : 0;
    c.m_winner[x] = static_cast<uint16_t>(winner);
    c.m_sixteenths[x] = static_cast<int16_t>(16 * winner + fraction);
    c.m_rightWinner[a.m_width - 1 - x] = c.m_rightLeastAt[0]; // none looks at it any more
}

// kAhead is 1 for a walk to the right, -1 for one to the left.
// *runLeast is the least cost of the path along the row, in every byte: from one column to the next there is nothing to
// wait for but that, so it takes no way round by other registers or memory.
template <bool kFromRow, bool kAlong, ESums kSums, int32_t kAhead>
void ScanColumn(const ScanArgs& a, const ChooseArgs* choose, int32_t x, Bytes* runLeast) {
    const ptrdiff_t pitch = Pitch(a.m_disparities);
    const uint8_t* const cost = a.m_cost + x * pitch;
    const Bytes smallStep = SetAll(a.m_smallStep);
    Way ways[4];
    Bytes least[4] = {SetAll(kNoCost), SetAll(kNoCost), SetAll(kNoCost), SetAll(kNoCost)};
    if constexpr (kFromRow) {
        for (int32_t path = 0; path < 3; ++path) {
            const ptrdiff_t from = x + kAhead * (path - 1);
            ways[path] = WayFrom(a, x, a.m_before.m_costs + (3 * from + path) * pitch,
                                 a.m_after.m_costs + (ptrdiff_t{3} * x + path) * pitch,
                                 (a.m_before.m_minimum[from] >> 8 * path) & 0xFF, a.m_greyBefore[from]);
        }
    }
    if constexpr (kAlong) {
        ways[3] = {a.m_run + ((x - kAhead) & 1) * pitch, a.m_run + (x & 1) * pitch, *runLeast,
                   Add(*runLeast, SetAll(LargeStepFrom(a, x, a.m_grey[x - kAhead])))};
    }
    Choice choice{SetAllWords(kNoSum), SetAllWords(0), CountUp()};
    uint16_t* const sums = a.m_sums + x * pitch;
    const int32_t reach = Reach(a.m_disparities);
    for (ptrdiff_t k = 0; k < reach; k += kBytes) {
        const Bytes c = Load(cost + k);
        Pair sum{};
        if constexpr (kFromRow) {
            const Bytes behind = Take(ways[0], k, c, smallStep, &least[0]);
            const Bytes straight = Take(ways[1], k, c, smallStep, &least[1]);
            const Bytes ahead = Take(ways[2], k, c, smallStep, &least[2]);
            if constexpr (kSums != ESums::None) {
                sum = SumOfFour(behind, straight, ahead, Take(ways[3], k, c, smallStep, &least[3]));
            }
        } else {
            sum = WidenedBytes(Take(ways[3], k, c, smallStep, &least[3]));
        }
        if constexpr (kSums == ESums::Set) {
            StorePair(sums + k, sum);
        } else if constexpr (kSums == ESums::Choose) {
            sum = InOrder(AddPairs(sum, LoadPairOfWords(sums + k)));
            ChooseAmong(sum.m_low, k, *choose, &choice);
            ChooseAmong(sum.m_high, k + kBytes / 2, *choose, &choice);
        }
    }
    if constexpr (kFromRow) {
        a.m_after.m_minimum[x] = LeastOfEach(least[0], least[1], least[2], least[3]);
    }
    if constexpr (kAlong) {
        *runLeast = LeastInAll(least[3]);
    }
    if constexpr (kSums == ESums::Choose) {
        FinishChoice(a, *choose, choice, x);
    }
}

template <bool kFromRow, bool kAlong, ESums kSums>
void ScanRight(const ScanArgs& args, int32_t begin, int32_t end) {
    const ScanArgs a = args;
    Bytes runLeast = SetAll(*a.m_runMinimum);
    for (int32_t x = begin; x < end; ++x) {
        ScanColumn<kFromRow, kAlong, kSums, 1>(a, nullptr, x, &runLeast);
    }
    *a.m_runMinimum = FirstOf(runLeast);
}

template <bool kFromRow>
void ScanLeft(const ScanArgs& args, const ChooseArgs& choose, int32_t begin, int32_t end) {
    const ScanArgs a = args;
    const ChooseArgs c = choose;
    Bytes runLeast = SetAll(*a.m_runMinimum);
    for (int32_t x = end - 1; x >= begin; --x) {
        ScanColumn<kFromRow, true, ESums::Choose, -1>(a, &c, x, &runLeast);
    }
    *a.m_runMinimum = FirstOf(runLeast);
}

inline __attribute__((always_inline)) void Sort(int16_t& a, int16_t& b) {
    const int16_t low = a < b ? a : b;
    b = a < b ? b : a;
    a = low;
}

// Nineteen exchanges leave the fifth of nine in the middle (Paeth, Graphics Gems, 1990).
void Median(const int16_t* const (&rows)[3], int32_t width, int16_t* __restrict out) {
    const int16_t* __restrict above = rows[0];
    const int16_t* __restrict at = rows[1];
    const int16_t* __restrict below = rows[2];
    for (ptrdiff_t x = 0; x < width; ++x) {
        const int16_t c = at[x];
        const auto valid = [c](int16_t sample) { return sample > 0 ? sample : c; };
        int16_t p0 = valid(above[x - 1]);
        int16_t p1 = valid(above[x]);
        int16_t p2 = valid(above[x + 1]);
        int16_t p3 = valid(at[x - 1]);
        int16_t p4 = c;
        int16_t p5 = valid(at[x + 1]);
        int16_t p6 = valid(below[x - 1]);
        int16_t p7 = valid(below[x]);
        int16_t p8 = valid(below[x + 1]);
        Sort(p1, p2), Sort(p4, p5), Sort(p7, p8), Sort(p0, p1), Sort(p3, p4), Sort(p6, p7);
        Sort(p1, p2), Sort(p4, p5), Sort(p7, p8), Sort(p0, p3), Sort(p5, p8), Sort(p4, p7);
        Sort(p3, p6), Sort(p1, p4), Sort(p2, p5), Sort(p4, p7), Sort(p4, p2), Sort(p6, p4);
        Sort(p4, p2);
        out[x] = static_cast<int16_t>(c > 0 ? p4 : 0);
    }
}

// By how much two samples opposite one another lie above the one in the middle, 0 unless both belong to its surface.
inline __attribute__((always_inline)) int16_t RiseOf(int16_t a, int16_t b, int16_t centre) {
    const auto riseOfA = static_cast<int16_t>(a - centre);
    const auto riseOfB = static_cast<int16_t>(b - centre);
    const int16_t low = riseOfA < riseOfB ? riseOfA : riseOfB;
    const int16_t high = riseOfA < riseOfB ? riseOfB : riseOfA;
    const auto sum = static_cast<int16_t>(riseOfA + riseOfB);
    const int16_t near = low >= -kSurfaceStep ? sum : int16_t{0};
    const int16_t nearBoth = high <= kSurfaceStep ? near : int16_t{0};
    return static_cast<int16_t>(low + centre) > 0 ? nearBoth : int16_t{0};
}

void Level(const int16_t* const (&rows)[kLevelled], int32_t width, int16_t* __restrict out) {
    const int16_t* __restrict r0 = rows[0];
    const int16_t* __restrict r1 = rows[1];
    const int16_t* __restrict r2 = rows[2];
    const int16_t* __restrict r3 = rows[3];
    const int16_t* __restrict r4 = rows[4];
    for (ptrdiff_t x = 2; x < width - 2; ++x) {
        const int16_t c = r2[x];
        auto rises = static_cast<int16_t>(RiseOf(r2[x - 2], r2[x + 2], c) + RiseOf(r2[x - 1], r2[x + 1], c));
        for (ptrdiff_t dx = -2; dx <= 2; ++dx) {
            rises = static_cast<int16_t>(rises + RiseOf(r0[x + dx], r4[x - dx], c) +
                                         RiseOf(r1[x + dx], r3[x - dx], c));
        }
        const int16_t mean = MeanOfLevelled(c, rises);
        out[x] = static_cast<int16_t>(c > 0 ? mean : 0);
    }
}

} // namespace

constinit const MatchKernels kMatchKernels = {Describe,
                                              Cost,
                                              ScanRight<true, false, ESums::None>,
                                              ScanRight<true, true, ESums::Set>,
                                              ScanLeft<true>,
                                              ScanLeft<false>,
                                              Median,
                                              Level};

} // namespace ox3d::stereo::OX3D_TIER

// Depth to another camera's depth, the fast way: samples are projected part by part into lists that hold only what
// lands, and a list is then scattered into the target. Part of TransformFast.h, and like it local to the unit of a
// tier, whose ProjectGroups() fills the lists.
// Relies on what KernelsFor() admits: no output on the inputs, and target indices of 32 bits.
#pragma once

#include "algorithm/binostereo/TransformLists.h"

namespace ox3d::stereo::OX3D_TIER {
namespace {

// A run of samples of one row. Parts are numbered row by row, so that a call can go on from any of them.
struct Part {
    int32_t m_u;
    int32_t m_v;
    int32_t m_count;
};

template <typename TPoint>
int64_t PartsOf(const TransformArgs<TPoint>& a) {
    return static_cast<int64_t>((a.m_width - 1) / kListed + 1) * a.m_height;
}

template <typename TPoint>
Part PartAt(const TransformArgs<TPoint>& a, int64_t number) {
    const int32_t partsOfARow = (a.m_width - 1) / kListed + 1;
    const auto u = static_cast<int32_t>(number % partsOfARow) * kListed;
    return {u, static_cast<int32_t>(number / partsOfARow), a.m_width - u < kListed ? a.m_width - u : kListed};
}

// Fills a list from a part. Says whether every depth that lands is ordinary.
template <bool kDistorted, typename TPoint, typename THits>
bool ProjectPart(const TransformArgs<TPoint>& a, const Optics& optics, const Part& part, THits* hits) {
    const int16_t* depth = a.m_depth + static_cast<ptrdiff_t>(part.m_v) * a.m_step + part.m_u;
    hits->m_count = 0;
    bool isOrdinary = true;
    const int32_t done =
        ProjectGroups<kDistorted>(optics, part.m_u, part.m_v, depth, part.m_count, hits, &isOrdinary);
    for (int32_t i = done; i < part.m_count; i += kBlock) {
        const int32_t count = part.m_count - i < kBlock ? part.m_count - i : kBlock;
        const bool isUsual = ProjectBlock<kDistorted>(optics, part.m_u + i, part.m_v, depth + i, count, hits);
        isOrdinary = isOrdinary && isUsual;
    }
    return isOrdinary;
}

// Not inlined: its loop shall have the registers to itself.
[[gnu::noinline]] void KeepNearest(const Hits& hits, uint16_t* target, int32_t targets) {
    for (int32_t i = KeepGroups(hits, target, targets); i < hits.m_count; ++i) {
        KeepNearestOne(hits, i, target);
    }
}

// The rule itself, in the order of the samples, for any depths in any target.
template <bool kWithPoints, typename TPoint>
void KeepNearestInOrder(const TransformArgs<TPoint>& a, const PointHits& hits) {
    for (int32_t i = 0; i < hits.m_count; ++i) {
        const ptrdiff_t target = hits.m_index[i];
        const auto stored = static_cast<float>(a.m_targetDepth[target]);
        if (stored == 0.0F || stored > hits.m_z[i]) {
            a.m_targetDepth[target] = FloatToInt16(hits.m_z[i]);
            if constexpr (kWithPoints) {
                StorePoint({hits.m_x[i], hits.m_y[i], hits.m_z[i]}, a.m_points + 3 * target);
            }
        }
    }
}

// The same for ordinary depths in a target that began empty: the first of the nearest wins. Not inlined, as above.
template <typename TPoint>
[[gnu::noinline]] void KeepFirstOfNearest(const PointHits& hits, uint16_t* __restrict target,
                                          TPoint* __restrict points) {
    const int32_t count = hits.m_count;
    for (int32_t i = 0; i < count; ++i) {
        const ptrdiff_t place = hits.m_index[i];
        const uint32_t stored = target[place];
        const uint32_t depth = hits.m_depth[i];
        if (stored - 1U >= depth) { // farther or empty
            target[place] = static_cast<uint16_t>(depth);
            StorePoint({hits.m_x[i], hits.m_y[i], hits.m_z[i]}, points + 3 * place);
        }
    }
}

// Parts from `first` on by the rule itself. Not inlined, so that the stack holds one list at a time.
template <bool kDistorted, typename TPoint>
[[gnu::noinline]] void RegisterInOrder(const TransformArgs<TPoint>& a, const Optics& optics, int64_t first) {
    PointHits hits;
    for (int64_t number = first; number < PartsOf(a); ++number) {
        ProjectPart<kDistorted>(a, optics, PartAt(a, number), &hits);
        if (a.m_points != nullptr) {
            KeepNearestInOrder<true>(a, hits);
        } else {
            KeepNearestInOrder<false>(a, hits);
        }
    }
}

// Clears memory shortly before it is used, so that it has not left the caches by then.
class CClearing {
public:
    CClearing(void* data, size_t bytes) : m_data(static_cast<uint8_t*>(data)), m_bytes(bytes) {}
    // Everything before `end`, and some more.
    void UpTo(size_t end) {
        if (end > m_done) {
            const size_t next = m_bytes - end < kAhead ? m_bytes : end + kAhead;
            std::memset(m_data + m_done, 0, next - m_done);
            m_done = next;
        }
    }

private:
    static constexpr size_t kAhead = 32768;

    uint8_t* m_data;
    size_t m_bytes;
    size_t m_done = 0;
};

// The last pixel that a list hits.
size_t LastOf(const Hits& hits) {
    const int32_t count = hits.m_count;
    uint32_t last = 0;
    for (int32_t i = 0; i < count; ++i) {
        last = hits.m_index[i] > last ? hits.m_index[i] : last;
    }
    return last;
}

// Clears the outputs and registers parts up to the first with an unusual depth, of which it returns the number. Not
// inlined, as above.
template <bool kDistorted, typename THits, typename TPoint>
[[gnu::noinline]] int64_t RegisterOrdinary(const TransformArgs<TPoint>& a, const Optics& optics) {
    const size_t pixels = static_cast<size_t>(a.m_width) * static_cast<size_t>(a.m_height);
    const size_t depthBytes = pixels * sizeof(int16_t);
    const size_t pointBytes = kHasPoints<THits> ? pixels * kRegisteredPointBytes : 0;
    CClearing clearedDepth(a.m_targetDepth, depthBytes);
    CClearing clearedPoints(a.m_points, pointBytes);
    auto* const target = reinterpret_cast<uint16_t*>(a.m_targetDepth);
    THits hits;
    int64_t number = 0;
    while (a.m_targetWidth <= a.m_width && number < PartsOf(a) &&
           ProjectPart<kDistorted>(a, optics, PartAt(a, number), &hits)) {
        const size_t end = LastOf(hits) + 1;
        clearedDepth.UpTo(end * sizeof(int16_t));
        if constexpr (kHasPoints<THits>) {
            clearedPoints.UpTo(end * 3 * sizeof(TPoint));
            KeepFirstOfNearest(hits, target, a.m_points);
        } else {
            KeepNearest(hits, target, a.m_targetWidth * a.m_height);
        }
        ++number;
    }
    clearedDepth.UpTo(depthBytes);
    clearedPoints.UpTo(pointBytes);
    return number;
}

// One unusual depth can leave a negative sample behind, after which only the rule itself holds; and only the source's
// width is cleared, beyond which a wider target holds anything.
template <bool kDistorted, typename THits, typename TPoint>
void RegisterFast(const TransformArgs<TPoint>& a) {
    const Optics optics(a);
    RegisterInOrder<kDistorted>(a, optics, RegisterOrdinary<kDistorted, THits>(a, optics));
}

// Leaves the hits on the pixels from `begin` to the one before `end`, and adds the others to the band's strays.
void TakeOutStrays(Hits* hits, uint32_t begin, uint32_t end, RegisterBand* band) {
    const int32_t count = hits->m_count;
    uint32_t farthest = 0;
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t offset = hits->m_index[i] - begin; // what lies before the begin is far behind the end
        farthest = offset > farthest ? offset : farthest;
    }
    if (farthest < end - begin) {
        return;
    }
    StrayHit* const strays = band->m_strays + band->m_strayCount;
    int32_t own = 0;
    for (int32_t i = 0; i < count; ++i) {
        const StrayHit hit = {hits->m_index[i], hits->m_depth[i]};
        strays[i - own] = hit;
        hits->m_index[own] = hit.m_index;
        hits->m_depth[own] = hit.m_depth;
        own += static_cast<int32_t>(hit.m_index - begin < end - begin);
    }
    hits->m_count = own;
    band->m_strayCount += count - own;
}

template <bool kDistorted>
void RegisterRows(const TransformArgs<float>& a, RegisterBand* band) {
    const Optics optics(a);
    const int64_t partsOfARow = PartsOf(a) / a.m_height;
    const int32_t begin = band->m_firstRow * a.m_targetWidth;
    const int32_t end = band->m_endRow * a.m_targetWidth;
    const size_t bandBytes = static_cast<size_t>(end - begin) * sizeof(int16_t);
    CClearing cleared(a.m_targetDepth + begin, bandBytes);
    Hits hits;
    for (int64_t number = partsOfARow * band->m_firstRow; number < partsOfARow * band->m_endRow; ++number) {
        if (!ProjectPart<kDistorted>(a, optics, PartAt(a, number), &hits)) {
            band->m_isOrdinary = false;
            return;
        }
        TakeOutStrays(&hits, static_cast<uint32_t>(begin), static_cast<uint32_t>(end), band);
        if (hits.m_count > 0) {
            cleared.UpTo((LastOf(hits) + 1 - static_cast<size_t>(begin)) * sizeof(int16_t));
            KeepNearest(hits, reinterpret_cast<uint16_t*>(a.m_targetDepth), end);
        }
    }
    cleared.UpTo(bandBytes);
}

// How many samples land: the projection alone.
template <bool kDistorted>
int64_t CountHits(const TransformArgs<float>& a) {
    const Optics optics(a);
    Hits hits;
    int64_t landed = 0;
    for (int64_t number = 0; number < PartsOf(a); ++number) {
        ProjectPart<kDistorted>(a, optics, PartAt(a, number), &hits);
        landed += hits.m_count;
    }
    return landed;
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

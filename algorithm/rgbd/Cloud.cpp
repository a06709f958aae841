// Cloud.cpp - see Cloud.h. Row by row through scratch memory that stays in the cache.
#include "algorithm/rgbd/Cloud.h"

#include "algorithm/dispatch/KernelChoice.h"
#include "algorithm/rgbd/CloudTiers.h"
#include "base/WorkerPool.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace ox3d {
namespace {

constinit CKernelChoice<CloudKernels, cloud_sse2::kKernels, cloud_sse2::kKernels, cloud_avx2::kKernels,
                        cloud_avx512::kKernels>
    g_choice;

constexpr float kShortEnd = 32767.5F; // what is nearer to 0 is a 16-bit number when it is rounded
constexpr int32_t kSide = 16;         // floats beside a row: its neighbours there have no depth
constexpr int32_t kSlots = 3;         // a row, the one above and the one below
constexpr uint64_t kPlanes = 4 * kSlots + 5;

// The scratch memory: rows of points with their colors by turns, a row of normals, of pixels and of samples.
class CScratch {
public:
    CScratch(float* memory, int32_t width) : m_memory(memory), m_pitch(Pitch(width)) {
        std::memset(memory, 0, Floats(width) * sizeof(float));
    }
    static uint64_t Floats(int32_t width) { return kPlanes * Pitch(width); }

    // Rows begin at -1.
    PointRow Points(int32_t row) const { return RowAt(3 * SlotOf(row)); }
    uint32_t* Colors(int32_t row) const { return reinterpret_cast<uint32_t*>(Plane(12 + SlotOf(row))); }
    PointRow Normals() const { return RowAt(9); }
    int32_t* Pixels() const { return reinterpret_cast<int32_t*>(Plane(15)); }
    uint16_t* Samples() const { return reinterpret_cast<uint16_t*>(Plane(16)); }
    // Three a point, where a row's pixels and samples were.
    int16_t* Shorts() const { return reinterpret_cast<int16_t*>(Plane(15)); }

private:
    static uint64_t Pitch(int32_t width) {
        return (static_cast<uint64_t>(width) + kSide + kSide + 15) / 16 * 16;
    }
    static uint64_t SlotOf(int32_t row) { return static_cast<uint64_t>(row + kSlots) % kSlots; }
    float* Plane(uint64_t index) const { return m_memory + index * m_pitch + kSide; }
    PointRow RowAt(uint64_t plane) const { return {Plane(plane), Plane(plane + 1), Plane(plane + 2)}; }

    float* const m_memory;
    const uint64_t m_pitch;
};

void ClearRow(const PointRow& row, int32_t width) {
    for (float* plane : {row.m_x, row.m_y, row.m_z}) {
        std::memset(plane, 0, sizeof(float) * static_cast<size_t>(width));
    }
}

// The way of some of an image's rows through the loops.
class CBuilder {
public:
    CBuilder(const CloudArgs& args, const CloudKernels& kernels, float* scratch)
        : m_args(args), m_kernels(kernels), m_scratch(scratch, args.m_width),
          m_pixels(static_cast<size_t>(args.m_width) * static_cast<size_t>(args.m_height)) {}

    // Returns the number of valid points.
    uint64_t Run(int32_t first, int32_t end);

private:
    void LoadRow(int32_t v);
    void ColorRow(int32_t v, const float* z);
    void StoreRow(int32_t v);
    void StoreWhole(int32_t v, const PointRow& points, const uint32_t* colors, const PointRow& normals);
    void StorePoint(const PointRow& points, const int16_t* shorts, int32_t i);
    void StoreEach(const PointRow& points, const uint32_t* colors, const PointRow& normals);

    const CloudArgs& m_args;
    const CloudKernels& m_kernels;
    const CScratch m_scratch;
    const size_t m_pixels;
    uint64_t m_stored = 0;
    uint64_t m_valid = 0;
};

// The points of a row with their colors; outside of the image there are none.
void CBuilder::LoadRow(int32_t v) {
    const CloudArgs& a = m_args;
    const PointRow points = m_scratch.Points(v);
    if (v < 0 || v >= a.m_height) {
        ClearRow(points, a.m_width);
        return;
    }
    const size_t first = static_cast<size_t>(v) * static_cast<size_t>(a.m_width);
    uint16_t* const samples = m_scratch.Samples();
    std::memcpy(samples, a.m_depth + 2 * first, 2 * static_cast<size_t>(a.m_width));
    const PixelRays& rays = a.m_rays;
    if (rays.m_isPerPixel) {
        m_kernels.m_backProject(samples, rays.m_x + first, rays.m_y + first, false, a.m_width, points);
    } else {
        m_kernels.m_backProject(samples, rays.m_x, rays.m_y + v, true, a.m_width, points);
    }
    if (a.m_view != nullptr) {
        m_kernels.m_locate(*a.m_view, a.m_width, points, m_scratch.Pixels());
    }
    if (a.m_move != nullptr) {
        m_kernels.m_move(a.m_move, a.m_width, points);
    }
    if (a.m_format == EPointFormat::Int16) {
        m_kernels.m_limit(kShortEnd, a.m_width, points);
    }
    if (a.m_color != nullptr) {
        ColorRow(v, points.m_z);
    }
}

void CBuilder::ColorRow(int32_t v, const float* z) {
    const CloudArgs& a = m_args;
    uint32_t* const colors = m_scratch.Colors(v);
    const size_t plane = a.m_view == nullptr ? m_pixels
                                             : static_cast<size_t>(a.m_view->m_width) *
                                                   static_cast<size_t>(a.m_view->m_height);
    const uint8_t* const red = a.m_color;
    const uint8_t* const green = red + plane;
    const uint8_t* const blue = green + plane;
    const auto at = [&](size_t pixel) {
        const uint32_t color = red[pixel] | uint32_t{green[pixel]} << 8 | uint32_t{blue[pixel]} << 16;
        return color == 0 && a.m_isBlackNone ? 0 : color | 0xFF000000u;
    };
    const int32_t* const pixels = m_scratch.Pixels();
    const size_t first = static_cast<size_t>(v) * static_cast<size_t>(a.m_width);
    for (int32_t i = 0; i < a.m_width; ++i) {
        const bool isOwn = a.m_view == nullptr;
        const bool isSeen = z[i] != 0.0F && (isOwn || pixels[i] >= 0);
        colors[i] = isSeen ? at(isOwn ? first + static_cast<size_t>(i) : static_cast<size_t>(pixels[i])) : 0;
    }
}

void CBuilder::StoreRow(int32_t v) {
    const CloudArgs& a = m_args;
    const PointRow points = m_scratch.Points(v);
    const PointRow normals = m_scratch.Normals();
    if (a.m_normals != nullptr) {
        m_kernels.m_normals(m_scratch.Points(v - 1), points, m_scratch.Points(v + 1), a.m_width, normals);
    }
    m_valid += static_cast<uint64_t>(m_kernels.m_count(points.m_z, a.m_width));
    const bool isMixed = a.m_format == EPointFormat::Int16 && a.m_pointStride != 3 * sizeof(int16_t);
    if (a.m_isCompact || isMixed) {
        StoreEach(points, m_scratch.Colors(v), normals);
    } else {
        StoreWhole(v, points, m_scratch.Colors(v), normals);
    }
}

void CBuilder::StoreWhole(int32_t v, const PointRow& points, const uint32_t* colors,
                          const PointRow& normals) {
    const CloudArgs& a = m_args;
    const size_t first = static_cast<size_t>(v) * static_cast<size_t>(a.m_width);
    uint8_t* const out = a.m_points + first * a.m_pointStride;
    if (a.m_format == EPointFormat::Int16) {
        m_kernels.m_storeShorts(points, a.m_width, reinterpret_cast<int16_t*>(out));
    } else if (a.m_pointStride == 3 * sizeof(float)) {
        m_kernels.m_storeFloats(points, a.m_width, reinterpret_cast<float*>(out));
    } else {
        m_kernels.m_storeColored(points, colors, a.m_width, reinterpret_cast<float*>(out));
    }
    if (a.m_color != nullptr && a.m_colorStride == sizeof(uint32_t)) {
        std::memcpy(a.m_colors + first * sizeof(uint32_t), colors,
                    static_cast<size_t>(a.m_width) * sizeof(uint32_t));
    }
    if (a.m_normals != nullptr) {
        m_kernels.m_storeFloats(normals, a.m_width, a.m_normals + 3 * first);
    }
}

void CBuilder::StorePoint(const PointRow& points, const int16_t* shorts, int32_t i) {
    uint8_t* const out = m_args.m_points + m_stored * m_args.m_pointStride;
    if (m_args.m_format == EPointFormat::Int16) {
        const int16_t* const from = shorts + 3 * static_cast<size_t>(i);
        const int16_t numbers[4] = {from[0], from[1], from[2], 0};
        std::memcpy(out, numbers, m_args.m_pointStride == 3 * sizeof(int16_t) ? 6 : 8);
    } else {
        const float numbers[3] = {points.m_x[i], points.m_y[i], points.m_z[i]};
        std::memcpy(out, numbers, sizeof(numbers));
    }
}

void CBuilder::StoreEach(const PointRow& points, const uint32_t* colors, const PointRow& normals) {
    const CloudArgs& a = m_args;
    int16_t* const shorts = m_scratch.Shorts();
    if (a.m_format == EPointFormat::Int16) {
        m_kernels.m_storeShorts(points, a.m_width, shorts);
    }
    for (int32_t i = 0; i < a.m_width; ++i) {
        if (a.m_isCompact && points.m_z[i] == 0.0F) {
            continue;
        }
        StorePoint(points, shorts, i);
        if (a.m_color != nullptr) {
            std::memcpy(a.m_colors + m_stored * a.m_colorStride, colors + i, sizeof(uint32_t));
        }
        if (a.m_normals != nullptr) {
            const float normal[3] = {normals.m_x[i], normals.m_y[i], normals.m_z[i]};
            std::memcpy(a.m_normals + 3 * m_stored, normal, sizeof(normal));
        }
        ++m_stored;
    }
}

uint64_t PixelsBefore(const CloudArgs& args, int32_t row) {
    return static_cast<uint64_t>(row) * static_cast<uint64_t>(args.m_width);
}

uint64_t CBuilder::Run(int32_t first, int32_t end) {
    const CloudArgs& a = m_args;
    m_stored = PixelsBefore(a, first); // where these rows' points have room, however many came before
    const int32_t ahead = a.m_normals != nullptr ? 1 : 0; // normals need the rows around
    for (int32_t v = first - 2 * ahead; v < end; ++v) {
        LoadRow(v + ahead);
        if (v >= first) {
            StoreRow(v);
        }
    }
    return m_valid;
}

// Moves stored points, with colors and normals, up to those before them.
void CloseUp(const CloudArgs& args, uint64_t from, uint64_t count, uint64_t to) {
    if (from == to) {
        return;
    }
    const auto move = [&](uint8_t* items, size_t stride) {
        std::memmove(items + to * stride, items + from * stride, count * stride);
    };
    move(args.m_points, args.m_pointStride);
    if (args.m_color != nullptr && args.m_colorStride == sizeof(uint32_t)) { // else they went along
        move(args.m_colors, sizeof(uint32_t));
    }
    if (args.m_normals != nullptr) {
        move(reinterpret_cast<uint8_t*>(args.m_normals), 3 * sizeof(float));
    }
}

} // namespace

EKernelTier UseCloudKernelTier(EKernelTier tier) {
    return g_choice.Use(tier);
}

uint64_t CloudScratchBytes(int32_t width, uint32_t threads) {
    return threads * CScratch::Floats(width) * sizeof(float);
}

uint64_t BuildCloud(const CloudArgs& args) {
    const CloudKernels& kernels = g_choice.InUse();
    const CPoolTurn turn(static_cast<uint64_t>(args.m_width) * static_cast<uint64_t>(args.m_height));
    const uint32_t parts = std::min(turn.Threads(), args.m_threads);
    const auto rowOf = [&](uint32_t part) {
        return static_cast<int32_t>(static_cast<uint64_t>(args.m_height) * part / parts);
    };
    std::array<uint64_t, kMaxThreads> valid{};
    turn.Run(parts, [&](uint32_t part) {
        CBuilder builder(args, kernels, args.m_scratch + part * CScratch::Floats(args.m_width));
        valid[part] = builder.Run(rowOf(part), rowOf(part + 1));
    });
    uint64_t all = 0;
    for (uint32_t part = 0; part < parts; ++part) {
        if (args.m_isCompact) {
            CloseUp(args, PixelsBefore(args, rowOf(part)), valid[part], all);
        }
        all += valid[part];
    }
    return all;
}

} // namespace ox3d

// ColorToDepth.cpp - see ColorToDepth.h.
#include "algorithm/alignment/ColorToDepth.h"

#include "algorithm/alignment/FillTiers.h"
#include "algorithm/scaling/Bilinear.h"

#include <algorithm>

namespace ox3d {
namespace alignment {
namespace {

// A registered depth is that of a pixel around the point, so a surface needs some room in front of it.
constexpr uint32_t kLeastRoomPermille = 10;

ColorGrid GridOf(const AlignArgs& a, const ColorPlanes& color) {
    const auto columns = static_cast<float>(scaling::kWeightOne * color.m_width);
    const auto rows = static_cast<float>(scaling::kWeightOne * color.m_height);
    return {columns / static_cast<float>(a.m_width), rows / static_cast<float>(a.m_height),
            columns - scaling::kWeightOne, rows - scaling::kWeightOne};
}

scaling::Tap TapAt(int32_t position) {
    const int32_t first = position >> scaling::kWeightBits;
    const int32_t weight = position & (scaling::kWeightOne - 1);
    return {first, first + (weight != 0 ? 1 : 0), weight};
}

// One row of the depth image.
class CRow {
public:
    CRow(const AlignArgs& args, const uint16_t* filled, const ColorPlanes& color, uint8_t* out, uint8_t* mask)
        : m_args(args), m_filled(filled), m_color(color), m_out(color.m_data != nullptr ? out : nullptr),
          m_mask(mask), m_optics(OpticsOf(args)), m_grid(GridOf(args, color)),
          m_isDistorted(IsDistorted(args.m_cameras)),
          m_room(1.0F + 0.001F * static_cast<float>(std::max(args.m_stepPermille, kLeastRoomPermille))) {}

    void Align(int32_t row) const {
        Places places;
        for (int32_t first = 0; first < m_args.m_width; first += kStretch) {
            const int32_t count = std::min(kStretch, m_args.m_width - first);
            FillKernelsInUse().m_place(m_args, m_optics, m_isDistorted, m_grid, row, first, count, &places);
            const ptrdiff_t begin = static_cast<ptrdiff_t>(row) * m_args.m_width + first;
            for (int32_t i = 0; i < count; ++i) {
                const uint8_t seen = MaskOf(static_cast<int16_t>(m_args.m_depth[begin + i]), places, i);
                if (m_mask != nullptr) {
                    m_mask[begin + i] = seen;
                }
                if (m_out != nullptr) {
                    Sample(seen == kMaskSeen, places.m_column[i], places.m_row[i], m_out + begin + i);
                }
            }
        }
    }

private:
    uint8_t MaskOf(int16_t depth, const Places& places, int32_t i) const {
        if (depth <= 0) {
            return kMaskNone;
        }
        if (places.m_index[i] < 0) {
            return kMaskOutside;
        }
        const auto nearest = static_cast<float>(m_filled[places.m_index[i]]);
        return nearest > 0.0F && places.m_depth[i] > nearest * m_room + 1.0F ? kMaskHidden : kMaskSeen;
    }

    void Sample(bool isSeen, int32_t columnPosition, int32_t rowPosition, uint8_t* out) const {
        const ptrdiff_t plane = static_cast<ptrdiff_t>(m_args.m_width) * m_args.m_height;
        if (!isSeen) {
            out[0] = out[plane] = out[2 * plane] = 0;
            return;
        }
        const scaling::Tap column = TapAt(columnPosition);
        const scaling::Tap row = TapAt(rowPosition);
        const ptrdiff_t width = m_color.m_width;
        const uint8_t* from = m_color.m_data;
        for (int i = 0; i < 3; ++i, out += plane, from += width * m_color.m_height) {
            *out =
                scaling::BilinearSample(from + row.m_first * width, from + row.m_second * width, column, row);
        }
    }

    const AlignArgs& m_args;
    const uint16_t* m_filled;
    ColorPlanes m_color;
    uint8_t* m_out;
    uint8_t* m_mask;
    FillOptics m_optics;
    ColorGrid m_grid;
    bool m_isDistorted;
    float m_room;
};

} // namespace
} // namespace alignment

bool ColorToDepth(const AlignArgs& args, const uint16_t* filled, const ColorPlanes& color,
                  const CPoolTurn& turn, uint8_t* out, uint8_t* mask) {
    if (!IsAlignSize(static_cast<uint32_t>(args.m_width), static_cast<uint32_t>(args.m_height)) ||
        (color.m_data != nullptr &&
         !IsAlignSize(static_cast<uint32_t>(color.m_width), static_cast<uint32_t>(color.m_height)))) {
        return false;
    }
    const alignment::CRow rows(args, filled, color, out, mask);
    turn.RunRanges(static_cast<uint64_t>(args.m_height), [&](uint64_t first, uint64_t end) {
        for (uint64_t row = first; row < end; ++row) {
            rows.Align(static_cast<int32_t>(row));
        }
    });
    return true;
}

} // namespace ox3d

// DepthTable.cpp - see DepthTable.h.
#include "providers/aravis/DepthTable.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ox3d {

void CDepthTable::FindLine(double slope, double intercept) {
    constexpr double kLimit = 4294967296.0; // of what 32 bits hold
    m_line.reset();
    const auto isDepth = [](uint16_t depth) { return depth != 0; };
    const auto first = std::find_if(m_depth.begin(), m_depth.end(), isDepth);
    const auto last = std::find_if(m_depth.rbegin(), m_depth.rend(), isDepth);
    if (first == m_depth.end() || !(slope > 0.0) || !std::isfinite(slope) || !std::isfinite(intercept)) {
        return;
    }
    Line line;
    line.m_first = static_cast<uint32_t>(first - m_depth.begin());
    line.m_last = static_cast<uint32_t>(m_depth.rend() - last - 1);
    // The finest factor whose products 32 bits hold, from the first value to the last.
    line.m_shift = 31;
    double factor = 0.0;
    double summand = 0.0;
    for (;; --line.m_shift) {
        factor = std::round(std::ldexp(slope, static_cast<int>(line.m_shift)));
        summand = std::round(std::ldexp(intercept + 0.5, static_cast<int>(line.m_shift)));
        if (factor < kLimit && summand >= 0.0 && line.m_last * factor + summand < kLimit) {
            break;
        }
        if (line.m_shift == 0 || summand < 0.0) {
            return;
        }
    }
    line.m_factor = static_cast<uint32_t>(factor);
    line.m_summand = static_cast<uint32_t>(summand);
    for (uint32_t value = line.m_first; value <= line.m_last; ++value) {
        if (m_depth[value] != (value * line.m_factor + line.m_summand) >> line.m_shift) {
            return;
        }
    }
    m_line = line;
}

void CDepthTable::Convert(const uint8_t* values, std::span<uint16_t> out) const {
    const auto value = [values](size_t i) { // begins where it likes
        uint16_t sent;
        std::memcpy(&sent, values + i * sizeof(sent), sizeof(sent));
        return uint32_t{sent};
    };
    uint16_t* const depth = out.data();
    const size_t count = out.size();
    if (m_line) {
        const Line line = *m_line;
        for (size_t i = 0; i < count; ++i) {
            const uint32_t sent = value(i);
            const uint32_t onLine = (sent * line.m_factor + line.m_summand) >> line.m_shift;
            depth[i] = static_cast<uint16_t>(sent >= line.m_first && sent <= line.m_last ? onLine : 0);
        }
    } else {
        for (size_t i = 0; i < count; ++i) {
            depth[i] = m_depth[value(i)];
        }
    }
}

} // namespace ox3d

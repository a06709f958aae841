// DepthTable.h - depth for every integer that a camera may send.
#ifndef OX3D_ARAVIS_DEPTH_TABLE_H
#define OX3D_ARAVIS_DEPTH_TABLE_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace ox3d {

class CDepthTable {
public:
    // depth(value) for the values from 0 to 2^bits - 1, at most 16 bits. Throws nothing but std::bad_alloc.
    template <typename Function>
    void Make(uint8_t bits, double slope, double intercept, Function depth) {
        m_depth.resize(size_t{1} << bits);
        for (size_t value = 0; value < m_depth.size(); ++value) {
            m_depth[value] = depth(static_cast<double>(value));
        }
        FindLine(slope, intercept);
    }
    uint16_t operator[](size_t value) const { return m_depth[value]; }
    // Of a table for 16 bits: two bytes for each depth that there is room for.
    void Convert(const uint8_t* values, std::span<uint16_t> out) const;
    // Whether Convert computes instead of looking up.
    bool IsLine() const { return m_line.has_value(); }

private:
    // (value * factor + summand) >> shift from the first to the last value, and 0 elsewhere: a few operations for a whole
    // vector of values.
    struct Line {
        uint32_t m_first = 0;
        uint32_t m_last = 0;
        uint32_t m_factor = 0;
        uint32_t m_summand = 0;
        uint32_t m_shift = 0;
    };

    // Takes the line where it gives what the table has for every single value. Depth rises by the slope, in units of depth for
    // each value, from the intercept.
    void FindLine(double slope, double intercept);

    std::vector<uint16_t> m_depth;
    std::optional<Line> m_line;
};

} // namespace ox3d

#endif

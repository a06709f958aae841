// Buffer sizes in 64 bits: a size that does not fit is remembered as such instead of wrapping round.
// Relies on the overflow builtins of gcc and clang.
#pragma once

#include <cstdint>

namespace ox3d::stereo {

class CCheckedSize {
public:
    constexpr explicit CCheckedSize(uint64_t bytes = 0) : m_bytes(bytes) {}

    // A negative factor is no size and counts as one that does not fit.
    constexpr CCheckedSize Times(int64_t factor) const {
        CCheckedSize result = *this;
        result.m_hasOverflowed |= factor < 0 || __builtin_mul_overflow(m_bytes, factor, &result.m_bytes);
        return result;
    }

    constexpr CCheckedSize Plus(CCheckedSize other) const {
        CCheckedSize result = *this;
        result.m_hasOverflowed |= other.m_hasOverflowed;
        result.m_hasOverflowed |= __builtin_add_overflow(m_bytes, other.m_bytes, &result.m_bytes);
        return result;
    }

    // The next multiple of alignment, a power of two.
    constexpr CCheckedSize RoundedUp(uint64_t alignment) const {
        CCheckedSize result = Plus(CCheckedSize(alignment - 1));
        result.m_bytes &= ~(alignment - 1);
        return result;
    }

    constexpr bool Fits() const { return !m_hasOverflowed; }
    constexpr uint64_t Bytes() const { return m_bytes; }

private:
    uint64_t m_bytes;
    bool m_hasOverflowed = false;
};

// elementBytes * width * height, for extents straight from a caller.
constexpr CCheckedSize PlaneSize(uint64_t elementBytes, int32_t width, int32_t height) {
    return CCheckedSize(elementBytes).Times(width).Times(height);
}

} // namespace ox3d::stereo

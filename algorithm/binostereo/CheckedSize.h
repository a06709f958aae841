// Buffer sizes in 64 bits: a size that does not fit is remembered as such instead of wrapping round.
// Relies on the overflow builtins of gcc and clang.
#pragma once

#include <cstdint>

namespace oxb3d {

class CCheckedSize {
public:
    constexpr explicit CCheckedSize(uint64_t bytes = 0) : m_nBytes(bytes) {}

    // A negative factor is no size and counts as one that does not fit.
    constexpr CCheckedSize Times(int64_t factor) const {
        CCheckedSize result = *this;
        result.m_bOverflow |= factor < 0 || __builtin_mul_overflow(m_nBytes, factor, &result.m_nBytes);
        return result;
    }

    constexpr CCheckedSize Plus(CCheckedSize other) const {
        CCheckedSize result = *this;
        result.m_bOverflow |= other.m_bOverflow;
        result.m_bOverflow |= __builtin_add_overflow(m_nBytes, other.m_nBytes, &result.m_nBytes);
        return result;
    }

    // The next multiple of alignment, a power of two.
    constexpr CCheckedSize RoundedUp(uint64_t alignment) const {
        CCheckedSize result = Plus(CCheckedSize(alignment - 1));
        result.m_nBytes &= ~(alignment - 1);
        return result;
    }

    constexpr bool Fits() const { return !m_bOverflow; }
    constexpr uint64_t Bytes() const { return m_nBytes; }

private:
    uint64_t m_nBytes;
    bool m_bOverflow = false;
};

// elementBytes * width * height, for extents straight from a caller.
constexpr CCheckedSize PlaneSize(uint64_t elementBytes, int32_t width, int32_t height) {
    return CCheckedSize(elementBytes).Times(width).Times(height);
}

} // namespace oxb3d

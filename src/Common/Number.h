// Number helpers: float to integer with one defined result everywhere, and size arithmetic that reports
// overflow. Relies on nothing.
#ifndef OX3D_COMMON_NUMBER_H
#define OX3D_COMMON_NUMBER_H

#include <cstdint>

namespace ox3d {

/// Truncates as the x86 conversion instruction does: NaN and everything out of range give INT32_MIN.
/// A plain cast is undefined there, and compilers make different use of that.
[[nodiscard]] constexpr int32_t FloatToInt32(float x) noexcept {
    return x >= -2147483648.0F && x < 2147483648.0F ? static_cast<int32_t>(x) : INT32_MIN;
}

/// The lower bound differs from the float's: a double can lie between INT32_MIN - 1 and INT32_MIN.
[[nodiscard]] constexpr int32_t FloatToInt32(double x) noexcept {
    return x > -2147483649.0 && x < 2147483648.0 ? static_cast<int32_t>(x) : INT32_MIN;
}

/// True on overflow. *pResult then holds the low 64 bits and must not be used as a size.
[[nodiscard]] constexpr bool MulOverflow(uint64_t a, uint64_t b, uint64_t* pResult) noexcept {
    return __builtin_mul_overflow(a, b, pResult);
}

/// True on overflow, as MulOverflow.
[[nodiscard]] constexpr bool AddOverflow(uint64_t a, uint64_t b, uint64_t* pResult) noexcept {
    return __builtin_add_overflow(a, b, pResult);
}

} // namespace ox3d

#endif

// Float to integer conversion that is defined for every input, with the result of the x86 conversion
// instruction: truncation toward zero, and -2147483648 for NaN and for everything out of range. Also the
// small number that stands for "no difference" throughout the library.
// Functions are static: of a shared one the linker takes a single copy for all units, and a copy from a unit
// that is compiled for newer processors would stop the older ones.
#pragma once

#include <cstdint>

namespace ox3d::stereo {

// 2^-23. Added to every divisor in place of a test for zero.
constexpr float kEpsilon = 1.1920929e-7F;

static inline int32_t FloatToInt32(float value) {
    // Written so that NaN fails the comparison; both bounds are exact floats.
    if (!(value >= -2147483648.0F && value < 2147483648.0F)) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(value);
}

// A 16-bit store stores the low 16 bits of the 32-bit result.
static inline int16_t LowInt16(int32_t value) {
    return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint32_t>(value) & 0xFFFFU));
}

static inline int16_t FloatToInt16(float value) {
    return LowInt16(FloatToInt32(value));
}

} // namespace ox3d::stereo

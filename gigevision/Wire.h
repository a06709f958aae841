// Wire.h - big-endian numbers in bytes, as GigE Vision sends them.
//
// The functions check nothing: their callers have compared the length of the datagram before.
#ifndef OX3D_GIGEVISION_WIRE_H
#define OX3D_GIGEVISION_WIRE_H

#include <cstdint>
#include <span>
#include <vector>

namespace ox3d::gige {

using Bytes = std::vector<uint8_t>;
using ByteView = std::span<const uint8_t>;

inline uint16_t Get16(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] << 8 | at[1]);
}

inline uint32_t Get32(const uint8_t* at) {
    return uint32_t{Get16(at)} << 16 | Get16(at + 2);
}

inline uint64_t Get64(const uint8_t* at) {
    return uint64_t{Get32(at)} << 32 | Get32(at + 4);
}

inline void Put16(uint8_t* at, uint32_t value) {
    at[0] = static_cast<uint8_t>(value >> 8);
    at[1] = static_cast<uint8_t>(value);
}

inline void Put32(uint8_t* at, uint32_t value) {
    Put16(at, value >> 16);
    Put16(at + 2, value);
}

inline void Put64(uint8_t* at, uint64_t value) {
    Put32(at, static_cast<uint32_t>(value >> 32));
    Put32(at + 4, static_cast<uint32_t>(value));
}

} // namespace ox3d::gige

#endif

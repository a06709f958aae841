// TextParse.h - small readers of numbers and words that refuse anything they do not understand whole.
#ifndef OX3D_VIRTUAL_CAMERA_TEXT_PARSE_H
#define OX3D_VIRTUAL_CAMERA_TEXT_PARSE_H

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>

namespace ox3d {

inline std::string_view Trim(std::string_view text) {
    constexpr std::string_view kBlank = " \t\r\n";
    const size_t begin = text.find_first_not_of(kBlank);
    return begin == text.npos ? std::string_view{}
                              : text.substr(begin, text.find_last_not_of(kBlank) - begin + 1);
}

template <typename T>
bool ParseWhole(std::string_view text, T* out) {
    T value{};
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (failure != std::errc{} || end != text.data() + text.size()) {
        return false;
    }
    *out = value;
    return true;
}

inline bool ParseUnsigned(std::string_view text, uint64_t min, uint64_t max, uint64_t* out) {
    uint64_t value = 0;
    if (!ParseWhole(text, &value) || value < min || value > max) {
        return false;
    }
    *out = value;
    return true;
}

inline bool ParseReal(std::string_view text, double min, double max, double* out) {
    double value = 0;
    if (!ParseWhole(text, &value) || !std::isfinite(value) || value < min || value > max) {
        return false;
    }
    *out = value;
    return true;
}

// Six hexadecimal bytes with ':' between them, first byte in bits 40-47.
inline bool ParseMac(std::string_view text, uint64_t* out) {
    uint64_t mac = 0;
    for (int byte = 0; byte < 6; ++byte) {
        const std::string_view digits = text.substr(0, 2);
        uint8_t value = 0;
        const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        const bool isSeparated = byte == 5 ? text.size() == 2 : text.size() > 2 && text[2] == ':';
        if (failure != std::errc{} || end != digits.data() + 2 || !isSeparated) {
            return false;
        }
        mac = (mac << 8) | value;
        text.remove_prefix(byte == 5 ? 2 : 3);
    }
    *out = mac;
    return true;
}

} // namespace ox3d

#endif

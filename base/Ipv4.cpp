// Ipv4.cpp - see Ipv4.h.
#include "base/Ipv4.h"

#include <algorithm>
#include <bit>
#include <cstdio>

namespace ox3d {
namespace {

std::optional<uint32_t> ParseOctet(std::string_view digits, EOctetForm form) {
    const bool isZeroFirst = digits.size() > 1 && digits[0] == '0';
    if (digits.empty() || (form == EOctetForm::Plain && isZeroFirst) ||
        (form != EOctetForm::AnyDigits && digits.size() > 3)) {
        return std::nullopt;
    }
    uint32_t value = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') {
            return std::nullopt;
        }
        value = std::min<uint32_t>(10 * value + static_cast<uint32_t>(digit - '0'), 256);
    }
    return value <= 255 ? std::optional(value) : std::nullopt;
}

} // namespace

std::optional<uint32_t> ParseIpv4(std::string_view text, EOctetForm form) {
    uint32_t ip = 0;
    for (int octet = 0; octet < 4; ++octet) {
        const size_t end = octet < 3 ? text.find('.') : text.size();
        const auto value = end == text.npos ? std::nullopt : ParseOctet(text.substr(0, end), form);
        if (!value) {
            return std::nullopt;
        }
        ip = ip << 8 | *value;
        text.remove_prefix(octet < 3 ? end + 1 : end);
    }
    return ip;
}

Ipv4Field Ipv4Chars(uint32_t ip) noexcept {
    Ipv4Field text{};
    std::snprintf(text.data(), text.size(), "%u.%u.%u.%u", ip >> 24, ip >> 16 & 0xFF, ip >> 8 & 0xFF,
                  ip & 0xFF);
    return text;
}

std::string Ipv4Text(uint32_t ip) {
    return Ipv4Chars(ip).data();
}

bool IsHostAddress(uint32_t ip) {
    const uint32_t first = ip >> 24;
    return first >= 1 && first <= 223;
}

bool IsSubnetMask(uint32_t mask) {
    return mask != 0 && std::countl_one(mask) + std::countr_zero(mask) == 32;
}

} // namespace ox3d

// Ipv4.h - IPv4 addresses as numbers, first octet in bits 24-31, and as text. Nothing here asks the system.
#ifndef OX3D_BASE_IPV4_H
#define OX3D_BASE_IPV4_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ox3d {

struct Endpoint {
    uint32_t m_ip = 0;
    uint16_t m_port = 0;

    bool operator==(const Endpoint&) const = default;
};

constexpr uint32_t kBroadcastIp = 0xFFFFFFFF;

// What a group of digits may look like; in every form it is at most 255.
enum class EOctetForm {
    Plain,       // no zeros in front: what some programs take for octal ("010.0.0.1") is refused
    ThreeDigits, // up to three digits, the first of them may be zeros
    AnyDigits,   // as many zeros in front as there are
};

// Four groups of decimal digits and nothing else; nothing for any other text.
std::optional<uint32_t> ParseIpv4(std::string_view text, EOctetForm form);

using Ipv4Field = std::array<char, 16>;
// Terminated, and filled up with zeros.
Ipv4Field Ipv4Chars(uint32_t ip) noexcept;
std::string Ipv4Text(uint32_t ip);

// Neither "this network" (0.x.x.x) nor multicast, reserved or broadcast.
bool IsHostAddress(uint32_t ip);
// Ones from the top, then zeros.
bool IsSubnetMask(uint32_t mask);

} // namespace ox3d

#endif

// IPv4 addresses and subnets as numbers in host byte order, and back as text. Nothing here asks the system.
#ifndef OX3D_TOOL_IP4_H
#define OX3D_TOOL_IP4_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ox3dtool {

// An address with the mask of its subnet.
struct Ip4Network {
    uint32_t m_address = 0;
    uint32_t m_mask = 0;
};

// Strictly four decimal numbers: what some programs take for octal ("010.0.0.1") is refused.
std::optional<uint32_t> ParseIp4(const std::string& text);
std::string Ip4Text(uint32_t address);
// "192.168.1.10/24"
std::string NetworkText(const Ip4Network& network);

uint32_t MaskOfLength(uint32_t bits); // 0 to 32
uint32_t LengthOfMask(uint32_t mask); // of a contiguous one
// Whether it is a mask of a subnet that has room for two hosts: /8 to /30.
bool IsSubnetMask(uint32_t mask);

inline bool IsInside(uint32_t address, const Ip4Network& network) {
    return ((address ^ network.m_address) & network.m_mask) == 0;
}
// Whether the two subnets have addresses in common.
inline bool Overlap(const Ip4Network& a, const Ip4Network& b) {
    return ((a.m_address ^ b.m_address) & a.m_mask & b.m_mask) == 0;
}
// Neither the subnet's own number nor its broadcast address.
bool IsHostOf(uint32_t address, uint32_t mask);

// Why no host can have this address in any subnet; nullptr where one can.
const char* WhyNoHostAddress(uint32_t address);

// The first host address of a private /24 that overlaps with none of these.
Ip4Network FreeNetwork(const std::vector<Ip4Network>& taken);

} // namespace ox3dtool

#endif

// Arithmetic of IPv4 subnets, over numbers in host byte order. Nothing here asks the system.
#ifndef OX3D_TOOL_IPV4_NETWORK_H
#define OX3D_TOOL_IPV4_NETWORK_H

#include <cstdint>
#include <string>
#include <vector>

namespace ox3d::tool {

// An address with the mask of its subnet.
struct Ipv4Network {
    uint32_t m_address = 0;
    uint32_t m_mask = 0;
};

// "192.168.1.10/24"
std::string NetworkText(const Ipv4Network& network);

uint32_t MaskOfLength(uint32_t bits); // 0 to 32
uint32_t LengthOfMask(uint32_t mask); // of a contiguous one
// Whether it is a mask of a subnet that has room for two hosts: /8 to /30.
bool HasRoomForHosts(uint32_t mask);

inline bool IsInside(uint32_t address, const Ipv4Network& network) {
    return ((address ^ network.m_address) & network.m_mask) == 0;
}
// Whether the two subnets have addresses in common.
inline bool Overlap(const Ipv4Network& a, const Ipv4Network& b) {
    return ((a.m_address ^ b.m_address) & a.m_mask & b.m_mask) == 0;
}
// Neither the subnet's own number nor its broadcast address.
bool IsHostOf(uint32_t address, uint32_t mask);

// Why no host can have this address in any subnet; nullptr where one can.
const char* WhyNoHostAddress(uint32_t address);

// The first host address of a private /24 that overlaps with none of these.
Ipv4Network FreeNetwork(const std::vector<Ipv4Network>& taken);

} // namespace ox3d::tool

#endif

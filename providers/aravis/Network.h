// Network.h - the host's Ethernet interfaces.
#ifndef OX3D_ARAVIS_NETWORK_H
#define OX3D_ARAVIS_NETWORK_H

#include <cstdint>
#include <string>
#include <vector>

namespace ox3d {

struct HostInterface {
    std::string m_name;
    uint32_t m_ip = 0;
    uint32_t m_mask = 0;
    uint32_t m_broadcast = 0;

    bool IsInSubnet(uint32_t ip) const { return ((ip ^ m_ip) & m_mask) == 0; }
};

// Those that are up and have an address.
std::vector<HostInterface> HostInterfaces();
// Bytes of the largest packet of the interface with this address, 0 when there is none.
uint32_t MtuOf(uint32_t hostIp);

} // namespace ox3d

#endif

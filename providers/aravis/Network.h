// Network.h - the host's Ethernet interfaces, IP numbers (first octet in bits 24-31) and plain UDP sockets.
#ifndef OX3D_ARAVIS_NETWORK_H
#define OX3D_ARAVIS_NETWORK_H

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace ox3d {

bool IsHostAddress(uint32_t ip);
bool IsSubnetMask(uint32_t mask);
std::string IpText(uint32_t ip);

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

class CUdpSocket {
public:
    CUdpSocket() = default;
    ~CUdpSocket();
    CUdpSocket(CUdpSocket&& other) noexcept;
    CUdpSocket& operator=(CUdpSocket&& other) noexcept;
    CUdpSocket(const CUdpSocket&) = delete;
    CUdpSocket& operator=(const CUdpSocket&) = delete;

    // False when the address is not one of this host's. Port 0 lets the system choose.
    bool Open(uint32_t ip, uint16_t port);
    void AllowBroadcast() const;
    // As far as the system lets us.
    void BindToInterface(const std::string& name) const;
    bool Send(uint32_t ip, uint16_t port, std::span<const uint8_t> packet) const;
    // Bytes received, 0 when nothing waits.
    size_t Receive(std::span<uint8_t> packet, uint32_t* fromIp, uint16_t* fromPort = nullptr) const;
    // Whether something waits before the time is over.
    bool Wait(std::chrono::steady_clock::time_point until) const;
    uint16_t Port() const;
    int Descriptor() const { return m_descriptor; }

private:
    int m_descriptor = -1;
};

} // namespace ox3d

#endif

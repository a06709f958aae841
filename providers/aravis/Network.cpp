// Network.cpp - interfaces of the operating system.
#include "providers/aravis/Network.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "base/UdpSocket.h"

namespace ox3d {
namespace {

uint32_t IpOf(const sockaddr* address) {
    if (address == nullptr || address->sa_family != AF_INET) {
        return 0;
    }
    sockaddr_in ip{};
    std::memcpy(&ip, address, sizeof(ip));
    return ntohl(ip.sin_addr.s_addr);
}

} // namespace

std::vector<HostInterface> HostInterfaces() {
    constexpr size_t kMaxInterfaces = 64;
    std::vector<HostInterface> interfaces;
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        return interfaces;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, &freeifaddrs);
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        const uint32_t ip = IpOf(entry->ifa_addr);
        if (ip == 0 || (entry->ifa_flags & IFF_UP) == 0 || interfaces.size() >= kMaxInterfaces) {
            continue;
        }
        const uint32_t mask = IpOf(entry->ifa_netmask);
        interfaces.push_back({entry->ifa_name, ip, mask, ip | ~mask});
    }
    return interfaces;
}

uint32_t MtuOf(uint32_t hostIp) {
    for (const HostInterface& host : HostInterfaces()) {
        CUdpSocket socket;
        ifreq request{};
        host.m_name.copy(request.ifr_name, sizeof(request.ifr_name) - 1);
        if (host.m_ip == hostIp && socket.Open({hostIp, 0}) &&
            ioctl(socket.Descriptor(), SIOCGIFMTU, &request) == 0) {
            return static_cast<uint32_t>(std::max(request.ifr_mtu, 0));
        }
    }
    return 0;
}

} // namespace ox3d

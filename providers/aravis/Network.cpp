// Network.cpp - sockets and interfaces of the operating system.
#include "providers/aravis/Network.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

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

sockaddr_in AddressOf(uint32_t ip, uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(ip);
    address.sin_port = htons(port);
    return address;
}

} // namespace

bool IsHostAddress(uint32_t ip) {
    const uint32_t first = ip >> 24;
    return first >= 1 && first <= 223;
}

bool IsSubnetMask(uint32_t mask) {
    return mask != 0 && std::countl_one(mask) + std::countr_zero(mask) == 32;
}

std::string IpText(uint32_t ip) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string((ip >> shift) & 0xFF) + (shift > 0 ? "." : "");
    }
    return text;
}

std::vector<HostInterface> HostInterfaces() {
    constexpr size_t kMostInterfaces = 64;
    std::vector<HostInterface> interfaces;
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        return interfaces;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, &freeifaddrs);
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        const uint32_t ip = IpOf(entry->ifa_addr);
        if (ip == 0 || (entry->ifa_flags & IFF_UP) == 0 || interfaces.size() >= kMostInterfaces) {
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
        if (host.m_ip == hostIp && socket.Open(hostIp, 0) &&
            ioctl(socket.Descriptor(), SIOCGIFMTU, &request) == 0) {
            return static_cast<uint32_t>(std::max(request.ifr_mtu, 0));
        }
    }
    return 0;
}

CUdpSocket::~CUdpSocket() {
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

CUdpSocket::CUdpSocket(CUdpSocket&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

CUdpSocket& CUdpSocket::operator=(CUdpSocket&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

bool CUdpSocket::Open(uint32_t ip, uint16_t port) {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const sockaddr_in address = AddressOf(ip, port);
    if (descriptor < 0) {
        return false;
    }
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        close(descriptor);
        return false;
    }
    CUdpSocket before;
    before.m_descriptor = std::exchange(m_descriptor, descriptor);
    return true;
}

void CUdpSocket::AllowBroadcast() const {
    const int on = 1;
    setsockopt(m_descriptor, SOL_SOCKET, SO_BROADCAST, &on, sizeof(on));
}

void CUdpSocket::BindToInterface(const std::string& name) const {
    setsockopt(m_descriptor, SOL_SOCKET, SO_BINDTODEVICE, name.c_str(), static_cast<socklen_t>(name.size()));
}

bool CUdpSocket::Send(uint32_t ip, uint16_t port, std::span<const uint8_t> packet) const {
    const sockaddr_in address = AddressOf(ip, port);
    return sendto(m_descriptor, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                  sizeof(address)) == static_cast<ssize_t>(packet.size());
}

size_t CUdpSocket::Receive(std::span<uint8_t> packet, uint32_t* fromIp, uint16_t* fromPort) const {
    sockaddr_in from{};
    socklen_t length = sizeof(from);
    const ssize_t got = recvfrom(m_descriptor, packet.data(), packet.size(), MSG_DONTWAIT,
                                 reinterpret_cast<sockaddr*>(&from), &length);
    if (got <= 0) {
        return 0;
    }
    *fromIp = ntohl(from.sin_addr.s_addr);
    if (fromPort != nullptr) {
        *fromPort = ntohs(from.sin_port);
    }
    return static_cast<size_t>(got);
}

bool CUdpSocket::Wait(std::chrono::steady_clock::time_point until) const {
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
        pollfd entry{m_descriptor, POLLIN, 0};
        const int ready = poll(&entry, 1, static_cast<int>(std::clamp<int64_t>(left.count(), 0, 60000)));
        if (ready > 0) {
            return true;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

uint16_t CUdpSocket::Port() const {
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

} // namespace ox3d

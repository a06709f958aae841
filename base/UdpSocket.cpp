// UdpSocket.cpp - the system calls behind a UDP socket.
#include "base/UdpSocket.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace ox3d {
namespace {

// The socket calls take every family's address through one type.
sockaddr* Generic(sockaddr_in* address) {
    return reinterpret_cast<sockaddr*>(address);
}

} // namespace

sockaddr_in SystemAddress(const Endpoint& endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(endpoint.m_ip);
    address.sin_port = htons(endpoint.m_port);
    return address;
}

CUdpSocket::CUdpSocket(CUdpSocket&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

CUdpSocket& CUdpSocket::operator=(CUdpSocket&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

bool CUdpSocket::Open(const Endpoint& local, const UdpOptions& options) {
    Close();
    m_descriptor =
        socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | (options.m_isSendWaiting ? 0 : SOCK_NONBLOCK), 0);
    sockaddr_in address = SystemAddress(local);
    const bool isReady =
        m_descriptor >= 0 && (!options.m_isAddressShared || SetOption(SOL_SOCKET, SO_REUSEADDR, 1));
    if (!isReady || bind(m_descriptor, Generic(&address), sizeof(address)) != 0) {
        const int reason = errno;
        Close();
        errno = reason;
        return false;
    }
    return true;
}

void CUdpSocket::Close() {
    if (m_descriptor >= 0) {
        close(std::exchange(m_descriptor, -1));
    }
}

bool CUdpSocket::SetOption(int level, int option, int value) const {
    return setsockopt(m_descriptor, level, option, &value, sizeof(value)) == 0;
}

void CUdpSocket::AllowBroadcast() const {
    SetOption(SOL_SOCKET, SO_BROADCAST, 1);
}

bool CUdpSocket::BindToInterface(const std::string& name) const {
    return setsockopt(m_descriptor, SOL_SOCKET, SO_BINDTODEVICE, name.c_str(),
                      static_cast<socklen_t>(name.size() + 1)) == 0;
}

void CUdpSocket::SetSendBuffer(int bytes) const {
    SetOption(SOL_SOCKET, SO_SNDBUF, bytes);
}

void CUdpSocket::SetDoNotFragment(bool isSet) const {
    SetOption(IPPROTO_IP, IP_MTU_DISCOVER, isSet ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT);
}

uint16_t CUdpSocket::Port() const {
    sockaddr_in address{};
    socklen_t lengthBytes = sizeof(address);
    return getsockname(m_descriptor, Generic(&address), &lengthBytes) == 0 ? ntohs(address.sin_port)
                                                                           : uint16_t{0};
}

std::optional<size_t> CUdpSocket::Receive(std::span<uint8_t> buffer, Endpoint* from) const {
    sockaddr_in address{};
    socklen_t lengthBytes = sizeof(address);
    const ssize_t received =
        recvfrom(m_descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT, Generic(&address), &lengthBytes);
    if (received < 0) {
        return std::nullopt;
    }
    *from = {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
    return static_cast<size_t>(received);
}

bool CUdpSocket::WaitForDatagram(std::chrono::steady_clock::time_point until) const {
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

bool CUdpSocket::Send(std::span<const uint8_t> datagram, const Endpoint& to) const {
    sockaddr_in address = SystemAddress(to);
    return sendto(m_descriptor, datagram.data(), datagram.size(), MSG_NOSIGNAL, Generic(&address),
                  sizeof(address)) == static_cast<ssize_t>(datagram.size());
}

} // namespace ox3d

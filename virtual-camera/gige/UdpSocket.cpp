// UdpSocket.cpp - the system calls behind a UDP socket.
#include "virtual-camera/gige/UdpSocket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "virtual-camera/gige/SendPlan.h"

namespace ox3d::gige {
namespace {

sockaddr_in ToSystem(const Endpoint& endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(endpoint.m_ip);
    address.sin_port = htons(endpoint.m_port);
    return address;
}

// The socket calls take every family's address through one type.
sockaddr* Generic(sockaddr_in* address) {
    return reinterpret_cast<sockaddr*>(address);
}

bool Enable(int fd, int level, int option, int value) {
    return setsockopt(fd, level, option, &value, sizeof value) == 0;
}

} // namespace

std::string IpText(uint32_t ip) {
    return std::to_string(ip >> 24) + "." + std::to_string(ip >> 16 & 255) + "." +
           std::to_string(ip >> 8 & 255) + "." + std::to_string(ip & 255);
}

bool CUdpSocket::Open(const Endpoint& local, std::string* error) {
    Close();
    m_fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = ToSystem(local);
    bool isOk = m_fd >= 0;
    isOk = isOk && Enable(m_fd, SOL_SOCKET, SO_BROADCAST, 1);
    if (isOk && local.m_ip == kBroadcastIp) {
        isOk = Enable(m_fd, SOL_SOCKET, SO_REUSEADDR, 1);
    }
    if (!isOk || bind(m_fd, Generic(&address), sizeof address) != 0) {
        *error = IpText(local.m_ip) + ":" + std::to_string(local.m_port) + ": " + std::strerror(errno);
        Close();
        return false;
    }
    return true;
}

void CUdpSocket::Close() {
    if (m_fd >= 0) {
        close(std::exchange(m_fd, -1));
    }
}

bool CUdpSocket::BindToDevice(const std::string& interface) {
    return setsockopt(m_fd, SOL_SOCKET, SO_BINDTODEVICE, interface.c_str(),
                      static_cast<socklen_t>(interface.size() + 1)) == 0;
}

void CUdpSocket::SetSendBuffer(int bytes) {
    Enable(m_fd, SOL_SOCKET, SO_SNDBUF, bytes);
}

void CUdpSocket::SetDoNotFragment(bool isSet) const {
    Enable(m_fd, IPPROTO_IP, IP_MTU_DISCOVER, isSet ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT);
}

uint16_t CUdpSocket::Port() const {
    sockaddr_in address{};
    socklen_t lengthBytes = sizeof address;
    return getsockname(m_fd, Generic(&address), &lengthBytes) == 0 ? ntohs(address.sin_port) : uint16_t{0};
}

std::optional<size_t> CUdpSocket::Receive(std::span<uint8_t> buffer, Endpoint* from) const {
    sockaddr_in address{};
    socklen_t lengthBytes = sizeof address;
    const ssize_t received =
        recvfrom(m_fd, buffer.data(), buffer.size(), MSG_DONTWAIT, Generic(&address), &lengthBytes);
    if (received < 0) {
        return std::nullopt;
    }
    *from = {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
    return static_cast<size_t>(received);
}

void CUdpSocket::Send(ByteView datagram, const Endpoint& to) const {
    sockaddr_in address = ToSystem(to);
    sendto(m_fd, datagram.data(), datagram.size(), MSG_NOSIGNAL, Generic(&address), sizeof address);
}

// The head and the part of the payload go out from where they lie.
void CUdpSocket::Send(std::span<const GvspPacket> packets, const Endpoint& to) const {
    sockaddr_in address = ToSystem(to);
    std::array<iovec, size_t{2} * kMostGroupPackets> parts;
    std::array<mmsghdr, kMostGroupPackets> messages{};
    const size_t count = std::min<size_t>(packets.size(), kMostGroupPackets);
    for (size_t i = 0; i < count; ++i) {
        const GvspPacket& packet = packets[i];
        // The system's type has no const for what is only read.
        parts[2 * i] = {const_cast<uint8_t*>(packet.m_head.data()), packet.m_headBytes};
        parts[2 * i + 1] = {const_cast<uint8_t*>(packet.m_data.data()), packet.m_data.size()};
        messages[i].msg_hdr.msg_name = &address;
        messages[i].msg_hdr.msg_namelen = sizeof address;
        messages[i].msg_hdr.msg_iov = &parts[2 * i];
        messages[i].msg_hdr.msg_iovlen = packet.m_data.empty() ? 1 : 2;
    }
    size_t done = 0;
    while (done < count) {
        const int sent = sendmmsg(m_fd, &messages[done], static_cast<unsigned>(count - done), MSG_NOSIGNAL);
        // The first packet of the rest is refused: it is lost, those behind it are not.
        done += sent > 0 ? static_cast<size_t>(sent) : 1;
    }
}

} // namespace ox3d::gige

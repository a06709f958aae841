// CameraSocket.cpp - see CameraSocket.h.
#include "virtual-camera/gige/CameraSocket.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "virtual-camera/gige/SendPlan.h"

namespace ox3d::gige {

bool OpenCameraSocket(const Endpoint& local, CUdpSocket* socket, std::string* error) {
    UdpOptions options;
    options.m_isAddressShared = local.m_ip == kBroadcastIp;
    options.m_isSendWaiting = true;
    if (!socket->Open(local, options)) {
        *error = Ipv4Text(local.m_ip) + ":" + std::to_string(local.m_port) + ": " + std::strerror(errno);
        return false;
    }
    socket->AllowBroadcast();
    return true;
}

void SendPackets(const CUdpSocket& socket, std::span<const GvspPacket> packets, const Endpoint& to) {
    sockaddr_in address = SystemAddress(to);
    std::array<iovec, size_t{2} * kMaxGroupPackets> parts;
    std::array<mmsghdr, kMaxGroupPackets> messages{};
    const size_t count = std::min<size_t>(packets.size(), kMaxGroupPackets);
    for (size_t i = 0; i < count; ++i) {
        const GvspPacket& packet = packets[i];
        // The system's type has no const for what is only read.
        parts[2 * i] = {const_cast<uint8_t*>(packet.m_head.data()), packet.m_headBytes};
        parts[2 * i + 1] = {const_cast<uint8_t*>(packet.m_data.data()), packet.m_data.size()};
        messages[i].msg_hdr.msg_name = &address;
        messages[i].msg_hdr.msg_namelen = sizeof(address);
        messages[i].msg_hdr.msg_iov = &parts[2 * i];
        messages[i].msg_hdr.msg_iovlen = packet.m_data.empty() ? 1 : 2;
    }
    size_t done = 0;
    while (done < count) {
        const int sent =
            sendmmsg(socket.Descriptor(), &messages[done], static_cast<unsigned>(count - done), MSG_NOSIGNAL);
        // The first packet of the rest is refused: it is lost, those behind it are not.
        done += sent > 0 ? static_cast<size_t>(sent) : 1;
    }
}

} // namespace ox3d::gige

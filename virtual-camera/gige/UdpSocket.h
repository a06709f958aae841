// UdpSocket.h - owns one UDP socket of the host.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_UDP_SOCKET_H
#define OX3D_VIRTUAL_CAMERA_GIGE_UDP_SOCKET_H

#include <optional>
#include <string>

#include "virtual-camera/gige/GvspFrame.h"

namespace ox3d::gige {

std::string IpText(uint32_t ip);

class CUdpSocket {
public:
    CUdpSocket() = default;
    CUdpSocket(const CUdpSocket&) = delete;
    CUdpSocket& operator=(const CUdpSocket&) = delete;
    ~CUdpSocket() { Close(); }

    // Port 0 takes any free one. A socket of the broadcast address can be shared, others cannot: the second
    // camera with an address has to notice.
    bool Open(const Endpoint& local, std::string* error);
    void Close();
    // Takes datagrams of this interface alone. False where the system does not let us.
    bool BindToDevice(const std::string& interface);
    void SetSendBuffer(int bytes);
    // Packets that are too large for the path are dropped instead of being cut into pieces.
    void SetDoNotFragment(bool isSet) const;

    bool IsOpen() const { return m_fd >= 0; }
    int Fd() const { return m_fd; }
    uint16_t Port() const;

    // Takes one waiting datagram, cut to the buffer's size; nothing when none waits.
    std::optional<size_t> Receive(std::span<uint8_t> buffer, Endpoint* from) const;
    // Datagrams that cannot be sent are lost, as on any network.
    void Send(ByteView datagram, const Endpoint& to) const;
    void Send(std::span<const GvspPacket> packets, const Endpoint& to) const;

private:
    int m_fd = -1;
};

} // namespace ox3d::gige

#endif

// UdpSocket.h - owns one UDP socket of the host.
#ifndef OX3D_BASE_UDP_SOCKET_H
#define OX3D_BASE_UDP_SOCKET_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/Ipv4.h"

struct sockaddr_in;

namespace ox3d {

struct UdpOptions {
    bool m_isAddressShared = false; // with other sockets that share it, too
    bool m_isSendWaiting = false; // sending waits for room in the system's buffer, else the datagram is lost
};

class CUdpSocket {
public:
    CUdpSocket() = default;
    ~CUdpSocket() { Close(); }
    CUdpSocket(CUdpSocket&& other) noexcept;
    CUdpSocket& operator=(CUdpSocket&& other) noexcept;
    CUdpSocket(const CUdpSocket&) = delete;
    CUdpSocket& operator=(const CUdpSocket&) = delete;

    // Closes what was open. Port 0 lets the system choose. False leaves the reason in errno: most often the
    // address is not one of this host's, or taken.
    bool Open(const Endpoint& local, const UdpOptions& options = {});
    void Close();
    void AllowBroadcast() const;
    // Takes datagrams of this interface alone. False where the system does not allow it.
    bool BindToInterface(const std::string& name) const;
    void SetSendBuffer(int bytes) const;
    // Packets that are too large for the path are dropped instead of being cut into pieces.
    void SetDoNotFragment(bool isSet) const;

    bool IsOpen() const { return m_descriptor >= 0; }
    int Descriptor() const { return m_descriptor; }
    uint16_t Port() const;

    // Takes one waiting datagram, cut to the buffer's size; nothing when none waits.
    std::optional<size_t> Receive(std::span<uint8_t> buffer, Endpoint* from) const;
    // Whether a datagram waits before the time is over.
    bool WaitForDatagram(std::chrono::steady_clock::time_point until) const;
    // False: it is lost, as on any network.
    bool Send(std::span<const uint8_t> datagram, const Endpoint& to) const;

private:
    bool SetOption(int level, int option, int value) const;

    int m_descriptor = -1;
};

// As the system's calls take it.
sockaddr_in SystemAddress(const Endpoint& endpoint);

} // namespace ox3d

#endif

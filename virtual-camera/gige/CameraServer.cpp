// CameraServer.cpp - datagrams from the sockets to the control channel and back; the camera's address.
#include "virtual-camera/gige/CameraServer.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>

namespace ox3d::gige {
namespace {

constexpr int kTickMs = 20;
constexpr std::chrono::milliseconds kMoveRetry{500};

} // namespace

CCameraServer::CCameraServer(const CameraConfig& config, std::string interface)
    : m_interface(std::move(interface)), m_model(config), m_messages(m_model), m_stream(m_model, m_messages),
      m_control(m_model, m_stream) {}

void CCameraServer::Say(const std::string& text) const {
    std::fprintf(stderr, "virtual camera %s: %s\n", Config().m_serial.c_str(), text.c_str());
}

bool CCameraServer::Start(std::string* error) {
    if (m_model.Prepare(error) != EModelStatus::Ok || !OpenBroadcast(error) ||
        !Move(m_model.Identity().m_ip, error)) {
        return false;
    }
    m_stream.Start();
    m_thread = std::jthread([this](const std::stop_token& stop) { Run(stop); });
    return true;
}

// A discovery that comes in on one interface must not be answered as if the camera were behind another.
bool CCameraServer::OpenBroadcast(std::string* error) {
    if (!OpenCameraSocket({kBroadcastIp, kGvcpPort}, &m_broadcast, error)) {
        return false;
    }
    if (!m_broadcast.BindToInterface(m_interface)) {
        Say("listens for discovery on all interfaces, not on " + m_interface +
            " alone: " + std::strerror(errno));
    }
    return true;
}

bool CCameraServer::Move(uint32_t ip, std::string* error) {
    m_ip = ip;
    const bool isOpen = OpenCameraSocket({ip, kGvcpPort}, &m_unicast, error);
    m_stream.Move(ip);
    m_messages.Move(ip);
    return isOpen;
}

// To another address, or to its own once the host has it.
void CCameraServer::FollowAddress(Time now) {
    const uint32_t ip = m_model.Identity().m_ip;
    const bool isNew = ip != m_ip;
    std::string error;
    if (!isNew && (m_unicast.IsOpen() || now < m_nextMove)) {
        return;
    }
    m_nextMove = now + kMoveRetry;
    if (Move(ip, &error)) {
        Say("is at " + Ipv4Text(ip) + " now");
    } else if (isNew) {
        Say("can only be found by broadcast now: " + error);
    }
}

void CCameraServer::Run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        pollfd waits[] = {{m_broadcast.Descriptor(), POLLIN, 0}, {m_unicast.Descriptor(), POLLIN, 0}};
        poll(waits, 2, kTickMs); // a closed socket's -1 is passed over
        try {
            m_control.Tick(std::chrono::steady_clock::now());
            ReceiveFrom(m_broadcast, true);
            ReceiveFrom(m_unicast, false);
            FollowAddress(std::chrono::steady_clock::now());
        } catch (const std::bad_alloc&) {
            Say("no memory for a command");
        }
        const bool isDark = m_control.IsDark(std::chrono::steady_clock::now());
        m_stream.SetMuted(isDark);
        m_messages.SetMuted(isDark);
    }
}

void CCameraServer::ReceiveFrom(const CUdpSocket& socket, bool isBroadcast) {
    std::array<uint8_t, kMaxGvcpBytes + 1> buffer; // one more: what is too long stays too long
    Endpoint from;
    while (socket.IsOpen()) {
        const std::optional<size_t> received = socket.Receive(buffer, &from);
        if (!received) {
            return;
        }
        const ByteView datagram(buffer.data(), *received);
        const Bytes answer = m_control.Handle(datagram, from, isBroadcast, std::chrono::steady_clock::now());
        const Endpoint to = m_control.AnswerTo(datagram, from);
        // Nothing goes out from an address that the host has lost.
        if (!answer.empty() && !(m_unicast.IsOpen() && m_unicast.Send(answer, to))) {
            m_broadcast.Send(answer, to);
        }
    }
}

} // namespace ox3d::gige

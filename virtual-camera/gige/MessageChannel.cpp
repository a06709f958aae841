// MessageChannel.cpp - events as datagrams. None asks for an acknowledgement: a lost event stays lost.
#include "virtual-camera/gige/MessageChannel.h"

#include <algorithm>

#include "virtual-camera/gige/GvcpPacket.h"

namespace ox3d::gige {

Bytes EventPayload(const CameraEvent& event) {
    constexpr uint32_t kNoStreamChannel = 0xFFFF;
    Bytes payload(kEventBytes + (event.m_data.size() + 3) / 4 * 4);
    Put16(payload.data() + 2, event.m_id);
    Put16(payload.data() + 4, event.m_blockId == 0 ? kNoStreamChannel : 0);
    Put16(payload.data() + 6, event.m_blockId);
    Put64(payload.data() + 8, event.m_timestampNs);
    std::copy(event.m_data.begin(), event.m_data.end(), payload.begin() + kEventBytes);
    return payload;
}

void CMessageChannel::Move(uint32_t ip) {
    const CLock lock(m_mutex);
    std::string ignored; // without a socket there are no events
    OpenCameraSocket({ip, 0}, &m_socket, &ignored);
}

void CMessageChannel::SetMuted(bool isMuted) {
    const CLock lock(m_mutex);
    m_isMuted = isMuted;
}

void CMessageChannel::Send(const CameraEvent& event) {
    const Endpoint to{static_cast<uint32_t>(m_model.TransportValue(EFeature::GevMCDA)),
                      static_cast<uint16_t>(m_model.TransportValue(EFeature::GevMCPHostPort))};
    const CLock lock(m_mutex);
    if (to.m_port == 0 || m_isMuted || !m_socket.IsOpen()) {
        return;
    }
    m_requestId = m_requestId == 0xFFFF ? 1 : m_requestId + 1;
    const EGvcpCommand command = event.m_data.empty() ? EGvcpCommand::Event : EGvcpCommand::EventData;
    m_socket.Send(GvcpMessage(command, m_requestId, EventPayload(event)), to);
}

} // namespace ox3d::gige

// GvcpClient.cpp - asks, waits, asks again; a camera that is busy may say so and take longer.
#include "providers/aravis/GvcpClient.h"

#include <algorithm>
#include <array>

namespace ox3d {
namespace {

constexpr uint32_t kMinTimeoutMs = 20; // a time-out of nothing would make every camera silent
constexpr std::chrono::milliseconds kLongestPending{5000};

} // namespace

CGvcpClient::CGvcpClient(uint32_t hostIp, uint32_t cameraIp, uint32_t timeoutMs, int tries)
    : m_cameraIp(cameraIp), m_timeout(std::max(timeoutMs, kMinTimeoutMs)), m_tries(tries),
      m_isOpen(m_socket.Open({hostIp, 0})) {}

EGvcpResult CGvcpClient::Read(uint32_t address, uint32_t* value) {
    m_requestId = m_requestId == UINT16_MAX ? 1 : static_cast<uint16_t>(m_requestId + 1);
    return Exchange(gvcp::ReadRegisterCommand(m_requestId, address),
                    gige::AckCode(gige::EGvcpCommand::ReadReg), value);
}

EGvcpResult CGvcpClient::Write(uint32_t address, uint32_t value) {
    m_requestId = m_requestId == UINT16_MAX ? 1 : static_cast<uint16_t>(m_requestId + 1);
    return Exchange(gvcp::WriteRegisterCommand(m_requestId, address, value),
                    gige::AckCode(gige::EGvcpCommand::WriteReg), nullptr);
}

EGvcpResult CGvcpClient::Exchange(const gvcp::Packet& command, uint16_t expected, uint32_t* value) {
    EGvcpResult result = EGvcpResult::Silent;
    for (int i = 0; m_isOpen && i < m_tries; ++i) {
        m_socket.Send(command, {m_cameraIp, gige::kGvcpPort});
        if (Await(expected, value, &result)) {
            return result;
        }
    }
    return EGvcpResult::Silent;
}

bool CGvcpClient::Await(uint16_t expected, uint32_t* value, EGvcpResult* result) const {
    const auto begin = std::chrono::steady_clock::now();
    const auto latest = begin + m_timeout + kLongestPending; // however often the camera asks for patience
    auto until = begin + m_timeout;
    std::array<uint8_t, gvcp::kMaxPacketBytes> packet{};
    while (m_socket.WaitForDatagram(until)) {
        Endpoint from;
        const size_t length = m_socket.Receive(packet, &from).value_or(0);
        const auto ack = gvcp::ReadAck({packet.data(), length});
        if (from.m_ip != m_cameraIp || !ack || ack->m_requestId != m_requestId) {
            continue;
        }
        if (ack->m_command == gige::kPendingAck && ack->m_payload.size() >= 4) {
            const std::chrono::milliseconds more(gige::Get16(ack->m_payload.data() + 2));
            until = std::min(latest, std::chrono::steady_clock::now() + more);
            continue;
        }
        if (ack->m_command != expected) {
            continue;
        }
        if (ack->m_status != gige::EGvcpStatus::Success) {
            *result =
                ack->m_status == gige::EGvcpStatus::AccessDenied ? EGvcpResult::Denied : EGvcpResult::Refused;
            return true;
        }
        if (value != nullptr) {
            if (ack->m_payload.size() < 4) {
                continue;
            }
            *value = gige::Get32(ack->m_payload.data());
        }
        *result = EGvcpResult::Ok;
        return true;
    }
    return false;
}

} // namespace ox3d

// GvcpPacket.cpp - headers of the control protocol.
#include "virtual-camera/gige/GvcpPacket.h"

namespace ox3d::gige {

EGvcpParse ParseGvcp(ByteView datagram, GvcpCommand* command) {
    if (datagram.size() < kGvcpHeaderBytes || datagram[0] != kCommandKey) {
        return EGvcpParse::Foreign;
    }
    command->m_flags = datagram[1];
    command->m_command = Get16(datagram.data() + 2);
    command->m_requestId = Get16(datagram.data() + 6);
    command->m_payload = datagram.subspan(kGvcpHeaderBytes);
    // Acknowledgements are odd; answering one could go on for ever.
    if (command->m_requestId == 0 || command->m_command % 2 != 0) {
        return EGvcpParse::Foreign;
    }
    const uint16_t lengthBytes = Get16(datagram.data() + 4);
    const bool isWhole = lengthBytes == command->m_payload.size() && lengthBytes % 4 == 0;
    return isWhole ? EGvcpParse::Ok : EGvcpParse::BadLength;
}

Bytes GvcpAck(const GvcpCommand& command, EGvcpStatus status, ByteView payload) {
    return GvcpDatagram(static_cast<uint32_t>(status), command.m_command + 1U, command.m_requestId, payload);
}

Bytes GvcpMessage(EGvcpCommand command, uint16_t requestId, ByteView payload) {
    return GvcpDatagram(uint32_t{kCommandKey} << 8, static_cast<uint32_t>(command), requestId, payload);
}

} // namespace ox3d::gige

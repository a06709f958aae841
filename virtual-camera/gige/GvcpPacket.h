// GvcpPacket.h - datagrams of the control protocol: commands are taken apart, acknowledgements are built.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_GVCP_PACKET_H
#define OX3D_VIRTUAL_CAMERA_GIGE_GVCP_PACKET_H

#include "gigevision/Gvcp.h"

namespace ox3d::gige {

struct GvcpCommand {
    uint8_t m_flags = 0;
    uint16_t m_command = 0;
    uint16_t m_requestId = 0;
    ByteView m_payload;

    bool WantsAck() const { return (m_flags & kAckRequired) != 0; }
    bool MayAckByBroadcast() const { return (m_flags & kBroadcastAck) != 0; }
};

enum class EGvcpParse { Ok, Foreign, BadLength };

// Foreign: no control command at all, nothing is known of its sender's intent. BadLength: the header is one,
// and the rest is not what it says.
EGvcpParse ParseGvcp(ByteView datagram, GvcpCommand* command);

Bytes GvcpAck(const GvcpCommand& command, EGvcpStatus status, ByteView payload = {});

// A command that the camera sends itself; it wants no acknowledgement.
Bytes GvcpMessage(EGvcpCommand command, uint16_t requestId, ByteView payload);

} // namespace ox3d::gige

#endif

// Gvcp.h - the host's packets of the GigE Vision control protocol: written and read here, sent elsewhere. What
// comes in is not trusted.
#ifndef OX3D_ARAVIS_GVCP_H
#define OX3D_ARAVIS_GVCP_H

#include <optional>

#include "gigevision/Gvcp.h"
#include <ox3drgbd/OxCameraControl.h>

namespace ox3d::gvcp {

constexpr size_t kMaxPacketBytes = 576;

using Packet = gige::Bytes;
using Bytes = gige::ByteView;

Packet ReadRegisterCommand(uint16_t requestId, uint32_t address);
Packet WriteRegisterCommand(uint16_t requestId, uint32_t address, uint32_t value);
Packet DiscoveryCommand(uint16_t requestId);
Packet ForceIpCommand(uint16_t requestId, uint64_t mac, uint32_t ip, uint32_t mask, uint32_t gateway);
Packet Acknowledge(gige::EGvcpCommand command, uint16_t requestId);

struct Ack {
    gige::EGvcpStatus m_status;
    uint16_t m_command;
    uint16_t m_requestId;
    Bytes m_payload; // of the packet it was read from
};
std::optional<Ack> ReadAck(Bytes packet);

// A camera as it describes itself; the host's address is left to the caller. Nothing when the payload is
// shorter than a description or has an unusable address.
std::optional<OX_CC_DEVICE_INFO> ReadDiscovery(Bytes payload);
uint64_t MacOf(const OX_CC_DEVICE_INFO& record);

struct Event {
    uint16_t m_id;
    uint16_t m_streamChannel;
    uint16_t m_blockId;
    uint64_t m_timestamp;
    Bytes m_data; // of the packet it was read from
};
struct EventCommand {
    gige::EGvcpCommand m_command;
    uint16_t m_requestId;
    bool m_isAckWanted;
    std::vector<Event> m_events;
};
std::optional<EventCommand> ReadEvents(Bytes packet);

} // namespace ox3d::gvcp

#endif

// Gvcp.cpp - fixed layouts of the control protocol, each read after its length has been checked.
#include "providers/aravis/Gvcp.h"

#include "providers/common/DeviceText.h"

namespace ox3d::gvcp {
namespace {

constexpr uint8_t kCommandKey = 0x42;

void Put16(Packet* packet, uint16_t value) {
    packet->push_back(static_cast<uint8_t>(value >> 8));
    packet->push_back(static_cast<uint8_t>(value));
}

void Put32(Packet* packet, uint32_t value) {
    Put16(packet, static_cast<uint16_t>(value >> 16));
    Put16(packet, static_cast<uint16_t>(value));
}

// A text of a description: up to the field's length, ending at its first NUL.
template <size_t N>
void TakeText(char (&field)[N], Bytes bytes, size_t offset) {
    const char* text = reinterpret_cast<const char*>(bytes.data()) + offset;
    CopyText(field, std::string_view(text, strnlen(text, N)));
}

} // namespace

uint16_t Read16(Bytes bytes, size_t offset) {
    return static_cast<uint16_t>((bytes[offset] << 8) | bytes[offset + 1]);
}

uint32_t Read32(Bytes bytes, size_t offset) {
    return (static_cast<uint32_t>(Read16(bytes, offset)) << 16) | Read16(bytes, offset + 2);
}

Packet Command(uint16_t command, uint8_t flags, uint16_t requestId, Bytes payload) {
    Packet packet{kCommandKey, flags};
    Put16(&packet, command);
    Put16(&packet, static_cast<uint16_t>(payload.size()));
    Put16(&packet, requestId);
    packet.insert(packet.end(), payload.begin(), payload.end());
    return packet;
}

Packet ReadRegisterCommand(uint16_t requestId, uint32_t address) {
    Packet payload;
    Put32(&payload, address);
    return Command(kReadRegister, kAckRequired, requestId, payload);
}

Packet WriteRegisterCommand(uint16_t requestId, uint32_t address, uint32_t value) {
    Packet payload;
    Put32(&payload, address);
    Put32(&payload, value);
    return Command(kWriteRegister, kAckRequired, requestId, payload);
}

Packet DiscoveryCommand(uint16_t requestId) {
    return Command(kDiscovery, kAckRequired | kBroadcastAck, requestId, {});
}

Packet ForceIpCommand(uint16_t requestId, uint64_t mac, uint32_t ip, uint32_t mask, uint32_t gateway) {
    constexpr size_t kPayloadBytes = 56;
    constexpr size_t kIpAt = 20;
    constexpr size_t kMaskAt = 36;
    constexpr size_t kGatewayAt = 52;
    Packet payload;
    Put16(&payload, 0);
    Put16(&payload, static_cast<uint16_t>(mac >> 32));
    Put32(&payload, static_cast<uint32_t>(mac));
    payload.resize(kIpAt);
    Put32(&payload, ip);
    payload.resize(kMaskAt);
    Put32(&payload, mask);
    payload.resize(kGatewayAt);
    Put32(&payload, gateway);
    payload.resize(kPayloadBytes);
    return Command(kForceIp, kAckRequired, requestId, payload);
}

Packet Acknowledge(uint16_t command, uint16_t requestId) {
    Packet packet;
    Put16(&packet, kSuccess);
    Put16(&packet, static_cast<uint16_t>(command + 1));
    Put16(&packet, 0);
    Put16(&packet, requestId);
    return packet;
}

std::optional<Ack> ReadAck(Bytes packet) {
    if (packet.size() < kHeaderBytes) {
        return std::nullopt;
    }
    const size_t lengthBytes = Read16(packet, 4);
    if (lengthBytes > packet.size() - kHeaderBytes) {
        return std::nullopt;
    }
    return Ack{Read16(packet, 0), Read16(packet, 2), Read16(packet, 6),
               packet.subspan(kHeaderBytes, lengthBytes)};
}

std::optional<OX_CC_DEVICE_INFO> ReadDiscovery(Bytes payload) {
    constexpr size_t kDescriptionBytes = 0xF8;
    if (payload.size() < kDescriptionBytes) {
        return std::nullopt;
    }
    OX_CC_DEVICE_INFO record;
    std::memset(&record, 0, sizeof(record));
    record.nTLayerType = OX_CC_GIGE_DEVICE;
    record.nMacAddrHigh = Read16(payload, 0x0A);
    record.nMacAddrLow = Read32(payload, 0x0C);
    OX_CC_GIGE_DEVICE_INFO& device = record.stGigEInfo;
    device.nIpCfgOption = (Read32(payload, 0x10) & kIpModeBits) << kIpModeShift;
    device.nIpCfgCurrent = (Read32(payload, 0x14) & kIpModeBits) << kIpModeShift;
    device.nCurrentIp = Read32(payload, 0x24);
    device.nCurrentSubNetMask = Read32(payload, 0x34);
    device.nDefaultGateWay = Read32(payload, 0x44);
    TakeText(device.chManufacturerName, payload, 0x48);
    TakeText(device.chModelName, payload, 0x68);
    TakeText(device.chDeviceVersion, payload, 0x88);
    TakeText(device.chManufacturerSpecificInfo, payload, 0xA8);
    TakeText(device.chSerialNumber, payload, 0xD8);
    TakeText(device.chUserDefinedName, payload, 0xE8);
    constexpr uint32_t kBroadcast = 0xFFFFFFFF;
    if (device.nCurrentIp == kBroadcast) {
        return std::nullopt;
    }
    return record;
}

uint64_t MacOf(const OX_CC_DEVICE_INFO& record) {
    constexpr uint32_t kHighBits = 0xFFFF;
    return (static_cast<uint64_t>(record.nMacAddrHigh & kHighBits) << 32) | record.nMacAddrLow;
}

std::optional<EventCommand> ReadEvents(Bytes packet) {
    constexpr size_t kEventBytes = 16;
    if (packet.size() < kHeaderBytes || packet[0] != kCommandKey) {
        return std::nullopt;
    }
    EventCommand command{Read16(packet, 2), Read16(packet, 6), (packet[1] & kAckRequired) != 0, {}};
    size_t left = Read16(packet, 4);
    const bool isEvent = command.m_command == kEvent || command.m_command == kEventData;
    if (!isEvent || left > packet.size() - kHeaderBytes) {
        return std::nullopt;
    }
    Bytes rest = packet.subspan(kHeaderBytes, left);
    while (rest.size() >= kEventBytes) {
        Event event{Read16(rest, 2), Read16(rest, 4), Read16(rest, 6), 0, {}};
        event.m_timestamp = (static_cast<uint64_t>(Read32(rest, 8)) << 32) | Read32(rest, 12);
        rest = rest.subspan(kEventBytes);
        if (command.m_command == kEventData) { // one event, the rest is its data
            event.m_data = rest;
            rest = {};
        }
        command.m_events.push_back(event);
    }
    return command;
}

} // namespace ox3d::gvcp

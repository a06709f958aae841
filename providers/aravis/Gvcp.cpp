// Gvcp.cpp - fixed layouts of the control protocol, each read after its length has been checked.
#include "providers/aravis/Gvcp.h"

#include "base/Ipv4.h"
#include "gigevision/Registers.h"
#include "providers/common/DeviceText.h"

namespace ox3d::gvcp {
namespace {

namespace reg = gige::reg;

using gige::EGvcpCommand;
using gige::Get16;
using gige::Get32;
using gige::kGvcpHeaderBytes;
using gige::Put16;
using gige::Put32;

Packet Command(EGvcpCommand command, uint8_t flags, uint16_t requestId, Bytes payload) {
    return gige::GvcpDatagram(uint32_t{gige::kCommandKey} << 8 | flags, static_cast<uint16_t>(command),
                              requestId, payload);
}

// A text of a description: up to the field's length, ending at its first NUL.
template <size_t N>
void TakeText(char (&field)[N], Bytes bytes, size_t offset) {
    const char* text = reinterpret_cast<const char*>(bytes.data()) + offset;
    CopyText(field, std::string_view(text, strnlen(text, N)));
}

} // namespace

Packet ReadRegisterCommand(uint16_t requestId, uint32_t address) {
    Packet payload(4);
    Put32(payload.data(), address);
    return Command(EGvcpCommand::ReadReg, gige::kAckRequired, requestId, payload);
}

Packet WriteRegisterCommand(uint16_t requestId, uint32_t address, uint32_t value) {
    Packet payload(8);
    Put32(payload.data(), address);
    Put32(payload.data() + 4, value);
    return Command(EGvcpCommand::WriteReg, gige::kAckRequired, requestId, payload);
}

Packet DiscoveryCommand(uint16_t requestId) {
    return Command(EGvcpCommand::Discovery, gige::kAckRequired | gige::kBroadcastAck, requestId, {});
}

Packet ForceIpCommand(uint16_t requestId, uint64_t mac, uint32_t ip, uint32_t mask, uint32_t gateway) {
    namespace force_ip = gige::force_ip;
    Packet payload(force_ip::kBytes);
    Put16(payload.data() + force_ip::kMac, static_cast<uint32_t>(mac >> 32));
    Put32(payload.data() + force_ip::kMac + 2, static_cast<uint32_t>(mac));
    Put32(payload.data() + force_ip::kIp, ip);
    Put32(payload.data() + force_ip::kMask, mask);
    Put32(payload.data() + force_ip::kGateway, gateway);
    return Command(EGvcpCommand::ForceIp, gige::kAckRequired, requestId, payload);
}

Packet Acknowledge(EGvcpCommand command, uint16_t requestId) {
    return gige::GvcpDatagram(static_cast<uint16_t>(gige::EGvcpStatus::Success), gige::AckCode(command),
                              requestId, {});
}

std::optional<Ack> ReadAck(Bytes packet) {
    if (packet.size() < kGvcpHeaderBytes) {
        return std::nullopt;
    }
    const size_t lengthBytes = Get16(packet.data() + 4);
    if (lengthBytes > packet.size() - kGvcpHeaderBytes) {
        return std::nullopt;
    }
    return Ack{static_cast<gige::EGvcpStatus>(Get16(packet.data())), Get16(packet.data() + 2),
               Get16(packet.data() + 6), packet.subspan(kGvcpHeaderBytes, lengthBytes)};
}

std::optional<OX_CC_DEVICE_INFO> ReadDiscovery(Bytes payload) {
    if (payload.size() < gige::kDiscoveryBytes) {
        return std::nullopt;
    }
    OX_CC_DEVICE_INFO record;
    std::memset(&record, 0, sizeof(record));
    record.nTLayerType = OX_CC_GIGE_DEVICE;
    record.nMacAddrHigh = Get16(payload.data() + reg::kMac + 2);
    record.nMacAddrLow = Get32(payload.data() + reg::kMac + 4);
    OX_CC_GIGE_DEVICE_INFO& device = record.stGigEInfo;
    device.nIpCfgOption = (Get32(payload.data() + reg::kSupportedIpConfig) & kIpModeBits) << kIpModeShift;
    device.nIpCfgCurrent = (Get32(payload.data() + reg::kIpConfig) & kIpModeBits) << kIpModeShift;
    device.nCurrentIp = Get32(payload.data() + reg::kCurrentIp);
    device.nCurrentSubNetMask = Get32(payload.data() + reg::kCurrentMask);
    device.nDefaultGateWay = Get32(payload.data() + reg::kCurrentGateway);
    TakeText(device.chManufacturerName, payload, reg::kManufacturerName);
    TakeText(device.chModelName, payload, reg::kModelName);
    TakeText(device.chDeviceVersion, payload, reg::kDeviceVersion);
    TakeText(device.chManufacturerSpecificInfo, payload, reg::kManufacturerInfo);
    TakeText(device.chSerialNumber, payload, reg::kSerialNumber);
    TakeText(device.chUserDefinedName, payload, reg::kUserDefinedName);
    if (device.nCurrentIp == kBroadcastIp) {
        return std::nullopt;
    }
    return record;
}

uint64_t MacOf(const OX_CC_DEVICE_INFO& record) {
    constexpr uint32_t kHighBits = 0xFFFF;
    return (static_cast<uint64_t>(record.nMacAddrHigh & kHighBits) << 32) | record.nMacAddrLow;
}

std::optional<EventCommand> ReadEvents(Bytes packet) {
    if (packet.size() < kGvcpHeaderBytes || packet[0] != gige::kCommandKey) {
        return std::nullopt;
    }
    EventCommand command{static_cast<EGvcpCommand>(Get16(packet.data() + 2)),
                         Get16(packet.data() + 6),
                         (packet[1] & gige::kAckRequired) != 0,
                         {}};
    size_t left = Get16(packet.data() + 4);
    const bool isEvent =
        command.m_command == EGvcpCommand::Event || command.m_command == EGvcpCommand::EventData;
    if (!isEvent || left > packet.size() - kGvcpHeaderBytes) {
        return std::nullopt;
    }
    Bytes rest = packet.subspan(kGvcpHeaderBytes, left);
    while (rest.size() >= gige::kEventBytes) {
        Event event{Get16(rest.data() + 2), Get16(rest.data() + 4), Get16(rest.data() + 6), 0, {}};
        event.m_timestamp = gige::Get64(rest.data() + 8);
        rest = rest.subspan(gige::kEventBytes);
        if (command.m_command == EGvcpCommand::EventData) { // one event, the rest is its data
            event.m_data = rest;
            rest = {};
        }
        command.m_events.push_back(event);
    }
    return command;
}

} // namespace ox3d::gvcp

// Gvcp.h - codes and layouts of the GigE Vision control protocol, for the side of the camera and that of the host.
#ifndef OX3D_GIGEVISION_GVCP_H
#define OX3D_GIGEVISION_GVCP_H

#include <algorithm>

#include "gigevision/Wire.h"

namespace ox3d::gige {

constexpr uint16_t kGvcpPort = 3956;
constexpr uint32_t kGvcpHeaderBytes = 8;
constexpr uint8_t kCommandKey = 0x42;     // first byte of every command
constexpr uint32_t kMaxGvcpBytes = 548;   // of a control datagram: nothing on its way may fragment it
constexpr uint32_t kMaxMemoryBytes = 536; // of one memory access
constexpr uint32_t kPacketResendBytes = 12;
constexpr uint32_t kExtendedPacketResendBytes = 20; // whose last eight are the block id
constexpr uint32_t kEventBytes = 16;                // of an event without its data

// Flags of a command.
constexpr uint8_t kAckRequired = 0x01;
constexpr uint8_t kBroadcastAck = 0x10; // of a discovery: the answer may be a broadcast

enum class EGvcpCommand : uint16_t {
    Discovery = 0x0002,
    ForceIp = 0x0004,
    PacketResend = 0x0040,
    ReadReg = 0x0080,
    WriteReg = 0x0082,
    ReadMem = 0x0084,
    WriteMem = 0x0086,
    Event = 0x00C0,
    EventData = 0x00C2,
};

// The acknowledgement's code is the command's and one.
constexpr uint16_t AckCode(EGvcpCommand command) {
    return static_cast<uint16_t>(static_cast<uint16_t>(command) + 1);
}
constexpr uint16_t kPendingAck = 0x0089; // the acknowledgement of the command comes later

enum class EGvcpStatus : uint16_t {
    Success = 0x0000,
    NotImplemented = 0x8001,
    InvalidParameter = 0x8002,
    InvalidAddress = 0x8003,
    WriteProtect = 0x8004,
    BadAlignment = 0x8005,
    AccessDenied = 0x8006,
    InvalidHeader = 0x800E,
    PacketNotYetAvailable = 0x8010,
    PacketRemoved = 0x8012,
    Error = 0x8FFF,
};

// The payload of a ForceIp command; the hardware address is two bytes into it.
namespace force_ip {
constexpr uint32_t kBytes = 56;
constexpr uint32_t kMac = 2;
constexpr uint32_t kIp = 20;
constexpr uint32_t kMask = 36;
constexpr uint32_t kGateway = 52;
} // namespace force_ip

// A header and its payload. A command's first word is its key and flags, an acknowledgement's its status.
inline Bytes GvcpDatagram(uint32_t firstWord, uint32_t code, uint16_t requestId, ByteView payload) {
    Bytes bytes(kGvcpHeaderBytes + payload.size());
    Put16(bytes.data(), firstWord);
    Put16(bytes.data() + 2, code);
    Put16(bytes.data() + 4, static_cast<uint32_t>(payload.size()));
    Put16(bytes.data() + 6, requestId);
    std::copy(payload.begin(), payload.end(), bytes.begin() + kGvcpHeaderBytes);
    return bytes;
}

} // namespace ox3d::gige

#endif

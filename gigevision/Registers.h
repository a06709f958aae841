// Registers.h - the bootstrap registers of GigE Vision: their addresses, and bits that have a meaning.
#ifndef OX3D_GIGEVISION_REGISTERS_H
#define OX3D_GIGEVISION_REGISTERS_H

#include <cstdint>

namespace ox3d::gige {

namespace reg {

// Up to kDiscoveryBytes these are the payload of a discovery's acknowledgement, too.
constexpr uint32_t kVersion = 0x0000;
constexpr uint32_t kDeviceMode = 0x0004;
constexpr uint32_t kMac = 0x0008; // 8 bytes, the first two unused
constexpr uint32_t kSupportedIpConfig = 0x0010;
constexpr uint32_t kIpConfig = 0x0014;
constexpr uint32_t kCurrentIp = 0x0024;
constexpr uint32_t kCurrentMask = 0x0034;
constexpr uint32_t kCurrentGateway = 0x0044;
constexpr uint32_t kManufacturerName = 0x0048;
constexpr uint32_t kModelName = 0x0068;
constexpr uint32_t kDeviceVersion = 0x0088;
constexpr uint32_t kManufacturerInfo = 0x00A8;
constexpr uint32_t kSerialNumber = 0x00D8;
constexpr uint32_t kUserDefinedName = 0x00E8;

constexpr uint32_t kFirstUrl = 0x0200;
constexpr uint32_t kInterfaceCount = 0x0600;
constexpr uint32_t kPersistentIp = 0x064C;
constexpr uint32_t kPersistentMask = 0x065C;
constexpr uint32_t kPersistentGateway = 0x066C;
constexpr uint32_t kMessageChannelCount = 0x0900;
constexpr uint32_t kStreamChannelCount = 0x0904;
constexpr uint32_t kStreamCapability = 0x092C;
constexpr uint32_t kCapability = 0x0934;
constexpr uint32_t kHeartbeatTimeout = 0x0938;
constexpr uint32_t kTickFrequency = 0x093C; // 8 bytes
constexpr uint32_t kStreamProtocolConfiguration = 0x0960;
constexpr uint32_t kControlPrivilege = 0x0A00;
constexpr uint32_t kMessagePort = 0x0B00;
constexpr uint32_t kMessageAddress = 0x0B10;
constexpr uint32_t kMessageTimeout = 0x0B14;
constexpr uint32_t kMessageRetries = 0x0B18;
constexpr uint32_t kStreamPort = 0x0D00;
constexpr uint32_t kStreamPacketSize = 0x0D04;
constexpr uint32_t kStreamPacketDelay = 0x0D08;
constexpr uint32_t kStreamAddress = 0x0D18;
constexpr uint32_t kStreamSourcePort = 0x0D1C;
constexpr uint32_t kStreamChannelCapability = 0x0D20;
constexpr uint32_t kStreamConfiguration = 0x0D24;

} // namespace reg

constexpr uint32_t kDiscoveryBytes = 0x00F8;

// Bits of the IP configuration.
constexpr uint32_t kIpModePersistent = 0x01;
constexpr uint32_t kIpModeLinkLocal = 0x04; // always on, and the last resort

// Values of the control privilege. Exclusive keeps others from reading as well.
constexpr uint32_t kOpenAccess = 0;
constexpr uint32_t kExclusiveAccess = 1;
constexpr uint32_t kControlAccess = 2;

constexpr uint32_t kMultiPart = 0x40; // bit of a stream channel's capability, and of its configuration
constexpr uint32_t kFireTestPacket = 0x80000000; // bit of the packet size register

} // namespace ox3d::gige

#endif

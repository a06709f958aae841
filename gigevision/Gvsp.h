// Gvsp.h - codes and layouts of the GigE Vision stream protocol.
#ifndef OX3D_GIGEVISION_GVSP_H
#define OX3D_GIGEVISION_GVSP_H

#include <cstdint>

namespace ox3d::gige {

constexpr uint32_t kGvspHeaderBytes = 8;
constexpr uint32_t kExtendedGvspHeaderBytes = 20; // block ids of 64 bits, packet ids of 32
constexpr uint32_t kIpUdpBytes = 28;
constexpr uint32_t kPacketOverheadBytes = kIpUdpBytes + kGvspHeaderBytes; // of what "packet size" counts
constexpr uint32_t kLeaderBytes = 36;
constexpr uint32_t kPacketIdMask = 0x00FFFFFF;
constexpr uint32_t kExtendedId = 0x80000000; // bit of the word of packet format and packet id

enum class EGvspPacket : uint8_t { Leader = 1, Trailer = 2, Data = 3, PartData = 7 };

constexpr uint16_t kPayloadImage = 0x0001;
constexpr uint16_t kPayloadImageWithChunks = 0x4001;
constexpr uint16_t kPayloadMultiPart = 0x000A;
constexpr uint32_t kChunkMainImage = 0x00000001;

// Payload of several parts: its leader begins with kMultiPartLeaderBytes and has a record of each part behind them.
// The leader says how many in the lowest byte of the word of packet format and packet id, which is why there must be
// extended ids. Data packets have kPartHeaderBytes before their data: part, zone, offset in the payload (6 bytes).
constexpr uint32_t kMultiPartLeaderBytes = 12;
constexpr uint32_t kPartHeaderBytes = 8;
constexpr uint8_t kEndOfPart = 0x41; // and of its only zone

namespace part {
constexpr uint32_t kBytes = 48;
constexpr uint32_t kDataType = 0; // 2 bytes
constexpr uint32_t kLength = 2;   // 6 bytes
constexpr uint32_t kPixelFormat = 8;
constexpr uint32_t kPurpose = 20; // 2 bytes; the component's number
constexpr uint32_t kWidth = 24;
constexpr uint32_t kHeight = 28;
constexpr uint32_t kX = 32;
constexpr uint32_t kY = 36;
} // namespace part

enum class EPartData : uint16_t { Image2d = 1, Image3d = 5, Planes3d = 7, Confidence = 9 };

} // namespace ox3d::gige

#endif

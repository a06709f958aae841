// Gvsp.h - codes and layouts of the GigE Vision stream protocol.
#ifndef OX3D_GIGEVISION_GVSP_H
#define OX3D_GIGEVISION_GVSP_H

#include <cstdint>

namespace ox3d::gige {

constexpr uint32_t kGvspHeaderBytes = 8;
constexpr uint32_t kIpUdpBytes = 28;
constexpr uint32_t kPacketOverheadBytes = kIpUdpBytes + kGvspHeaderBytes; // of what "packet size" counts
constexpr uint32_t kLeaderBytes = 36;
constexpr uint32_t kPacketIdMask = 0x00FFFFFF;

enum class EGvspPacket : uint8_t { Leader = 1, Trailer = 2, Data = 3 };

constexpr uint16_t kPayloadImage = 0x0001;
constexpr uint16_t kPayloadImageWithChunks = 0x4001;
constexpr uint32_t kChunkMainImage = 0x00000001;

} // namespace ox3d::gige

#endif

// GvspFrame.h - a frame as stream packets: leader, data, trailer. Packets are made when they are asked for, so
// that sending and sending again are the same thing.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_GVSP_FRAME_H
#define OX3D_VIRTUAL_CAMERA_GIGE_GVSP_FRAME_H

#include <array>
#include <atomic>

#include "gigevision/Gvsp.h"
#include "gigevision/Wire.h"
#include "virtual-camera/CameraFrame.h"

namespace ox3d::gige {

// A stretch of the payload. No packet has data of two parts.
struct GvspPart {
    uint64_t m_begin = 0;
    uint64_t m_lengthBytes = 0;
};

struct GvspFrame {
    uint64_t m_blockId = 0;
    bool m_isExtendedId = false;
    uint16_t m_payloadType = kPayloadImage;
    uint64_t m_timestampNs = 0;
    uint32_t m_pixelFormat = 0;
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    uint32_t m_x = 0;
    uint32_t m_y = 0;
    uint32_t m_dataBytes = 0;          // of a full data packet
    uint32_t m_endPacket = UINT32_MAX; // packets from here on are never sent
    Bytes m_payload;
    std::vector<GvspPart> m_parts; // of a payload of several; else there is none
    Bytes m_partTable;             // what the leader says of them
    uint32_t m_statedParts = 0;
    uint32_t m_partShiftBytes = 0; // by which all parts but the first go to a wrong place
    std::atomic<uint32_t> m_sentPackets{0};

    uint32_t HeaderBytes() const { return m_isExtendedId ? kExtendedGvspHeaderBytes : kGvspHeaderBytes; }
    void SetPacketSize(uint32_t packetBytes) {
        m_dataBytes = packetBytes - kIpUdpBytes - HeaderBytes() - (m_parts.empty() ? 0 : kPartHeaderBytes);
    }
    uint32_t PacketsOf(uint64_t lengthBytes) const {
        return static_cast<uint32_t>((lengthBytes + m_dataBytes - 1) / m_dataBytes);
    }
    uint32_t DataPackets() const {
        uint32_t packets = m_parts.empty() ? PacketsOf(m_payload.size()) : 0;
        for (const GvspPart& part : m_parts) {
            packets += PacketsOf(part.m_lengthBytes);
        }
        return packets;
    }
    uint32_t Packets() const { return DataPackets() + 2; }
};

// The head of a packet, and the part of the payload that follows it.
struct GvspPacket {
    std::array<uint8_t, kExtendedGvspHeaderBytes + kLeaderBytes> m_head{};
    uint32_t m_headBytes = 0;
    ByteView m_data;
};

// Lays image and chunks out: every chunk is followed by its id and its length. Without chunk mode the image
// is all. claimedChunkLengthBytes, when it is not kNoFault, takes the place of the chunks' true lengths.
void PackGvspFrame(const CameraFrame& frame, uint32_t claimedChunkLengthBytes, GvspFrame* packed);

// One component of a 3D camera's frame as a block of its own, or all of them as the parts of one.
void PackGvspComponent(const CameraFrame& frame, const CameraPart& component, const FaultSet& faults,
                       GvspFrame* packed);
void PackGvspParts(const CameraFrame& frame, const FaultSet& faults, GvspFrame* packed);

// packetId is less than Packets().
void MakeGvspPacket(const GvspFrame& frame, uint32_t packetId, GvspPacket* packet);

// In place of a packet that cannot be sent again.
void MakeGvspRefusal(uint64_t blockId, bool isExtendedId, uint32_t packetId, uint16_t status,
                     GvspPacket* packet);

// What fills a datagram of the packet size; the application measures the path with it.
Bytes MakeGvspTestPacket(uint32_t packetSizeBytes);

// Blocks are numbered from 1 when the channel is opened.
class CBlockIds {
public:
    void ChannelOpened() { *this = CBlockIds(); }
    // Of a frame's first block. Frame numbers begin again with every acquisition, blocks go on.
    uint64_t Next(uint32_t frameNumber, uint32_t blocks = 1) {
        m_base = frameNumber <= m_lastNumber ? m_last : m_base;
        m_lastNumber = frameNumber;
        m_last = m_base + uint64_t{frameNumber} * blocks;
        return m_last - blocks + 1;
    }
    // 16 bits that never become 0.
    static uint16_t Short(uint64_t blockId) { return static_cast<uint16_t>((blockId - 1) % 0xFFFF + 1); }

private:
    uint64_t m_base = 0;
    uint64_t m_last = 0;
    uint32_t m_lastNumber = 0;
};

} // namespace ox3d::gige

#endif

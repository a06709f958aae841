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

struct GvspFrame {
    uint16_t m_blockId = 0;
    uint16_t m_payloadType = kPayloadImage;
    uint64_t m_timestampNs = 0;
    uint32_t m_pixelFormat = 0;
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    uint32_t m_dataBytes = 0;          // of a full data packet
    uint32_t m_endPacket = UINT32_MAX; // packets from here on are never sent
    Bytes m_payload;
    std::atomic<uint32_t> m_sentPackets{0};

    uint32_t DataPackets() const {
        return static_cast<uint32_t>((m_payload.size() + m_dataBytes - 1) / m_dataBytes);
    }
    uint32_t Packets() const { return DataPackets() + 2; }
};

// The head of a packet, and the part of the payload that follows it.
struct GvspPacket {
    std::array<uint8_t, kGvspHeaderBytes + kLeaderBytes> m_head{};
    uint32_t m_headBytes = 0;
    ByteView m_data;
};

// Lays image and chunks out: every chunk is followed by its id and its length. Without chunk mode the image
// is all. claimedChunkLengthBytes, when it is not kNoFault, takes the place of the chunks' true lengths.
void PackGvspFrame(const CameraFrame& frame, uint32_t claimedChunkLengthBytes, GvspFrame* packed);

// packetId is less than Packets().
void MakeGvspPacket(const GvspFrame& frame, uint32_t packetId, GvspPacket* packet);

// In place of a packet that cannot be sent again.
void MakeGvspRefusal(uint16_t blockId, uint32_t packetId, uint16_t status, GvspPacket* packet);

// What fills a datagram of the packet size; the application measures the path with it.
Bytes MakeGvspTestPacket(uint32_t packetSizeBytes);

// Blocks are numbered from 1 when the channel is opened; 16 bits that never become 0.
class CBlockIds {
public:
    void ChannelOpened() { *this = CBlockIds(); }
    // Frame numbers begin again with every acquisition, blocks go on.
    uint16_t Next(uint32_t frameNumber) {
        m_base = frameNumber <= m_lastNumber ? m_last : m_base;
        m_lastNumber = frameNumber;
        m_last = m_base + frameNumber;
        return static_cast<uint16_t>((m_last - 1) % 0xFFFF + 1);
    }

private:
    uint64_t m_base = 0;
    uint64_t m_last = 0;
    uint32_t m_lastNumber = 0;
};

} // namespace ox3d::gige

#endif

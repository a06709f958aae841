// GvspFrame.cpp - payload layout and packet headers of the stream protocol.
#include "virtual-camera/gige/GvspFrame.h"

#include <algorithm>

namespace ox3d::gige {
namespace {

void AppendChunk(const uint8_t* data, uint32_t lengthBytes, uint32_t id, uint32_t claimed, Bytes* payload) {
    payload->insert(payload->end(), data, data + lengthBytes);
    std::array<uint8_t, kChunkTrailerBytes> trailer{};
    Put32(trailer.data(), id);
    Put32(trailer.data() + 4, claimed == kNoFault ? lengthBytes : claimed);
    payload->insert(payload->end(), trailer.begin(), trailer.end());
}

void Head(uint16_t blockId, uint32_t packetId, uint16_t status, EGvspPacket format, GvspPacket* packet) {
    Put16(packet->m_head.data(), status);
    Put16(packet->m_head.data() + 2, blockId);
    Put32(packet->m_head.data() + 4, static_cast<uint32_t>(format) << 24 | packetId);
    packet->m_headBytes = kGvspHeaderBytes;
    packet->m_data = {};
}

void AddLeader(const GvspFrame& frame, GvspPacket* packet) {
    uint8_t* body = packet->m_head.data() + kGvspHeaderBytes;
    std::fill_n(body, kLeaderBytes, uint8_t{0}); // offsets and paddings are 0
    Put16(body + 2, frame.m_payloadType);
    Put64(body + 4, frame.m_timestampNs);
    Put32(body + 12, frame.m_pixelFormat);
    Put32(body + 16, frame.m_width);
    Put32(body + 20, frame.m_height);
    packet->m_headBytes += kLeaderBytes;
}

void AddTrailer(const GvspFrame& frame, GvspPacket* packet) {
    uint8_t* body = packet->m_head.data() + kGvspHeaderBytes;
    const bool isChunked = frame.m_payloadType == kPayloadImageWithChunks;
    const uint32_t lengthBytes = isChunked ? 16 : 8;
    std::fill_n(body, lengthBytes, uint8_t{0}); // the chunk layout never changes while a channel is open
    Put16(body + 2, frame.m_payloadType);
    Put32(body + 4, frame.m_height);
    if (isChunked) {
        Put32(body + 8, static_cast<uint32_t>(frame.m_payload.size()));
    }
    packet->m_headBytes += lengthBytes;
}

} // namespace

void PackGvspFrame(const CameraFrame& frame, uint32_t claimedChunkLengthBytes, GvspFrame* packed) {
    packed->m_timestampNs = frame.m_timestampNs;
    packed->m_pixelFormat = frame.m_pixelFormat;
    packed->m_width = frame.m_width;
    packed->m_height = frame.m_height;
    packed->m_payload.clear(); // keeps its memory
    if (!frame.m_isChunked) {
        packed->m_payloadType = kPayloadImage;
        packed->m_payload.assign(frame.m_image.begin(), frame.m_image.begin() + frame.m_imageLengthBytes);
        return;
    }
    packed->m_payloadType = kPayloadImageWithChunks;
    AppendChunk(frame.m_image.data(), frame.m_imageLengthBytes, kChunkMainImage, claimedChunkLengthBytes,
                &packed->m_payload);
    for (uint32_t i = 0; i < frame.m_chunkCount; ++i) {
        const CameraChunk& chunk = frame.m_chunks[i];
        AppendChunk(chunk.m_bytes.data(), chunk.m_lengthBytes, chunk.m_id, claimedChunkLengthBytes,
                    &packed->m_payload);
    }
}

void MakeGvspPacket(const GvspFrame& frame, uint32_t packetId, GvspPacket* packet) {
    const uint32_t dataPackets = frame.DataPackets();
    if (packetId == 0) {
        Head(frame.m_blockId, packetId, 0, EGvspPacket::Leader, packet);
        AddLeader(frame, packet);
    } else if (packetId > dataPackets) {
        Head(frame.m_blockId, packetId, 0, EGvspPacket::Trailer, packet);
        AddTrailer(frame, packet);
    } else {
        Head(frame.m_blockId, packetId, 0, EGvspPacket::Data, packet);
        const uint64_t begin = uint64_t{packetId - 1} * frame.m_dataBytes;
        const uint64_t lengthBytes = std::min<uint64_t>(frame.m_dataBytes, frame.m_payload.size() - begin);
        packet->m_data = ByteView(frame.m_payload).subspan(begin, lengthBytes);
    }
}

void MakeGvspRefusal(uint16_t blockId, uint32_t packetId, uint16_t status, GvspPacket* packet) {
    Head(blockId, packetId, status, EGvspPacket::Data, packet);
}

Bytes MakeGvspTestPacket(uint32_t packetSizeBytes) {
    Bytes bytes(std::max(packetSizeBytes, kPacketOverheadBytes) - kIpUdpBytes);
    GvspPacket packet;
    Head(0, 0, 0, EGvspPacket::Data, &packet);
    std::copy_n(packet.m_head.begin(), kGvspHeaderBytes, bytes.begin());
    return bytes;
}

} // namespace ox3d::gige

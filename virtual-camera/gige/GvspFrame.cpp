// GvspFrame.cpp - payload layout and packet headers of the stream protocol.
#include "virtual-camera/gige/GvspFrame.h"

#include <algorithm>

#include "virtual-camera/scan3d/Scan3dFormat.h"

namespace ox3d::gige {
namespace {

void AppendChunk(const uint8_t* data, uint32_t lengthBytes, uint32_t id, uint32_t claimed, Bytes* payload) {
    payload->insert(payload->end(), data, data + lengthBytes);
    std::array<uint8_t, kChunkTrailerBytes> trailer{};
    Put32(trailer.data(), id);
    Put32(trailer.data() + 4, claimed == kNoFault ? lengthBytes : claimed);
    payload->insert(payload->end(), trailer.begin(), trailer.end());
}

// The packet id has a word of its own where ids are extended.
void Head(const GvspFrame& frame, uint32_t packetId, uint16_t status, EGvspPacket format,
          GvspPacket* packet) {
    uint8_t* const head = packet->m_head.data();
    const uint32_t formatWord = static_cast<uint32_t>(format) << 24;
    Put16(head, status);
    if (frame.m_isExtendedId) {
        const bool isPartsLeader = format == EGvspPacket::Leader && frame.m_payloadType == kPayloadMultiPart;
        Put16(head + 2, 0);
        Put32(head + 4, kExtendedId | formatWord | (isPartsLeader ? frame.m_statedParts : 0));
        Put64(head + 8, frame.m_blockId);
        Put32(head + 16, packetId);
    } else {
        Put16(head + 2, static_cast<uint32_t>(frame.m_blockId));
        Put32(head + 4, formatWord | packetId);
    }
    packet->m_headBytes = frame.HeaderBytes();
    packet->m_data = {};
}

void AddLeader(const GvspFrame& frame, GvspPacket* packet) {
    const bool isParts = frame.m_payloadType == kPayloadMultiPart;
    const uint32_t lengthBytes = isParts ? kMultiPartLeaderBytes : kLeaderBytes;
    uint8_t* body = packet->m_head.data() + packet->m_headBytes;
    std::fill_n(body, lengthBytes, uint8_t{0}); // paddings are 0
    Put16(body + 2, frame.m_payloadType);
    Put64(body + 4, frame.m_timestampNs);
    packet->m_headBytes += lengthBytes;
    if (isParts) {
        packet->m_data = frame.m_partTable;
        return;
    }
    Put32(body + 12, frame.m_pixelFormat);
    Put32(body + 16, frame.m_width);
    Put32(body + 20, frame.m_height);
    Put32(body + 24, frame.m_x);
    Put32(body + 28, frame.m_y);
}

void AddTrailer(const GvspFrame& frame, GvspPacket* packet) {
    uint8_t* body = packet->m_head.data() + packet->m_headBytes;
    const bool isChunked = frame.m_payloadType == kPayloadImageWithChunks;
    const bool isParts = frame.m_payloadType == kPayloadMultiPart;
    const uint32_t lengthBytes = isChunked ? 16 : isParts ? 4 : 8;
    std::fill_n(body, lengthBytes, uint8_t{0}); // the chunk layout never changes while a channel is open
    Put16(body + 2, frame.m_payloadType);
    if (!isParts) {
        Put32(body + 4, frame.m_height);
    }
    if (isChunked) {
        Put32(body + 8, static_cast<uint32_t>(frame.m_payload.size()));
    }
    packet->m_headBytes += lengthBytes;
}

// The data packet of that number, counted from 0.
void AddData(const GvspFrame& frame, uint32_t number, GvspPacket* packet) {
    const ByteView payload(frame.m_payload);
    if (frame.m_parts.empty()) {
        const uint64_t begin = uint64_t{number} * frame.m_dataBytes;
        packet->m_data =
            payload.subspan(begin, std::min<uint64_t>(frame.m_dataBytes, payload.size() - begin));
        return;
    }
    uint32_t index = 0;
    while (number >= frame.PacketsOf(frame.m_parts[index].m_lengthBytes)) {
        number -= frame.PacketsOf(frame.m_parts[index++].m_lengthBytes);
    }
    const GvspPart& part = frame.m_parts[index];
    const uint64_t begin = uint64_t{number} * frame.m_dataBytes;
    const uint64_t lengthBytes = std::min<uint64_t>(frame.m_dataBytes, part.m_lengthBytes - begin);
    const uint64_t offset = part.m_begin + begin + (index == 0 ? 0 : frame.m_partShiftBytes);
    uint8_t* body = packet->m_head.data() + packet->m_headBytes;
    body[0] = static_cast<uint8_t>(index);
    body[1] = begin + lengthBytes == part.m_lengthBytes ? kEndOfPart : uint8_t{0};
    Put16(body + 2, static_cast<uint32_t>(offset >> 32));
    Put32(body + 4, static_cast<uint32_t>(offset));
    packet->m_headBytes += kPartHeaderBytes;
    packet->m_data = payload.subspan(part.m_begin + begin, lengthBytes);
}

EPartData DataTypeOf(const CameraPart& part) {
    const Scan3dFormat* format = FindScan3dFormat(part.m_pixelFormat);
    if (format == nullptr || (format->m_slots & kOfIntensity) != 0) {
        return EPartData::Image2d;
    }
    if (format->m_layout == EPixelLayout::Confidence) {
        return EPartData::Confidence;
    }
    return format->m_layout == EPixelLayout::PlanarPoints ? EPartData::Planes3d : EPartData::Image3d;
}

void DescribePart(const CameraPart& component, const FaultSet& faults, uint8_t* out) {
    const uint64_t length =
        faults.m_partLengthBytes == kNoFault ? component.m_bytes.size() : faults.m_partLengthBytes;
    Put16(out + part::kDataType, static_cast<uint32_t>(DataTypeOf(component)));
    Put16(out + part::kLength, static_cast<uint32_t>(length >> 32));
    Put32(out + part::kLength + 2, static_cast<uint32_t>(length));
    Put32(out + part::kPixelFormat,
          faults.m_partFormat == kNoFault ? component.m_pixelFormat : faults.m_partFormat);
    Put16(out + part::kPurpose, component.m_component);
    Put32(out + part::kWidth, component.m_width);
    Put32(out + part::kHeight, component.m_height);
    Put32(out + part::kX, component.m_x);
    Put32(out + part::kY, component.m_y);
}

} // namespace

void PackGvspFrame(const CameraFrame& frame, uint32_t claimedChunkLengthBytes, GvspFrame* packed) {
    packed->m_timestampNs = frame.m_timestampNs;
    packed->m_pixelFormat = frame.m_pixelFormat;
    packed->m_width = frame.m_width;
    packed->m_height = frame.m_height;
    packed->m_x = 0;
    packed->m_y = 0;
    packed->m_isExtendedId = false;
    packed->m_parts.clear();
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

void PackGvspComponent(const CameraFrame& frame, const CameraPart& component, const FaultSet& faults,
                       GvspFrame* packed) {
    packed->m_isExtendedId = frame.m_isExtendedId;
    packed->m_payloadType = kPayloadImage;
    packed->m_timestampNs = frame.m_timestampNs;
    packed->m_pixelFormat = faults.m_partFormat == kNoFault ? component.m_pixelFormat : faults.m_partFormat;
    packed->m_width = component.m_width;
    packed->m_height = component.m_height;
    packed->m_x = component.m_x;
    packed->m_y = component.m_y;
    packed->m_parts.clear();
    packed->m_payload.assign(component.m_bytes.begin(), component.m_bytes.end());
}

void PackGvspParts(const CameraFrame& frame, const FaultSet& faults, GvspFrame* packed) {
    packed->m_isExtendedId = true;
    packed->m_payloadType = kPayloadMultiPart;
    packed->m_timestampNs = frame.m_timestampNs;
    packed->m_parts.clear();
    packed->m_payload.clear(); // keeps its memory
    packed->m_statedParts = faults.m_partCount == kNoFault ? frame.m_partCount : faults.m_partCount;
    packed->m_partShiftBytes = faults.m_partShiftBytes;
    // A leader that lies of their number has a record for each, as long as there are any to repeat.
    const uint32_t records = frame.m_partCount == 0 ? 0 : packed->m_statedParts;
    packed->m_partTable.assign(size_t{records} * part::kBytes, 0);
    for (uint32_t i = 0; i < records; ++i) {
        DescribePart(frame.m_parts[i % frame.m_partCount], faults,
                     packed->m_partTable.data() + size_t{i} * part::kBytes);
    }
    for (uint32_t i = 0; i < frame.m_partCount; ++i) {
        const ImageBytes& bytes = frame.m_parts[i].m_bytes;
        packed->m_parts.push_back({packed->m_payload.size(), bytes.size()});
        packed->m_payload.insert(packed->m_payload.end(), bytes.begin(), bytes.end());
    }
}

void MakeGvspPacket(const GvspFrame& frame, uint32_t packetId, GvspPacket* packet) {
    const uint32_t dataPackets = frame.DataPackets();
    if (packetId == 0) {
        Head(frame, packetId, 0, EGvspPacket::Leader, packet);
        AddLeader(frame, packet);
    } else if (packetId > dataPackets) {
        Head(frame, packetId, 0, EGvspPacket::Trailer, packet);
        AddTrailer(frame, packet);
    } else {
        Head(frame, packetId, 0, frame.m_parts.empty() ? EGvspPacket::Data : EGvspPacket::PartData, packet);
        AddData(frame, packetId - 1, packet);
    }
}

void MakeGvspRefusal(uint64_t blockId, bool isExtendedId, uint32_t packetId, uint16_t status,
                     GvspPacket* packet) {
    GvspFrame nothing;
    nothing.m_blockId = blockId;
    nothing.m_isExtendedId = isExtendedId;
    Head(nothing, packetId, status, EGvspPacket::Data, packet);
}

Bytes MakeGvspTestPacket(uint32_t packetSizeBytes) {
    Bytes bytes(std::max(packetSizeBytes, kPacketOverheadBytes) - kIpUdpBytes);
    GvspPacket packet;
    Head(GvspFrame(), 0, 0, EGvspPacket::Data, &packet);
    std::copy_n(packet.m_head.begin(), kGvspHeaderBytes, bytes.begin());
    return bytes;
}

} // namespace ox3d::gige

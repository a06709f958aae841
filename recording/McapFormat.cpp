// McapFormat.cpp - the order of fields in records.
#include "recording/McapFormat.h"

#include <zlib.h>

namespace ox3d {
namespace {

// A map or an array has the bytes of its entries before it.
size_t BeginEntries(ByteVector* out) {
    const size_t begin = out->size();
    Put(out, uint32_t{0});
    return begin;
}

void EndEntries(ByteVector* out, size_t begin) {
    const auto lengthBytes = static_cast<uint32_t>(out->size() - begin - sizeof(uint32_t));
    std::memcpy(out->data() + begin, &lengthBytes, sizeof(lengthBytes));
}

void PutPairs(ByteVector* out, const std::vector<std::pair<uint16_t, uint64_t>>& pairs) {
    const size_t begin = BeginEntries(out);
    for (const auto& [channel, value] : pairs) {
        Put(out, channel);
        Put(out, value);
    }
    EndEntries(out, begin);
}

void PutChunkIndex(ByteVector* out, const McapChunkInfo& chunk) {
    const size_t begin = BeginRecord(out, EMcapRecord::ChunkIndex);
    Put(out, chunk.m_startTime);
    Put(out, chunk.m_endTime);
    Put(out, chunk.m_offset);
    Put(out, chunk.m_lengthBytes);
    PutPairs(out, chunk.m_indexes);
    Put(out, chunk.m_indexBytes);
    PutText(out, chunk.m_compression);
    Put(out, chunk.m_compressedBytes);
    Put(out, chunk.m_uncompressedBytes);
    EndRecord(out, begin);
}

void PutAttachmentIndex(ByteVector* out, const McapAttachmentInfo& attachment) {
    const size_t begin = BeginRecord(out, EMcapRecord::AttachmentIndex);
    Put(out, attachment.m_offset);
    Put(out, attachment.m_lengthBytes);
    Put(out, attachment.m_logTime);
    Put(out, attachment.m_createTime);
    Put(out, attachment.m_dataBytes);
    PutText(out, attachment.m_name);
    PutText(out, attachment.m_mediaType);
    EndRecord(out, begin);
}

void PutMetadataIndex(ByteVector* out, const McapMetadataInfo& metadata) {
    const size_t begin = BeginRecord(out, EMcapRecord::MetadataIndex);
    Put(out, metadata.m_offset);
    Put(out, metadata.m_lengthBytes);
    PutText(out, metadata.m_name);
    EndRecord(out, begin);
}

void PutStatistics(ByteVector* out, const McapSummary& summary) {
    std::map<uint16_t, uint64_t> counts;
    uint64_t messages = 0;
    uint64_t start = summary.m_chunks.empty() ? 0 : UINT64_MAX;
    uint64_t end = 0;
    for (const McapChunkInfo& chunk : summary.m_chunks) {
        start = std::min(start, chunk.m_startTime);
        end = std::max(end, chunk.m_endTime);
        for (const auto& [channel, count] : chunk.m_counts) {
            counts[channel] += count;
            messages += count;
        }
    }
    const size_t begin = BeginRecord(out, EMcapRecord::Statistics);
    Put(out, messages);
    Put(out, static_cast<uint16_t>(summary.m_schemas.size()));
    Put(out, static_cast<uint32_t>(summary.m_channels.size()));
    Put(out, static_cast<uint32_t>(summary.m_attachments.size()));
    Put(out, static_cast<uint32_t>(summary.m_metadata.size()));
    Put(out, static_cast<uint32_t>(summary.m_chunks.size()));
    Put(out, start);
    Put(out, end);
    PutPairs(out, {counts.begin(), counts.end()});
    EndRecord(out, begin);
}

// The records of one kind, and where they begin and end for the summary's own index.
struct Group {
    EMcapRecord m_opcode;
    uint64_t m_begin;
    uint64_t m_end;
};

template <class Records, class PutOne>
void PutGroup(ByteVector* out, EMcapRecord opcode, const Records& records, PutOne&& put,
              std::vector<Group>* groups) {
    const uint64_t begin = out->size();
    for (const auto& record : records) {
        put(out, record);
    }
    if (out->size() > begin) {
        groups->push_back({opcode, begin, out->size()});
    }
}

} // namespace

uint32_t McapCrc(std::span<const uint8_t> bytes, uint32_t before) {
    return static_cast<uint32_t>(crc32_z(before, bytes.data(), bytes.size()));
}

size_t BeginRecord(ByteVector* out, EMcapRecord opcode) {
    const size_t begin = out->size();
    out->push_back(static_cast<uint8_t>(opcode));
    Put(out, uint64_t{0});
    return begin;
}

void EndRecord(ByteVector* out, size_t begin) {
    const uint64_t lengthBytes = out->size() - begin - kMcapRecordHeadBytes;
    std::memcpy(out->data() + begin + 1, &lengthBytes, sizeof(lengthBytes));
}

void PutHeader(ByteVector* out, std::string_view library) {
    PutBytes(out, kMcapMagic);
    const size_t begin = BeginRecord(out, EMcapRecord::Header);
    PutText(out, "ros2");
    PutText(out, library);
    EndRecord(out, begin);
}

void PutSchema(ByteVector* out, const McapSchema& schema) {
    const size_t begin = BeginRecord(out, EMcapRecord::Schema);
    Put(out, schema.m_id);
    PutText(out, schema.m_name);
    PutText(out, schema.m_encoding);
    PutText(out, schema.m_data);
    EndRecord(out, begin);
}

void PutChannel(ByteVector* out, const McapChannel& channel) {
    const size_t begin = BeginRecord(out, EMcapRecord::Channel);
    Put(out, channel.m_id);
    Put(out, channel.m_schemaId);
    PutText(out, channel.m_topic);
    PutText(out, channel.m_encoding);
    Put(out, static_cast<uint32_t>(channel.m_metadata.size()));
    PutBytes(out, channel.m_metadata);
    EndRecord(out, begin);
}

McapMetadataInfo PutMetadata(ByteVector* out, const std::string& name, const TextMap& values) {
    const size_t begin = BeginRecord(out, EMcapRecord::Metadata);
    PutText(out, name);
    const size_t entries = BeginEntries(out);
    for (const auto& [key, value] : values) {
        PutText(out, key);
        PutText(out, value);
    }
    EndEntries(out, entries);
    EndRecord(out, begin);
    return {begin, out->size() - begin, name};
}

McapAttachmentInfo PutAttachment(ByteVector* out, const std::string& name, const std::string& mediaType,
                                 uint64_t timeNs, std::string_view data) {
    const size_t begin = BeginRecord(out, EMcapRecord::Attachment);
    Put(out, timeNs);
    Put(out, timeNs);
    PutText(out, name);
    PutText(out, mediaType);
    Put(out, uint64_t{data.size()});
    out->insert(out->end(), data.begin(), data.end());
    Put(out, McapCrc(std::span(*out).subspan(begin + kMcapRecordHeadBytes)));
    EndRecord(out, begin);
    return {begin, out->size() - begin, timeNs, timeNs, data.size(), name, mediaType};
}

void PutMessageIndex(ByteVector* out, uint16_t channel, const McapMessageTimes& messages) {
    const size_t begin = BeginRecord(out, EMcapRecord::MessageIndex);
    Put(out, channel);
    const size_t entries = BeginEntries(out);
    for (const auto& [time, offset] : messages) {
        Put(out, time);
        Put(out, offset);
    }
    EndEntries(out, entries);
    EndRecord(out, begin);
}

void PutEnd(ByteVector* out, const McapSummary& summary, uint64_t dataEnd) {
    const size_t front = out->size();
    const size_t dataEndRecord = BeginRecord(out, EMcapRecord::DataEnd);
    Put(out, uint32_t{0}); // no checksum of all data: chunks and attachments have their own
    EndRecord(out, dataEndRecord);
    const uint64_t shift = dataEnd - front; // from a place in *out to one in the file
    const size_t summaryBegin = out->size();
    std::vector<Group> groups;
    PutGroup(out, EMcapRecord::Schema, summary.m_schemas, PutSchema, &groups);
    PutGroup(out, EMcapRecord::Channel, summary.m_channels, PutChannel, &groups);
    PutGroup(out, EMcapRecord::Statistics, std::span(&summary, 1), PutStatistics, &groups);
    PutGroup(out, EMcapRecord::ChunkIndex, summary.m_chunks, PutChunkIndex, &groups);
    PutGroup(out, EMcapRecord::AttachmentIndex, summary.m_attachments, PutAttachmentIndex, &groups);
    PutGroup(out, EMcapRecord::MetadataIndex, summary.m_metadata, PutMetadataIndex, &groups);
    const size_t offsetsBegin = out->size();
    for (const Group& group : groups) {
        const size_t begin = BeginRecord(out, EMcapRecord::SummaryOffset);
        Put(out, static_cast<uint8_t>(group.m_opcode));
        Put(out, group.m_begin + shift);
        Put(out, group.m_end - group.m_begin);
        EndRecord(out, begin);
    }
    out->push_back(static_cast<uint8_t>(EMcapRecord::Footer));
    Put(out, kMcapFooterBytes);
    Put(out, summaryBegin + shift);
    Put(out, offsetsBegin + shift);
    Put(out, McapCrc(std::span(*out).subspan(summaryBegin)));
    PutBytes(out, kMcapMagic);
}

bool ReadSchema(std::span<const uint8_t> content, McapSchema* schema) {
    CByteReader reader(content);
    schema->m_id = reader.Take<uint16_t>();
    schema->m_name = reader.Text();
    schema->m_encoding = reader.Text();
    schema->m_data = reader.Text();
    return !reader.HasFailed();
}

bool ReadChannel(std::span<const uint8_t> content, McapChannel* channel) {
    CByteReader reader(content);
    channel->m_id = reader.Take<uint16_t>();
    channel->m_schemaId = reader.Take<uint16_t>();
    channel->m_topic = reader.Text();
    channel->m_encoding = reader.Text();
    const auto metadata = reader.Bytes(reader.Take<uint32_t>());
    channel->m_metadata.assign(metadata.begin(), metadata.end());
    return !reader.HasFailed();
}

bool ReadMetadata(std::span<const uint8_t> content, std::string* name, TextMap* values) {
    CByteReader reader(content);
    *name = reader.Text();
    CByteReader entries(reader.Bytes(reader.Take<uint32_t>()));
    values->clear();
    while (entries.Left() > 0) {
        std::string key = entries.Text();
        std::string value = entries.Text();
        values->insert_or_assign(std::move(key), std::move(value));
    }
    return !reader.HasFailed() && !entries.HasFailed();
}

bool ReadChunkIndex(std::span<const uint8_t> content, McapChunkInfo* chunk) {
    CByteReader reader(content);
    chunk->m_startTime = reader.Take<uint64_t>();
    chunk->m_endTime = reader.Take<uint64_t>();
    chunk->m_offset = reader.Take<uint64_t>();
    chunk->m_lengthBytes = reader.Take<uint64_t>();
    CByteReader indexes(reader.Bytes(reader.Take<uint32_t>()));
    while (indexes.Left() > 0) {
        const auto channel = indexes.Take<uint16_t>();
        chunk->m_indexes.emplace_back(channel, indexes.Take<uint64_t>());
    }
    chunk->m_indexBytes = reader.Take<uint64_t>();
    chunk->m_compression = reader.Text();
    chunk->m_compressedBytes = reader.Take<uint64_t>();
    chunk->m_uncompressedBytes = reader.Take<uint64_t>();
    return !reader.HasFailed() && !indexes.HasFailed();
}

bool ReadAttachmentIndex(std::span<const uint8_t> content, McapAttachmentInfo* attachment) {
    CByteReader reader(content);
    attachment->m_offset = reader.Take<uint64_t>();
    attachment->m_lengthBytes = reader.Take<uint64_t>();
    attachment->m_logTime = reader.Take<uint64_t>();
    attachment->m_createTime = reader.Take<uint64_t>();
    attachment->m_dataBytes = reader.Take<uint64_t>();
    attachment->m_name = reader.Text();
    attachment->m_mediaType = reader.Text();
    return !reader.HasFailed();
}

bool ReadMetadataIndex(std::span<const uint8_t> content, McapMetadataInfo* metadata) {
    CByteReader reader(content);
    metadata->m_offset = reader.Take<uint64_t>();
    metadata->m_lengthBytes = reader.Take<uint64_t>();
    metadata->m_name = reader.Text();
    return !reader.HasFailed();
}

} // namespace ox3d

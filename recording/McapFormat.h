// McapFormat.h - the records of an MCAP file (version 0 of the format), one copy for writer, reader and repair.
//
// A record is an opcode, the length of its content and the content. A file is magic, Header, data, DataEnd, summary,
// Footer, magic; one that was not closed ends anywhere in the data.
#ifndef OX3D_RECORDING_MCAP_FORMAT_H
#define OX3D_RECORDING_MCAP_FORMAT_H

#include "recording/Bytes.h"

#include <array>
#include <utility>

namespace ox3d {

constexpr std::array<uint8_t, 8> kMcapMagic = {0x89, 'M', 'C', 'A', 'P', '0', '\r', '\n'};
constexpr uint64_t kMcapRecordHeadBytes = 9; // opcode and length
constexpr uint64_t kMcapFooterBytes = 20;    // its content

enum class EMcapRecord : uint8_t {
    Header = 0x01,
    Footer = 0x02,
    Schema = 0x03,
    Channel = 0x04,
    Message = 0x05,
    Chunk = 0x06,
    MessageIndex = 0x07,
    ChunkIndex = 0x08,
    Attachment = 0x09,
    AttachmentIndex = 0x0A,
    Statistics = 0x0B,
    Metadata = 0x0C,
    MetadataIndex = 0x0D,
    SummaryOffset = 0x0E,
    DataEnd = 0x0F,
};

struct McapSchema {
    uint16_t m_id = 0;
    std::string m_name;
    std::string m_encoding;
    std::string m_data;
};

struct McapChannel {
    uint16_t m_id = 0;
    uint16_t m_schemaId = 0;
    std::string m_topic;
    std::string m_encoding;
    ByteVector m_metadata; // a map as it lies in the file
};

// A chunk and the message indexes behind it.
struct McapChunkInfo {
    uint64_t m_startTime = 0; // of its first message, ns
    uint64_t m_endTime = 0;
    uint64_t m_offset = 0;
    uint64_t m_lengthBytes = 0;                           // with its record head
    std::vector<std::pair<uint16_t, uint64_t>> m_indexes; // channel, offset of its message index
    std::vector<std::pair<uint16_t, uint64_t>> m_counts;  // channel, messages; not in a summary
    uint64_t m_indexBytes = 0;                            // all its message indexes together
    std::string m_compression;
    uint64_t m_compressedBytes = 0;
    uint64_t m_uncompressedBytes = 0;
};

struct McapAttachmentInfo {
    uint64_t m_offset = 0;
    uint64_t m_lengthBytes = 0;
    uint64_t m_logTime = 0;
    uint64_t m_createTime = 0;
    uint64_t m_dataBytes = 0;
    std::string m_name;
    std::string m_mediaType;
};

struct McapMetadataInfo {
    uint64_t m_offset = 0;
    uint64_t m_lengthBytes = 0;
    std::string m_name;
};

// All that a file's summary says.
struct McapSummary {
    std::vector<McapSchema> m_schemas;
    std::vector<McapChannel> m_channels;
    std::vector<McapChunkInfo> m_chunks;
    std::vector<McapAttachmentInfo> m_attachments;
    std::vector<McapMetadataInfo> m_metadata;
};

uint32_t McapCrc(std::span<const uint8_t> bytes, uint32_t before = 0);

// Appends the head of a record whose content follows; EndRecord, with what this returned, puts its length there.
size_t BeginRecord(ByteVector* out, EMcapRecord opcode);
void EndRecord(ByteVector* out, size_t begin);

void PutHeader(ByteVector* out, std::string_view library);
void PutSchema(ByteVector* out, const McapSchema& schema);
void PutChannel(ByteVector* out, const McapChannel& channel);
// Return what the summary will say of them.
McapMetadataInfo PutMetadata(ByteVector* out, const std::string& name, const TextMap& values);
McapAttachmentInfo PutAttachment(ByteVector* out, const std::string& name, const std::string& mediaType,
                                 uint64_t timeNs, std::string_view data);
using McapMessageTimes = std::vector<std::pair<uint64_t, uint64_t>>; // log time, offset inside the chunk
void PutMessageIndex(ByteVector* out, uint16_t channel, const McapMessageTimes& messages);

// What follows the data that ends at dataEnd: DataEnd, summary, Footer and magic.
void PutEnd(ByteVector* out, const McapSummary& summary, uint64_t dataEnd);

// The contents of records; false for a content that is cut off. m_offset and m_lengthBytes of the record are the caller's.
bool ReadSchema(std::span<const uint8_t> content, McapSchema* schema);
bool ReadChannel(std::span<const uint8_t> content, McapChannel* channel);
bool ReadMetadata(std::span<const uint8_t> content, std::string* name, TextMap* values);
bool ReadChunkIndex(std::span<const uint8_t> content, McapChunkInfo* chunk);
bool ReadAttachmentIndex(std::span<const uint8_t> content, McapAttachmentInfo* attachment);
bool ReadMetadataIndex(std::span<const uint8_t> content, McapMetadataInfo* metadata);

} // namespace ox3d

#endif

// McapScan.cpp - where the parts of a file are: as its summary says, or by going from record to record.
#include "recording/McapReader.h"

#include <algorithm>

namespace ox3d {
namespace {

constexpr uint64_t kMaxSummaryBytes = uint64_t{256} << 20U;
constexpr uint64_t kMaxRecordBytes = uint64_t{16}
                                     << 20U; // of schemas, channels, metadata: what is read whole
constexpr uint64_t kChunkFieldBytes = 40;    // before the data, without the compression's name
constexpr uint64_t kChunkHeadBytes = kMcapRecordHeadBytes + kChunkFieldBytes + 32;
constexpr uint64_t kIndexEntryBytes = 16;
constexpr uint64_t kSearchBytes = uint64_t{1} << 20U;
constexpr uint64_t kSeenBytes = uint64_t{64} << 10U; // behind every place where a record is looked for
constexpr uint64_t kAttachmentHeadBytes = 512;       // before the data

// Whether the parts of a content of that length fill it to its last byte: bytes that are none hardly ever do. `wordAt`
// reads four of them; looking at no more makes it cheap to ask for every place in a file.
template <class WordAt>
bool IsExact(EMcapRecord opcode, uint64_t lengthBytes, WordAt&& wordAt) {
    struct Shape {
        EMcapRecord m_opcode;
        uint64_t m_numberBytes;
        int m_parts; // each with its length before it
    };
    static constexpr Shape kShapes[] = {
        {EMcapRecord::Header, 0, 2},       {EMcapRecord::Schema, 2, 3},   {EMcapRecord::Channel, 4, 3},
        {EMcapRecord::MessageIndex, 2, 1}, {EMcapRecord::Metadata, 0, 2},
    };
    const auto* const shape = std::find_if(std::begin(kShapes), std::end(kShapes),
                                           [&](const Shape& one) { return one.m_opcode == opcode; });
    if (shape == std::end(kShapes)) {
        return false;
    }
    uint64_t at = shape->m_numberBytes;
    for (int part = 0; part < shape->m_parts; ++part) {
        uint32_t partBytes = 0;
        if (at + sizeof(partBytes) > lengthBytes || !wordAt(at, &partBytes)) {
            return false;
        }
        at += sizeof(partBytes) + partBytes;
    }
    return at == lengthBytes;
}

// From the begin of a content of that length. False where its parts do not fit together.
bool ReadChunkHead(std::span<const uint8_t> begin, uint64_t lengthBytes, McapChunkInfo* chunk) {
    CByteReader head(begin);
    chunk->m_lengthBytes = kMcapRecordHeadBytes + lengthBytes;
    chunk->m_startTime = head.Take<uint64_t>();
    chunk->m_endTime = head.Take<uint64_t>();
    chunk->m_uncompressedBytes = head.Take<uint64_t>();
    head.Take<uint32_t>(); // its checksum is looked at when it is unpacked
    chunk->m_compression = head.Text();
    chunk->m_compressedBytes = head.Take<uint64_t>();
    const uint64_t ownBytes = kChunkFieldBytes + chunk->m_compression.size();
    return !head.HasFailed() && ownBytes <= lengthBytes && chunk->m_compressedBytes == lengthBytes - ownBytes;
}

bool ReadAttachmentHead(std::span<const uint8_t> begin, uint64_t lengthBytes,
                        McapAttachmentInfo* attachment) {
    CByteReader head(begin);
    attachment->m_lengthBytes = kMcapRecordHeadBytes + lengthBytes;
    attachment->m_logTime = head.Take<uint64_t>();
    attachment->m_createTime = head.Take<uint64_t>();
    attachment->m_name = head.Text();
    attachment->m_mediaType = head.Text();
    attachment->m_dataBytes = head.Take<uint64_t>();
    const uint64_t ownBytes = begin.size() - head.Left() + sizeof(uint32_t); // with its checksum
    return !head.HasFailed() && ownBytes <= lengthBytes && attachment->m_dataBytes == lengthBytes - ownBytes;
}

// One record of a summary. False when it is cut off or speaks of what the file does not hold.
bool AddToSummary(const CMcapFile& file, EMcapRecord opcode, std::span<const uint8_t> content,
                  McapSummary* summary) {
    switch (opcode) {
    case EMcapRecord::Schema:
        return ReadSchema(content, &summary->m_schemas.emplace_back());
    case EMcapRecord::Channel:
        return ReadChannel(content, &summary->m_channels.emplace_back());
    case EMcapRecord::ChunkIndex: {
        McapChunkInfo& chunk = summary->m_chunks.emplace_back();
        return ReadChunkIndex(content, &chunk) && file.Has(chunk.m_offset, chunk.m_lengthBytes);
    }
    case EMcapRecord::AttachmentIndex: {
        McapAttachmentInfo& attachment = summary->m_attachments.emplace_back();
        return ReadAttachmentIndex(content, &attachment) &&
               file.Has(attachment.m_offset, attachment.m_lengthBytes);
    }
    case EMcapRecord::MetadataIndex: {
        McapMetadataInfo& metadata = summary->m_metadata.emplace_back();
        return ReadMetadataIndex(content, &metadata) && file.Has(metadata.m_offset, metadata.m_lengthBytes);
    }
    default:
        return true; // nothing that is needed, or from a later version
    }
}

class CScan {
public:
    CScan(const CMcapFile& file, McapContents* contents) : m_file(file), m_contents(contents) {}

    void Run();

private:
    // What a record does to the scan.
    enum class EStep { Next, End, Bad };
    EStep Step();
    bool ReadHead();
    bool AddChunk();
    bool AddAttachment();
    bool AddDefinition(const ByteVector& content);
    void AddIndex(const ByteVector& content);
    bool AddRecord();
    bool IsEnd();
    bool Show(uint64_t offset);
    bool IsRecordAt(uint64_t offset, bool isChunkWanted) const;
    bool Find(bool isChunkWanted);

    const CMcapFile& m_file;
    McapContents* m_contents;
    uint64_t m_at = kMcapMagic.size();
    EMcapRecord m_opcode{};
    uint64_t m_lengthBytes = 0;       // of the content
    bool m_isBehindChunk = false;     // with nothing but message indexes, which are then the chunk's
    std::vector<bool> m_knownSchemas; // by id
    std::vector<bool> m_knownChannels;
    ByteVector m_buffer;
    ByteVector m_window; // of the search
    uint64_t m_windowAt = 0;
    uint64_t m_chunkAhead = 0; // where the search for one ended; 0: there is none, or it was not looked for
};

bool CScan::ReadHead() {
    if (!m_file.Read(m_at, kMcapRecordHeadBytes, &m_buffer)) {
        return false;
    }
    CByteReader head(m_buffer);
    m_opcode = static_cast<EMcapRecord>(head.Take<uint8_t>());
    m_lengthBytes = head.Take<uint64_t>();
    return m_file.Has(m_at + kMcapRecordHeadBytes, m_lengthBytes);
}

bool CScan::AddChunk() {
    McapChunkInfo chunk;
    const uint64_t headBytes = std::min(kChunkHeadBytes, m_lengthBytes);
    if (!m_file.Read(m_at + kMcapRecordHeadBytes, headBytes, &m_buffer) ||
        !ReadChunkHead(m_buffer, m_lengthBytes, &chunk)) {
        return false;
    }
    chunk.m_offset = m_at;
    m_contents->m_summary.m_chunks.push_back(std::move(chunk));
    m_isBehindChunk = true;
    return true;
}

bool CScan::AddAttachment() {
    McapAttachmentInfo attachment;
    const uint64_t headBytes = std::min(kAttachmentHeadBytes, m_lengthBytes);
    if (!m_file.Read(m_at + kMcapRecordHeadBytes, headBytes, &m_buffer) ||
        !ReadAttachmentHead(m_buffer, m_lengthBytes, &attachment)) {
        return false;
    }
    attachment.m_offset = m_at;
    m_contents->m_summary.m_attachments.push_back(std::move(attachment));
    return true;
}

// Of two with one id the first counts.
template <class Record>
void AddOnce(Record record, std::vector<bool>* known, std::vector<Record>* records) {
    known->resize(size_t{UINT16_MAX} + 1);
    if (!(*known)[record.m_id]) {
        (*known)[record.m_id] = true;
        records->push_back(std::move(record));
    }
}

bool CScan::AddDefinition(const ByteVector& content) {
    McapSchema schema;
    McapChannel channel;
    if (m_opcode == EMcapRecord::Schema && ReadSchema(content, &schema)) {
        AddOnce(std::move(schema), &m_knownSchemas, &m_contents->m_summary.m_schemas);
    } else if (m_opcode == EMcapRecord::Channel && ReadChannel(content, &channel)) {
        AddOnce(std::move(channel), &m_knownChannels, &m_contents->m_summary.m_channels);
    } else {
        return false;
    }
    return true;
}

void CScan::AddIndex(const ByteVector& content) {
    if (!m_isBehindChunk) {
        return;
    }
    McapChunkInfo& chunk = m_contents->m_summary.m_chunks.back();
    const auto channel = CByteReader(content).Take<uint16_t>();
    chunk.m_indexes.emplace_back(channel, m_at);
    chunk.m_counts.emplace_back(channel, m_lengthBytes / kIndexEntryBytes);
    chunk.m_indexBytes += kMcapRecordHeadBytes + m_lengthBytes;
}

// False for a record that is damaged, or that recordings do not have.
bool CScan::AddRecord() {
    if (m_opcode == EMcapRecord::Chunk) {
        return AddChunk();
    }
    m_isBehindChunk = m_isBehindChunk && m_opcode == EMcapRecord::MessageIndex;
    if (m_opcode == EMcapRecord::Attachment) {
        return AddAttachment();
    }
    const uint64_t begin = m_at + kMcapRecordHeadBytes;
    const auto wordAt = [&](uint64_t at, uint32_t* word) {
        const bool isRead = m_file.Read(begin + at, sizeof(*word), &m_buffer);
        *word = isRead ? CByteReader(m_buffer).Take<uint32_t>() : 0;
        return isRead;
    };
    ByteVector content;
    if (m_lengthBytes > kMaxRecordBytes || !IsExact(m_opcode, m_lengthBytes, wordAt) ||
        !m_file.Read(begin, m_lengthBytes, &content)) {
        return false;
    }
    std::string name;
    TextMap values;
    switch (m_opcode) {
    case EMcapRecord::Header:
        return m_at == kMcapMagic.size();
    case EMcapRecord::MessageIndex:
        AddIndex(content);
        return true;
    case EMcapRecord::Metadata:
        if (!ReadMetadata(content, &name, &values)) {
            return false;
        }
        m_contents->m_summary.m_metadata.push_back({m_at, kMcapRecordHeadBytes + m_lengthBytes, name});
        return true;
    default:
        return AddDefinition(content);
    }
}

// Any byte may be damaged into the opcode of an end: nothing but a summary may follow.
bool CScan::IsEnd() {
    const uint64_t next = m_at + kMcapRecordHeadBytes + m_lengthBytes;
    if (m_opcode == EMcapRecord::Footer) {
        ByteVector magic;
        return m_lengthBytes == kMcapFooterBytes && next + kMcapMagic.size() == m_file.Bytes() &&
               m_file.Read(next, kMcapMagic.size(), &magic) && IsMcapMagic(magic);
    }
    if (m_lengthBytes != sizeof(uint32_t)) {
        return false;
    }
    if (m_chunkAhead <= m_at) {
        const uint64_t end = m_at;
        m_chunkAhead = Find(true) ? m_at : 0;
        m_at = end;
    }
    return m_chunkAhead == 0;
}

CScan::EStep CScan::Step() {
    if (m_at == m_file.Bytes()) {
        return EStep::End;
    }
    if (!ReadHead()) {
        return EStep::Bad;
    }
    if (m_opcode == EMcapRecord::DataEnd || m_opcode == EMcapRecord::Footer) {
        return IsEnd() ? EStep::End : EStep::Bad;
    }
    return AddRecord() ? EStep::Next : EStep::Bad;
}

// Has the search's window over that place and all behind it that a record there is known by.
bool CScan::Show(uint64_t offset) {
    const uint64_t leftBytes = m_file.Bytes() - offset;
    const uint64_t neededBytes = std::min(leftBytes, kSeenBytes);
    if (offset >= m_windowAt && offset - m_windowAt + neededBytes <= m_window.size()) {
        return true;
    }
    m_windowAt = offset;
    return m_file.Read(offset, std::min(leftBytes, kSearchBytes + kSeenBytes), &m_window);
}

// Chunks of others' compressions are not looked for.
bool CScan::IsRecordAt(uint64_t offset, bool isChunkWanted) const {
    const auto rest = std::span(m_window).subspan(offset - m_windowAt);
    const auto opcode = static_cast<EMcapRecord>(rest[0]);
    const bool isWanted =
        opcode == EMcapRecord::Chunk ||
        (!isChunkWanted && (opcode == EMcapRecord::Schema || opcode == EMcapRecord::Channel ||
                            opcode == EMcapRecord::Metadata || opcode == EMcapRecord::Attachment));
    if (!isWanted || rest.size() <= kMcapRecordHeadBytes) {
        return false;
    }
    const auto lengthBytes = CByteReader(rest.subspan(1)).Take<uint64_t>();
    if (!m_file.Has(offset + kMcapRecordHeadBytes, lengthBytes)) {
        return false;
    }
    const auto content = rest.subspan(kMcapRecordHeadBytes);
    const auto begin = [&](uint64_t mostBytes) {
        return content.first(std::min({mostBytes, lengthBytes, uint64_t{content.size()}}));
    };
    if (opcode == EMcapRecord::Chunk) {
        McapChunkInfo chunk;
        return ReadChunkHead(begin(kChunkHeadBytes), lengthBytes, &chunk) && chunk.m_compression == "zstd";
    }
    if (opcode == EMcapRecord::Attachment) {
        McapAttachmentInfo attachment;
        return ReadAttachmentHead(begin(kAttachmentHeadBytes), lengthBytes, &attachment);
    }
    return lengthBytes <= content.size() && IsExact(opcode, lengthBytes, [&](uint64_t at, uint32_t* word) {
               *word = CByteReader(content.subspan(at)).Take<uint32_t>();
               return true;
           });
}

// From where no record is on to the next, if there is one. Goes over every byte once, whatever is there.
bool CScan::Find(bool isChunkWanted) {
    for (uint64_t at = m_at + 1; at < m_file.Bytes(); ++at) {
        if (!Show(at)) {
            return false;
        }
        if (IsRecordAt(at, isChunkWanted)) {
            m_at = at;
            return true;
        }
    }
    return false;
}

void CScan::Run() {
    for (;;) {
        const EStep step = Step();
        if (step == EStep::End) {
            break;
        }
        if (step == EStep::Next) {
            m_at += kMcapRecordHeadBytes + m_lengthBytes;
            continue;
        }
        const uint64_t bad = m_at;
        m_isBehindChunk = false;
        if (!Find(false)) {
            m_at = bad; // there is no whole record any more
            break;
        }
        m_contents->m_damagedBytes += m_at - bad;
        m_contents->m_lostHeaderBytes = bad == kMcapMagic.size() ? m_at - bad : m_contents->m_lostHeaderBytes;
    }
    m_contents->m_wholeBytes = m_at;
}

// What a chunk says of its channels has a checksum: it comes before what stands in the open.
void AddDefinitionsOfChunks(const CMcapFile& file, McapSummary* summary) {
    constexpr size_t kMaxAttempts = 16;
    CMcapChunkReader reader;
    std::vector<McapMessage> messages;
    std::string error;
    for (size_t i = 0; i < std::min(summary->m_chunks.size(), kMaxAttempts); ++i) {
        if (!reader.Read(file, summary->m_chunks[i], &messages, &error)) {
            continue;
        }
        const auto add = [](const auto& own, auto* all) {
            auto both = own;
            for (auto& record : *all) {
                if (std::none_of(own.begin(), own.end(),
                                 [&](const auto& other) { return other.m_id == record.m_id; })) {
                    both.push_back(std::move(record));
                }
            }
            *all = std::move(both);
        };
        add(reader.Defined().m_schemas, &summary->m_schemas);
        add(reader.Defined().m_channels, &summary->m_channels);
        return;
    }
}

} // namespace

bool ReadMcapSummary(const CMcapFile& file, McapContents* contents) {
    const uint64_t endBytes = kMcapRecordHeadBytes + kMcapFooterBytes + kMcapMagic.size();
    ByteVector bytes;
    if (!file.Has(0, kMcapMagic.size() + endBytes) || !file.Read(file.Bytes() - endBytes, endBytes, &bytes)) {
        return false;
    }
    CByteReader footer(bytes);
    const auto opcode = static_cast<EMcapRecord>(footer.Take<uint8_t>());
    const auto lengthBytes = footer.Take<uint64_t>();
    const auto begin = footer.Take<uint64_t>();
    footer.Take<uint64_t>();
    const auto crc = footer.Take<uint32_t>();
    const uint64_t end = file.Bytes() - endBytes;
    if (opcode != EMcapRecord::Footer || lengthBytes != kMcapFooterBytes ||
        !IsMcapMagic(std::span(bytes).last(kMcapMagic.size())) || begin < kMcapMagic.size() || begin > end ||
        end - begin > kMaxSummaryBytes) {
        return false;
    }
    const uint64_t coveredBytes = end - begin + kMcapRecordHeadBytes + 2 * sizeof(uint64_t);
    if (!file.Read(begin, coveredBytes, &bytes) || (crc != 0 && crc != McapCrc(bytes))) {
        return false;
    }
    CByteReader reader{std::span(bytes).first(end - begin)};
    bool isGood = true;
    while (isGood && reader.Left() > 0) {
        const auto next = static_cast<EMcapRecord>(reader.Take<uint8_t>());
        const auto content = reader.Bytes(reader.Take<uint64_t>());
        isGood = !reader.HasFailed() && AddToSummary(file, next, content, &contents->m_summary);
    }
    contents->m_isClosed = isGood;
    contents->m_wholeBytes = begin - std::min(begin, kMcapRecordHeadBytes + sizeof(uint32_t)); // DataEnd
    contents->m_summary = isGood ? std::move(contents->m_summary) : McapSummary();
    return isGood;
}

bool IsMcapMagic(std::span<const uint8_t> bytes, size_t mostWrong) {
    size_t wrong = 0;
    for (size_t i = 0; i < kMcapMagic.size(); ++i) {
        wrong += bytes[i] == kMcapMagic[i] ? 0 : 1;
    }
    return wrong <= mostWrong;
}

bool ScanMcap(const CMcapFile& file, McapContents* contents, std::string* error, size_t mostWrong) {
    ByteVector magic;
    if (!file.Read(0, kMcapMagic.size(), &magic) || !IsMcapMagic(magic, mostWrong)) {
        *error = "no MCAP file";
        return false;
    }
    *contents = {};
    contents->m_damagedBytes = IsMcapMagic(magic) ? 0 : 1;
    CScan(file, contents).Run();
    AddDefinitionsOfChunks(file, &contents->m_summary);
    return true;
}

} // namespace ox3d

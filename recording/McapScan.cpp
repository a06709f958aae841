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

// Keeps what a schema or channel says once. Always true.
template <class Record>
bool AddOnce(std::vector<Record>* records, Record record) {
    const bool isThere = std::any_of(records->begin(), records->end(),
                                     [&](const Record& other) { return other.m_id == record.m_id; });
    if (!isThere) {
        records->push_back(std::move(record));
    }
    return true;
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
    bool ReadHead(uint64_t offset, EMcapRecord* opcode, uint64_t* lengthBytes);
    bool ReadContent(ByteVector* content);
    bool AddChunk();
    bool AddIndex();
    bool AddAttachment();
    bool AddRecord();
    bool FindChunk();

    const CMcapFile& m_file;
    McapContents* m_contents;
    uint64_t m_at = kMcapMagic.size();
    EMcapRecord m_opcode{};
    uint64_t m_lengthBytes = 0; // of the content
    ByteVector m_buffer;
};

bool CScan::ReadHead(uint64_t offset, EMcapRecord* opcode, uint64_t* lengthBytes) {
    if (!m_file.Read(offset, kMcapRecordHeadBytes, &m_buffer)) {
        return false;
    }
    CByteReader head(m_buffer);
    *opcode = static_cast<EMcapRecord>(head.Take<uint8_t>());
    *lengthBytes = head.Take<uint64_t>();
    return m_file.Has(offset + kMcapRecordHeadBytes, *lengthBytes);
}

bool CScan::ReadContent(ByteVector* content) {
    return m_lengthBytes <= kMaxRecordBytes &&
           m_file.Read(m_at + kMcapRecordHeadBytes, m_lengthBytes, content);
}

bool CScan::AddChunk() {
    McapChunkInfo chunk;
    const uint64_t headBytes = std::min(kChunkHeadBytes, m_lengthBytes + kMcapRecordHeadBytes);
    if (!m_file.Read(m_at, headBytes, &m_buffer)) {
        return false;
    }
    CByteReader head{std::span(m_buffer).subspan(kMcapRecordHeadBytes)};
    chunk.m_offset = m_at;
    chunk.m_lengthBytes = kMcapRecordHeadBytes + m_lengthBytes;
    chunk.m_startTime = head.Take<uint64_t>();
    chunk.m_endTime = head.Take<uint64_t>();
    chunk.m_uncompressedBytes = head.Take<uint64_t>();
    head.Take<uint32_t>(); // its checksum is looked at when it is unpacked
    chunk.m_compression = head.Text();
    chunk.m_compressedBytes = head.Take<uint64_t>();
    const uint64_t ownBytes = kChunkFieldBytes + chunk.m_compression.size();
    if (head.HasFailed() || ownBytes > m_lengthBytes || chunk.m_compressedBytes != m_lengthBytes - ownBytes) {
        return false;
    }
    m_contents->m_summary.m_chunks.push_back(std::move(chunk));
    return true;
}

// A message index belongs to the chunk before it.
bool CScan::AddIndex() {
    if (m_contents->m_summary.m_chunks.empty() || !m_file.Read(m_at + kMcapRecordHeadBytes, 2, &m_buffer)) {
        return false;
    }
    McapChunkInfo& chunk = m_contents->m_summary.m_chunks.back();
    const uint16_t channel = CByteReader(m_buffer).Take<uint16_t>();
    chunk.m_indexes.emplace_back(channel, m_at);
    chunk.m_counts.emplace_back(channel, m_lengthBytes / kIndexEntryBytes);
    chunk.m_indexBytes += kMcapRecordHeadBytes + m_lengthBytes;
    return true;
}

bool CScan::AddAttachment() {
    constexpr uint64_t kHeadBytes = 512;
    McapAttachmentInfo attachment;
    if (!m_file.Read(m_at + kMcapRecordHeadBytes, std::min(kHeadBytes, m_lengthBytes), &m_buffer)) {
        return false;
    }
    CByteReader head(m_buffer);
    attachment.m_offset = m_at;
    attachment.m_lengthBytes = kMcapRecordHeadBytes + m_lengthBytes;
    attachment.m_logTime = head.Take<uint64_t>();
    attachment.m_createTime = head.Take<uint64_t>();
    attachment.m_name = head.Text();
    attachment.m_mediaType = head.Text();
    attachment.m_dataBytes = head.Take<uint64_t>();
    if (head.HasFailed()) {
        return false;
    }
    m_contents->m_summary.m_attachments.push_back(std::move(attachment));
    return true;
}

bool CScan::AddRecord() {
    McapSummary& summary = m_contents->m_summary;
    ByteVector content;
    switch (m_opcode) {
    case EMcapRecord::Schema: {
        McapSchema schema;
        return ReadContent(&content) && ReadSchema(content, &schema) &&
               AddOnce(&summary.m_schemas, std::move(schema));
    }
    case EMcapRecord::Channel: {
        McapChannel channel;
        return ReadContent(&content) && ReadChannel(content, &channel) &&
               AddOnce(&summary.m_channels, std::move(channel));
    }
    case EMcapRecord::Metadata: {
        std::string name;
        TextMap values;
        if (!ReadContent(&content) || !ReadMetadata(content, &name, &values)) {
            return false;
        }
        summary.m_metadata.push_back({m_at, kMcapRecordHeadBytes + m_lengthBytes, name});
        return true;
    }
    case EMcapRecord::Chunk:
        return AddChunk();
    case EMcapRecord::MessageIndex:
        return AddIndex();
    case EMcapRecord::Attachment:
        return AddAttachment();
    default:
        return m_opcode == EMcapRecord::Header || m_opcode == EMcapRecord::Message ||
               static_cast<uint8_t>(m_opcode) >= 0x80; // private records of others
    }
}

CScan::EStep CScan::Step() {
    if (m_at == m_file.Bytes()) {
        return EStep::End;
    }
    if (!ReadHead(m_at, &m_opcode, &m_lengthBytes)) {
        return EStep::Bad;
    }
    if (m_opcode == EMcapRecord::DataEnd || m_opcode == EMcapRecord::Footer) {
        return EStep::End;
    }
    return AddRecord() ? EStep::Next : EStep::Bad;
}

// From where no record is on to the next chunk, if there is one whose lengths agree. Chunks of others' compressions are
// not looked for.
bool CScan::FindChunk() {
    constexpr std::array<uint8_t, 8> kMark = {4, 0, 0, 0, 'z', 's', 't', 'd'};
    constexpr uint64_t kMarkOffset = kMcapRecordHeadBytes + 28;
    ByteVector window;
    for (uint64_t at = m_at + 1; at < m_file.Bytes(); at += kSearchBytes) {
        const uint64_t windowBytes = std::min(m_file.Bytes() - at, kSearchBytes + kMarkOffset + kMark.size());
        if (!m_file.Read(at, windowBytes, &window)) {
            return false;
        }
        auto from = window.begin();
        while ((from = std::search(from, window.end(), kMark.begin(), kMark.end())) != window.end()) {
            const auto mark = static_cast<uint64_t>(from - window.begin());
            ++from;
            const uint64_t begin = at + mark - kMarkOffset;
            if (mark < kMarkOffset || !ReadHead(begin, &m_opcode, &m_lengthBytes) ||
                m_opcode != EMcapRecord::Chunk) {
                continue;
            }
            const uint64_t before = std::exchange(m_at, begin);
            if (AddChunk()) {
                m_contents->m_summary.m_chunks.pop_back(); // the walk adds it
                m_contents->m_damagedBytes += begin - before;
                return true;
            }
            m_at = before;
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
        if (!FindChunk()) {
            m_at = bad;
            m_contents->m_ending = "there is no whole record at byte " + std::to_string(bad);
            break;
        }
    }
    m_contents->m_wholeBytes = m_at;
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
        !std::equal(kMcapMagic.begin(), kMcapMagic.end(), bytes.end() - kMcapMagic.size()) ||
        begin < kMcapMagic.size() || begin > end || end - begin > kMaxSummaryBytes) {
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
    contents->m_summary = isGood ? std::move(contents->m_summary) : McapSummary();
    return isGood;
}

bool ScanMcap(const CMcapFile& file, McapContents* contents, std::string* error) {
    ByteVector magic;
    if (!file.Read(0, kMcapMagic.size(), &magic) ||
        !std::equal(kMcapMagic.begin(), kMcapMagic.end(), magic.begin())) {
        *error = "no MCAP file";
        return false;
    }
    *contents = {};
    CScan(file, contents).Run();
    return true;
}

} // namespace ox3d

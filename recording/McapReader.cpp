// McapReader.cpp - the parts of a file once their places are known. McapScan.cpp finds the places.
#include "recording/McapReader.h"

#include "base/LocalFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <zstd.h>

namespace ox3d {
namespace {

constexpr uint64_t kMaxMetadataBytes = uint64_t{1} << 20U;
// zstd makes at most a block of 128 KiB of four bytes.
constexpr uint64_t kMaxZstdRatio = 32768;

uint32_t WordAt(std::span<const uint8_t> bytes, size_t at) {
    uint32_t word = 0;
    std::memcpy(&word, bytes.data() + at, sizeof(word));
    return word;
}

} // namespace

// ---- The file ----

CMcapFile::~CMcapFile() {
    if (m_file >= 0) {
        close(m_file);
    }
}

bool CMcapFile::Open(const std::string& path, bool isWritable, std::string* error) {
    m_file = isWritable ? open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)
                        : OpenLocalFile(path.c_str());
    if (m_file < 0 || !Measure()) {
        *error = path + ": " + (errno == 0 ? "no regular file" : std::generic_category().message(errno));
        return false;
    }
    return true;
}

bool CMcapFile::Measure() {
    struct stat status {};
    if (fstat(m_file, &status) != 0) {
        return false;
    }
    errno = 0;
    m_lengthBytes = static_cast<uint64_t>(status.st_size);
    return (status.st_mode & S_IFMT) == S_IFREG;
}

bool CMcapFile::Read(uint64_t offset, uint64_t lengthBytes, ByteVector* out) const {
    if (!Has(offset, lengthBytes)) {
        return false;
    }
    out->resize(lengthBytes);
    size_t done = 0;
    while (done < lengthBytes) {
        const ssize_t got =
            pread(m_file, out->data() + done, lengthBytes - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        done += static_cast<size_t>(got);
    }
    return true;
}

// ---- Chunks ----

struct CMcapChunkReader::Decompressor {
    Decompressor() : m_context(ZSTD_createDCtx()) {}
    ~Decompressor() { ZSTD_freeDCtx(m_context); }
    Decompressor(const Decompressor&) = delete;
    Decompressor& operator=(const Decompressor&) = delete;
    ZSTD_DCtx* m_context;
};

CMcapChunkReader::CMcapChunkReader() : m_decompressor(std::make_unique<Decompressor>()) {}

CMcapChunkReader::~CMcapChunkReader() = default;

bool CMcapChunkReader::Unpack(const McapChunkInfo& chunk, std::span<const uint8_t> packed,
                              std::span<const uint8_t>* records, std::string* error) {
    if (chunk.m_compression.empty()) {
        *records = packed;
        return packed.size() == chunk.m_uncompressedBytes;
    }
    if (chunk.m_compression != "zstd") {
        *error = "compressed by \"" + chunk.m_compression.substr(0, 16) + "\", not by zstd";
        return false;
    }
    const uint64_t lengthBytes = chunk.m_uncompressedBytes;
    if (lengthBytes > kMaxMcapChunkBytes || lengthBytes / kMaxZstdRatio > packed.size()) {
        return false;
    }
    if (lengthBytes > m_unpackedBytes) {
        m_unpacked.reset(static_cast<uint8_t*>(AllocateImageMemory(lengthBytes)));
        m_unpackedBytes = m_unpacked == nullptr ? 0 : lengthBytes;
    }
    if (m_unpacked == nullptr || m_decompressor->m_context == nullptr) {
        *error = lengthBytes == 0 ? "it is empty" : "no memory";
        return false;
    }
    const size_t got = ZSTD_decompressDCtx(m_decompressor->m_context, m_unpacked.get(), lengthBytes,
                                           packed.data(), packed.size());
    *records = {m_unpacked.get(), lengthBytes};
    return got == lengthBytes;
}

// False where the records do not end with the chunk, or are more than a frame has.
bool CMcapChunkReader::Split(std::span<const uint8_t> records, std::vector<McapMessage>* messages) {
    constexpr size_t kMaxRecords = 4096;
    CByteReader reader(records);
    m_defined = {};
    for (size_t count = 0; reader.Left() > 0; ++count) {
        const uint64_t offset = records.size() - reader.Left();
        const auto opcode = static_cast<EMcapRecord>(reader.Take<uint8_t>());
        const auto bytes = reader.Bytes(reader.Take<uint64_t>());
        if (count == kMaxRecords ||
            (opcode == EMcapRecord::Schema && !ReadSchema(bytes, &m_defined.m_schemas.emplace_back())) ||
            (opcode == EMcapRecord::Channel && !ReadChannel(bytes, &m_defined.m_channels.emplace_back()))) {
            return false;
        }
        if (opcode != EMcapRecord::Message) {
            continue;
        }
        CByteReader content(bytes);
        McapMessage message;
        message.m_channel = content.Take<uint16_t>();
        content.Take<uint32_t>(); // its number
        message.m_logTime = content.Take<uint64_t>();
        message.m_publishTime = content.Take<uint64_t>();
        message.m_offset = offset;
        message.m_data = content.Bytes(content.Left());
        if (content.HasFailed() || reader.HasFailed()) {
            return false;
        }
        messages->push_back(message);
    }
    return !reader.HasFailed();
}

bool CMcapChunkReader::Read(const CMcapFile& file, const McapChunkInfo& chunk,
                            std::vector<McapMessage>* messages, std::string* error) {
    messages->clear();
    try {
        return ReadWhole(file, chunk, messages, error);
    } catch (const std::bad_alloc&) {
        *error = "no memory";
        return false;
    }
}

bool CMcapChunkReader::ReadWhole(const CMcapFile& file, const McapChunkInfo& chunk,
                                 std::vector<McapMessage>* messages, std::string* error) {
    if (chunk.m_lengthBytes > ZSTD_compressBound(kMaxMcapChunkBytes)) {
        *error = "it is larger than any frame";
        return false;
    }
    *error = "its parts do not fit together";
    // The chunk's own words count, not those of an index that may speak of another.
    if (!file.Read(chunk.m_offset, chunk.m_lengthBytes, &m_packed)) {
        return false;
    }
    CByteReader reader(m_packed);
    const auto opcode = static_cast<EMcapRecord>(reader.Take<uint8_t>());
    const auto lengthBytes = reader.Take<uint64_t>();
    const bool isChunk = opcode == EMcapRecord::Chunk && lengthBytes == reader.Left();
    McapChunkInfo own = chunk;
    own.m_startTime = reader.Take<uint64_t>();
    own.m_endTime = reader.Take<uint64_t>();
    own.m_uncompressedBytes = reader.Take<uint64_t>();
    const auto crc = reader.Take<uint32_t>();
    own.m_compression = reader.Text();
    const auto packed = reader.Bytes(reader.Take<uint64_t>());
    std::span<const uint8_t> records;
    if (!isChunk || reader.HasFailed() || !Unpack(own, packed, &records, error)) {
        return false;
    }
    if (crc != 0 && crc != McapCrc(records)) { // 0: the writer took none
        *error = "its checksum is wrong";
        return false;
    }
    return Split(records, messages);
}

// ---- Attachments and metadata ----

bool ReadMcapAttachment(const CMcapFile& file, const McapAttachmentInfo& attachment, uint64_t maxBytes,
                        std::string* data) {
    ByteVector record;
    constexpr uint64_t kMoreBytes = 1024; // names, numbers
    if (attachment.m_lengthBytes > maxBytes + kMoreBytes ||
        attachment.m_lengthBytes < kMcapRecordHeadBytes + sizeof(uint32_t) ||
        !file.Read(attachment.m_offset, attachment.m_lengthBytes, &record)) {
        return false;
    }
    const auto content = std::span(record).subspan(kMcapRecordHeadBytes);
    const uint32_t crc = WordAt(content, content.size() - sizeof(uint32_t));
    if (static_cast<EMcapRecord>(record[0]) != EMcapRecord::Attachment ||
        (crc != 0 && crc != McapCrc(content.first(content.size() - sizeof(uint32_t))))) {
        return false;
    }
    CByteReader reader(content);
    reader.Bytes(2 * sizeof(uint64_t)); // times
    reader.Text();
    reader.Text();
    const auto bytes = reader.Bytes(reader.Take<uint64_t>());
    data->assign(bytes.begin(), bytes.end());
    return !reader.HasFailed() && data->size() <= maxBytes;
}

bool ReadMcapMetadata(const CMcapFile& file, const McapMetadataInfo& metadata, TextMap* values) {
    ByteVector record;
    std::string name;
    return metadata.m_lengthBytes <= kMaxMetadataBytes && metadata.m_lengthBytes > kMcapRecordHeadBytes &&
           file.Read(metadata.m_offset, metadata.m_lengthBytes, &record) &&
           static_cast<EMcapRecord>(record[0]) == EMcapRecord::Metadata &&
           ReadMetadata(std::span(record).subspan(kMcapRecordHeadBytes), &name, values);
}

} // namespace ox3d

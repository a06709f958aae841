// McapReader.h - reads an MCAP file, which may be cut off, damaged or hostile, by its summary or by scanning it.
#ifndef OX3D_RECORDING_MCAP_READER_H
#define OX3D_RECORDING_MCAP_READER_H

#include "base/ImageMemory.h"
#include "recording/McapFormat.h"

#include <memory>

namespace ox3d {

// No chunk unpacks to more.
constexpr uint64_t kMaxMcapChunkBytes = uint64_t{512} << 20U;
// No attachment is longer.
constexpr uint64_t kMaxMcapAttachmentBytes = uint64_t{16} << 20U;

// A regular file of which every part is checked against its length.
class CMcapFile {
public:
    // Throws nothing; false with a reason.
    bool Open(const std::string& path, bool isWritable, std::string* error);
    // Takes its length anew. False when that cannot be known.
    bool Measure();
    CMcapFile() = default;
    ~CMcapFile();
    CMcapFile(const CMcapFile&) = delete;
    CMcapFile& operator=(const CMcapFile&) = delete;

    int Descriptor() const { return m_file; }
    uint64_t Bytes() const { return m_lengthBytes; }
    bool Has(uint64_t offset, uint64_t lengthBytes) const {
        return offset <= m_lengthBytes && lengthBytes <= m_lengthBytes - offset;
    }
    // False where the file is not that long, or cannot be read.
    bool Read(uint64_t offset, uint64_t lengthBytes, ByteVector* out) const;

private:
    int m_file = -1;
    uint64_t m_lengthBytes = 0;
};

// What a file holds. m_counts of chunks are known by a scan alone.
struct McapContents {
    McapSummary m_summary;
    bool m_isClosed = false;        // there is a summary, and it is right
    uint64_t m_wholeBytes = 0;      // the data's end; by a scan: that of its last whole record
    uint64_t m_damagedBytes = 0;    // by a scan: inside the data, where no record was found
    uint64_t m_lostHeaderBytes = 0; // by a scan: of them, where the header was
};

// Whether eight bytes are those that a file begins and ends with, but for so many.
bool IsMcapMagic(std::span<const uint8_t> bytes, size_t mostWrong = 0);
// By the summary alone; false where there is none that is right.
bool ReadMcapSummary(const CMcapFile& file, McapContents* contents);
// Record by record, past bytes that are none where another record follows. False with a reason where it is no MCAP file:
// more than that of its first eight bytes are wrong.
bool ScanMcap(const CMcapFile& file, McapContents* contents, std::string* error, size_t mostWrong = 1);

struct McapMessage {
    uint16_t m_channel = 0;
    uint64_t m_logTime = 0;
    uint64_t m_publishTime = 0;
    uint64_t m_offset = 0; // of its record inside the chunk
    std::span<const uint8_t> m_data;
};

// Unpacks chunks, in memory that it keeps. One thread at a time.
class CMcapChunkReader {
public:
    CMcapChunkReader();
    ~CMcapChunkReader();
    CMcapChunkReader(const CMcapChunkReader&) = delete;
    CMcapChunkReader& operator=(const CMcapChunkReader&) = delete;

    // The messages, whose data stays until the next call. False with a reason.
    bool Read(const CMcapFile& file, const McapChunkInfo& chunk, std::vector<McapMessage>* messages,
              std::string* error);
    // The schemas and channels that stand in that chunk.
    const McapSummary& Defined() const { return m_defined; }

private:
    bool ReadWhole(const CMcapFile& file, const McapChunkInfo& chunk, std::vector<McapMessage>* messages,
                   std::string* error);
    bool Unpack(const McapChunkInfo& chunk, std::span<const uint8_t> packed,
                std::span<const uint8_t>* records, std::string* error);
    bool Split(std::span<const uint8_t> records, std::vector<McapMessage>* messages);

    struct Decompressor;
    std::unique_ptr<Decompressor> m_decompressor;
    ByteVector m_packed;
    ImageBlock m_unpacked;
    uint64_t m_unpackedBytes = 0; // room in m_unpacked
    McapSummary m_defined;
};

// The whole of an attachment or of a metadata record. False when it is damaged, or longer than maxBytes.
bool ReadMcapAttachment(const CMcapFile& file, const McapAttachmentInfo& attachment, uint64_t maxBytes,
                        std::string* data);
bool ReadMcapMetadata(const CMcapFile& file, const McapMetadataInfo& metadata, TextMap* values);

} // namespace ox3d

#endif

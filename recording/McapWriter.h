// McapWriter.h - an MCAP file that only grows by whole chunks, and what an encoder makes a chunk with.
#ifndef OX3D_RECORDING_MCAP_WRITER_H
#define OX3D_RECORDING_MCAP_WRITER_H

#include "recording/McapFormat.h"

#include <memory>

namespace ox3d {

// A chunk record and its message indexes, as they go to the file. Offsets of m_info count from its begin.
struct McapChunk {
    ByteVector m_bytes;
    McapChunkInfo m_info;
};

// Messages become a chunk. One thread at a time.
class CMcapChunkBuilder {
public:
    CMcapChunkBuilder();
    ~CMcapChunkBuilder();
    CMcapChunkBuilder(const CMcapChunkBuilder&) = delete;
    CMcapChunkBuilder& operator=(const CMcapChunkBuilder&) = delete;

    // Forgets what there is, a frame that was given up among it, and begins a chunk with the records that define its
    // channels.
    void Start(std::span<const uint8_t> definitions);
    // Where the caller appends the message's data, until the next call.
    ByteVector* Begin(uint16_t channel, uint64_t sequence, uint64_t logTime, uint64_t publishTime);
    // Everything since the start. False when it cannot be compressed.
    bool Finish(McapChunk* chunk);

private:
    void EndMessage();

    struct Compressor;
    std::unique_ptr<Compressor> m_compressor;
    ByteVector m_records;
    size_t m_messageBegin = 0;
    bool m_isInMessage = false;
    uint64_t m_startTime = 0;
    uint64_t m_endTime = 0;
    std::map<uint16_t, McapMessageTimes> m_times;
};

// Appends a chunk's message indexes to *indexes and says of them in *info what a summary does. `offset` is their place in
// the file.
void PutMessageIndexes(const std::map<uint16_t, McapMessageTimes>& times, uint64_t offset,
                       McapChunkInfo* info, ByteVector* indexes);

// Whether errno speaks of a full disk.
bool IsNoRoom(int reason);

// Until Close() has succeeded the file has no summary; it is readable at every moment all the same.
class CMcapWriter {
public:
    // Makes the file with what comes before the first chunk, `front`, whose records `summary` lists with offsets that
    // count from the begin of the file. It has another name until its first chunk is on the disk. Another file of its
    // name is then replaced, or a reason not to write.
    static std::unique_ptr<CMcapWriter> Create(const std::string& path, bool isReplacing,
                                               const ByteVector& front, McapSummary summary,
                                               std::string* error);
    ~CMcapWriter();
    CMcapWriter(const CMcapWriter&) = delete;
    CMcapWriter& operator=(const CMcapWriter&) = delete;

    // All return 0, or what errno said.

    // After a failure the file ends with the last whole chunk, and can only be closed. One thread at a time.
    int Append(McapChunk chunk);
    // Beside Append(), by one thread at a time, from the first chunk on. What was appended before is then on the disk. The
    // system speaks of a failure once.
    int Sync();
    // Writes the summary. When there is no room for it the file ends with the last whole chunk. Without a chunk nothing is
    // left, and what stood under the name before does.
    int Close();

    uint64_t Bytes() const { return m_endBytes; }

private:
    CMcapWriter(int file, McapSummary summary, uint64_t endBytes);
    bool Reserve(uint64_t nextBytes);
    int WriteAtEnd(const ByteVector& bytes);
    int Publish();

    int m_file;
    std::string m_path;
    std::string m_part; // its name before it has the right one; then empty
    bool m_isReplacing = false;
    McapSummary m_summary;
    uint64_t m_endBytes;
    uint64_t m_reservedBytes = 0; // blocks that are kept free, counted from the begin of the file
    uint64_t m_summaryBytes;      // more than the summary would need
    bool m_canReserve = true;     // not every file system can
};

} // namespace ox3d

#endif

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

    // Where the caller appends the message's data, until the next call.
    ByteVector* Begin(uint16_t channel, uint64_t sequence, uint64_t logTime, uint64_t publishTime);
    // Everything since the last chunk. False when it cannot be compressed.
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

// Fills m_info from a chunk's parts and appends the message indexes to *indexes.
void PutMessageIndexes(const std::map<uint16_t, McapMessageTimes>& times, McapChunkInfo* info,
                       ByteVector* indexes);

enum class EWriting { Ok, Full, Failed };

// Until Close() has succeeded the file has no summary; it is readable at every moment all the same.
class CMcapWriter {
public:
    // Makes the file with what comes before the first chunk: the header, then `front`, whose records `summary` lists
    // with offsets that count from the begin of the file. Nothing stands under the name before all that is there.
    // Another file of that name is replaced, or a reason not to write.
    static std::unique_ptr<CMcapWriter> Create(const std::string& path, bool isReplacing, ByteVector front,
                                               McapSummary summary, std::string* error);
    ~CMcapWriter();
    CMcapWriter(const CMcapWriter&) = delete;
    CMcapWriter& operator=(const CMcapWriter&) = delete;

    // After Full or Failed the file ends with the last whole chunk, and can only be closed. One thread at a time.
    EWriting Append(McapChunk chunk);
    // Beside Append(), by one thread at a time. What was appended before is then on the disk.
    bool Sync();
    // Writes the summary. False when there is no room for it: the file then ends with the last whole chunk.
    bool Close();

    uint64_t Bytes() const { return m_endBytes; }
    const std::string& Error() const { return m_error; } // after Failed

private:
    CMcapWriter(int file, McapSummary summary, uint64_t endBytes);
    bool Reserve(uint64_t nextBytes);
    bool WriteAtEnd(const ByteVector& bytes);

    int m_file;
    std::string m_path;
    bool m_isNameSynced = false; // of Sync() alone
    McapSummary m_summary;
    uint64_t m_endBytes;
    uint64_t m_reservedBytes = 0; // blocks that are kept free, counted from the begin of the file
    uint64_t m_summaryBytes;      // more than the summary would need
    bool m_canReserve = true;     // not every file system can
    std::string m_error;
};

} // namespace ox3d

#endif

// McapWriter.cpp - one write() a chunk, and room kept ahead of it, so that a full disk leaves a closed file.
#include "recording/McapWriter.h"

#include "base/LocalFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <zstd.h>

namespace ox3d {
namespace {

constexpr int kZstdLevel = 1;
constexpr uint64_t kLeastReserveBytes = uint64_t{1} << 20U; // behind the end, for the summary
constexpr uint64_t kReserveStepBytes = uint64_t{16} << 20U; // asked for at once
constexpr uint64_t kChunkSummaryBytes = 512;                // no summary says more of a chunk

std::string ReasonOf(int number) {
    return std::generic_category().message(number);
}

bool WriteAll(int file, const ByteVector& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written = write(file, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        done += static_cast<size_t>(written);
    }
    return true;
}

// A name that a folder has is on the disk once the folder is.
void SyncFolderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string folder = slash == path.npos ? "." : path.substr(0, slash + 1);
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

// A repair by another process, or a recording that looks for leftovers, must not take the file for one that nobody writes
// any more. One that came between its making and its lock has taken it away. Where files cannot be locked neither can.
int MakeLockedPart(const std::string& path, std::string* part) {
    constexpr int kManyAttempts = 10;
    for (int attempt = 0; attempt < kManyAttempts; ++attempt) {
        const int file = MakePartFile(path, part);
        struct stat status {};
        const bool isOurs = file >= 0 && (flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) &&
                            fstat(file, &status) == 0 && status.st_nlink > 0;
        if (isOurs || file < 0) {
            return file;
        }
        close(file);
        unlink(part->c_str());
    }
    errno = EBUSY;
    return -1;
}

bool Rename(const std::string& part, const std::string& path, bool isReplacing) {
    return isReplacing ? std::rename(part.c_str(), path.c_str()) == 0 : MoveToFreeName(part, path);
}

} // namespace

bool IsNoRoom(int reason) {
    return reason == ENOSPC || reason == EFBIG || reason == EDQUOT;
}

struct CMcapChunkBuilder::Compressor {
    Compressor() : m_context(ZSTD_createCCtx()) {}
    ~Compressor() { ZSTD_freeCCtx(m_context); }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;
    ZSTD_CCtx* m_context;
};

CMcapChunkBuilder::CMcapChunkBuilder() : m_compressor(std::make_unique<Compressor>()) {}

CMcapChunkBuilder::~CMcapChunkBuilder() = default;

void CMcapChunkBuilder::Start(std::span<const uint8_t> definitions) {
    m_isInMessage = false;
    m_times.clear();
    m_records.assign(definitions.begin(), definitions.end());
}

void CMcapChunkBuilder::EndMessage() {
    if (m_isInMessage) {
        EndRecord(&m_records, m_messageBegin);
        m_isInMessage = false;
    }
}

ByteVector* CMcapChunkBuilder::Begin(uint16_t channel, uint64_t sequence, uint64_t logTime,
                                     uint64_t publishTime) {
    EndMessage();
    m_startTime = m_times.empty() ? logTime : std::min(m_startTime, logTime);
    m_endTime = m_times.empty() ? logTime : std::max(m_endTime, logTime);
    m_messageBegin = BeginRecord(&m_records, EMcapRecord::Message);
    m_isInMessage = true;
    m_times[channel].emplace_back(logTime, m_messageBegin);
    Put(&m_records, channel);
    Put(&m_records, static_cast<uint32_t>(sequence));
    Put(&m_records, logTime);
    Put(&m_records, publishTime);
    return &m_records;
}

void PutMessageIndexes(const std::map<uint16_t, McapMessageTimes>& times, uint64_t offset,
                       McapChunkInfo* info, ByteVector* indexes) {
    const size_t begin = indexes->size();
    info->m_indexes.clear();
    info->m_counts.clear();
    for (const auto& [channel, messages] : times) {
        info->m_indexes.emplace_back(channel, offset + indexes->size() - begin);
        info->m_counts.emplace_back(channel, messages.size());
        PutMessageIndex(indexes, channel, messages);
    }
    info->m_indexBytes = indexes->size() - begin;
}

bool CMcapChunkBuilder::Finish(McapChunk* chunk) {
    EndMessage();
    ByteVector& out = chunk->m_bytes;
    out.clear();
    chunk->m_info = {};
    McapChunkInfo& info = chunk->m_info;
    info.m_startTime = m_startTime;
    info.m_endTime = m_endTime;
    info.m_compression = "zstd";
    info.m_uncompressedBytes = m_records.size();
    const size_t begin = BeginRecord(&out, EMcapRecord::Chunk);
    Put(&out, info.m_startTime);
    Put(&out, info.m_endTime);
    Put(&out, info.m_uncompressedBytes);
    Put(&out, McapCrc(m_records));
    PutText(&out, info.m_compression);
    Put(&out, uint64_t{0});
    const size_t front = out.size();
    out.resize(front + ZSTD_compressBound(m_records.size()));
    const size_t packed =
        m_compressor->m_context == nullptr
            ? SIZE_MAX
            : ZSTD_compressCCtx(m_compressor->m_context, out.data() + front, out.size() - front,
                                m_records.data(), m_records.size(), kZstdLevel);
    if (ZSTD_isError(packed) != 0) {
        return false;
    }
    info.m_compressedBytes = packed;
    std::memcpy(out.data() + front - sizeof(uint64_t), &info.m_compressedBytes, sizeof(uint64_t));
    out.resize(front + packed);
    EndRecord(&out, begin);
    info.m_lengthBytes = out.size();
    ByteVector indexes;
    PutMessageIndexes(m_times, info.m_lengthBytes, &info, &indexes);
    PutBytes(&out, indexes);
    return true;
}

CMcapWriter::CMcapWriter(int file, McapSummary summary, uint64_t endBytes)
    : m_file(file), m_summary(std::move(summary)), m_endBytes(endBytes),
      m_summaryBytes(kLeastReserveBytes / 2) {}

CMcapWriter::~CMcapWriter() {
    if (m_file >= 0) {
        close(m_file);
    }
    if (!m_part.empty()) {
        unlink(m_part.c_str());
    }
}

std::unique_ptr<CMcapWriter> CMcapWriter::Create(const std::string& path, bool isReplacing,
                                                 const ByteVector& front, McapSummary summary,
                                                 std::string* error) {
    struct stat status {};
    const bool isThere = lstat(path.c_str(), &status) == 0;
    if (isThere && (!isReplacing || (status.st_mode & S_IFMT) != S_IFREG)) {
        *error = path + (isReplacing ? " is no regular file" : " exists already");
        return nullptr;
    }
    std::string part;
    const int file = MakeLockedPart(path, &part);
    if (file < 0) {
        *error = "cannot make " + path + ": " + ReasonOf(errno);
        return nullptr;
    }
    std::unique_ptr<CMcapWriter> writer(new CMcapWriter(file, std::move(summary), front.size()));
    writer->m_path = path;
    writer->m_part = part;
    writer->m_isReplacing = isReplacing;
    if (!WriteAll(file, front)) {
        *error = "cannot write " + path + ": " + ReasonOf(errno);
        return nullptr;
    }
    return writer;
}

// Blocks for the next chunk and the summary behind it. A file system that knows no such thing fails at the write.
bool CMcapWriter::Reserve(uint64_t nextBytes) {
    const uint64_t neededBytes = m_endBytes + nextBytes + m_summaryBytes + kLeastReserveBytes;
    if (!m_canReserve || neededBytes <= m_reservedBytes) {
        return true;
    }
    for (const uint64_t aheadBytes : {kReserveStepBytes, uint64_t{0}}) {
        const auto from = static_cast<off_t>(m_endBytes);
        const auto length = static_cast<off_t>(neededBytes + aheadBytes - m_endBytes);
        if (fallocate(m_file, FALLOC_FL_KEEP_SIZE, from, length) == 0) {
            m_reservedBytes = neededBytes + aheadBytes;
            return true;
        }
        if (!IsNoRoom(errno)) {
            m_canReserve = false;
            return true;
        }
    }
    return false;
}

int CMcapWriter::WriteAtEnd(const ByteVector& bytes) {
    if (WriteAll(m_file, bytes)) {
        m_endBytes += bytes.size();
        return 0;
    }
    const int reason = errno;
    const auto end = static_cast<off_t>(m_endBytes);
    if (ftruncate(m_file, end) == 0) { // else readers find a torn end
        lseek(m_file, end, SEEK_SET);
    }
    return reason;
}

// A name for what is not on the disk could outlive a loss of power that its bytes do not.
int CMcapWriter::Publish() {
    if (!m_part.empty()) {
        if (fdatasync(m_file) != 0 || !Rename(m_part, m_path, m_isReplacing)) {
            return errno;
        }
        m_part.clear();
        SyncFolderOf(m_path);
    }
    return 0;
}

int CMcapWriter::Append(McapChunk chunk) {
    McapChunkInfo& info = m_summary.m_chunks.emplace_back(std::move(chunk.m_info));
    info.m_offset = m_endBytes;
    for (auto& [channel, offset] : info.m_indexes) {
        offset += m_endBytes;
    }
    int reason = Reserve(chunk.m_bytes.size()) ? WriteAtEnd(chunk.m_bytes) : ENOSPC;
    reason = reason == 0 ? Publish() : reason;
    if (reason == 0) {
        m_summaryBytes += kChunkSummaryBytes;
    } else {
        m_summary.m_chunks.pop_back();
    }
    return reason;
}

int CMcapWriter::Sync() {
    return fdatasync(m_file) == 0 ? 0 : errno;
}

int CMcapWriter::Close() {
    if (!m_part.empty()) {
        m_endBytes = 0; // the part goes with the writer
        return 0;
    }
    ByteVector end;
    PutEnd(&end, m_summary, m_endBytes);
    int reason = WriteAtEnd(end);
    const auto note = [&](bool isDone) { reason = isDone || reason != 0 ? reason : errno; };
    note(ftruncate(m_file, static_cast<off_t>(m_endBytes)) ==
         0); // gives back what was reserved behind the end
    note(fdatasync(m_file) == 0);
    note(close(std::exchange(m_file, -1)) == 0);
    return reason;
}

} // namespace ox3d

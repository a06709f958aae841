// McapRepair.cpp - the torn end is cut off, then what CMcapWriter::Close() would have written is put there. A kill in
// between leaves a file that can be repaired again.
#include "recording/McapRepair.h"

#include "recording/McapReader.h"
#include "recording/McapWriter.h"

#include <cerrno>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace ox3d {
namespace {

std::string PlaceOf(const McapChunkInfo& chunk) {
    return "the chunk at byte " + std::to_string(chunk.m_offset);
}

// Keeps the chunks that unpack to what their checksums say. Their messages tell what indexes they need.
class CChunkCheck {
public:
    CChunkCheck(const CMcapFile& file, McapRepairReport* report) : m_file(file), m_report(report) {}

    bool IsGood(const McapChunkInfo& chunk) {
        std::string error;
        if (!m_reader.Read(m_file, chunk, &m_messages, &error)) {
            m_report->m_badChunks.push_back(PlaceOf(chunk) + ": " + error);
            return false;
        }
        ++m_report->m_goodChunks;
        return true;
    }
    std::map<uint16_t, McapMessageTimes> Times() const {
        std::map<uint16_t, McapMessageTimes> times;
        for (const McapMessage& message : m_messages) {
            times[message.m_channel].emplace_back(message.m_logTime, message.m_offset);
        }
        return times;
    }

private:
    const CMcapFile& m_file;
    McapRepairReport* m_report;
    CMcapChunkReader m_reader;
    std::vector<McapMessage> m_messages;
};

bool WriteAt(int file, uint64_t offset, const ByteVector& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written =
            pwrite(file, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
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

// What has to follow the data, whose end it may move back: to the last chunk's, whose indexes are torn.
ByteVector EndOf(const CMcapFile& file, McapContents* contents, McapRepairReport* report) {
    McapSummary& summary = contents->m_summary;
    ByteVector end;
    CChunkCheck check(file, report);
    std::vector<McapChunkInfo> good;
    for (McapChunkInfo& chunk : summary.m_chunks) {
        const bool isLast = &chunk == &summary.m_chunks.back();
        if (!check.IsGood(chunk)) {
            continue;
        }
        const auto times = check.Times();
        // Only where nothing but the torn indexes would be cut off.
        const bool isAtEnd =
            contents->m_wholeBytes == chunk.m_offset + chunk.m_lengthBytes + chunk.m_indexBytes;
        if (isLast && isAtEnd && chunk.m_indexes.size() < times.size()) {
            contents->m_wholeBytes = chunk.m_offset + chunk.m_lengthBytes;
            PutMessageIndexes(times, &chunk, &end);
        }
        good.push_back(std::move(chunk));
    }
    summary.m_chunks = std::move(good);
    const uint64_t dataEnd = contents->m_wholeBytes + end.size();
    PutEnd(&end, summary, dataEnd);
    return end;
}

EMcapRepair Close(const CMcapFile& file, McapContents* contents, McapRepairReport* report,
                  std::string* error) {
    const ByteVector end = EndOf(file, contents, report);
    report->m_damagedBytes = contents->m_damagedBytes;
    report->m_cutBytes = file.Bytes() - contents->m_wholeBytes;
    if (ftruncate(file.Descriptor(), static_cast<off_t>(contents->m_wholeBytes)) != 0 ||
        !WriteAt(file.Descriptor(), contents->m_wholeBytes, end) || fdatasync(file.Descriptor()) != 0) {
        *error = std::generic_category().message(errno);
        return EMcapRepair::Failed;
    }
    return EMcapRepair::Ok;
}

} // namespace

EMcapRepair RepairMcap(const std::string& path, McapRepairReport* report, std::string* error) {
    *report = {};
    CMcapFile file;
    if (!file.Open(path, true, error)) {
        return EMcapRepair::Foreign;
    }
    if (flock(file.Descriptor(), LOCK_EX | LOCK_NB) != 0) {
        *error = path + ": a recording into it is under way";
        return EMcapRepair::Busy;
    }
    McapContents contents;
    report->m_wasClosed = ReadMcapSummary(file, &contents);
    if (report->m_wasClosed) {
        CChunkCheck check(file, report);
        for (const McapChunkInfo& chunk : contents.m_summary.m_chunks) {
            check.IsGood(chunk);
        }
        return EMcapRepair::Ok;
    }
    if (!ScanMcap(file, &contents, error)) {
        *error = path + ": " + *error;
        return EMcapRepair::Foreign;
    }
    const EMcapRepair result = Close(file, &contents, report, error);
    if (result == EMcapRepair::Ok) {
        CMcapFile closed;
        McapContents again;
        if (!closed.Open(path, false, error) || !ReadMcapSummary(closed, &again)) {
            *error = "the summary that was written cannot be read";
            return EMcapRepair::Failed;
        }
    }
    return result;
}

} // namespace ox3d

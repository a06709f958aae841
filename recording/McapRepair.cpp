// McapRepair.cpp - the torn end, or a summary that is not right, is cut off, then what CMcapWriter::Close() would have
// written is put there. A kill in between leaves a file that can be repaired again.
#include "recording/McapRepair.h"

#include "recording/McapRecording.h"
#include "recording/McapWriter.h"

#include <algorithm>
#include <cerrno>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace ox3d {
namespace {

constexpr uint64_t kMaxHeaderBytes = 4096;

std::string PlaceOf(const McapChunkInfo& chunk) {
    return "the chunk at byte " + std::to_string(chunk.m_offset);
}

// Keeps the chunks that unpack to what their checksums say. Their messages tell what indexes they need.
class CChunkCheck {
public:
    CChunkCheck(const CMcapFile& file, const McapSummary& summary, McapRepairReport* report)
        : m_file(file), m_parts(McapPartsOf(summary)), m_report(report) {}

    bool IsGood(const McapChunkInfo& chunk) {
        std::string error;
        if (!m_reader.Read(m_file, chunk, &m_messages, &error)) {
            m_report->m_badChunks.push_back(PlaceOf(chunk) + ": " + error);
            return false;
        }
        ++m_report->m_goodChunks;
        m_isRewritten = m_isRewritten || !IsOneFrame(m_messages, m_parts);
        return true;
    }
    // Of the messages whose channels the summary has, by channel. Also says in *chunk from when to when they are.
    std::map<uint16_t, McapMessageTimes> Times(const McapSummary& summary, McapChunkInfo* chunk) const {
        std::map<uint16_t, McapMessageTimes> times;
        for (const McapMessage& message : m_messages) {
            const bool isFirst = &message == &m_messages.front();
            chunk->m_startTime = std::min(isFirst ? UINT64_MAX : chunk->m_startTime, message.m_logTime);
            chunk->m_endTime = std::max(isFirst ? 0 : chunk->m_endTime, message.m_logTime);
            if (std::any_of(summary.m_channels.begin(), summary.m_channels.end(),
                            [&](const McapChannel& channel) { return channel.m_id == message.m_channel; })) {
                times[message.m_channel].emplace_back(message.m_logTime, message.m_offset);
            }
        }
        return times;
    }

    // Whether a good chunk was none of a recorder's.
    bool IsRewritten() const { return m_isRewritten; }

private:
    const CMcapFile& m_file;
    const std::map<uint16_t, EMcapPart> m_parts;
    McapRepairReport* m_report;
    bool m_isRewritten = false;
    CMcapChunkReader m_reader;
    std::vector<McapMessage> m_messages;
};

void LeaveOutBadAttachments(const CMcapFile& file, McapSummary* summary, McapRepairReport* report) {
    std::string data;
    std::erase_if(summary->m_attachments, [&](const McapAttachmentInfo& attachment) {
        const bool isGood = ReadMcapAttachment(file, attachment, kMaxMcapAttachmentBytes, &data);
        if (!isGood) {
            report->m_badAttachments.push_back(attachment.m_name);
        }
        return !isGood;
    });
}

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

// Leaves out what is damaged. A reader believes what a summary says, so all of it is taken from what the chunks hold.
class CRebuild {
public:
    CRebuild(const CMcapFile& file, McapContents* contents, McapRepairReport* report)
        : m_file(file), m_contents(*contents), m_report(report), m_check(file, contents->m_summary, report) {}

    // What has to follow the data.
    ByteVector End() {
        McapSummary& summary = m_contents.m_summary;
        std::vector<McapChunkInfo> good;
        for (McapChunkInfo& chunk : summary.m_chunks) {
            if (m_check.IsGood(chunk)) {
                SetIndexes(&chunk);
                good.push_back(std::move(chunk));
            }
        }
        summary.m_chunks = std::move(good);
        LeaveOutBadAttachments(m_file, &summary, m_report);
        PutEnd(&m_end, summary, m_contents.m_wholeBytes + m_end.size());
        return std::move(m_end);
    }
    bool IsRewritten() const { return m_check.IsRewritten(); }

private:
    // Where they are said to be or ought to be. What is not what the chunk's messages ask for is written anew, behind the
    // data.
    void SetIndexes(McapChunkInfo* chunk) {
        const auto times = m_check.Times(m_contents.m_summary, chunk);
        const uint64_t behind = chunk->m_offset + chunk->m_lengthBytes;
        const uint64_t listed = chunk->m_indexes.empty() ? behind : chunk->m_indexes.front().second;
        for (const uint64_t place : {listed, behind}) {
            ByteVector wanted;
            ByteVector there;
            PutMessageIndexes(times, place, chunk, &wanted);
            if (m_file.Read(place, wanted.size(), &there) && there == wanted &&
                place + wanted.size() <= m_contents.m_wholeBytes) {
                return;
            }
        }
        PutMessageIndexes(times, m_contents.m_wholeBytes + m_end.size(), chunk, &m_end);
    }

    const CMcapFile& m_file;
    McapContents& m_contents;
    McapRepairReport* m_report;
    CChunkCheck m_check;
    ByteVector m_end;
};

// Readers of ROS go by the profile, whose length the scan has found right.
ByteVector HeaderOf(const CMcapFile& file) {
    ByteVector head;
    ByteVector content;
    ByteVector front;
    const bool isThere = file.Read(kMcapMagic.size(), kMcapRecordHeadBytes, &head) &&
                         static_cast<EMcapRecord>(head[0]) == EMcapRecord::Header;
    const auto lengthBytes = isThere ? CByteReader(std::span(head).subspan(1)).Take<uint64_t>() : 0;
    if (lengthBytes <= kMaxHeaderBytes &&
        file.Read(kMcapMagic.size() + kMcapRecordHeadBytes, lengthBytes, &content)) {
        CByteReader reader(content);
        reader.Text();
        PutHeader(&front, reader.Text());
    }
    return front.size() == kMcapMagic.size() + kMcapRecordHeadBytes + lengthBytes ? front : ByteVector();
}

// What other readers ask for before anything else. The header's place is filled to its last byte.
ByteVector FrontOf(const CMcapFile& file, const McapContents& contents) {
    ByteVector front;
    PutHeader(&front, "");
    const uint64_t neededBytes = front.size() - kMcapMagic.size();
    if (contents.m_lostHeaderBytes >= neededBytes) {
        front.clear();
        PutHeader(&front, std::string(contents.m_lostHeaderBytes - neededBytes, ' '));
        return front;
    }
    ByteVector header = contents.m_lostHeaderBytes == 0 ? HeaderOf(file) : ByteVector();
    front.resize(kMcapMagic.size());
    return header.empty() ? front : header;
}

bool IsThere(const CMcapFile& file, uint64_t offset, const ByteVector& bytes) {
    ByteVector there;
    return file.Read(offset, bytes.size(), &there) && there == bytes;
}

// Writes what is not as it has to be.
EMcapRepair Close(const CMcapFile& file, McapContents* contents, McapRepairReport* report,
                  std::string* error) {
    CRebuild rebuild(file, contents, report);
    const ByteVector end = rebuild.End();
    if (contents->m_summary.m_chunks.empty()) {
        *error = "there is no whole frame in it";
        return EMcapRepair::Empty;
    }
    if (rebuild.IsRewritten()) {
        *error =
            "another program has rewritten it; it is played as it is, and left to such programs to repair";
        return EMcapRepair::Foreign;
    }
    const ByteVector front = FrontOf(file, *contents);
    report->m_damagedBytes = contents->m_damagedBytes;
    if (!contents->m_isClosed) {
        report->m_cutBytes = file.Bytes() - contents->m_wholeBytes;
    } else if (file.Bytes() == contents->m_wholeBytes + end.size() &&
               IsThere(file, contents->m_wholeBytes, end) && IsThere(file, 0, front)) {
        return EMcapRepair::Ok;
    }
    report->m_isMended = true;
    if (ftruncate(file.Descriptor(), static_cast<off_t>(contents->m_wholeBytes)) != 0 ||
        !WriteAt(file.Descriptor(), contents->m_wholeBytes, end) || !WriteAt(file.Descriptor(), 0, front) ||
        fdatasync(file.Descriptor()) != 0) {
        *error = std::generic_category().message(errno);
        return EMcapRepair::Failed;
    }
    return EMcapRepair::Ok;
}

// The summary knows the chunks of a closed file better than a search could find them; how its first bytes are, and what
// is damaged besides, a search alone tells. A summary that lists itself is none.
bool FindParts(const CMcapFile& file, McapContents* contents, std::string* error) {
    McapContents closed;
    if (!ReadMcapSummary(file, &closed)) {
        return ScanMcap(file, contents, error);
    }
    std::string ignored;
    ScanMcap(file, contents, &ignored, kMcapMagic.size()); // its end says what it is
    // A search may miss parts whose heads are damaged: the header's place ends before the first that the summary knows.
    uint64_t first = closed.m_wholeBytes;
    bool areInData = true;
    const auto look = [&](const auto& parts) {
        for (const auto& part : parts) {
            areInData = areInData && part.m_offset + part.m_lengthBytes <= closed.m_wholeBytes;
            first = std::min(first, part.m_offset);
        }
    };
    look(closed.m_summary.m_chunks);
    look(closed.m_summary.m_attachments);
    look(closed.m_summary.m_metadata);
    if (areInData) {
        closed.m_damagedBytes = contents->m_damagedBytes;
        closed.m_lostHeaderBytes =
            std::min(contents->m_lostHeaderBytes, first - std::min(first, uint64_t{kMcapMagic.size()}));
        *contents = std::move(closed);
    }
    return true;
}

EMcapRepair Repair(const std::string& path, McapRepairReport* report, std::string* error) {
    CMcapFile file;
    if (!file.Open(path, true, error)) {
        return EMcapRepair::Foreign;
    }
    // Where files cannot be locked recorders have none locked.
    if (flock(file.Descriptor(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        *error = path + ": a recording into it is under way";
        return EMcapRepair::Busy;
    }
    McapContents contents;
    TextMap facts;
    file.Measure(); // a recorder may have written until just then
    if (!FindParts(file, &contents, error) || !ReadRecordedFacts(file, contents.m_summary, &facts, error)) {
        *error = path + ": " + *error;
        return EMcapRepair::Foreign;
    }
    report->m_wasClosed = contents.m_isClosed;
    const EMcapRepair result = Close(file, &contents, report, error);
    if (result == EMcapRepair::Empty || result == EMcapRepair::Foreign) {
        *error = path + ": " + *error;
    }
    CMcapFile closed;
    McapContents again;
    if (result == EMcapRepair::Ok && (!closed.Open(path, false, error) || !ReadMcapSummary(closed, &again))) {
        *error = "the summary that was written cannot be read";
        return EMcapRepair::Failed;
    }
    return result;
}

} // namespace

EMcapRepair RepairMcap(const std::string& path, McapRepairReport* report, std::string* error) {
    *report = {};
    try {
        return Repair(path, report, error);
    } catch (const std::exception& failure) {
        *error = failure.what();
        return EMcapRepair::Failed;
    }
}

} // namespace ox3d

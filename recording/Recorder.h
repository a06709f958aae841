// Recorder.h - records frames into an MCAP file without holding up the thread that brings them.
#ifndef OX3D_RECORDING_RECORDER_H
#define OX3D_RECORDING_RECORDER_H

#include "base/ImageMemory.h"
#include "base/Mutex.h"
#include "recording/McapWriter.h"
#include "recording/RecordedFrame.h"

#include <deque>
#include <thread>

namespace ox3d {

class CFrameEncoder;
enum class EEncoded;

enum class EWriting { Ok, Full, Failed };

enum class EFullQueue { Drop, Wait };

enum class ERecordedColor { None, Jpeg, Raw };

struct RecorderOptions {
    std::string m_library = "ox3d"; // who writes, with its version
    bool m_isReplacing = false;     // a file of that name
    ERecordedColor m_color = ERecordedColor::Jpeg;
    int m_jpegQuality = 90;
    size_t m_queueFrames = 30;
    size_t m_encoders = 2; // threads
    std::chrono::milliseconds m_syncInterval{1000};
};

struct RecorderCounts {
    uint64_t m_written = 0;      // frames
    uint64_t m_withoutColor = 0; // of them, since no image could be made of their color
    uint64_t m_dropped = 0;      // for a full queue, for want of memory, or with images of impossible sizes
    uint64_t m_bytes = 0;        // of the file
    EWriting m_state = EWriting::Ok;
    std::string m_error; // when m_state is not Ok; empty where there is no memory for it
};

// Add() may be called by any thread, one at a time, and in a frame callback: it copies the images and returns.
// Encoders take frames in their order, pack them beside each other and write them in their order.
class CRecorder {
public:
    // Makes the file, which has its name from the first frame on. Null with a reason in *error.
    static std::unique_ptr<CRecorder> Open(const std::string& path, const RecordedCamera& camera,
                                           const RecorderOptions& options, std::string* error);
    ~CRecorder();
    CRecorder(const CRecorder&) = delete;
    CRecorder& operator=(const CRecorder&) = delete;

    // False when the frame was dropped, or nothing can be written any more. A full queue is waited for where no camera is.
    bool Add(const FrameView& frame, EFullQueue full = EFullQueue::Drop) OX_EXCLUDES(m_mutex);
    RecorderCounts Counts() const OX_EXCLUDES(m_mutex);
    // Writes what waits and closes the file.
    RecorderCounts Finish() OX_EXCLUDES(m_mutex);

private:
    // A frame in the queue, with its images in memory of its own, which goes from frame to frame.
    struct Job {
        FrameView m_frame;
        ImageBytes m_depth;
        ImageBytes m_color;
        uint64_t m_ticket = 0;
    };
    using JobPointer = std::unique_ptr<Job>;

    CRecorder(const RecordedCamera& camera, const RecorderOptions& options);
    bool Start(const std::string& path, std::string* error);
    bool Queue(const FrameView& frame, EFullQueue full) OX_EXCLUDES(m_mutex);
    JobPointer TakeFree(EFullQueue full) OX_EXCLUDES(m_mutex);
    bool PutIntoQueue(JobPointer job) OX_EXCLUDES(m_mutex);
    JobPointer TakeJob() OX_EXCLUDES(m_mutex);
    void Encode(CFrameEncoder* encoder) noexcept OX_EXCLUDES(m_mutex);
    bool AwaitTurn(uint64_t ticket) OX_EXCLUDES(m_mutex);
    void Write(McapChunk chunk, EEncoded encoded, JobPointer job) OX_EXCLUDES(m_mutex);
    void Fail(int reason) OX_REQUIRES(m_mutex);
    void SyncNowAndThen() noexcept OX_EXCLUDES(m_mutex);
    void Stop() OX_EXCLUDES(m_mutex);
    void End() noexcept OX_EXCLUDES(m_mutex);

    const RecordedCamera m_camera;
    const RecorderOptions m_options;
    std::unique_ptr<CMcapWriter> m_writer; // Append() by the thread whose turn it is
    std::vector<std::unique_ptr<CFrameEncoder>> m_encoders;
    std::vector<std::thread> m_threads;

    mutable CMutex m_mutex;
    CCondition m_changed;
    std::deque<JobPointer> m_queue OX_GUARDED_BY(m_mutex);
    std::vector<JobPointer> m_free OX_GUARDED_BY(m_mutex);
    uint64_t m_jobs OX_GUARDED_BY(m_mutex) = 0;     // tickets given out
    uint64_t m_turn OX_GUARDED_BY(m_mutex) = 0;     // the ticket that is written next
    bool m_isEnding OX_GUARDED_BY(m_mutex) = false; // no more frames come
    bool m_areEncodersDone OX_GUARDED_BY(m_mutex) = false;
    bool m_isFinished OX_GUARDED_BY(m_mutex) = false;
    RecorderCounts m_counts OX_GUARDED_BY(m_mutex);
};

} // namespace ox3d

#endif

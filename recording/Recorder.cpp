// Recorder.cpp - the queue between the thread that brings frames and those that pack and write them.
#include "recording/Recorder.h"

#include "base/SignalMask.h"
#include "recording/FrameEncoder.h"

namespace ox3d {
namespace {

constexpr uint64_t kMaxImagePixels = uint64_t{64} << 20U;

bool IsSized(uint32_t width, uint32_t height) {
    return width > 0 && height > 0 && uint64_t{width} * height <= kMaxImagePixels;
}

void CopyRows(const DepthView& from, ImageBytes* to) {
    const size_t rowBytes = size_t{from.m_width} * sizeof(uint16_t);
    to->resize(rowBytes * from.m_height);
    for (size_t row = 0; row < from.m_height; ++row) {
        std::memcpy(to->data() + row * rowBytes, from.m_samples + row * from.m_strideSamples, rowBytes);
    }
}

} // namespace

CRecorder::CRecorder(const RecordedCamera& camera, const RecorderOptions& options)
    : m_camera(camera), m_options(options) {
    const CLock lock(m_mutex);
    m_free.reserve(options.m_queueFrames);
}

std::unique_ptr<CRecorder> CRecorder::Open(const std::string& path, const RecordedCamera& camera,
                                           const RecorderOptions& options, std::string* error) {
    try {
        std::unique_ptr<CRecorder> recorder(new CRecorder(camera, options));
        return recorder->Start(path, error) ? std::move(recorder) : nullptr;
    } catch (const std::bad_alloc&) {
        error->assign("no memory"); // within the string's own room
        return nullptr;
    }
}

CRecorder::~CRecorder() {
    Finish();
}

bool CRecorder::Start(const std::string& path, std::string* error) {
    for (size_t i = 0; i < std::max<size_t>(m_options.m_encoders, 1); ++i) {
        m_encoders.push_back(
            std::make_unique<CFrameEncoder>(m_camera, m_options.m_color, m_options.m_jpegQuality));
    }
    ByteVector front;
    McapSummary summary;
    PutRecordingFront(m_camera, m_options.m_library, m_options.m_color, &front, &summary);
    const uint64_t frontBytes = front.size();
    m_writer =
        CMcapWriter::Create(path, m_options.m_isReplacing, std::move(front), std::move(summary), error);
    if (m_writer == nullptr) {
        return false;
    }
    {
        const CLock lock(m_mutex);
        m_counts.m_bytes = frontBytes;
    }
    try {
        const CSignalsBlocked blocked;
        for (const auto& encoder : m_encoders) {
            m_threads.emplace_back([this, &encoder] { Encode(*encoder); });
        }
        m_threads.emplace_back([this] { SyncNowAndThen(); });
    } catch (const std::system_error& failure) {
        *error = std::string("no thread to write with: ") + failure.what();
        Stop();
        return false;
    }
    return true;
}

// Null when the frame has to be dropped.
CRecorder::JobPointer CRecorder::TakeFree() {
    const CLock lock(m_mutex);
    if (m_isEnding || m_counts.m_state != EWriting::Ok || m_queue.size() >= m_options.m_queueFrames) {
        return nullptr;
    }
    if (m_free.empty()) {
        return std::make_unique<Job>();
    }
    JobPointer job = std::move(m_free.back());
    m_free.pop_back();
    return job;
}

void CRecorder::PutIntoQueue(JobPointer job) {
    const CLock lock(m_mutex);
    job->m_ticket = m_jobs;
    m_queue.push_back(std::move(job));
    ++m_jobs;
    m_changed.NotifyAll();
}

bool CRecorder::Queue(const FrameView& frame) {
    const ColorView& color = frame.m_color;
    const bool hasColor = color.m_bytes != nullptr && m_options.m_color != ERecordedColor::None;
    const DepthView& depth = frame.m_depth;
    if (depth.m_samples == nullptr || !IsSized(depth.m_width, depth.m_height) ||
        depth.m_strideSamples < depth.m_width || (hasColor && !IsSized(color.m_width, color.m_height))) {
        return false;
    }
    JobPointer job = TakeFree();
    if (job == nullptr) {
        return false;
    }
    job->m_frame = frame;
    CopyRows(depth, &job->m_depth);
    const size_t colorBytes = hasColor ? size_t{color.m_width} * color.m_height * 3 : 0;
    job->m_color.resize(colorBytes);
    if (hasColor) {
        std::memcpy(job->m_color.data(), color.m_bytes, colorBytes);
    }
    job->m_frame.m_color.m_bytes = hasColor ? job->m_color.data() : nullptr;
    job->m_frame.m_depth.m_samples = nullptr; // the caller's
    PutIntoQueue(std::move(job));
    return true;
}

bool CRecorder::Add(const FrameView& frame) {
    bool isQueued = false;
    try {
        isQueued = Queue(frame);
    } catch (const std::bad_alloc&) {
        isQueued = false;
    }
    const CLock lock(m_mutex);
    m_counts.m_dropped += isQueued || m_counts.m_state != EWriting::Ok ? 0 : 1;
    return isQueued;
}

RecorderCounts CRecorder::Counts() const {
    const CLock lock(m_mutex);
    return m_counts;
}

// Null when all is done.
CRecorder::JobPointer CRecorder::TakeJob() {
    const CLock lock(m_mutex);
    while (m_queue.empty() && !m_isEnding) {
        m_changed.Wait(m_mutex);
    }
    if (m_queue.empty()) {
        return nullptr;
    }
    JobPointer job = std::move(m_queue.front());
    m_queue.pop_front();
    return job;
}

void CRecorder::Encode(CFrameEncoder& encoder) {
    while (JobPointer job = TakeJob()) {
        McapChunk chunk;
        bool isPacked = false;
        try {
            const bool isFirst = job->m_ticket == 0;
            isPacked = encoder.Encode(job->m_frame, job->m_depth, job->m_ticket, isFirst, &chunk);
        } catch (const std::bad_alloc&) {
            isPacked = false;
        }
        Write(std::move(chunk), isPacked, std::move(job));
    }
}

// Waits for the frame's turn. Every ticket gets its turn, whatever became of its frame.
void CRecorder::Write(McapChunk chunk, bool isPacked, JobPointer job) {
    CLock lock(m_mutex);
    while (m_turn != job->m_ticket) {
        m_changed.Wait(m_mutex);
    }
    EWriting state = m_counts.m_state;
    if (isPacked && state == EWriting::Ok) {
        lock.Unlock();
        try {
            state = m_writer->Append(std::move(chunk));
        } catch (const std::bad_alloc&) {
            isPacked = false;
        }
        lock.Lock();
    }
    if (!isPacked) {
        ++m_counts.m_dropped;
    } else if (state == EWriting::Ok) {
        ++m_counts.m_written;
        m_counts.m_bytes = m_writer->Bytes();
    } else if (m_counts.m_state == EWriting::Ok) {
        m_counts.m_state = state;
        m_counts.m_error = m_writer->Error();
    }
    ++m_turn;
    if (m_free.size() < m_options.m_queueFrames) {
        m_free.push_back(std::move(job));
    }
    m_changed.NotifyAll();
}

// A disk may take long for it, while frames go on into the system's memory.
void CRecorder::SyncNowAndThen() {
    CLock lock(m_mutex);
    auto next = std::chrono::steady_clock::now() + m_options.m_syncInterval;
    while (!m_areEncodersDone) {
        if (m_changed.WaitUntil(m_mutex, next)) {
            continue;
        }
        lock.Unlock();
        m_writer->Sync(); // one that fails says so at the next write or at the end
        lock.Lock();
        next = std::chrono::steady_clock::now() + m_options.m_syncInterval;
    }
}

void CRecorder::Stop() {
    {
        const CLock lock(m_mutex);
        m_isEnding = true;
        m_changed.NotifyAll();
    }
    // The last thread, where there is one more than encoders, is the one that syncs.
    for (size_t i = 0; i < m_threads.size(); ++i) {
        if (i == m_encoders.size()) {
            const CLock lock(m_mutex);
            m_areEncodersDone = true;
            m_changed.NotifyAll();
        }
        m_threads[i].join();
    }
    m_threads.clear();
}

RecorderCounts CRecorder::Finish() {
    Stop();
    CLock lock(m_mutex);
    if (!m_isFinished && m_writer != nullptr) {
        m_isFinished = true;
        lock.Unlock();
        const bool isClosed = m_writer->Close();
        lock.Lock();
        m_counts.m_bytes = m_writer->Bytes();
        if (!isClosed && m_counts.m_state == EWriting::Ok) {
            m_counts.m_state = EWriting::Failed;
            m_counts.m_error = m_writer->Error();
        }
    }
    return m_counts;
}

} // namespace ox3d

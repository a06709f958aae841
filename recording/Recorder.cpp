// Recorder.cpp - the queue between the thread that brings frames and those that pack and write them.
#include "recording/Recorder.h"

#include "base/SignalMask.h"
#include "recording/FrameEncoder.h"

#include <cerrno>
#include <system_error>

namespace ox3d {
namespace {

constexpr uint64_t kMaxImagePixels = uint64_t{64} << 20U;

bool IsSized(uint32_t width, uint32_t height) {
    return width > 0 && height > 0 && uint64_t{width} * height <= kMaxImagePixels;
}

// 0: an image of an impossible size, or packed where it is not to be.
size_t ColorBytes(const ColorView& color, bool mayBePacked) {
    constexpr size_t kMaxJpegBytes = size_t{256} << 20U;
    if (!IsSized(color.m_width, color.m_height)) {
        return 0;
    }
    if (color.m_layout != EColorLayout::Jpeg) {
        return size_t{color.m_width} * color.m_height * 3;
    }
    return mayBePacked && color.m_jpegBytes <= kMaxJpegBytes ? color.m_jpegBytes : 0;
}

void CopyRows(const DepthView& from, ImageBytes* to) {
    const size_t rowBytes = size_t{from.m_width} * sizeof(uint16_t);
    to->resize(rowBytes * from.m_height);
    for (size_t row = 0; row < from.m_height; ++row) {
        std::memcpy(to->data() + row * rowBytes, from.m_samples + row * from.m_strideSamples, rowBytes);
    }
}

// Whatever was asked for: threads and memory have bounds, and a thread that syncs does not spin.
RecorderOptions Bounded(RecorderOptions options) {
    using std::chrono::milliseconds;
    constexpr size_t kMaxQueueFrames = 10000;
    constexpr size_t kMaxEncoders = 64;
    constexpr milliseconds kLeastSync(10);
    constexpr milliseconds kMostSync(3600000);
    options.m_queueFrames = std::min(options.m_queueFrames, kMaxQueueFrames);
    options.m_encoders = std::clamp<size_t>(options.m_encoders, 1, kMaxEncoders);
    options.m_syncInterval = std::clamp(options.m_syncInterval, kLeastSync, kMostSync);
    return options;
}

EEncoded EncodeJob(CFrameEncoder* encoder, const FrameView& frame, const ImageBytes& depth, uint64_t ticket,
                   bool isFirst, McapChunk* chunk) {
    try {
        return encoder->Encode(frame, depth, ticket, isFirst, chunk);
    } catch (const std::exception&) { // no memory
        return EEncoded::Failed;
    }
}

} // namespace

CRecorder::CRecorder(const RecordedCamera& camera, const RecorderOptions& options)
    : m_camera(camera), m_options(Bounded(options)) {
    const CLock lock(m_mutex);
    m_free.reserve(m_options.m_queueFrames);
}

CRecorder::~CRecorder() {
    End();
}

std::unique_ptr<CRecorder> CRecorder::Open(const std::string& path, const RecordedCamera& camera,
                                           const RecorderOptions& options, std::string* error) {
    try {
        std::unique_ptr<CRecorder> recorder(new CRecorder(camera, options));
        return recorder->Start(path, error) ? std::move(recorder) : nullptr;
    } catch (const std::system_error& failure) {
        *error = std::string("no thread to write with: ") + failure.what();
    } catch (const std::exception&) {
        error->assign("no memory"); // within the string's own room
    }
    return nullptr;
}

bool CRecorder::Start(const std::string& path, std::string* error) {
    ByteVector front;
    McapSummary summary;
    PutRecordingFront(m_camera, m_options.m_library, m_options.m_color, &front, &summary);
    const uint64_t frontBytes = front.size();
    m_writer = CMcapWriter::Create(path, m_options.m_isReplacing, front, std::move(summary), error);
    if (m_writer == nullptr) {
        return false;
    }
    {
        const CLock lock(m_mutex);
        m_counts.m_bytes = frontBytes;
    }
    for (size_t i = 0; i < m_options.m_encoders; ++i) {
        m_encoders.push_back(
            std::make_unique<CFrameEncoder>(m_camera, m_options.m_color, m_options.m_jpegQuality));
    }
    m_threads.reserve(m_encoders.size() + 1);
    const CSignalsBlocked blocked;
    for (const auto& encoder : m_encoders) {
        m_threads.emplace_back([this, own = encoder.get()] { Encode(own); });
    }
    m_threads.emplace_back([this] { SyncNowAndThen(); });
    return true;
}

// Null when the frame has to be dropped.
CRecorder::JobPointer CRecorder::TakeFree(EFullQueue full) {
    const CLock lock(m_mutex);
    const auto isOver = [this]()
                            OX_REQUIRES(m_mutex) { return m_isEnding || m_counts.m_state != EWriting::Ok; };
    while (full == EFullQueue::Wait && !isOver() && m_queue.size() >= m_options.m_queueFrames) {
        m_changed.Wait(m_mutex);
    }
    if (isOver() || m_queue.size() >= m_options.m_queueFrames) {
        return nullptr;
    }
    if (m_free.empty()) {
        return std::make_unique<Job>();
    }
    JobPointer job = std::move(m_free.back());
    m_free.pop_back();
    return job;
}

// False where the recording has ended since TakeFree(): nobody may wait for frames any more.
bool CRecorder::PutIntoQueue(JobPointer job) {
    const CLock lock(m_mutex);
    if (m_isEnding) {
        return false;
    }
    job->m_ticket = m_jobs;
    m_queue.push_back(std::move(job));
    ++m_jobs;
    m_changed.NotifyAll();
    return true;
}

bool CRecorder::Queue(const FrameView& frame, EFullQueue full) {
    const ColorView& color = frame.m_color;
    const bool hasColor = color.m_bytes != nullptr && m_options.m_color != ERecordedColor::None;
    const size_t colorBytes = hasColor ? ColorBytes(color, m_options.m_color == ERecordedColor::Jpeg) : 0;
    const DepthView& depth = frame.m_depth;
    if (depth.m_samples == nullptr || !IsSized(depth.m_width, depth.m_height) ||
        depth.m_strideSamples < depth.m_width || (hasColor && colorBytes == 0)) {
        return false;
    }
    JobPointer job = TakeFree(full);
    if (job == nullptr) {
        return false;
    }
    job->m_frame = frame;
    CopyRows(depth, &job->m_depth);
    job->m_color.resize(colorBytes);
    if (hasColor) {
        std::memcpy(job->m_color.data(), color.m_bytes, colorBytes);
    }
    job->m_frame.m_color.m_bytes = hasColor ? job->m_color.data() : nullptr;
    job->m_frame.m_depth.m_samples = nullptr; // the caller's
    return PutIntoQueue(std::move(job));
}

bool CRecorder::Add(const FrameView& frame, EFullQueue full) {
    bool isQueued = false;
    try {
        isQueued = Queue(frame, full);
    } catch (const std::exception&) { // no memory
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

void CRecorder::Encode(CFrameEncoder* encoder) noexcept {
    while (JobPointer job = TakeJob()) {
        McapChunk chunk;
        const uint64_t ticket = job->m_ticket;
        EEncoded encoded = EncodeJob(encoder, job->m_frame, job->m_depth, ticket, ticket == 0, &chunk);
        if (AwaitTurn(ticket) && ticket != 0) { // those before were dropped
            encoded = EncodeJob(encoder, job->m_frame, job->m_depth, ticket, true, &chunk);
        }
        Write(std::move(chunk), encoded, std::move(job));
    }
}

// Every ticket gets its turn, whatever became of its frame. Whether its frame would be the first in the file.
bool CRecorder::AwaitTurn(uint64_t ticket) {
    const CLock lock(m_mutex);
    while (m_turn != ticket) {
        m_changed.Wait(m_mutex);
    }
    return m_counts.m_written == 0;
}

// The first reason stays.
void CRecorder::Fail(int reason) {
    if (m_counts.m_state != EWriting::Ok || reason == 0) {
        return;
    }
    m_counts.m_state = IsNoRoom(reason) ? EWriting::Full : EWriting::Failed;
    try {
        m_counts.m_error = std::generic_category().message(reason);
    } catch (const std::exception&) {
        m_counts.m_error.clear();
    }
}

// The calling thread's turn it is.
void CRecorder::Write(McapChunk chunk, EEncoded encoded, JobPointer job) {
    CLock lock(m_mutex);
    int reason = 0;
    const bool isWriting = m_counts.m_state == EWriting::Ok;
    if (encoded != EEncoded::Failed && isWriting) {
        lock.Unlock();
        try {
            reason = m_writer->Append(std::move(chunk));
        } catch (const std::exception&) { // no memory
            encoded = EEncoded::Failed;
        }
        lock.Lock();
    }
    if (encoded == EEncoded::Failed) {
        ++m_counts.m_dropped;
    } else if (isWriting && reason == 0) {
        ++m_counts.m_written;
        m_counts.m_withoutColor += encoded == EEncoded::WithoutColor ? 1 : 0;
        m_counts.m_bytes = m_writer->Bytes();
    } else {
        Fail(reason);
    }
    ++m_turn;
    if (m_free.size() < m_options.m_queueFrames) {
        m_free.push_back(std::move(job));
    }
    m_changed.NotifyAll();
}

// A disk may take long for it, while frames go on into the system's memory. What the system could not put there it says
// once: the recording has then failed.
void CRecorder::SyncNowAndThen() noexcept {
    CLock lock(m_mutex);
    uint64_t synced = 0; // frames
    auto next = std::chrono::steady_clock::now() + m_options.m_syncInterval;
    while (!m_areEncodersDone) {
        if (m_changed.WaitUntil(m_mutex, next)) {
            continue;
        }
        const uint64_t written = m_counts.m_written;
        if (written != synced) {
            lock.Unlock();
            const int reason = m_writer->Sync();
            lock.Lock();
            synced = written;
            Fail(reason);
        }
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
    const size_t encoders = std::min(m_threads.size(), m_options.m_encoders);
    for (size_t i = 0; i < m_threads.size(); ++i) {
        if (i == encoders) {
            const CLock lock(m_mutex);
            m_areEncodersDone = true;
            m_changed.NotifyAll();
        }
        m_threads[i].join();
    }
    m_threads.clear();
}

void CRecorder::End() noexcept {
    Stop();
    CLock lock(m_mutex);
    if (m_isFinished || m_writer == nullptr) {
        return;
    }
    m_isFinished = true;
    lock.Unlock();
    int reason = 0;
    try {
        reason = m_writer->Close();
    } catch (const std::exception&) { // no memory for the summary: the file is readable without
        reason = ENOMEM;
    }
    lock.Lock();
    m_counts.m_bytes = m_writer->Bytes();
    Fail(reason);
}

RecorderCounts CRecorder::Finish() {
    End();
    return Counts();
}

} // namespace ox3d

// Threads that write a recording.
#include "tools/ox3d/commands/RecordingQueue.h"

#include "base/ExceptionBarrier.h"
#include "tools/ox3d/ExitCode.h"

#include <algorithm>
#include <exception>

namespace ox3d::tool {
namespace {

constexpr size_t kMaxWaiting = 60; // frames: two seconds of most cameras
constexpr unsigned kMaxThreads = 8;

bool IsSame(const ViewPair& a, const ViewPair& b) {
    return a.m_left.m_samples == b.m_left.m_samples && a.m_right.m_samples == b.m_right.m_samples;
}

} // namespace

CRecordingQueue::CRecordingQueue(CRecordingWriter& writer) : m_writer(writer) {
    const unsigned count = std::clamp(std::thread::hardware_concurrency(), 2U, kMaxThreads);
    m_threads.reserve(count);
    for (unsigned i = 0; i < count; ++i) {
        m_threads.emplace_back([this] { Run(); });
    }
}

CRecordingQueue::~CRecordingQueue() {
    {
        const CLock lock(m_mutex);
        m_isStopping = true;
    }
    m_changed.NotifyAll();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

void CRecordingQueue::ThrowFailure() {
    if (!m_failure.empty()) {
        throw CToolError(EExitCode::File, "cannot write " + m_failure);
    }
}

void CRecordingQueue::Add(uint32_t frameNum, const DepthImage& depth, const RgbImage& color, ViewPair pair) {
    Frame frame{m_writer.NumberFor(frameNum), depth, color, {}};
    if (!pair.IsEmpty() && !IsSame(pair, m_lastPair)) {
        frame.m_pair = pair;
        m_lastPair = std::move(pair);
    }
    CLock lock(m_mutex);
    while (m_waiting.size() >= kMaxWaiting && m_failure.empty()) {
        m_changed.Wait(m_mutex);
    }
    ThrowFailure();
    m_waiting.push_back(std::move(frame));
    lock.Unlock();
    m_changed.NotifyAll();
}

void CRecordingQueue::Finish() {
    CLock lock(m_mutex);
    while ((!m_waiting.empty() || m_underWay > 0) && m_failure.empty()) {
        m_changed.Wait(m_mutex);
    }
    ThrowFailure();
}

bool CRecordingQueue::WriteImages(const Frame& frame, std::string* error) const {
    const auto* const pixels = reinterpret_cast<const uint8_t*>(frame.m_color.m_samples.data());
    const ViewPair& pair = frame.m_pair;
    return m_writer.Write(frame.m_number, {frame.m_depth.m_width, frame.m_depth.m_height},
                          frame.m_depth.m_samples.data(), {frame.m_color.m_width, frame.m_color.m_height},
                          frame.m_color.IsEmpty() ? nullptr : pixels, error) &&
           (pair.IsEmpty() ||
            m_writer.WritePair(frame.m_number, {pair.m_left.m_width, pair.m_left.m_height},
                               pair.m_left.m_samples.data(), pair.m_right.m_samples.data(), error));
}

void CRecordingQueue::Write(const Frame& frame) {
    std::string error;
    const bool isWritten = ExceptionBarrier([&] { return WriteImages(frame, &error); },
                                            [&](const std::exception*) {
                                                error = "a frame: out of memory";
                                                return false;
                                            });
    const CLock lock(m_mutex);
    --m_underWay;
    if (!isWritten && m_failure.empty()) {
        m_failure = error;
    }
}

void CRecordingQueue::Run() {
    CLock lock(m_mutex);
    for (;;) {
        while (m_waiting.empty() && !m_isStopping) {
            m_changed.Wait(m_mutex);
        }
        if (m_waiting.empty() || !m_failure.empty()) {
            return;
        }
        const Frame frame = std::move(m_waiting.front());
        m_waiting.pop_front();
        ++m_underWay;
        lock.Unlock();
        Write(frame);
        m_changed.NotifyAll();
        lock.Lock();
    }
}

} // namespace ox3d::tool

// Connection.cpp - notices of a camera on their way to the application.
#include "Connection.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "CallbackThread.h"

namespace ox3d {
namespace {

constexpr size_t kMostNotices = 64;
constexpr std::string_view kExposureEnd = "ExposureEnd";
constexpr uint16_t kExposureEndId = 0x0004;

} // namespace

CConnection::CConnection(std::shared_ptr<CCameraModel> model, std::shared_ptr<HandleCallbacks> callbacks,
                         uint32_t accessMode)
    : m_model(std::move(model)), m_callbacks(std::move(callbacks)), m_plugCount(m_model->PlugCount()),
      m_accessMode(accessMode) {
    m_notices.reserve(kMostNotices);
}

bool CConnection::Start() {
    return m_worker.Start([self = shared_from_this()] { self->Run(); });
}

void CConnection::RequestStop() {
    const std::lock_guard lock(m_mutex);
    m_isStopping = true;
    m_changed.notify_all();
}

bool CConnection::IsAlive() {
    if (m_model->PlugCount() != m_plugCount) {
        MarkGone();
    }
    return !m_isGone.load();
}

void CConnection::MarkGone() {
    if (!m_isGone.exchange(true)) {
        Notice notice;
        notice.m_exception = OX_CC_EXCEPTION_DEV_DISCONNECT;
        Push(notice);
    }
}

void CConnection::RaiseExposureEnd(const CameraFrame& frame) {
    Notice notice;
    std::copy(kExposureEnd.begin(), kExposureEnd.end(), notice.m_event.chEventName);
    notice.m_event.nEventID = kExposureEndId;
    notice.m_event.nBlockIdLow = frame.m_number;
    notice.m_event.nTimestampHigh = static_cast<uint32_t>(frame.m_timestampNs >> 32);
    notice.m_event.nTimestampLow = static_cast<uint32_t>(frame.m_timestampNs);
    Push(notice);
}

// An application that does not keep up loses its oldest events, never an exception.
void CConnection::Push(const Notice& notice) {
    const std::lock_guard lock(m_mutex);
    if (m_notices.size() >= kMostNotices) {
        const auto event = std::find_if(m_notices.begin(), m_notices.end(),
                                        [](const Notice& waiting) { return waiting.m_exception == 0; });
        m_notices.erase(event);
    }
    m_notices.push_back(notice);
    m_changed.notify_all();
}

void CConnection::Run() {
    CallbackThread::Current() = {m_callbacks.get(), ECallbackRole::Notices};
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_isStopping || !m_notices.empty(); });
        if (m_isStopping) {
            return;
        }
        Notice notice = m_notices.front();
        m_notices.erase(m_notices.begin());
        lock.unlock();
        if (notice.m_exception != 0) {
            m_callbacks->m_exception.Call(notice.m_exception);
        } else {
            m_callbacks->m_exposureEnd.Call(&notice.m_event);
            m_callbacks->m_allEvents.Call(&notice.m_event);
        }
        lock.lock();
    }
}

} // namespace ox3d

// Connection.cpp - notices of a camera on their way to the application.
#include "providers/common/Connection.h"

#include <algorithm>
#include <cstdio>

#include "providers/common/CallbackThread.h"
#include "providers/common/DeviceText.h"

namespace ox3d {
namespace {

constexpr size_t kMaxNotices = 64;
constexpr size_t kMaxNamedEvents = 64;

} // namespace

std::shared_ptr<CHandleCallbacks::Event> CHandleCallbacks::Named(const std::string& name) {
    const CLock lock(m_mutex);
    const auto found = m_named.find(name);
    if (found != m_named.end()) {
        return found->second;
    }
    if (m_named.size() >= kMaxNamedEvents) {
        return nullptr;
    }
    return m_named.emplace(name, std::make_shared<Event>()).first->second;
}

void CHandleCallbacks::CallEvent(OX_EVENT_OUT_INFO* info) {
    std::shared_ptr<Event> named;
    {
        const CLock lock(m_mutex);
        const auto found = m_named.find(std::string(BoundedText(info->chEventName)));
        named = found == m_named.end() ? nullptr : found->second;
    }
    if (named != nullptr) {
        CallApplication(*named, info);
    }
    CallApplication(m_allEvents, info);
}

CConnection::CConnection(std::shared_ptr<CHandleCallbacks> callbacks, uint32_t accessMode)
    : m_callbacks(std::move(callbacks)), m_accessMode(accessMode) {
    m_notices.reserve(kMaxNotices);
}

bool CConnection::Start() {
    return m_worker.Start([self = shared_from_this()] { self->Run(); });
}

void CConnection::RequestStop() {
    const CLock lock(m_mutex);
    m_isStopping = true;
    m_changed.NotifyAll();
}

void CConnection::MarkGone() {
    if (!m_isGone.exchange(true)) {
        Notice notice;
        notice.m_exception = OX_CC_EXCEPTION_DEV_DISCONNECT;
        Push(std::move(notice));
    }
}

void CConnection::RaiseEvent(const OX_EVENT_OUT_INFO& event) {
    Notice notice;
    notice.m_event = event;
    if (event.pEventData != nullptr) {
        const auto* data = static_cast<const uint8_t*>(event.pEventData);
        notice.m_data.assign(data, data + event.nEventDataSize);
    }
    Push(std::move(notice));
}

// An application that does not keep up loses its oldest events, never an exception.
void CConnection::Push(Notice notice) {
    const CLock lock(m_mutex);
    if (m_notices.size() >= kMaxNotices) {
        const auto event = std::find_if(m_notices.begin(), m_notices.end(),
                                        [](const Notice& waiting) { return waiting.m_exception == 0; });
        m_notices.erase(event);
    }
    m_notices.push_back(std::move(notice));
    m_changed.NotifyAll();
}

void CConnection::Tell(Notice& notice) {
    if (notice.m_exception != 0) {
        CallApplication(m_callbacks->m_exception, notice.m_exception);
        return;
    }
    notice.m_event.pEventData = notice.m_data.empty() ? nullptr : notice.m_data.data();
    m_callbacks->CallEvent(&notice.m_event);
}

// False when the stop has been asked for.
bool CConnection::WaitForNotice(Notice* notice) {
    const CLock lock(m_mutex);
    while (!m_isStopping && m_notices.empty()) {
        m_changed.Wait(m_mutex);
    }
    if (m_isStopping) {
        return false;
    }
    *notice = std::move(m_notices.front());
    m_notices.erase(m_notices.begin());
    return true;
}

void CConnection::Run() {
    CallbackThread::Current() = {m_callbacks.get(), ECallbackRole::Notices};
    for (Notice notice; WaitForNotice(&notice);) {
        ExceptionBarrier([&] { Tell(notice); },
                         [](const std::exception* error) {
                             std::fprintf(stderr, "camera control: an event is lost: %s\n",
                                          error != nullptr ? error->what() : "unknown");
                         });
    }
}

} // namespace ox3d

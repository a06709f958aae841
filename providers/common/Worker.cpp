// Worker.cpp - start, self-recognition and joining of a provider's threads.
#include "providers/common/Worker.h"

#include <exception>

#include "base/SignalMask.h"

namespace ox3d {

CWorker::~CWorker() {
    if (!IsCurrent()) {
        Join();
        return;
    }
    const CLock lock(m_joinMutex);
    if (m_thread.joinable()) {
        m_thread.detach();
    }
}

bool CWorker::Start(std::function<void()> body) {
    const CSignalsBlocked blocked;
    const CLock lock(m_joinMutex);
    m_isRunning = true;
    try {
        m_thread = std::thread([this, body = std::move(body)]() mutable {
            m_id = std::this_thread::get_id();
            body();
            // The body may hold the last reference to this object's owner: nothing of this object is
            // touched once the body is gone.
            m_isRunning = false;
            body = nullptr;
        });
    } catch (const std::exception&) { // no thread or no memory
        m_isRunning = false;
    }
    return m_thread.joinable();
}

void CWorker::Join() {
    if (IsCurrent()) {
        return;
    }
    const CLock lock(m_joinMutex);
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

} // namespace ox3d

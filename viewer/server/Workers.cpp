// Threads that answer requests.
#include "viewer/server/Workers.h"

#include "base/ExceptionBarrier.h"
#include "base/SignalMask.h"
#include "viewer/server/Wire.h"

namespace ox3d::viewer {
namespace {

constexpr size_t kThreads = 4;
constexpr size_t kMaxWaiting = 64;

} // namespace

CWorkers::CWorkers(IStage& stage, std::function<void()> onDone)
    : m_stage(stage), m_onDone(std::move(onDone)) {
    m_threads.reserve(kThreads);
    const CSignalsBlocked blocked;
    for (size_t i = 0; i < kThreads; ++i) {
        m_threads.emplace_back([this] { Run(); });
    }
}

CWorkers::~CWorkers() {
    {
        const CLock lock(m_mutex);
        m_isEnding = true;
        m_waiting.clear();
    }
    m_changed.NotifyAll();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

bool CWorkers::Add(uint64_t ticket, Request request) {
    {
        const CLock lock(m_mutex);
        if (m_waiting.size() >= kMaxWaiting) {
            return false;
        }
        m_waiting.emplace_back(ticket, std::move(request));
    }
    m_changed.NotifyOne();
    return true;
}

std::vector<CWorkers::Done> CWorkers::TakeDone() {
    const CLock lock(m_mutex);
    return std::exchange(m_done, {});
}

Answer CWorkers::ServeOne(const Request& request) {
    return ExceptionBarrier([&] { return m_stage.Serve(request); },
                            [](const std::exception* error) {
                                constexpr unsigned kInternal = 500;
                                return Answer{kInternal, "application/json",
                                              ErrorText(error == nullptr ? "unknown" : error->what())};
                            });
}

void CWorkers::Run() noexcept {
    CLock lock(m_mutex);
    while (!m_isEnding) {
        if (m_waiting.empty()) {
            m_changed.Wait(m_mutex);
            continue;
        }
        const auto [ticket, request] = std::move(m_waiting.front());
        m_waiting.pop_front();
        lock.Unlock();
        Answer answer = ServeOne(request);
        lock.Lock();
        m_done.push_back({ticket, std::move(answer)});
        lock.Unlock();
        m_onDone();
        lock.Lock();
    }
}

} // namespace ox3d::viewer

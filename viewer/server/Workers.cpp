// Threads that answer requests.
#include "viewer/server/Workers.h"

#include "base/ExceptionBarrier.h"
#include "base/SignalMask.h"
#include "viewer/server/Wire.h"

#include <algorithm>

namespace ox3d::viewer {
namespace {

constexpr size_t kThreads = 8;
constexpr size_t kMaxWaiting = 64;
// Of one camera: requests for one that hangs leave threads to the others.
constexpr size_t kMaxUnderWayOfOne = 2;
constexpr size_t kMaxWaitingOfOne = 8;

std::string CameraOf(const Request& request) {
    const auto id = request.m_query.find("id");
    return id == request.m_query.end() ? "" : id->second;
}

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
        const std::string camera = CameraOf(request);
        const auto waitingOfOne = std::count_if(m_waiting.begin(), m_waiting.end(), [&](const auto& waiting) {
            return CameraOf(waiting.second) == camera;
        });
        // Both together: those that a worker has not come to yet take no place from those that wait.
        const auto busy = m_underWay.find(camera);
        const size_t ofOne =
            static_cast<size_t>(waitingOfOne) + (busy == m_underWay.end() ? 0 : busy->second);
        if (m_waiting.size() >= kMaxWaiting || ofOne >= kMaxUnderWayOfOne + kMaxWaitingOfOne) {
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

CWorkers::Waiting::iterator CWorkers::NextFree() {
    return std::find_if(m_waiting.begin(), m_waiting.end(), [this](const auto& waiting) {
        m_mutex.AssertHeld();
        const auto busy = m_underWay.find(CameraOf(waiting.second));
        return busy == m_underWay.end() || busy->second < kMaxUnderWayOfOne;
    });
}

void CWorkers::Run() noexcept {
    CLock lock(m_mutex);
    while (!m_isEnding) {
        const auto next = NextFree();
        if (next == m_waiting.end()) {
            m_changed.Wait(m_mutex);
            continue;
        }
        const auto [ticket, request] = std::move(*next);
        m_waiting.erase(next);
        const std::string camera = CameraOf(request);
        ++m_underWay[camera];
        lock.Unlock();
        Answer answer = ServeOne(request);
        lock.Lock();
        m_done.push_back({ticket, std::move(answer)});
        if (--m_underWay[camera] == 0) {
            m_underWay.erase(camera);
        }
        lock.Unlock();
        m_changed.NotifyAll();
        m_onDone();
        lock.Lock();
    }
}

} // namespace ox3d::viewer

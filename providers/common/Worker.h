// Worker.h - a thread that can be told apart from its callers, and joined by several of them at once.
#ifndef OX3D_PROVIDER_WORKER_H
#define OX3D_PROVIDER_WORKER_H

#include <atomic>
#include <functional>
#include <thread>

#include "base/Mutex.h"

namespace ox3d {

class CWorker {
public:
    CWorker() = default;
    CWorker(const CWorker&) = delete;
    CWorker& operator=(const CWorker&) = delete;
    // Joins; on the worker's own thread, which is about to end then, it lets the thread go.
    ~CWorker();

    // Runs the body on a new thread with all signals blocked but those of faults: the others belong to the
    // application's threads.
    // The body must keep alive whatever it uses. False when there is no thread to be had.
    bool Start(std::function<void()> body);

    bool IsCurrent() const { return m_id.load() == std::this_thread::get_id(); }
    // Whether the body has been started and has not come to its end.
    bool IsRunning() const { return m_isRunning.load(); }

    // Returns when the thread has ended. Does nothing on the worker's own thread, which cannot wait for itself: a
    // caller that needs its end asks again from outside.
    void Join();

private:
    std::atomic<std::thread::id> m_id{};
    std::atomic<bool> m_isRunning{false};
    CMutex m_joinMutex; // the second joiner waits for the first
    std::thread m_thread OX_GUARDED_BY(m_joinMutex);
};

} // namespace ox3d

#endif

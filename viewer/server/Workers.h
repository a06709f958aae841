// Workers.h - the threads that answer requests of the API, which may wait for cameras: the server's own thread does not.
#ifndef OX3D_VIEWER_WORKERS_H
#define OX3D_VIEWER_WORKERS_H

#include "base/Mutex.h"
#include "viewer/server/Viewer.h"

#include <deque>
#include <functional>
#include <thread>
#include <utility>

namespace ox3d::viewer {

class CWorkers {
public:
    struct Done {
        uint64_t m_ticket;
        Answer m_answer;
    };

    // onDone() is called by a worker when there is something to take.
    CWorkers(IStage& stage, std::function<void()> onDone);
    ~CWorkers(); // waits for those that are under way
    CWorkers(const CWorkers&) = delete;
    CWorkers& operator=(const CWorkers&) = delete;

    // At once, on the calling thread. No exception leaves it.
    Answer ServeOne(const Request& request);
    // False when too many wait, in all or for one camera.
    bool Add(uint64_t ticket, Request request) OX_EXCLUDES(m_mutex);
    std::vector<Done> TakeDone() OX_EXCLUDES(m_mutex);

private:
    using Waiting = std::deque<std::pair<uint64_t, Request>>;

    void Run() noexcept OX_EXCLUDES(m_mutex);
    // The first whose camera has a place.
    Waiting::iterator NextFree() OX_REQUIRES(m_mutex);

    IStage& m_stage;
    const std::function<void()> m_onDone;
    CMutex m_mutex;
    CCondition m_changed;
    std::map<std::string, size_t> m_underWay OX_GUARDED_BY(m_mutex); // requests by camera
    Waiting m_waiting OX_GUARDED_BY(m_mutex);
    std::vector<Done> m_done OX_GUARDED_BY(m_mutex);
    bool m_isEnding OX_GUARDED_BY(m_mutex) = false;
    std::vector<std::thread> m_threads;
};

} // namespace ox3d::viewer

#endif

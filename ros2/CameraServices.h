// CameraServices.h - the services of one camera's node: its parameters, whose changes all nodes are told of, and a trigger. A thread of their own answers, so that
// nothing that a client asks holds images up; requests that come while 16 wait are dropped, and counted.
#ifndef OX3D_ROS2_CAMERA_SERVICES_H
#define OX3D_ROS2_CAMERA_SERVICES_H

#include "base/Mutex.h"
#include "ros2/Messages.h"
#include "ros2/ServiceRequests.h"

#include <deque>
#include <thread>

namespace ox3d::ros2 {

struct ServiceFigures {
    uint64_t m_answered = 0;
    uint64_t m_dropped = 0;   // too many at a time, or a reply that could not be made or sent
    uint64_t m_malformed = 0; // not answered: whoever sent them speaks otherwise
};

class CCameraServices {
public:
    // Below the namespace of the camera's topics. Null with a reason. `parameters` outlive the services, whose thread alone
    // calls them.
    static std::unique_ptr<CCameraServices> Make(IDomain& domain, const std::string& space,
                                                 IParameters& parameters, std::string* error);
    ~CCameraServices();
    CCameraServices(const CCameraServices&) = delete;
    CCameraServices& operator=(const CCameraServices&) = delete;

    // What the graph lists of a node's services.
    void AddTo(GraphNode* node) const;
    ServiceFigures Figures() const OX_EXCLUDES(m_mutex);

private:
    struct End {
        std::unique_ptr<IWriter> m_replies;
        std::unique_ptr<IReader> m_requests;
    };
    struct Waiting {
        EService m_service;
        MessagePointer m_message;
    };

    CCameraServices(const std::string& space, IParameters& parameters)
        : m_space(space), m_parameters(parameters) {}
    bool Begin(IDomain& domain, std::string* error);
    void Queue(EService service, const MessagePointer& message) OX_EXCLUDES(m_mutex);
    void Run() noexcept OX_EXCLUDES(m_mutex);
    void Answer(const Waiting& waiting) OX_EXCLUDES(m_mutex);
    void AwaitClient(const End& end) OX_EXCLUDES(m_mutex);
    void TellOf(const std::vector<std::string>& changed);
    void Count(uint64_t ServiceFigures::*figure) OX_EXCLUDES(m_mutex);

    const std::string m_space;
    IParameters& m_parameters; // the thread's
    std::array<End, kServices.size()> m_ends;
    std::unique_ptr<IWriter> m_events; // of parameters that clients have set
    mutable CMutex m_mutex;
    CCondition m_changed;
    std::deque<Waiting> m_waiting OX_GUARDED_BY(m_mutex);
    ServiceFigures m_figures OX_GUARDED_BY(m_mutex);
    bool m_isEnding OX_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

} // namespace ox3d::ros2

#endif

// CameraServices.cpp - a reader of requests and a writer of replies for each service.
#include "ros2/CameraServices.h"

#include "base/ExceptionBarrier.h"
#include "base/SignalMask.h"

#include <cstdio>
#include <random>

namespace ox3d::ros2 {
namespace {

using namespace std::chrono_literals;

constexpr size_t kMaxWaiting = 16;
constexpr int32_t kKeptEvents = 1000;   // as nodes have it
constexpr auto kClientPatience = 100ms; // for a client whose reader of replies is not known yet
constexpr auto kClientStep = 5ms;

// By which a client knows that a reader and a writer are one service: 16 bytes.
std::string NewServiceId() {
    constexpr int kBytes = 16;
    std::random_device random;
    std::string id;
    for (int i = 0; i < kBytes; ++i) {
        char text[8];
        std::snprintf(text, sizeof(text), i == 0 ? "%x" : ".%x", random() & 0xffU);
        id += text;
    }
    return id;
}

Topic TopicOf(const std::string& name, const RosType& type, const std::string& serviceId) {
    Topic topic;
    topic.m_name = name;
    topic.m_type = ServiceWireNameOf(type);
    topic.m_userData = "serviceid=" + serviceId + ";" + UserDataOf(type);
    topic.m_keptMessages = kMaxWaiting;
    return topic;
}

} // namespace

std::unique_ptr<CCameraServices> CCameraServices::Make(IDomain& domain, const std::string& space,
                                                       IParameters& parameters, std::string* error) {
    std::unique_ptr<CCameraServices> services(new CCameraServices(space, parameters));
    return services->Begin(domain, error) ? std::move(services) : nullptr;
}

bool CCameraServices::Begin(IDomain& domain, std::string* error) {
    Topic events;
    events.m_name = "rt/parameter_events";
    events.m_type = WireNameOf(kParameterEventType);
    events.m_userData = UserDataOf(kParameterEventType);
    events.m_keptMessages = kKeptEvents;
    m_events = domain.Publish(events, error);
    if (m_events == nullptr) {
        return false;
    }
    for (size_t i = 0; i < kServices.size(); ++i) {
        const RosService& service = kServices[i];
        const std::string name = m_space + "/" + service.m_name;
        const std::string id = NewServiceId();
        m_ends[i].m_replies = domain.Publish(TopicOf("rr/" + name + "Reply", service.m_reply, id), error);
        Topic requests = TopicOf("rq/" + name + "Request", service.m_request, id);
        requests.m_maxBytes = kMaxRequestBytes;
        const auto queue = [this, i](const MessagePointer& message) {
            Queue(static_cast<EService>(i), message);
        };
        m_ends[i].m_requests =
            m_ends[i].m_replies == nullptr ? nullptr : domain.Listen(requests, queue, error);
        if (m_ends[i].m_requests == nullptr) {
            return false;
        }
    }
    const CSignalsBlocked blocked;
    m_thread = std::thread([this] { Run(); });
    return true;
}

CCameraServices::~CCameraServices() {
    for (End& end : m_ends) {
        end.m_requests.reset();
    }
    {
        const CLock lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.NotifyAll();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void CCameraServices::AddTo(GraphNode* node) const {
    for (const End& end : m_ends) {
        node->m_readers.push_back(end.m_requests->Id());
        node->m_writers.push_back(end.m_replies->Id());
    }
    node->m_writers.push_back(m_events->Id());
}

ServiceFigures CCameraServices::Figures() const {
    const CLock lock(m_mutex);
    return m_figures;
}

void CCameraServices::Count(uint64_t ServiceFigures::*figure) {
    const CLock lock(m_mutex);
    ++(m_figures.*figure);
}

// A thread of the domain, which goes on to the next message.
void CCameraServices::Queue(EService service, const MessagePointer& message) {
    {
        const CLock lock(m_mutex);
        if (m_waiting.size() >= kMaxWaiting) {
            ++m_figures.m_dropped;
            return;
        }
        m_waiting.push_back({service, message});
    }
    m_changed.NotifyAll();
}

void CCameraServices::Run() noexcept {
    CLock lock(m_mutex);
    while (!m_isEnding) {
        if (m_waiting.empty()) {
            m_changed.Wait(m_mutex);
            continue;
        }
        const Waiting next = std::move(m_waiting.front());
        m_waiting.pop_front();
        lock.Unlock();
        ExceptionBarrier([&] { Answer(next); },
                         [this](const std::exception*) { Count(&ServiceFigures::m_dropped); });
        lock.Lock();
    }
}

void CCameraServices::Answer(const Waiting& waiting) {
    const auto request = ReadServiceRequest(waiting.m_service, waiting.m_message->Bytes());
    if (!request) {
        Count(&ServiceFigures::m_malformed);
        return;
    }
    const End& end = m_ends[static_cast<size_t>(waiting.m_service)];
    std::vector<std::string> changed;
    const auto reply = std::make_shared<CMessage>(AnswerTo(*request, m_parameters, &changed));
    AwaitClient(end);
    Count(end.m_replies->Write(reply) ? &ServiceFigures::m_answered : &ServiceFigures::m_dropped);
    if (!changed.empty() && m_events->Readers() > 0) {
        TellOf(changed);
    }
}

// Values as the camera has them now: it may have rounded.
void CCameraServices::TellOf(const std::vector<std::string>& changed) {
    std::vector<Parameter> parameters;
    parameters.reserve(changed.size());
    for (const std::string& name : changed) {
        parameters.push_back({name, m_parameters.Get(name)});
    }
    const std::chrono::nanoseconds now = std::chrono::system_clock::now().time_since_epoch();
    ByteVector cdr;
    PutParameterEvent(&cdr, static_cast<uint64_t>(now.count()), "/" + m_space, parameters);
    m_events->Write(std::make_shared<CMessage>(std::move(cdr)));
}

// A client has a writer of requests and a reader of replies; what is written before the latter is known does not reach it.
void CCameraServices::AwaitClient(const End& end) {
    const auto until = std::chrono::steady_clock::now() + kClientPatience;
    CLock lock(m_mutex);
    while (!m_isEnding && std::chrono::steady_clock::now() < until) {
        lock.Unlock();
        const bool isThere = end.m_replies->Readers() >= end.m_requests->Writers();
        lock.Lock();
        if (isThere) {
            return;
        }
        m_changed.WaitFor(m_mutex, kClientStep);
    }
}

} // namespace ox3d::ros2

// Domain.cpp - a participant of Eclipse Cyclone DDS.
#include "base/ExceptionBarrier.h"
#include "base/SignalMask.h"
#include "ros2/RawType.h"

#include <algorithm>
#include <cstdlib>
#include <dds/dds.h>
#include <dds/ddsi/ddsi_serdata.h>
#include <utility>

namespace ox3d::ros2 {
namespace {

constexpr dds_duration_t kMaxBlocking = DDS_MSECS(100);
constexpr uint32_t kMaxDomain = 232;

// Of an entity, or of what waits for one; negative numbers are reasons.
class CEntity {
public:
    explicit CEntity(dds_entity_t entity) : m_entity(entity) {}
    ~CEntity() {
        if (m_entity > 0) {
            dds_delete(m_entity);
        }
    }
    CEntity(CEntity&& other) noexcept : m_entity(std::exchange(other.m_entity, 0)) {}
    CEntity& operator=(CEntity&&) = delete;
    dds_entity_t Get() const { return m_entity; }
    bool IsThere(const char* what, std::string* error) const {
        if (m_entity <= 0) {
            *error = std::string(what) + ": " + dds_strretcode(m_entity);
        }
        return m_entity > 0;
    }

private:
    dds_entity_t m_entity;
};

struct DeleteQos {
    void operator()(dds_qos_t* qos) const { dds_delete_qos(qos); }
};
using QosPointer = std::unique_ptr<dds_qos_t, DeleteQos>;

// As the two common layers of ROS 2 offer and ask for it.
QosPointer QosOf(const Topic& topic) {
    QosPointer qos(dds_create_qos());
    dds_qset_reliability(
        qos.get(), topic.m_isReliable ? DDS_RELIABILITY_RELIABLE : DDS_RELIABILITY_BEST_EFFORT, kMaxBlocking);
    dds_qset_durability(qos.get(),
                        topic.m_isRetained ? DDS_DURABILITY_TRANSIENT_LOCAL : DDS_DURABILITY_VOLATILE);
    const auto history = topic.m_keptMessages == 0 ? DDS_HISTORY_KEEP_ALL : DDS_HISTORY_KEEP_LAST;
    dds_qset_history(qos.get(), history, topic.m_keptMessages);
    if (topic.m_isRetained) {
        dds_qset_durability_service(qos.get(), 0, history, topic.m_keptMessages, DDS_LENGTH_UNLIMITED,
                                    DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED);
    }
    dds_qset_writer_data_lifecycle(qos.get(), false);
    const dds_data_representation_id_t plain = DDS_DATA_REPRESENTATION_XCDR1;
    dds_qset_data_representation(qos.get(), 1, &plain);
    dds_qset_userdata(qos.get(), topic.m_userData.data(), topic.m_userData.size());
    return qos;
}

Guid GuidOf(dds_entity_t entity) {
    dds_guid_t guid{};
    dds_get_guid(entity, &guid);
    Guid bytes;
    static_assert(sizeof(guid.v) == sizeof(bytes));
    std::copy(std::begin(guid.v), std::end(guid.v), bytes.begin());
    return bytes;
}

// A topic of one writer or reader: the library shares what is the same.
CEntity MakeTopic(dds_entity_t participant, const Topic& topic) {
    ddsi_sertype* type = MakeRawType(topic.m_type, topic.m_maxBytes);
    const dds_entity_t made =
        dds_create_topic_sertype(participant, topic.m_name.c_str(), &type, nullptr, nullptr, nullptr);
    if (made < 0) {
        ddsi_sertype_unref(type); // else the domain has it
    }
    return CEntity(made);
}

class CWriter : public IWriter {
public:
    CWriter(CEntity topic, CEntity writer) : m_topic(std::move(topic)), m_writer(std::move(writer)) {}

    bool Write(const MessagePointer& message) override {
        return dds_write(m_writer.Get(), &message) == DDS_RETCODE_OK;
    }
    uint32_t Readers() const override {
        dds_publication_matched_status_t status{};
        return dds_get_publication_matched_status(m_writer.Get(), &status) == DDS_RETCODE_OK
                   ? status.current_count
                   : 0;
    }
    Guid Id() const override { return GuidOf(m_writer.Get()); }

private:
    CEntity m_topic;
    CEntity m_writer;
};

uint32_t WritersOf(dds_entity_t reader) {
    dds_subscription_matched_status_t status{};
    return dds_get_subscription_matched_status(reader, &status) == DDS_RETCODE_OK ? status.current_count : 0;
}

// The next message; null where a writer came or went. None where nothing is left.
std::optional<MessagePointer> TakeNext(dds_entity_t reader) {
    ddsi_serdata* sample = nullptr;
    dds_sample_info_t info{};
    if (dds_takecdr(reader, &sample, 1, &info, DDS_ANY_STATE) <= 0) {
        return std::nullopt;
    }
    MessagePointer message = info.valid_data ? MessageOf(sample) : nullptr;
    ddsi_serdata_unref(sample);
    return message;
}

class CReader : public IReader {
public:
    CReader(CEntity topic, CEntity reader, CEntity waiter)
        : m_topic(std::move(topic)), m_reader(std::move(reader)), m_waiter(std::move(waiter)) {}

    MessagePointer Take(std::chrono::milliseconds patience) override {
        const auto until = std::chrono::steady_clock::now() + patience;
        for (;;) {
            if (std::optional<MessagePointer> next = TakeNext(m_reader.Get()); next) {
                if (*next != nullptr) {
                    return *std::move(next);
                }
                continue;
            }
            const auto left = std::chrono::nanoseconds(until - std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                return nullptr;
            }
            dds_waitset_wait(m_waiter.Get(), nullptr, 0, left.count());
        }
    }
    uint32_t Writers() const override { return WritersOf(m_reader.Get()); }
    Guid Id() const override { return GuidOf(m_reader.Get()); }

private:
    CEntity m_topic;
    CEntity m_reader;
    CEntity m_waiter;
};

struct DeleteListener {
    void operator()(dds_listener_t* listener) const { dds_delete_listener(listener); }
};

class CListeningReader : public IReader {
public:
    CListeningReader(CEntity topic, IDomain::OnMessage onMessage)
        : m_topic(std::move(topic)), m_onMessage(std::move(onMessage)) {}

    bool Begin(dds_entity_t participant, const Topic& topic, std::string* error) {
        const std::unique_ptr<dds_listener_t, DeleteListener> listener(dds_create_listener(this));
        dds_lset_data_available(listener.get(), OnData);
        m_reader.emplace(dds_create_reader(participant, m_topic.Get(), QosOf(topic).get(), listener.get()));
        return m_reader->IsThere(topic.m_name.c_str(), error);
    }
    MessagePointer Take(std::chrono::milliseconds /*patience*/) override { return nullptr; }
    uint32_t Writers() const override { return WritersOf(m_reader->Get()); }
    Guid Id() const override { return GuidOf(m_reader->Get()); }

private:
    static void OnData(dds_entity_t reader, void* self) {
        ExceptionBarrier(
            [&] {
                while (const std::optional<MessagePointer> next = TakeNext(reader)) {
                    if (*next != nullptr) {
                        static_cast<CListeningReader*>(self)->m_onMessage(*next);
                    }
                }
            },
            [](const std::exception*) {});
    }

    CEntity m_topic;
    const IDomain::OnMessage m_onMessage;
    std::optional<CEntity> m_reader; // ends first, and waits for what is called
};

// Texts go into the library's configuration: nothing in them may end an attribute.
bool IsPlain(const std::string& text) {
    constexpr std::string_view kMarks = ".:-_%";
    constexpr size_t kLongest = 255;
    return !text.empty() && text.size() <= kLongest && std::all_of(text.begin(), text.end(), [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               kMarks.find(c) != kMarks.npos;
    });
}

std::string Elements(const std::vector<std::string>& values, const char* before, const char* after) {
    std::string text;
    for (const std::string& value : values) {
        text += before + value + after;
    }
    return text;
}

// Images are megabytes. A participant with an index is found by hosts that are told of this one alone, and by those that
// look on their own host only; the marks of the writer's history are above what its depth keeps, so that a slow reader loses
// images in place of making the writer wait; what a reader asks for again is sent in pieces as large as the first time. Threads
// that wait for one socket each would be woken by a packet to this host's address, and never end where that is gone with its
// interface; one for all sockets is woken otherwise.
std::string ConfigurationOf(const DomainOptions& options) {
    const std::string interfaces = Elements(options.m_interfaces, "<NetworkInterface name=\"", "\"/>");
    const std::string peers = (options.m_isLocal ? "<Peer address=\"127.0.0.1\"/>" : "") +
                              Elements(options.m_peers, "<Peer address=\"", "\"/>");
    const std::string multicast = options.m_isLocal ? "false" : "true";
    const char* const own = std::getenv("CYCLONEDDS_URI");
    return "<CycloneDDS><Domain id=\"any\"><General>" +
           (interfaces.empty() ? "" : "<Interfaces>" + interfaces + "</Interfaces>") + "<AllowMulticast>" +
           multicast +
           "</AllowMulticast><MaxRexmitMessageSize>14720B</MaxRexmitMessageSize></General>"
           "<Discovery>"
           "<ParticipantIndex>auto</ParticipantIndex><MaxAutoParticipantIndex>32</MaxAutoParticipantIndex>" +
           (peers.empty() ? "" : "<Peers>" + peers + "</Peers>") +
           "</Discovery><Internal>"
           "<MultipleReceiveThreads>false</MultipleReceiveThreads>"
           "<MaxQueuedRexmitBytes>64MB</MaxQueuedRexmitBytes>"
           "<MaxQueuedRexmitMessages>20000</MaxQueuedRexmitMessages>"
           "<Watermarks><WhcHigh>256MB</WhcHigh></Watermarks>"
           "</Internal></Domain></CycloneDDS>" +
           (own == nullptr || *own == '\0' ? "" : std::string(",").append(own));
}

class CDomain : public IDomain {
public:
    CDomain(CEntity domain, CEntity participant)
        : m_domain(std::move(domain)), m_participant(std::move(participant)) {}

    std::unique_ptr<IWriter> Publish(const Topic& topic, std::string* error) override {
        CEntity named = MakeTopic(m_participant.Get(), topic);
        if (!named.IsThere(topic.m_name.c_str(), error)) {
            return nullptr;
        }
        CEntity writer(dds_create_writer(m_participant.Get(), named.Get(), QosOf(topic).get(), nullptr));
        return writer.IsThere(topic.m_name.c_str(), error)
                   ? std::make_unique<CWriter>(std::move(named), std::move(writer))
                   : nullptr;
    }

    std::unique_ptr<IReader> Subscribe(const Topic& topic, std::string* error) override {
        CEntity named = MakeTopic(m_participant.Get(), topic);
        if (!named.IsThere(topic.m_name.c_str(), error)) {
            return nullptr;
        }
        CEntity reader(dds_create_reader(m_participant.Get(), named.Get(), QosOf(topic).get(), nullptr));
        CEntity waiter(dds_create_waitset(m_participant.Get()));
        if (!reader.IsThere(topic.m_name.c_str(), error) || !waiter.IsThere("waiting", error)) {
            return nullptr;
        }
        dds_set_status_mask(reader.Get(), DDS_DATA_AVAILABLE_STATUS);
        dds_waitset_attach(waiter.Get(), reader.Get(), 0);
        return std::make_unique<CReader>(std::move(named), std::move(reader), std::move(waiter));
    }

    std::unique_ptr<IReader> Listen(const Topic& topic, OnMessage onMessage, std::string* error) override {
        CEntity named = MakeTopic(m_participant.Get(), topic);
        if (!named.IsThere(topic.m_name.c_str(), error)) {
            return nullptr;
        }
        auto reader = std::make_unique<CListeningReader>(std::move(named), std::move(onMessage));
        return reader->Begin(m_participant.Get(), topic, error) ? std::move(reader) : nullptr;
    }

    Guid Id() const override { return GuidOf(m_participant.Get()); }

private:
    CEntity m_domain;
    CEntity m_participant;
};

IDomain* Open(const DomainOptions& options, std::string* error) {
    const auto isPlain = [](const std::string& text) { return IsPlain(text); };
    if (options.m_number > kMaxDomain ||
        !std::all_of(options.m_interfaces.begin(), options.m_interfaces.end(), isPlain) ||
        !std::all_of(options.m_peers.begin(), options.m_peers.end(), isPlain)) {
        *error = "a domain is 0 to 232; names of interfaces and peers have letters, digits and . : - _ %";
        return nullptr;
    }
    const CSignalsBlocked blocked; // in the library's threads
    CEntity domain(dds_create_domain(options.m_number, ConfigurationOf(options).c_str()));
    if (!domain.IsThere("the DDS domain", error)) {
        return nullptr;
    }
    const QosPointer qos(dds_create_qos());
    constexpr std::string_view kEnclave = "enclave=/;"; // by which ROS 2 knows a participant of its own
    dds_qset_userdata(qos.get(), kEnclave.data(), kEnclave.size());
    CEntity participant(dds_create_participant(options.m_number, qos.get(), nullptr));
    return participant.IsThere("the DDS participant", error)
               ? new CDomain(std::move(domain), std::move(participant))
               : nullptr;
}

} // namespace

extern "C" __attribute__((visibility("default"))) IDomain* Ox3dRos2Open(const DomainOptions& options,
                                                                        std::string* error) {
    return ExceptionBarrier([&] { return Open(options, error); },
                            [&](const std::exception* reason) {
                                *error = reason == nullptr ? "the DDS module failed" : reason->what();
                                return static_cast<IDomain*>(nullptr);
                            });
}

} // namespace ox3d::ros2

// Peer.h - readers and writers of another vendor's DDS, with types that its own generator made of the interface definitions.
// Shared memory, which reaches nobody but its like, is off.
#ifndef OX3D_TESTS_ROS2_PEER_H
#define OX3D_TESTS_ROS2_PEER_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/publisher/DataWriter.hpp>
#include <fastdds/dds/publisher/DataWriterListener.hpp>
#include <fastdds/dds/publisher/Publisher.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/DataReaderListener.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/rtps/transport/UDPv4TransportDescriptor.h>
#include <fastrtps/utils/IPLocator.h>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

namespace ox3d::ros2 {

namespace dds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastdds::rtps;

struct PeerOptions {
    bool m_isRetained = false;             // ask for what was sent before
    bool m_isReliable = true;              // or best effort
    std::chrono::milliseconds m_digest{0}; // how long it holds its own receiver up for each message
    uint32_t m_socketBytes = 4U << 20U;    // of its socket's buffer; 0: the machine's default
    std::string m_host =
        "127.0.0.1";         // that is asked for others, since nothing here has multicast; empty: none
    std::string m_type = {}; // where it is announced by another name than the generator's
};

inline void CheckEntity(bool isFine) {
    if (!isFine) {
        throw std::runtime_error("no entity of the second vendor");
    }
}

// With one topic.
class CPeerParticipant {
public:
    CPeerParticipant(uint32_t domain, const std::string& topic, dds::TopicDataType* type,
                     const PeerOptions& options) {
        dds::DomainParticipantQos qos;
        const auto udp = std::make_shared<rtps::UDPv4TransportDescriptor>();
        udp->receiveBufferSize = options.m_socketBytes;
        qos.transport().use_builtin_transports = false;
        qos.transport().user_transports.push_back(udp);
        // At the ports that its first participants have.
        for (uint32_t index = 0; index < kAskedParticipants && !options.m_host.empty(); ++index) {
            eprosima::fastrtps::rtps::Locator_t place(LOCATOR_KIND_UDPv4, 7410 + 250 * domain + 2 * index);
            eprosima::fastrtps::rtps::IPLocator::setIPv4(place, options.m_host);
            qos.wire_protocol().builtin.initialPeersList.push_back(place);
        }
        const dds::TypeSupport support(type);
        const std::string name = options.m_type.empty() ? support.get_type_name() : options.m_type;
        m_participant = dds::DomainParticipantFactory::get_instance()->create_participant(domain, qos);
        CheckEntity(m_participant != nullptr && support.register_type(m_participant, name) ==
                                                    eprosima::fastrtps::types::ReturnCode_t::RETCODE_OK);
        m_topic = m_participant->create_topic(topic, name, dds::TOPIC_QOS_DEFAULT);
        CheckEntity(m_topic != nullptr);
    }
    ~CPeerParticipant() {
        m_participant->delete_contained_entities();
        dds::DomainParticipantFactory::get_instance()->delete_participant(m_participant);
    }
    CPeerParticipant(const CPeerParticipant&) = delete;
    CPeerParticipant& operator=(const CPeerParticipant&) = delete;
    dds::DomainParticipant& Get() const { return *m_participant; }
    dds::Topic* Topic() const { return m_topic; }

private:
    static constexpr uint32_t kAskedParticipants = 8;

    dds::DomainParticipant* m_participant = nullptr;
    dds::Topic* m_topic = nullptr;
};

// In a participant of its own. PubSubType is the generated one.
template <class PubSubType>
class CPeer : dds::DataReaderListener {
public:
    using Message = typename PubSubType::type;

    CPeer(uint32_t domain, const std::string& topic, const PeerOptions& options = {})
        : m_options(options), m_participant(domain, topic, new PubSubType, options) {
        dds::Subscriber* const subscriber =
            m_participant.Get().create_subscriber(dds::SUBSCRIBER_QOS_DEFAULT);
        CheckEntity(subscriber != nullptr);
        dds::DataReaderQos qos;
        qos.reliability().kind =
            options.m_isReliable ? dds::RELIABLE_RELIABILITY_QOS : dds::BEST_EFFORT_RELIABILITY_QOS;
        qos.durability().kind =
            options.m_isRetained ? dds::TRANSIENT_LOCAL_DURABILITY_QOS : dds::VOLATILE_DURABILITY_QOS;
        qos.history().kind = dds::KEEP_LAST_HISTORY_QOS;
        qos.history().depth = kHistory; // as viewers of ROS 2 have it
        qos.endpoint().history_memory_policy =
            eprosima::fastrtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE;
        m_reader = subscriber->create_datareader(m_participant.Topic(), qos, this);
        CheckEntity(m_reader != nullptr);
    }
    ~CPeer() override { m_reader->set_listener(nullptr); }
    CPeer(const CPeer&) = delete;
    CPeer& operator=(const CPeer&) = delete;

    // The next message; none where none comes in that time.
    std::optional<Message> Take(std::chrono::milliseconds patience) {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_for(lock, patience, [this] { return !m_messages.empty(); })) {
            return std::nullopt;
        }
        std::optional<Message> message(std::move(m_messages.front()));
        m_messages.pop_front();
        return message;
    }
    bool AwaitWriters(int count, std::chrono::milliseconds patience) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, patience, [&] { return m_writers == count; });
    }
    const eprosima::fastrtps::rtps::GUID_t& Id() const { return m_reader->guid(); }
    size_t Count() {
        const std::lock_guard lock(m_mutex);
        return m_count;
    }

private:
    static constexpr int32_t kHistory = 5;

    void on_data_available(dds::DataReader* reader) override {
        Message message;
        dds::SampleInfo info;
        while (reader->take_next_sample(&message, &info) ==
               eprosima::fastrtps::types::ReturnCode_t::RETCODE_OK) {
            if (info.valid_data) {
                std::this_thread::sleep_for(m_options.m_digest);
                const std::lock_guard lock(m_mutex);
                ++m_count;
                m_messages.push_back(std::move(message));
                m_changed.notify_all();
            }
        }
    }
    void on_subscription_matched(dds::DataReader* /*reader*/,
                                 const dds::SubscriptionMatchedStatus& status) override {
        const std::lock_guard lock(m_mutex);
        m_writers = status.current_count;
        m_changed.notify_all();
    }

    const PeerOptions m_options;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Message> m_messages; // the rest up to the participant is guarded, too
    size_t m_count = 0;
    int m_writers = 0;
    const CPeerParticipant m_participant; // ends first
    dds::DataReader* m_reader = nullptr;
};

// A writer of requests, in a participant of its own.
template <class PubSubType>
class CPeerWriter : dds::DataWriterListener {
public:
    CPeerWriter(uint32_t domain, const std::string& topic, const PeerOptions& options = {})
        : m_participant(domain, topic, new PubSubType, options) {
        dds::Publisher* const publisher = m_participant.Get().create_publisher(dds::PUBLISHER_QOS_DEFAULT);
        CheckEntity(publisher != nullptr);
        dds::DataWriterQos qos;
        qos.reliability().kind = dds::RELIABLE_RELIABILITY_QOS;
        qos.durability().kind = dds::VOLATILE_DURABILITY_QOS;
        qos.endpoint().history_memory_policy =
            eprosima::fastrtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE;
        m_writer = publisher->create_datawriter(m_participant.Topic(), qos, this);
        CheckEntity(m_writer != nullptr);
    }
    ~CPeerWriter() override { m_writer->set_listener(nullptr); }
    CPeerWriter(const CPeerWriter&) = delete;
    CPeerWriter& operator=(const CPeerWriter&) = delete;

    bool AwaitReader(std::chrono::milliseconds patience) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, patience, [this] { return m_readers > 0; });
    }
    // `replies`: whom an answer would be for, beside the message, as one of ROS 2's layers tells it.
    bool Write(typename PubSubType::type message, const eprosima::fastrtps::rtps::GUID_t& replies = {}) {
        eprosima::fastrtps::rtps::WriteParams beside;
        beside.related_sample_identity().writer_guid(replies);
        return m_writer->write(&message, beside);
    }

private:
    void on_publication_matched(dds::DataWriter* /*writer*/,
                                const dds::PublicationMatchedStatus& status) override {
        const std::lock_guard lock(m_mutex);
        m_readers = status.current_count;
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_readers = 0;                    // guarded
    const CPeerParticipant m_participant; // ends first
    dds::DataWriter* m_writer = nullptr;
};

} // namespace ox3d::ros2

#endif

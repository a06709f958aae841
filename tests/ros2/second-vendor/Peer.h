// Peer.h - a reader of another vendor's DDS, with types that its own generator made of the interface definitions. Shared
// memory, which reaches nobody but its like, is off.
#ifndef OX3D_TESTS_ROS2_PEER_H
#define OX3D_TESTS_ROS2_PEER_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
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
};

// In a participant of its own. PubSubType is the generated one.
template <class PubSubType>
class CPeer : dds::DataReaderListener {
public:
    using Message = typename PubSubType::type;

    CPeer(uint32_t domain, const std::string& topic, PeerOptions options = {}) : m_options(options) {
        dds::DomainParticipantQos participantQos;
        const auto udp = std::make_shared<rtps::UDPv4TransportDescriptor>();
        udp->receiveBufferSize = kSocketBytes;
        participantQos.transport().use_builtin_transports = false;
        participantQos.transport().user_transports.push_back(udp);
        // Without multicast a host is asked at the ports that its first participants have.
        for (uint32_t index = 0; index < kAskedParticipants; ++index) {
            eprosima::fastrtps::rtps::Locator_t place(LOCATOR_KIND_UDPv4, 7410 + 250 * domain + 2 * index);
            eprosima::fastrtps::rtps::IPLocator::setIPv4(place, "127.0.0.1");
            participantQos.wire_protocol().builtin.initialPeersList.push_back(place);
        }
        m_participant =
            dds::DomainParticipantFactory::get_instance()->create_participant(domain, participantQos);
        const dds::TypeSupport type(new PubSubType);
        Check(m_participant != nullptr &&
              type.register_type(m_participant) == eprosima::fastrtps::types::ReturnCode_t::RETCODE_OK);
        m_topic = m_participant->create_topic(topic, type.get_type_name(), dds::TOPIC_QOS_DEFAULT);
        m_subscriber = m_participant->create_subscriber(dds::SUBSCRIBER_QOS_DEFAULT);
        Check(m_topic != nullptr && m_subscriber != nullptr);
        dds::DataReaderQos qos;
        qos.reliability().kind =
            options.m_isReliable ? dds::RELIABLE_RELIABILITY_QOS : dds::BEST_EFFORT_RELIABILITY_QOS;
        qos.durability().kind =
            options.m_isRetained ? dds::TRANSIENT_LOCAL_DURABILITY_QOS : dds::VOLATILE_DURABILITY_QOS;
        qos.history().kind = dds::KEEP_LAST_HISTORY_QOS;
        qos.history().depth = kHistory; // as viewers of ROS 2 have it
        qos.endpoint().history_memory_policy =
            eprosima::fastrtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE;
        m_reader = m_subscriber->create_datareader(m_topic, qos, this);
        Check(m_reader != nullptr);
    }
    ~CPeer() override {
        m_reader->set_listener(nullptr);
        m_participant->delete_contained_entities();
        dds::DomainParticipantFactory::get_instance()->delete_participant(m_participant);
    }
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
    size_t Count() {
        const std::lock_guard lock(m_mutex);
        return m_count;
    }

private:
    static constexpr uint32_t kSocketBytes = 4U << 20U;
    static constexpr int32_t kHistory = 5;
    static constexpr uint32_t kAskedParticipants = 8;

    static void Check(bool isFine) {
        if (!isFine) {
            throw std::runtime_error("no entity of the second vendor");
        }
    }

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
    dds::DomainParticipant* m_participant = nullptr;
    dds::Topic* m_topic = nullptr;
    dds::Subscriber* m_subscriber = nullptr;
    dds::DataReader* m_reader = nullptr;
};

} // namespace ox3d::ros2

#endif

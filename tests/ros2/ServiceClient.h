// ServiceClient.h - a client of a node's services, as rmw_cyclonedds is documented to write its requests.
#ifndef OX3D_TESTS_ROS2_SERVICE_CLIENT_H
#define OX3D_TESTS_ROS2_SERVICE_CLIENT_H

#include "recording/Cdr.h"
#include "ros2/ServiceRequests.h"
#include "tests/ros2/TestDomain.h"

#include <thread>

namespace ox3d::ros2 {

constexpr uint64_t kClient = 0x1122334455667788;
constexpr int64_t kNumber = 7;
constexpr auto kPatience = std::chrono::seconds(20);

class CRequestWriter {
public:
    CRequestWriter() : m_cdr(&m_bytes) {
        m_cdr.Add(kClient);
        m_cdr.Add(kNumber);
    }
    CCdrWriter& Cdr() { return m_cdr; }
    CRequestWriter& Names(const std::vector<std::string>& names) {
        m_cdr.Add(static_cast<uint32_t>(names.size()));
        for (const std::string& name : names) {
            m_cdr.Text(name);
        }
        return *this;
    }
    CRequestWriter& Value(uint8_t type, const ParameterValue& value, uint32_t integers = 0) {
        m_cdr.Add(type);
        m_cdr.Add(static_cast<uint8_t>(std::holds_alternative<bool>(value) && std::get<bool>(value)));
        m_cdr.Add(std::holds_alternative<int64_t>(value) ? std::get<int64_t>(value) : int64_t{0});
        m_cdr.Add(std::holds_alternative<double>(value) ? std::get<double>(value) : 0.0);
        m_cdr.Text(std::holds_alternative<std::string>(value) ? std::get<std::string>(value) : "");
        m_cdr.Array(std::array<uint32_t, 2>{});
        m_cdr.Add(integers);
        m_cdr.Array(std::vector<int64_t>(integers));
        m_cdr.Array(std::array<uint32_t, 2>{});
        return *this;
    }
    CRequestWriter& Parameters(const std::vector<Parameter>& parameters) {
        m_cdr.Add(static_cast<uint32_t>(parameters.size()));
        for (const auto& [name, value] : parameters) {
            m_cdr.Text(name);
            Value(static_cast<uint8_t>(value.index()), value);
        }
        return *this;
    }
    const ByteVector& Bytes() const { return m_bytes; }

private:
    ByteVector m_bytes;
    CCdrWriter m_cdr;
};

// A reply behind its identity, which is the request's.
inline CCdrReader ReplyOf(const ByteVector& reply) {
    CCdrReader cdr(reply);
    EXPECT_EQ(cdr.Take<uint64_t>(), kClient);
    EXPECT_EQ(cdr.Take<int64_t>(), kNumber);
    return cdr;
}

inline void ExpectDouble(CCdrReader* cdr, double value) {
    EXPECT_EQ(cdr->Take<uint8_t>(), 3u);
    cdr->Take<uint8_t>();
    cdr->Take<int64_t>();
    EXPECT_EQ(cdr->Take<double>(), value);
    EXPECT_EQ(cdr->Text(), "");
    for (int array = 0; array < 5; ++array) {
        EXPECT_EQ(cdr->Take<uint32_t>(), 0u);
    }
}

// A client of one service: like those of ROS 2 it has a writer of requests and a reader of replies.
class CClient {
public:
    CClient(IDomain& domain, const std::string& space, EService service) {
        const RosService& known = kServices[static_cast<size_t>(service)];
        Topic topic;
        topic.m_keptMessages = 0;
        topic.m_name = "rr/" + space + "/" + known.m_name + "Reply";
        topic.m_type = ServiceWireNameOf(known.m_reply);
        m_replies = domain.Subscribe(topic, &m_error);
        topic.m_name = "rq/" + space + "/" + known.m_name + "Request";
        topic.m_type = ServiceWireNameOf(known.m_request);
        m_requests = domain.Publish(topic, &m_error);
        EXPECT_TRUE(m_requests != nullptr && m_replies != nullptr) << m_error;
        const auto until = std::chrono::steady_clock::now() + kPatience;
        while (!IsFound() && std::chrono::steady_clock::now() < until) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    [[nodiscard]] bool IsFound() const { return m_requests->Readers() > 0 && m_replies->Writers() > 0; }
    void Send(ByteVector bytes) {
        EXPECT_TRUE(m_requests->Write(std::make_shared<CMessage>(std::move(bytes))));
    }
    MessagePointer Take() { return m_replies->Take(kPatience); }
    // The reply as it came, 4 bytes before its identity.
    ByteVector Call(const CRequestWriter& request) {
        Send(request.Bytes());
        const MessagePointer reply = Take();
        EXPECT_NE(reply, nullptr);
        return reply == nullptr ? ByteVector() : ByteVector(reply->Bytes().begin(), reply->Bytes().end());
    }

private:
    std::string m_error;
    std::unique_ptr<IWriter> m_requests;
    std::unique_ptr<IReader> m_replies;
};

inline CRequestWriter TriggerRequest() {
    CRequestWriter request;
    request.Cdr().Add(uint8_t{0});
    return request;
}

} // namespace ox3d::ros2

#endif

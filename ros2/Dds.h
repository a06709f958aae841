// Dds.h - what the tool and the module that speaks DDS know of each other. The module is loaded when it is needed: it passes
// messages on that are already in CDR, and knows nothing of cameras.
#ifndef OX3D_ROS2_DDS_H
#define OX3D_ROS2_DDS_H

#include "recording/Bytes.h"

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ox3d::ros2 {

// A message in CDR, its head of four bytes included. The protocol reads in words of four bytes, so memory goes on to the end
// of the last one.
class CMessage {
public:
    explicit CMessage(ByteVector cdr) : m_lengthBytes(cdr.size()), m_words(std::move(cdr)) {
        m_words.resize((m_lengthBytes + 3) / 4 * 4);
    }
    std::span<const uint8_t> Bytes() const { return std::span(m_words).first(m_lengthBytes); }

private:
    size_t m_lengthBytes;
    ByteVector m_words;
};
using MessagePointer = std::shared_ptr<const CMessage>;

using Guid = std::array<uint8_t, 16>; // as on the wire

constexpr size_t kMaxMessageBytes = size_t{256} << 20U;

struct Topic {
    std::string m_name;                   // on the wire: "rt/camera/depth/image_raw"
    std::string m_type;                   // on the wire: "sensor_msgs::msg::dds_::Image_"
    std::string m_userData;               // of the endpoint
    bool m_isReliable = true;             // else best effort
    bool m_isRetained = false;            // who comes late gets the last messages, too
    int32_t m_keptMessages = 5;           // for readers that are slower, or come late; 0: all
    size_t m_maxBytes = kMaxMessageBytes; // longer messages are not taken from the network
};

// Any thread, one at a time.
class IWriter {
public:
    virtual ~IWriter() = default;
    // False where it found no room in 100 ms: the message is lost to whoever has not got it.
    virtual bool Write(const MessagePointer& message) = 0;
    virtual uint32_t Readers() const = 0; // that are matched
    virtual Guid Id() const = 0;
};

class IReader {
public:
    virtual ~IReader() = default;
    // The next message; null where none comes in that time.
    virtual MessagePointer Take(std::chrono::milliseconds patience) = 0;
    virtual uint32_t Writers() const = 0; // that are matched
    virtual Guid Id() const = 0;
};

// A participant of a domain. Writers and readers end before it.
class IDomain {
public:
    virtual ~IDomain() = default;
    // Null with a reason.
    virtual std::unique_ptr<IWriter> Publish(const Topic& topic, std::string* error) = 0;
    virtual std::unique_ptr<IReader> Subscribe(const Topic& topic, std::string* error) = 0;
    // The same, but a thread of the module hands messages over as they come, and Take() has none. `onMessage` returns at
    // once; it is not called any more when the reader has ended.
    using OnMessage = std::function<void(const MessagePointer&)>;
    virtual std::unique_ptr<IReader> Listen(const Topic& topic, OnMessage onMessage, std::string* error) = 0;
    virtual Guid Id() const = 0;
};

struct DomainOptions {
    uint32_t m_number = 0;                 // 0 to 232
    std::vector<std::string> m_interfaces; // names of network interfaces; empty: one that the library chooses
    std::vector<std::string> m_peers;      // hosts that are asked besides
    bool m_isLocal = false;                // no multicast: found by this host and the peers alone
};

// What the module gives. What CYCLONEDDS_URI says goes before what is set here. Null with a reason.
using OpenFunction = IDomain* (*)(const DomainOptions& options, std::string* error);
constexpr const char* kOpenSymbol = "Ox3dRos2Open";

} // namespace ox3d::ros2

#endif

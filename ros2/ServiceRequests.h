// ServiceRequests.h - what clients of a node's services ask, and what they are answered, in CDR. Before a request stand 16
// bytes by which its client knows the reply: that is how one of the two common layers of ROS 2 has it (rmw_cyclonedds).
#ifndef OX3D_ROS2_SERVICE_REQUESTS_H
#define OX3D_ROS2_SERVICE_REQUESTS_H

#include "recording/Bytes.h"
#include "ros2/RosTypes.h"

#include <optional>
#include <variant>

namespace ox3d::ros2 {

// A request with more is refused.
constexpr size_t kMaxRequestBytes = size_t{256} << 10U;
constexpr uint32_t kMaxRequestNames = 1024; // or parameters
constexpr size_t kMaxNameBytes = 256;
constexpr size_t kMaxValueBytes = 4096; // of a text

// ParameterType of the definitions. Arrays come after texts; no feature of a camera is one.
enum class EParameterType : uint8_t { NotSet, Bool, Integer, Double, Text, FirstArray, LastArray = 9 };

struct ArrayValue {}; // what was in it is not kept
// In the order of EParameterType.
using ParameterValue = std::variant<std::monostate, bool, int64_t, double, std::string, ArrayValue>;

struct Parameter {
    std::string m_name;
    ParameterValue m_value;
};

struct SetResult {
    bool m_isSuccessful = false;
    std::string m_reason; // where it is not
};

struct ParameterDescriptor {
    std::string m_name;
    EParameterType m_type = EParameterType::NotSet;
    std::string m_description;
    std::string m_constraints; // in words
    bool m_isReadOnly = false;
    struct IntegerRange {
        int64_t m_from, m_to;
        uint64_t m_step;
    };
    struct DoubleRange {
        double m_from, m_to;
    };
    std::variant<std::monostate, IntegerRange, DoubleRange> m_range;
};

struct ServiceRequest {
    std::array<uint8_t, 16> m_id{};
    EService m_service = EService::Trigger;
    std::vector<std::string>
        m_names; // whose values, types or descriptions are asked for; of a list: prefixes
    std::vector<Parameter> m_parameters; // to be set
    uint64_t m_depth = 0;                // of a list: parts of a name; 0: all
};

// None where the message is not well formed, or longer than the limits above.
std::optional<ServiceRequest> ReadServiceRequest(EService service, std::span<const uint8_t> message);

// What the services are about. One thread at a time. Members may throw what a std::exception is: a request fails then.
class IParameters {
public:
    virtual ~IParameters() = default;
    virtual std::vector<std::string> Names() = 0;
    // Not set where there is no such parameter, or it cannot be read now.
    virtual ParameterValue Get(const std::string& name) = 0;
    virtual ParameterDescriptor Describe(const std::string& name) = 0;
    virtual SetResult Set(const Parameter& parameter) = 0;
    // All, or none.
    virtual SetResult SetAll(std::span<const Parameter> parameters) = 0;
    virtual SetResult Trigger() = 0;
};

// The reply to a request, a message in CDR. `changed` gets the names of what was set, each once.
ByteVector AnswerTo(const ServiceRequest& request, IParameters& parameters,
                    std::vector<std::string>* changed);

// What tells others that parameters of a node ("/cell/left") have changed, a message in CDR.
void PutParameterEvent(ByteVector* out, uint64_t stampNs, const std::string& node,
                       std::span<const Parameter> changed);

} // namespace ox3d::ros2

#endif

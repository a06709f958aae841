// ServiceRequests.cpp - fields in the order of the definitions of rcl_interfaces and std_srvs. A count is believed only as far
// as the message has bytes for what it counts.
#include "ros2/ServiceRequests.h"

#include "recording/RosMessages.h"

#include <algorithm>

namespace ox3d::ros2 {
namespace {

constexpr size_t kMaxPaddingBytes = 3; // messages end at whole words
constexpr size_t kMinNameBytes = 5;    // its length and its end
constexpr char kSeparator = '.';       // between the parts of a parameter's name

class CRequestReader {
public:
    explicit CRequestReader(std::span<const uint8_t> message) : m_cdr(message) {}

    bool HasFailed() const { return m_isRefused || m_cdr.HasFailed(); }
    bool IsAtEnd() const { return !HasFailed() && m_cdr.Left() <= kMaxPaddingBytes; }

    template <class Number>
    Number Take() {
        return m_cdr.Take<Number>();
    }
    bool Bool() {
        const auto value = Take<uint8_t>();
        m_isRefused |= value > 1;
        return value == 1;
    }
    // Of elements that have so many bytes at least; 0 where there cannot be as many.
    uint32_t Count(size_t elementBytes, uint32_t most) {
        const auto count = Take<uint32_t>();
        m_isRefused |= count > most || count * elementBytes > m_cdr.Left();
        return HasFailed() ? 0 : count;
    }
    std::string Text(size_t maxBytes) {
        const auto bytes = m_cdr.Bytes();
        const bool isTerminated =
            !bytes.empty() && std::find(bytes.begin(), bytes.end(), 0) == bytes.end() - 1;
        m_isRefused |= !isTerminated || bytes.size() - 1 > maxBytes;
        return HasFailed() ? std::string() : std::string(bytes.begin(), bytes.end() - 1);
    }
    std::vector<std::string> Names() {
        std::vector<std::string> names;
        const uint32_t count = Count(kMinNameBytes, kMaxRequestNames);
        for (uint32_t i = 0; i < count && !HasFailed(); ++i) {
            names.push_back(Text(kMaxNameBytes));
        }
        return names;
    }
    template <class Number>
    void SkipNumbers() {
        const uint32_t count = Count(sizeof(Number), UINT32_MAX);
        for (uint32_t i = 0; i < count && !HasFailed(); ++i) {
            Take<Number>();
        }
    }
    // Every field is there, whatever the type.
    ParameterValue Value() {
        const auto type = Take<uint8_t>();
        const bool truth = Bool();
        const auto integer = Take<int64_t>();
        const auto real = Take<double>();
        std::string text = Text(kMaxValueBytes);
        SkipNumbers<uint8_t>(); // bytes
        SkipNumbers<uint8_t>(); // truth values
        SkipNumbers<int64_t>();
        SkipNumbers<double>();
        const uint32_t texts = Count(kMinNameBytes, kMaxRequestNames);
        for (uint32_t i = 0; i < texts && !HasFailed(); ++i) {
            Text(kMaxValueBytes);
        }
        m_isRefused |= type > static_cast<uint8_t>(EParameterType::LastArray);
        switch (static_cast<EParameterType>(type)) {
        case EParameterType::NotSet:
            return {};
        case EParameterType::Bool:
            return truth;
        case EParameterType::Integer:
            return integer;
        case EParameterType::Double:
            return real;
        case EParameterType::Text:
            return text;
        default:
            return ArrayValue();
        }
    }
    std::vector<Parameter> Parameters() {
        constexpr size_t kMinParameterBytes = 52; // numbers, and lengths of all that is empty
        std::vector<Parameter> parameters;
        const uint32_t count = Count(kMinParameterBytes, kMaxRequestNames);
        for (uint32_t i = 0; i < count && !HasFailed(); ++i) {
            std::string name = Text(kMaxNameBytes);
            parameters.push_back({std::move(name), Value()});
        }
        return parameters;
    }

private:
    CCdrReader m_cdr;
    bool m_isRefused = false;
};

void PutTexts(CCdrWriter* cdr, const std::vector<std::string>& texts) {
    cdr->Add(static_cast<uint32_t>(texts.size()));
    for (const std::string& text : texts) {
        cdr->Text(text);
    }
}

template <class Value>
Value ValueOr(const ParameterValue& value, Value other) {
    const auto* const held = std::get_if<Value>(&value);
    return held == nullptr ? other : *held;
}

void PutValue(CCdrWriter* cdr, const ParameterValue& value) {
    constexpr int kArrays = 5;
    cdr->Add(static_cast<uint8_t>(value.index()));
    cdr->Add(static_cast<uint8_t>(ValueOr(value, false)));
    cdr->Add(ValueOr(value, int64_t{0}));
    cdr->Add(ValueOr(value, 0.0));
    cdr->Text(ValueOr(value, std::string()));
    for (int i = 0; i < kArrays; ++i) {
        cdr->Add(uint32_t{0});
    }
}

void PutResult(CCdrWriter* cdr, const SetResult& result) {
    cdr->Add(static_cast<uint8_t>(result.m_isSuccessful));
    cdr->Text(result.m_reason);
}

void PutDescriptor(CCdrWriter* cdr, const ParameterDescriptor& descriptor) {
    cdr->Text(descriptor.m_name);
    cdr->Add(static_cast<uint8_t>(descriptor.m_type));
    cdr->Text(descriptor.m_description);
    cdr->Text(descriptor.m_constraints);
    cdr->Add(static_cast<uint8_t>(descriptor.m_isReadOnly));
    cdr->Add(uint8_t{0}); // the type of a feature does not change
    const auto* const real = std::get_if<ParameterDescriptor::DoubleRange>(&descriptor.m_range);
    cdr->Add(static_cast<uint32_t>(real == nullptr ? 0 : 1));
    if (real != nullptr) {
        cdr->Add(real->m_from);
        cdr->Add(real->m_to);
        cdr->Add(0.0); // every number between
    }
    const auto* const whole = std::get_if<ParameterDescriptor::IntegerRange>(&descriptor.m_range);
    cdr->Add(static_cast<uint32_t>(whole == nullptr ? 0 : 1));
    if (whole != nullptr) {
        cdr->Add(whole->m_from);
        cdr->Add(whole->m_to);
        cdr->Add(whole->m_step);
    }
}

bool IsWithin(std::string_view rest, uint64_t depth) {
    return depth == 0 || static_cast<uint64_t>(std::count(rest.begin(), rest.end(), kSeparator)) < depth;
}

// As nodes of ROS 2 choose: a prefix is a whole name, or all of its first parts.
bool IsListed(const std::string& name, const ServiceRequest& request) {
    if (request.m_names.empty()) {
        return IsWithin(name, request.m_depth);
    }
    return std::any_of(request.m_names.begin(), request.m_names.end(), [&](const std::string& prefix) {
        return name == prefix ||
               (name.starts_with(prefix + kSeparator) &&
                IsWithin(std::string_view(name).substr(prefix.size() + 1), request.m_depth));
    });
}

void PutList(CCdrWriter* cdr, const ServiceRequest& request, const std::vector<std::string>& all) {
    std::vector<std::string> names;
    std::vector<std::string> prefixes;
    for (const std::string& name : all) {
        if (!IsListed(name, request)) {
            continue;
        }
        names.push_back(name);
        const size_t end = name.rfind(kSeparator);
        const std::string prefix = end == name.npos ? "" : name.substr(0, end);
        if (!prefix.empty() && std::find(prefixes.begin(), prefixes.end(), prefix) == prefixes.end()) {
            prefixes.push_back(prefix);
        }
    }
    PutTexts(cdr, names);
    PutTexts(cdr, prefixes);
}

} // namespace

std::optional<ServiceRequest> ReadServiceRequest(EService service, std::span<const uint8_t> message) {
    if (message.size() > kMaxRequestBytes) {
        return std::nullopt;
    }
    CRequestReader reader(message);
    ServiceRequest request;
    request.m_service = service;
    for (uint8_t& byte : request.m_id) {
        byte = reader.Take<uint8_t>();
    }
    switch (service) {
    case EService::SetParameters:
    case EService::SetParametersAtomically:
        request.m_parameters = reader.Parameters();
        break;
    case EService::Trigger:
        reader.Take<uint8_t>(); // a structure has one member at least
        break;
    case EService::ListParameters:
        request.m_names = reader.Names();
        request.m_depth = reader.Take<uint64_t>();
        break;
    default:
        request.m_names = reader.Names();
        break;
    }
    return reader.IsAtEnd() ? std::optional(std::move(request)) : std::nullopt;
}

ByteVector AnswerTo(const ServiceRequest& request, IParameters& parameters,
                    std::vector<std::string>* changed) {
    ByteVector out;
    CCdrWriter cdr(&out);
    cdr.Array(request.m_id);
    const auto putCount = [&](size_t count) { cdr.Add(static_cast<uint32_t>(count)); };
    const auto putResult = [&](const SetResult& result, std::span<const Parameter> set) {
        PutResult(&cdr, result);
        for (const Parameter& parameter : set) {
            if (result.m_isSuccessful &&
                std::find(changed->begin(), changed->end(), parameter.m_name) == changed->end()) {
                changed->push_back(parameter.m_name);
            }
        }
    };
    switch (request.m_service) {
    case EService::GetParameters:
        putCount(request.m_names.size());
        for (const std::string& name : request.m_names) {
            PutValue(&cdr, parameters.Get(name));
        }
        break;
    case EService::GetParameterTypes:
        putCount(request.m_names.size());
        for (const std::string& name : request.m_names) {
            cdr.Add(static_cast<uint8_t>(parameters.Describe(name).m_type));
        }
        break;
    case EService::SetParameters:
        putCount(request.m_parameters.size());
        for (const Parameter& parameter : request.m_parameters) {
            putResult(parameters.Set(parameter), {&parameter, 1});
        }
        break;
    case EService::SetParametersAtomically:
        putResult(parameters.SetAll(request.m_parameters), request.m_parameters);
        break;
    case EService::DescribeParameters:
        putCount(request.m_names.size());
        for (const std::string& name : request.m_names) {
            PutDescriptor(&cdr, parameters.Describe(name));
        }
        break;
    case EService::ListParameters:
        PutList(&cdr, request, parameters.Names());
        break;
    case EService::Trigger:
        PutResult(&cdr, parameters.Trigger()); // the same two fields
        break;
    }
    return out;
}

void PutParameterEvent(ByteVector* out, uint64_t stampNs, const std::string& node,
                       std::span<const Parameter> changed) {
    CCdrWriter cdr(out);
    PutRosHeader(&cdr, {stampNs, node}); // a time and a text, as in a header
    cdr.Add(uint32_t{0});                // none is new
    cdr.Add(static_cast<uint32_t>(changed.size()));
    for (const Parameter& parameter : changed) {
        cdr.Text(parameter.m_name);
        PutValue(&cdr, parameter.m_value);
    }
    cdr.Add(uint32_t{0}); // none is gone
}

} // namespace ox3d::ros2

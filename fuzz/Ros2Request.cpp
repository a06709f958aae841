// Ros2Request.cpp - what clients of ROS 2 ask of a camera's services: a byte that chooses the service, then the message. What
// is read is within its limits, and every request is answered with a reply that has its identity.
#include "fuzz/Input.h"
#include "recording/Cdr.h"
#include "ros2/ServiceRequests.h"

namespace {

using namespace ox3d::ros2;

// Parameters that are what their names say.
class CNamedParameters : public IParameters {
public:
    std::vector<std::string> Names() override { return {"Gain", "a.b.c", "a.b.d", "e."}; }
    ParameterValue Get(const std::string& name) override {
        return name.empty() ? ParameterValue() : ParameterValue(name);
    }
    ParameterDescriptor Describe(const std::string& name) override {
        ParameterDescriptor descriptor{name, EParameterType::Integer, name, name, false, {}};
        descriptor.m_range = ParameterDescriptor::IntegerRange{INT64_MIN, INT64_MAX, 1};
        return descriptor;
    }
    SetResult Set(const Parameter& parameter) override {
        Check(parameter);
        return {false, parameter.m_name};
    }
    SetResult SetAll(std::span<const Parameter> parameters) override {
        for (const Parameter& parameter : parameters) {
            Check(parameter);
        }
        return {true, ""};
    }
    SetResult Trigger() override { return {true, "triggered"}; }

private:
    static void Check(const Parameter& parameter) {
        OX3D_FUZZ_EXPECT(parameter.m_name.size() <= kMaxNameBytes);
        const auto* const text = std::get_if<std::string>(&parameter.m_value);
        OX3D_FUZZ_EXPECT(text == nullptr || text->size() <= kMaxValueBytes);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    ox3d::fuzz::CInput input(data, lengthBytes);
    const auto service = static_cast<EService>(input.Take<uint8_t>() % kServices.size());
    const auto message = input.Rest();
    const auto request = ReadServiceRequest(service, message);
    if (!request) {
        return 0;
    }
    OX3D_FUZZ_EXPECT(request->m_service == service);
    OX3D_FUZZ_EXPECT(request->m_names.size() <= kMaxRequestNames);
    OX3D_FUZZ_EXPECT(request->m_parameters.size() <= kMaxRequestNames);
    for (const std::string& name : request->m_names) {
        OX3D_FUZZ_EXPECT(name.size() <= kMaxNameBytes && name.find('\0') == name.npos);
    }
    CNamedParameters parameters;
    std::vector<std::string> changed;
    const ox3d::ByteVector reply = AnswerTo(*request, parameters, &changed);
    OX3D_FUZZ_EXPECT(changed.size() <= request->m_parameters.size());
    OX3D_FUZZ_EXPECT(reply.size() > 4 + request->m_id.size());
    OX3D_FUZZ_EXPECT(std::memcmp(reply.data() + 4, message.data() + 4, request->m_id.size()) == 0);
    return 0;
}

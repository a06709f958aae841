// Features to and from parameters.
#include "tools/ox3d/ros2/Ros2Parameters.h"

#include "tools/ox3d/Camera.h"
#include "tools/ox3d/commands/FeatureSetting.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace ox3d::tool {
namespace {

using ros2::EParameterType;
using ros2::ParameterDescriptor;
using ros2::ParameterValue;
using ros2::SetResult;

constexpr const char* kNoCamera = "the camera is not there now";

// What messages say of frames and lenses follows from them, so they stay as the command line has them.
constexpr std::array<std::string_view, 4> kFixed = {OX3D_RGBD_KEY_IMAGE_ALIGN, OX3D_RGBD_KEY_RESOLUTION_ALIGN,
                                                    OX3D_RGBD_KEY_OUTPUT_RGBD, OX3D_RGBD_KEY_ALIGN_TARGET};

bool IsFixed(const std::string& name) {
    return std::find(kFixed.begin(), kFixed.end(), name) != kFixed.end();
}

EParameterType TypeOf(const Feature& feature) {
    switch (feature.m_record.nType) {
    case OX3D_RGBD_PARAM_BOOL:
        return EParameterType::Bool;
    case OX3D_RGBD_PARAM_INT:
        return EParameterType::Integer;
    case OX3D_RGBD_PARAM_FLOAT:
        return EParameterType::Double;
    case OX3D_RGBD_PARAM_ENUM:
    case OX3D_RGBD_PARAM_STRING:
        return EParameterType::Text;
    default: // commands and registers have no value
        return EParameterType::NotSet;
    }
}

// The number that a feature's would be written as: 0.1, where a float is not quite that.
double Widened(float number) {
    char text[64];
    const auto written = std::to_chars(std::begin(text), std::end(text), number);
    double wide = number;
    std::from_chars(std::begin(text), written.ptr, wide);
    return wide;
}

ParameterValue ValueOf(const Feature& feature) {
    const OX3D_RGBD_FEATURE& record = feature.m_record;
    if (record.nHasValue != 1) {
        return {};
    }
    switch (TypeOf(feature)) {
    case EParameterType::Bool:
        return record.stValue.bBoolValue != 0;
    case EParameterType::Integer:
        return record.stValue.stIntParam.nCurValue;
    case EParameterType::Double:
        return Widened(record.stValue.stFloatParam.fCurValue);
    case EParameterType::Text:
        return PlainText(feature);
    default:
        return {};
    }
}

ParameterDescriptor DescriptorOf(const Feature& feature) {
    const OX3D_RGBD_FEATURE& record = feature.m_record;
    ParameterDescriptor descriptor;
    descriptor.m_name = feature.Name();
    descriptor.m_type = TypeOf(feature);
    const std::string description = TextOf(record.chDescription);
    descriptor.m_description = description.empty() ? TextOf(record.chToolTip) : description;
    const std::string unit = TextOf(record.chUnit);
    descriptor.m_constraints = RangeText(feature) + (unit.empty() ? "" : " (" + unit + ")");
    descriptor.m_isReadOnly = !IsWritable(feature) || IsFixed(descriptor.m_name);
    if (record.nHasValue == 1 && record.nType == OX3D_RGBD_PARAM_INT) {
        const OX3D_RGBD_INTPARAM& range = record.stValue.stIntParam;
        if (range.nMin < range.nMax) {
            const uint64_t step = range.nInc > 1 ? static_cast<uint64_t>(range.nInc) : 1;
            descriptor.m_range = ParameterDescriptor::IntegerRange{range.nMin, range.nMax, step};
        }
    }
    if (record.nHasValue == 1 && record.nType == OX3D_RGBD_PARAM_FLOAT) {
        const OX3D_RGBD_FLOATPARAM& range = record.stValue.stFloatParam;
        if (range.fMin < range.fMax) {
            descriptor.m_range = ParameterDescriptor::DoubleRange{Widened(range.fMin), Widened(range.fMax)};
        }
    }
    return descriptor;
}

// As "ox3d set" takes it. A number may be a whole one; nothing else becomes another type. Throws CToolError.
std::string TextFor(const Feature& feature, const ParameterValue& value) {
    const EParameterType type = TypeOf(feature);
    if (const auto* const truth = std::get_if<bool>(&value);
        truth != nullptr && type == EParameterType::Bool) {
        return *truth ? "yes" : "no";
    }
    if (const auto* const whole = std::get_if<int64_t>(&value);
        whole != nullptr && (type == EParameterType::Integer || type == EParameterType::Double)) {
        return std::to_string(*whole);
    }
    if (const auto* const number = std::get_if<double>(&value);
        number != nullptr && type == EParameterType::Double) {
        char text[64];
        return {text, std::to_chars(std::begin(text), std::end(text), *number).ptr};
    }
    if (const auto* const text = std::get_if<std::string>(&value);
        text != nullptr && type == EParameterType::Text) {
        return *text;
    }
    throw CToolError(EExitCode::Usage,
                     feature.Name() + " is of another type: " + TypeText(feature.m_record.nType));
}

// A request fails in words; what is no error of the camera's goes on to the caller.
template <class Call>
SetResult ResultOf(void* handle, Call&& call) {
    if (handle == nullptr) {
        return {false, kNoCamera};
    }
    try {
        call();
        return {true, ""};
    } catch (const CToolError& error) {
        return {false, error.what()};
    }
}

// None where the camera has no such feature, or does not say.
std::optional<Feature> KnownFeature(void* handle, const std::string& name) {
    if (handle == nullptr || name.empty()) {
        return std::nullopt;
    }
    try {
        return AskFor(handle, name);
    } catch (const CToolError&) {
        return std::nullopt;
    }
}

} // namespace

void CRos2Parameters::Attach(void* handle) {
    const CLock lock(m_mutex);
    m_handle = handle;
}

std::vector<std::string> CRos2Parameters::Names() {
    const CLock lock(m_mutex);
    std::vector<std::string> names;
    if (m_handle == nullptr) {
        return names;
    }
    try {
        const CFeatures features(m_handle);
        for (const Feature& feature : features.All()) {
            if (TypeOf(feature) != EParameterType::NotSet) {
                names.push_back(feature.Name());
            }
        }
    } catch (const CToolError&) { // the camera is being lost
        names.clear();
    }
    return names;
}

ParameterValue CRos2Parameters::Get(const std::string& name) {
    const CLock lock(m_mutex);
    const std::optional<Feature> feature = KnownFeature(m_handle, name);
    return feature ? ValueOf(*feature) : ParameterValue();
}

ParameterDescriptor CRos2Parameters::Describe(const std::string& name) {
    const CLock lock(m_mutex);
    ParameterDescriptor unknown;
    unknown.m_name = name;
    const std::optional<Feature> feature = KnownFeature(m_handle, name);
    return feature ? DescriptorOf(*feature) : unknown;
}

SetResult CRos2Parameters::Set(const ros2::Parameter& parameter) {
    return SetAll({&parameter, 1});
}

SetResult CRos2Parameters::SetAll(std::span<const ros2::Parameter> parameters) {
    const CLock lock(m_mutex);
    void* const handle = m_handle;
    return ResultOf(handle, [&] {
        std::vector<FeatureSetting> settings; // types are looked at before anything is set
        for (const auto& [name, value] : parameters) {
            if (IsFixed(name)) {
                throw CToolError(EExitCode::Usage, name + " is fixed while the camera is published");
            }
            settings.push_back({name, TextFor(FindFeature(handle, name), value)});
        }
        SetFeatures(handle, settings);
    });
}

SetResult CRos2Parameters::Trigger() {
    const CLock lock(m_mutex);
    void* const handle = m_handle;
    return ResultOf(handle, [&] { Execute(handle, FindCommand(handle, "TriggerSoftware")); });
}

} // namespace ox3d::tool

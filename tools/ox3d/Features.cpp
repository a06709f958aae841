// Features by name.
#include "tools/ox3d/Features.h"

#include "tools/ox3d/Camera.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/Suggest.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>

namespace ox3d::tool {
namespace {

// More than any camera is known to have.
constexpr uint32_t kMaxEntries = 4096;

[[noreturn]] void ThrowStatus(const std::string& what, uint32_t status) {
    throw CToolError(EExitCode::Camera, what + ": " + StatusText(status));
}

template <typename Number>
std::string NumberText(Number number) {
    std::array<char, 64> text{};
    char* const end = text.data() + text.size();
    std::to_chars_result result{};
    if constexpr (std::is_floating_point_v<Number>) { // no exponent where the zeros can be counted
        const Number size = std::fabs(number);
        const bool isPlain = size == 0 || (size >= Number(1e-4) && size < Number(1e7));
        result = std::to_chars(text.data(), end, number,
                               isPlain ? std::chars_format::fixed : std::chars_format::general);
    } else {
        result = std::to_chars(text.data(), end, number);
    }
    return {text.data(), result.ptr};
}

// The whole text as a number, "0x1F" included where it is a whole one.
template <typename Number>
std::optional<Number> NumberOf(std::string text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.erase(0, 2);
        base = 16;
    }
    const char* const end = text.data() + text.size();
    Number number{};
    std::from_chars_result result{};
    if constexpr (std::is_integral_v<Number>) {
        result = std::from_chars(text.data(), end, number, base);
    } else {
        result = std::from_chars(text.data(), end, number);
    }
    return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

bool IsOneOf(const std::string& text, std::initializer_list<const char*> words) {
    return std::any_of(words.begin(), words.end(), [&](const char* word) { return text == word; });
}

[[noreturn]] void ThrowValue(const Feature& feature, const std::string& text, const std::string& possible) {
    throw CToolError(EExitCode::Usage,
                     "\"" + text + "\" is no value of " + feature.Name() + "; possible: " + possible);
}

void ParseBool(const Feature& feature, const std::string& text, OX3D_RGBD_PARAM* param) {
    const bool isOn = IsOneOf(text, {"yes", "true", "on", "1"});
    if (!isOn && !IsOneOf(text, {"no", "false", "off", "0"})) {
        ThrowValue(feature, text, "yes, no");
    }
    param->bBoolValue = isOn ? 1 : 0;
}

void ParseInt(const Feature& feature, const std::string& text, OX3D_RGBD_PARAM* param) {
    const OX3D_RGBD_INTPARAM& range = feature.m_record.stValue.stIntParam;
    const std::optional<int64_t> number = NumberOf<int64_t>(text);
    const bool isRanged = feature.m_record.nHasValue == 1 && range.nMin < range.nMax;
    const bool isInside = number && (!isRanged || (*number >= range.nMin && *number <= range.nMax));
    // Unsigned: the way from the least to the number may be longer than an int64_t.
    const bool isStep = isInside && (!isRanged || range.nInc <= 1 ||
                                     (static_cast<uint64_t>(*number) - static_cast<uint64_t>(range.nMin)) %
                                             static_cast<uint64_t>(range.nInc) ==
                                         0);
    if (!isStep) {
        ThrowValue(feature, text, isRanged ? RangeText(feature) : "a whole number");
    }
    param->stIntParam.nCurValue = *number;
}

void ParseFloat(const Feature& feature, const std::string& text, OX3D_RGBD_PARAM* param) {
    const OX3D_RGBD_FLOATPARAM& range = feature.m_record.stValue.stFloatParam;
    const std::optional<float> number = NumberOf<float>(text);
    const bool isRanged = feature.m_record.nHasValue == 1 && range.fMin < range.fMax;
    if (!number || !std::isfinite(*number) || (isRanged && (*number < range.fMin || *number > range.fMax))) {
        ThrowValue(feature, text, isRanged ? RangeText(feature) : "a number");
    }
    param->stFloatParam.fCurValue = *number;
}

std::vector<std::string> EntryNames(const Feature& feature) {
    std::vector<std::string> names;
    for (const OX3D_RGBD_FEATURE_ENTRY& entry : feature.m_entries) {
        names.push_back(TextOf(entry.chName));
    }
    return names;
}

void ParseEnum(const Feature& feature, const std::string& text, OX3D_RGBD_PARAM* param) {
    const std::optional<uint32_t> number = NumberOf<uint32_t>(text);
    for (const OX3D_RGBD_FEATURE_ENTRY& entry : feature.m_entries) {
        if (entry.nValue >= 0 && entry.nValue <= UINT32_MAX &&
            (TextOf(entry.chName) == text || (number && entry.nValue == *number))) {
            param->stEnumParam.nCurValue = static_cast<uint32_t>(entry.nValue);
            return;
        }
    }
    ThrowValue(feature, text, RangeText(feature) + DidYouMean(text, EntryNames(feature)));
}

void ParseText(const Feature& feature, const std::string& text, OX3D_RGBD_PARAM* param) {
    constexpr int64_t kFieldBytes = OX3D_RGBD_MAX_STRING - 1;
    const int64_t most = feature.m_record.stValue.stStringParam.nMaxLength;
    const int64_t maxBytes = most > 0 ? std::min(most, kFieldBytes) : kFieldBytes;
    if (text.size() > static_cast<uint64_t>(maxBytes)) {
        ThrowValue(feature, text, "up to " + std::to_string(maxBytes) + " characters");
    }
    std::memcpy(param->stStringParam.chCurValue, text.data(), text.size());
}

std::string EnumText(const Feature& feature) {
    const uint32_t value = feature.m_record.stValue.stEnumParam.nCurValue;
    for (const OX3D_RGBD_FEATURE_ENTRY& entry : feature.m_entries) {
        if (entry.nValue == value) {
            return TextOf(entry.chName);
        }
    }
    return std::to_string(value);
}

template <typename Number>
std::string Between(Number least, Number most) {
    return least < most ? NumberText(least) + " .. " + NumberText(most) : "";
}

} // namespace

std::string Feature::Name() const {
    return TextOf(m_record.chName);
}

CFeatures::CFeatures(void* handle) {
    uint32_t count = 0;
    uint32_t status = OX3D_RGBD_GetFeatures(handle, nullptr, nullptr, 0, &count);
    std::vector<OX3D_RGBD_FEATURE> records(count);
    if (status == OX3D_RGBD_OK) {
        status = OX3D_RGBD_GetFeatures(handle, nullptr, records.data(), count, &count);
    }
    if (status != OX3D_RGBD_OK) {
        ThrowStatus("cannot list the camera's features", status);
    }
    records.resize(std::min<size_t>(records.size(), count));
    for (const OX3D_RGBD_FEATURE& record : records) {
        if (record.nAccess != OX3D_RGBD_ACCESS_NOT_IMPLEMENTED) {
            m_features.push_back({record, {}});
        }
    }
}

std::vector<OX3D_RGBD_FEATURE_ENTRY> EntriesOf(void* handle, const OX3D_RGBD_FEATURE& record) {
    std::vector<OX3D_RGBD_FEATURE_ENTRY> entries(std::min(record.nEntryCount, kMaxEntries));
    uint32_t count = 0;
    if (entries.empty() ||
        OX3D_RGBD_GetFeatureEntries(handle, record.chName, entries.data(),
                                    static_cast<uint32_t>(entries.size()), &count) != OX3D_RGBD_OK) {
        return {};
    }
    entries.resize(std::min<size_t>(entries.size(), count));
    return entries;
}

const Feature& CFeatures::Find(const std::string& name) const {
    std::vector<std::string> names;
    for (const Feature& feature : m_features) {
        names.push_back(feature.Name());
        if (names.back() == name) {
            return feature;
        }
    }
    throw CToolError(EExitCode::Usage, "the camera has no feature \"" + name + "\"" +
                                           (Nearest(name, names).empty() ? "; \"ox3d features\" lists them"
                                                                         : DidYouMean(name, names)));
}

namespace {

// Camera controls have features of their own, which the camera's description does not list.
std::optional<Feature> AskUnlisted(void* handle, const std::string& name) {
    Ox3dRgbdAccessMode mode = OX3D_RGBD_ACCESS_NOT_IMPLEMENTED;
    Feature feature;
    OX3D_RGBD_FEATURE& record = feature.m_record;
    const bool isThere = name.size() < sizeof(record.chName) &&
                         OX3D_RGBD_XML_GetNodeAccessMode(handle, name.c_str(), &mode) == OX3D_RGBD_OK &&
                         (mode == OX3D_RGBD_ACCESS_READ_ONLY || mode == OX3D_RGBD_ACCESS_READ_WRITE) &&
                         OX3D_RGBD_GetParam(handle, name.c_str(), &record.stValue) == OX3D_RGBD_OK &&
                         record.stValue.enParamType != OX3D_RGBD_PARAM_ENUM;
    if (!isThere) {
        return std::nullopt;
    }
    name.copy(record.chName, sizeof(record.chName) - 1);
    name.copy(record.chDisplayName, sizeof(record.chDisplayName) - 1);
    record.nType = record.stValue.enParamType;
    record.nAccess = mode;
    record.nHasValue = 1;
    return feature;
}

} // namespace

std::optional<Feature> AskFor(void* handle, const std::string& name) {
    Feature feature;
    uint32_t count = 0;
    const uint32_t status = OX3D_RGBD_GetFeatures(handle, name.c_str(), &feature.m_record, 1, &count);
    if (status == OX3D_RGBD_E_PARAMETER) {
        return AskUnlisted(handle, name);
    }
    if (feature.m_record.nAccess == OX3D_RGBD_ACCESS_NOT_IMPLEMENTED) {
        return std::nullopt;
    }
    if (status != OX3D_RGBD_OK) {
        ThrowStatus("cannot ask for " + name, status);
    }
    feature.m_entries = EntriesOf(handle, feature.m_record);
    return feature;
}

Feature FindFeature(void* handle, const std::string& name) {
    std::optional<Feature> feature = AskFor(handle, name);
    return feature ? *feature : CFeatures(handle).Find(name);
}

const char* TypeText(uint32_t type) {
    switch (type) {
    case OX3D_RGBD_PARAM_BOOL:
        return "Boolean";
    case OX3D_RGBD_PARAM_INT:
        return "Integer";
    case OX3D_RGBD_PARAM_FLOAT:
        return "Float";
    case OX3D_RGBD_PARAM_ENUM:
        return "Enumeration";
    case OX3D_RGBD_PARAM_STRING:
        return "String";
    case OX3D_RGBD_FEATURE_COMMAND:
        return "Command";
    case OX3D_RGBD_FEATURE_REGISTER:
        return "Register";
    default:
        return "unknown";
    }
}

std::string PlainText(const Feature& feature) {
    const OX3D_RGBD_FEATURE& record = feature.m_record;
    if (record.nHasValue != 1) {
        return "";
    }
    switch (record.nType) {
    case OX3D_RGBD_PARAM_BOOL:
        return record.stValue.bBoolValue != 0 ? "yes" : "no";
    case OX3D_RGBD_PARAM_INT:
        return NumberText(record.stValue.stIntParam.nCurValue);
    case OX3D_RGBD_PARAM_FLOAT:
        return NumberText(record.stValue.stFloatParam.fCurValue);
    case OX3D_RGBD_PARAM_ENUM:
        return EnumText(feature);
    default:
        return TextOf(record.stValue.stStringParam.chCurValue);
    }
}

std::string RangeText(const Feature& feature) {
    const OX3D_RGBD_FEATURE& record = feature.m_record;
    if (record.nType == OX3D_RGBD_PARAM_ENUM) {
        std::string text;
        for (const OX3D_RGBD_FEATURE_ENTRY& entry : feature.m_entries) {
            if (entry.nIsAvailable == 1 || record.nHasValue != 1) {
                text += (text.empty() ? "" : ", ") + TextOf(entry.chName);
            }
        }
        return text;
    }
    if (record.nHasValue == 1 && record.nType == OX3D_RGBD_PARAM_INT) {
        const OX3D_RGBD_INTPARAM& range = record.stValue.stIntParam;
        const std::string text = Between(range.nMin, range.nMax);
        return !text.empty() && range.nInc > 1 ? text + ", step " + NumberText(range.nInc) : text;
    }
    if (record.nHasValue == 1 && record.nType == OX3D_RGBD_PARAM_FLOAT) {
        return Between(record.stValue.stFloatParam.fMin, record.stValue.stFloatParam.fMax);
    }
    return "";
}

OX3D_RGBD_PARAM ParseValue(const Feature& feature, const std::string& text) {
    OX3D_RGBD_PARAM param{};
    param.enParamType = feature.m_record.nType;
    switch (feature.m_record.nType) {
    case OX3D_RGBD_PARAM_BOOL:
        ParseBool(feature, text, &param);
        break;
    case OX3D_RGBD_PARAM_INT:
        ParseInt(feature, text, &param);
        break;
    case OX3D_RGBD_PARAM_FLOAT:
        ParseFloat(feature, text, &param);
        break;
    case OX3D_RGBD_PARAM_ENUM:
        ParseEnum(feature, text, &param);
        break;
    case OX3D_RGBD_PARAM_STRING:
        ParseText(feature, text, &param);
        break;
    default:
        throw CToolError(EExitCode::Usage, feature.Name() + " is a " + TypeText(feature.m_record.nType) +
                                               ", it has no value" +
                                               (feature.m_record.nType == OX3D_RGBD_FEATURE_COMMAND
                                                    ? "; \"ox3d run " + feature.Name() + "\" executes it"
                                                    : ""));
    }
    return param;
}

} // namespace ox3d::tool

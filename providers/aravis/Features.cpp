// Features.cpp - typed access to features.
#include "providers/aravis/Features.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <string_view>

#include "providers/aravis/ArvError.h"
#include "providers/common/Status.h"

namespace ox3d::features {
namespace {

struct ElementType {
    std::string_view m_element;
    uint32_t m_type;
};

// Aravis's classes implement several interfaces at once (an enumeration is an integer and a text as well); the
// element's name is what the camera means.
constexpr ElementType kElements[] = {{"Integer", OX_IFT_IInteger},
                                     {"IntReg", OX_IFT_IInteger},
                                     {"MaskedIntReg", OX_IFT_IInteger},
                                     {"StructEntry", OX_IFT_IInteger},
                                     {"IntConverter", OX_IFT_IInteger},
                                     {"IntSwissKnife", OX_IFT_IInteger},
                                     {"Float", OX_IFT_IFloat},
                                     {"FloatReg", OX_IFT_IFloat},
                                     {"Converter", OX_IFT_IFloat},
                                     {"SwissKnife", OX_IFT_IFloat},
                                     {"Boolean", OX_IFT_IBoolean},
                                     {"Command", OX_IFT_ICommand},
                                     {"String", OX_IFT_IString},
                                     {"StringReg", OX_IFT_IString},
                                     {"Register", OX_IFT_IRegister},
                                     {"Category", OX_IFT_ICategory},
                                     {"Enumeration", OX_IFT_IEnumeration},
                                     {"EnumEntry", OX_IFT_IEnumEntry},
                                     {"Port", OX_IFT_IPort}};

float ToFloat(double value) {
    return static_cast<float>(std::clamp(value, static_cast<double>(-FLT_MAX), static_cast<double>(FLT_MAX)));
}

int FindForReading(ArvDevice* device, const char* key, uint32_t type, ArvGcFeatureNode** node) {
    if (const int code = Find(device, key, type, node); code != kOk) {
        return code;
    }
    uint32_t mode = OX_AM_NI;
    if (const int code = AccessOfNode(*node, &mode); code != kOk) {
        return code;
    }
    return mode == OX_AM_RO || mode == OX_AM_RW ? kOk : Code(OX_CC_E_GC_ACCESS);
}

int FindForWriting(ArvDevice* device, const char* key, uint32_t type, ArvGcFeatureNode** node) {
    if (const int code = Find(device, key, type, node); code != kOk) {
        return code;
    }
    uint32_t mode = OX_AM_NI;
    if (const int code = AccessOfNode(*node, &mode); code != kOk) {
        return code;
    }
    return mode == OX_AM_WO || mode == OX_AM_RW ? kOk : Code(OX_CC_E_GC_ACCESS);
}

} // namespace

uint32_t TypeOfElement(const char* element) {
    for (const ElementType& row : kElements) {
        if (element != nullptr && row.m_element == element) {
            return row.m_type;
        }
    }
    return OX_IFT_IValue;
}

uint32_t TypeOfNode(ArvGcFeatureNode* node) {
    return TypeOfElement(arv_dom_node_get_node_name(ARV_DOM_NODE(node)));
}

int AccessOfNode(ArvGcFeatureNode* node, uint32_t* accessMode) {
    CArvError error;
    const bool isImplemented = arv_gc_feature_node_is_implemented(node, error.Out()) != 0;
    if (error.IsSet()) {
        return error.Code();
    }
    const bool isAvailable = isImplemented && arv_gc_feature_node_is_available(node, error.Out()) != 0;
    if (error.IsSet()) {
        return error.Code();
    }
    if (!isAvailable) {
        *accessMode = isImplemented ? OX_AM_NA : OX_AM_NI;
        return kOk;
    }
    const bool isLocked = arv_gc_feature_node_is_locked(node, error.Out()) != 0;
    if (error.IsSet()) {
        return error.Code();
    }
    switch (arv_gc_feature_node_get_actual_access_mode(node)) {
    case ARV_GC_ACCESS_MODE_RO:
        *accessMode = OX_AM_RO;
        break;
    case ARV_GC_ACCESS_MODE_WO:
        *accessMode = isLocked ? OX_AM_NA : OX_AM_WO;
        break;
    case ARV_GC_ACCESS_MODE_RW:
    case ARV_GC_ACCESS_MODE_UNDEFINED:
        *accessMode = isLocked ? OX_AM_RO : OX_AM_RW;
        break;
    }
    return kOk;
}

bool MayWrite(ArvGcFeatureNode* node) {
    uint32_t mode = OX_AM_NI;
    return AccessOfNode(node, &mode) == kOk && (mode == OX_AM_RW || mode == OX_AM_WO);
}

bool MayRead(ArvGcFeatureNode* node) {
    uint32_t mode = OX_AM_NI;
    return AccessOfNode(node, &mode) == kOk && (mode == OX_AM_RW || mode == OX_AM_RO);
}

int Find(ArvDevice* device, const char* key, uint32_t type, ArvGcFeatureNode** node) {
    ArvGcNode* found = arv_device_get_feature(device, key);
    if (found == nullptr || !ARV_IS_GC_FEATURE_NODE(found)) {
        return Code(OX_CC_E_GC_ARGUMENT);
    }
    if (type != kNoType && TypeOfNode(ARV_GC_FEATURE_NODE(found)) != type) {
        return Code(OX_CC_E_GC_DYNAMIC_CAST);
    }
    *node = ARV_GC_FEATURE_NODE(found);
    return kOk;
}

bool IsOnGrid(int64_t value, int64_t minimum, int64_t increment) {
    if (increment <= 1) {
        return true;
    }
    // As unsigned numbers, so that no distance overflows.
    return (static_cast<uint64_t>(value) - static_cast<uint64_t>(minimum)) %
               static_cast<uint64_t>(increment) ==
           0;
}

bool IsOnGrid(double value, double minimum, double increment) {
    constexpr double kMin = 1e-12; // "no increment" comes as the smallest number there is
    constexpr double kFloatPrecision = 1e-6;
    if (!(increment > kMin) || !std::isfinite(increment) || !std::isfinite(minimum)) {
        return true;
    }
    const double steps = (value - minimum) / increment;
    const double slack = kFloatPrecision * std::max({std::abs(value), std::abs(minimum), increment});
    return std::abs(steps - std::round(steps)) * increment <= slack;
}

// ---- Integers ----

int GetInteger(ArvDevice* device, const char* key, OX_CC_INT_VALUE_EX* value) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForReading(device, key, OX_IFT_IInteger, &node); code != kOk) {
        return code;
    }
    CArvError error;
    OX_CC_INT_VALUE_EX now{};
    now.nCurValue = arv_gc_integer_get_value(ARV_GC_INTEGER(node), error.Out());
    if (error.IsSet()) {
        return error.Code();
    }
    now.nMin = arv_gc_integer_get_min(ARV_GC_INTEGER(node), error.Out());
    now.nMin = error.IsSet() ? INT64_MIN : now.nMin;
    now.nMax = arv_gc_integer_get_max(ARV_GC_INTEGER(node), error.Out());
    now.nMax = error.IsSet() ? INT64_MAX : now.nMax;
    now.nInc = arv_gc_integer_get_inc(ARV_GC_INTEGER(node), error.Out());
    now.nInc = error.IsSet() ? 1 : std::max<int64_t>(now.nInc, 1);
    *value = now;
    return kOk;
}

int SetInteger(ArvDevice* device, const char* key, int64_t value) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForWriting(device, key, OX_IFT_IInteger, &node); code != kOk) {
        return code;
    }
    CArvError error;
    const int64_t min = arv_gc_integer_get_min(ARV_GC_INTEGER(node), error.Out());
    if (!error.IsSet() && value < min) {
        return Code(OX_CC_E_GC_RANGE);
    }
    const int64_t base = error.IsSet() ? 0 : min;
    const int64_t max = arv_gc_integer_get_max(ARV_GC_INTEGER(node), error.Out());
    if (!error.IsSet() && value > max) {
        return Code(OX_CC_E_GC_RANGE);
    }
    const int64_t increment = arv_gc_integer_get_inc(ARV_GC_INTEGER(node), error.Out());
    if (!error.IsSet() && !IsOnGrid(value, base, increment)) {
        return Code(OX_CC_E_GC_RANGE);
    }
    arv_gc_integer_set_value(ARV_GC_INTEGER(node), value, error.Out());
    return error.Code();
}

// ---- Floats ----

int GetFloat(ArvDevice* device, const char* key, OX_CC_FLOAT_VALUE* value) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForReading(device, key, OX_IFT_IFloat, &node); code != kOk) {
        return code;
    }
    CArvError error;
    const double now = arv_gc_float_get_value(ARV_GC_FLOAT(node), error.Out());
    if (error.IsSet()) {
        return error.Code();
    }
    const double min = arv_gc_float_get_min(ARV_GC_FLOAT(node), error.Out());
    const float lowest = error.IsSet() ? -FLT_MAX : ToFloat(min);
    const double max = arv_gc_float_get_max(ARV_GC_FLOAT(node), error.Out());
    *value = {ToFloat(now), error.IsSet() ? FLT_MAX : ToFloat(max), lowest, {}};
    return kOk;
}

int SetFloat(ArvDevice* device, const char* key, float value) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForWriting(device, key, OX_IFT_IFloat, &node); code != kOk) {
        return code;
    }
    CArvError error;
    double min = arv_gc_float_get_min(ARV_GC_FLOAT(node), error.Out());
    min = error.IsSet() ? -DBL_MAX : min;
    double max = arv_gc_float_get_max(ARV_GC_FLOAT(node), error.Out());
    max = error.IsSet() ? DBL_MAX : max;
    // Limits are compared as the caller has read them.
    if (!std::isfinite(value) || value < ToFloat(min) || value > ToFloat(max) || min > max) {
        return Code(OX_CC_E_GC_RANGE);
    }
    const double exact = std::clamp(static_cast<double>(value), min, max);
    const double increment = arv_gc_float_get_inc(ARV_GC_FLOAT(node), error.Out());
    if (!error.IsSet() && !IsOnGrid(exact, min, increment)) {
        return Code(OX_CC_E_GC_RANGE);
    }
    arv_gc_float_set_value(ARV_GC_FLOAT(node), exact, error.Out());
    return error.Code();
}

// ---- Enumerations ----

int GetEnum(ArvDevice* device, const char* key, OX_CC_ENUM_VALUE* value) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForReading(device, key, OX_IFT_IEnumeration, &node); code != kOk) {
        return code;
    }
    CArvError error;
    ArvGcEnumeration* enumeration = ARV_GC_ENUMERATION(node);
    const int64_t now = arv_gc_enumeration_get_int_value(enumeration, error.Out());
    if (error.IsSet()) {
        return error.Code();
    }
    guint count = 0;
    const CGMemory<gint64> values(
        arv_gc_enumeration_dup_available_int_values(enumeration, &count, error.Out()));
    if (error.IsSet()) {
        return error.Code();
    }
    std::memset(value, 0, sizeof(*value));
    value->nCurValue = static_cast<uint32_t>(now);
    value->nSupportedNum = values == nullptr ? 0 : std::min<uint32_t>(count, OX_CC_MAX_ENUM_ENTRIES);
    for (uint32_t i = 0; i < value->nSupportedNum; ++i) {
        value->nSupportValue[i] = static_cast<uint32_t>(values.get()[i]);
    }
    return kOk;
}

int SetEnum(ArvDevice* device, const char* key, int64_t value) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForWriting(device, key, OX_IFT_IEnumeration, &node); code != kOk) {
        return code;
    }
    CArvError error;
    ArvGcEnumeration* enumeration = ARV_GC_ENUMERATION(node);
    guint count = 0;
    const CGMemory<gint64> values(
        arv_gc_enumeration_dup_available_int_values(enumeration, &count, error.Out()));
    if (error.IsSet()) {
        return error.Code();
    }
    const gint64* end = values == nullptr ? nullptr : values.get() + count;
    if (std::find(static_cast<const gint64*>(values.get()), end, value) == end) {
        return Code(OX_CC_E_GC_RANGE);
    }
    arv_gc_enumeration_set_int_value(enumeration, value, error.Out());
    return error.Code();
}

int GetEnumName(ArvDevice* device, const char* key, std::string* entry) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForReading(device, key, OX_IFT_IEnumeration, &node); code != kOk) {
        return code;
    }
    CArvError error;
    const char* name = arv_gc_enumeration_get_string_value(ARV_GC_ENUMERATION(node), error.Out());
    if (error.IsSet() || name == nullptr) {
        return error.IsSet() ? error.Code() : Code(OX_CC_E_GC_GENERIC);
    }
    *entry = name;
    return kOk;
}

int SetEnumByName(ArvDevice* device, const char* key, const char* entry) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForWriting(device, key, OX_IFT_IEnumeration, &node); code != kOk) {
        return code;
    }
    CArvError error;
    ArvGcEnumeration* enumeration = ARV_GC_ENUMERATION(node);
    guint count = 0;
    const CGMemory<const char*> names(
        arv_gc_enumeration_dup_available_string_values(enumeration, &count, error.Out()));
    if (error.IsSet()) {
        return error.Code();
    }
    const char* const* end = names == nullptr ? nullptr : names.get() + count;
    const bool isThere = std::any_of(static_cast<const char* const*>(names.get()), end,
                                     [&](const char* name) { return std::strcmp(name, entry) == 0; });
    if (!isThere) {
        return Code(OX_CC_E_GC_RANGE);
    }
    arv_gc_enumeration_set_string_value(enumeration, entry, error.Out());
    return error.Code();
}

// ---- Texts, switches, commands ----

int GetString(ArvDevice* device, const char* key, std::string* value, int64_t* maxBytes) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForReading(device, key, OX_IFT_IString, &node); code != kOk) {
        return code;
    }
    CArvError error;
    const char* text = arv_gc_string_get_value(ARV_GC_STRING(node), error.Out());
    if (error.IsSet()) {
        return error.Code();
    }
    const std::string now = text == nullptr ? "" : text; // the text is the node's own
    const int64_t max = arv_gc_string_get_max_length(ARV_GC_STRING(node), error.Out());
    *maxBytes = error.IsSet() ? 0 : max;
    *value = now;
    return kOk;
}

int SetString(ArvDevice* device, const char* key, const char* value) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForWriting(device, key, OX_IFT_IString, &node); code != kOk) {
        return code;
    }
    CArvError error;
    const int64_t max = arv_gc_string_get_max_length(ARV_GC_STRING(node), error.Out());
    if (!error.IsSet() && static_cast<int64_t>(std::strlen(value)) > max) {
        return Code(OX_CC_E_GC_RANGE);
    }
    arv_gc_string_set_value(ARV_GC_STRING(node), value, error.Out());
    return error.Code();
}

int GetBoolean(ArvDevice* device, const char* key, bool* value) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForReading(device, key, OX_IFT_IBoolean, &node); code != kOk) {
        return code;
    }
    CArvError error;
    const bool now = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node), error.Out()) != 0;
    if (!error.IsSet()) {
        *value = now;
    }
    return error.Code();
}

int SetBoolean(ArvDevice* device, const char* key, bool value) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForWriting(device, key, OX_IFT_IBoolean, &node); code != kOk) {
        return code;
    }
    CArvError error;
    arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node), value ? TRUE : FALSE, error.Out());
    return error.Code();
}

int Execute(ArvDevice* device, const char* key) {
    ArvGcFeatureNode* node = nullptr;
    if (const int code = FindForWriting(device, key, OX_IFT_ICommand, &node); code != kOk) {
        return code;
    }
    CArvError error;
    arv_gc_command_execute(ARV_GC_COMMAND(node), error.Out());
    return error.Code();
}

// ---- Whatever the type ----

std::optional<double> ReadNumber(ArvDevice* device, const char* key) {
    ArvGcFeatureNode* node = nullptr;
    if (FindForReading(device, key, kNoType, &node) != kOk) {
        return std::nullopt;
    }
    CArvError error;
    double value = 0.0;
    switch (TypeOfNode(node)) {
    case OX_IFT_IFloat:
        value = arv_gc_float_get_value(ARV_GC_FLOAT(node), error.Out());
        break;
    case OX_IFT_IInteger:
        value = static_cast<double>(arv_gc_integer_get_value(ARV_GC_INTEGER(node), error.Out()));
        break;
    case OX_IFT_IBoolean:
        value = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node), error.Out()) != 0 ? 1.0 : 0.0;
        break;
    default:
        return std::nullopt;
    }
    return error.IsSet() ? std::nullopt : std::optional(value);
}

std::string UnitOf(ArvDevice* device, const char* key) {
    ArvGcFeatureNode* node = nullptr;
    if (Find(device, key, OX_IFT_IFloat, &node) != kOk) {
        return "";
    }
    const char* unit = arv_gc_float_get_unit(ARV_GC_FLOAT(node));
    return unit == nullptr ? "" : unit;
}

std::vector<std::string> EntriesOf(ArvDevice* device, const char* key) {
    ArvGcFeatureNode* node = nullptr;
    if (Find(device, key, OX_IFT_IEnumeration, &node) != kOk) {
        return {};
    }
    CArvError error;
    guint count = 0;
    const CGMemory<const char*> names(
        arv_gc_enumeration_dup_available_string_values(ARV_GC_ENUMERATION(node), &count, error.Out()));
    std::vector<std::string> entries;
    for (guint i = 0; names != nullptr && !error.IsSet() && i < count; ++i) {
        entries.emplace_back(names.get()[i]);
    }
    return entries;
}

} // namespace ox3d::features

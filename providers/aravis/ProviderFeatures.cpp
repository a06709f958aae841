// ProviderFeatures.cpp - one table, and the values behind it.
#include "providers/aravis/ProviderFeatures.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <string_view>

#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr uint32_t kMaxRetentionMs = 60000;

enum class EKey { Kind, BaselineUnit, ConfidenceThreshold, FrameRetention };

struct KeyRow {
    EKey m_id;
    std::string_view m_name;
    uint32_t m_type;
    uint32_t m_access;
};
constexpr KeyRow kKeys[] = {{EKey::Kind, "Ox3dCameraKind", OX_IFT_IString, OX_AM_RO},
                            {EKey::BaselineUnit, "Ox3dBaselineUnit", OX_IFT_IString, OX_AM_RW},
                            {EKey::ConfidenceThreshold, "Ox3dConfidenceThreshold", OX_IFT_IFloat, OX_AM_RW},
                            {EKey::FrameRetention, "Ox3dFrameRetention", OX_IFT_IInteger, OX_AM_RW}};

const KeyRow* Find(const char* key) {
    const auto* found = std::find_if(std::begin(kKeys), std::end(kKeys),
                                     [&](const KeyRow& row) { return row.m_name == key; });
    return found == std::end(kKeys) ? nullptr : found;
}

// Nothing for a key of the camera's, a code for one of these that is not to be used so.
std::optional<int> Check(const char* key, uint32_t type, bool isForWriting) {
    const KeyRow* row = Find(key);
    if (row == nullptr) {
        return std::nullopt;
    }
    if (row->m_type != type) {
        return Code(OX_CC_E_GC_DYNAMIC_CAST);
    }
    return isForWriting && row->m_access != OX_AM_RW ? Code(OX_CC_E_GC_ACCESS) : kOk;
}

struct Switch {
    std::string_view m_key;
    int64_t m_value;
};
// Those of the last two rows are turned on USB only.
constexpr Switch kWorkMode[] = {{"CameraWorkingMode", 4}, {"ImageMode", 2},   {"ChunkModeActive", 1},
                                {"ChunkSelector", 24},    {"ChunkEnable", 1}, {"ChunkSelector", 19},
                                {"ChunkEnable", 1}};

} // namespace

Scan3dOptions CProviderFeatures::Options() const {
    const CLock lock(m_mutex);
    return m_options;
}

std::optional<int> CProviderFeatures::GetString(const char* key, OX_CC_STRING_VALUE* value) const {
    const auto code = Check(key, OX_IFT_IString, false);
    if (code == kOk) {
        const std::string text = Find(key)->m_id == EKey::Kind ? NameOf(m_kind) : Options().m_baselineUnit;
        std::memset(value, 0, sizeof(*value));
        text.copy(value->chCurValue, sizeof(value->chCurValue) - 1);
        value->nMaxLength = sizeof(value->chCurValue) - 1;
    }
    return code;
}

std::optional<int> CProviderFeatures::SetString(const char* key, const char* value) {
    const auto code = Check(key, OX_IFT_IString, true);
    if (code != kOk) {
        return code;
    }
    if (*value != '\0' && MillimetresOf(value) == 0.0) {
        return Code(OX_CC_E_GC_RANGE);
    }
    const CLock lock(m_mutex);
    m_options.m_baselineUnit = value;
    return kOk;
}

std::optional<int> CProviderFeatures::GetFloat(const char* key, OX_CC_FLOAT_VALUE* value) const {
    const auto code = Check(key, OX_IFT_IFloat, false);
    if (code == kOk) {
        *value = {static_cast<float>(Options().m_confidenceShare), 1.0F, 0.0F, {}};
    }
    return code;
}

std::optional<int> CProviderFeatures::SetFloat(const char* key, float value) {
    const auto code = Check(key, OX_IFT_IFloat, true);
    if (code != kOk) {
        return code;
    }
    if (!(value >= 0.0F && value <= 1.0F)) {
        return Code(OX_CC_E_GC_RANGE);
    }
    const CLock lock(m_mutex);
    m_options.m_confidenceShare = static_cast<double>(value);
    return kOk;
}

std::optional<int> CProviderFeatures::GetInteger(const char* key, OX_CC_INT_VALUE_EX* value) const {
    const auto code = Check(key, OX_IFT_IInteger, false);
    if (code == kOk) {
        *value = {m_retentionMs, kMaxRetentionMs, 0, 1};
    }
    return code;
}

std::optional<int> CProviderFeatures::SetInteger(const char* key, int64_t value) {
    const auto code = Check(key, OX_IFT_IInteger, true);
    if (code != kOk) {
        return code;
    }
    if (value < 0 || value > kMaxRetentionMs) {
        return Code(OX_CC_E_GC_RANGE);
    }
    m_retentionMs = static_cast<uint32_t>(value);
    return kOk;
}

std::optional<uint32_t> CProviderFeatures::AccessOf(const char* key) const {
    const KeyRow* row = Find(key);
    return row == nullptr ? std::nullopt : std::optional(row->m_access);
}

std::optional<uint32_t> CProviderFeatures::TypeOf(const char* key) const {
    const KeyRow* row = Find(key);
    return row == nullptr ? std::nullopt : std::optional(row->m_type);
}

bool CProviderFeatures::IsWorkModeSwitch(const char* key, int64_t value) {
    if (m_kind == ECameraKind::Native) {
        return false;
    }
    const CLock lock(m_mutex);
    const auto is = [&](size_t row) {
        return row < std::size(kWorkMode) && kWorkMode[row].m_key == key && kWorkMode[row].m_value == value;
    };
    if (is(0) || is(m_nextSwitch)) {
        m_nextSwitch = is(0) ? 1 : m_nextSwitch + 1;
        return true;
    }
    m_nextSwitch = 0; // the application's own, from now on
    return false;
}

} // namespace ox3d

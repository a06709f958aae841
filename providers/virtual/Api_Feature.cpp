// Api_Feature.cpp - exported functions: features by name, the feature file and the description.
#include <algorithm>
#include <cstring>

#include "ApiGuard.h"
#include "LocalFile.h"

using namespace ox3d;

namespace {

constexpr uint64_t kMostFeatureFileBytes = 1 << 20;
// Frames that were dropped because all nodes were full: counted here, where the nodes are, not in the camera.
constexpr std::string_view kLostFrames = "StreamLostFrameCount";

bool IsStreamFeature(const char* key) {
    return key != nullptr && key == kLostFrames;
}

int GetInteger(void* handle, const char* key, bool isCallable, IntegerValue* value) {
    if (IsStreamFeature(key) && isCallable) {
        return OnHandle(handle, true, [&](CSession& session) {
            *value = {static_cast<int64_t>(session.Frames().LostFrames()), 0, INT64_MAX, 1};
            return kOk;
        });
    }
    return OnCamera(handle, key != nullptr && isCallable, EIntent::Read,
                    [&](CCameraModel& model) { return model.GetInteger(key, value); });
}

uint32_t InterfaceTypeOf(EFeatureType type) {
    switch (type) {
    case EFeatureType::Integer:
        return OX_IFT_IInteger;
    case EFeatureType::Float:
        return OX_IFT_IFloat;
    case EFeatureType::Boolean:
        return OX_IFT_IBoolean;
    case EFeatureType::Enumeration:
        return OX_IFT_IEnumeration;
    case EFeatureType::String:
        return OX_IFT_IString;
    case EFeatureType::Command:
        return OX_IFT_ICommand;
    case EFeatureType::Register:
        return OX_IFT_IRegister;
    }
    return OX_IFT_IValue;
}

uint32_t AccessModeOf(EAccess access) {
    switch (access) {
    case EAccess::ReadOnly:
        return OX_AM_RO;
    case EAccess::ReadWrite:
        return OX_AM_RW;
    case EAccess::WriteOnly:
        return OX_AM_WO;
    }
    return OX_AM_NI;
}

} // namespace

int OX_CC_SetIntValue(void* handle, const char* strKey, uint32_t nValue) {
    return OX_CC_SetIntValueEx(handle, strKey, nValue);
}

int OX_CC_GetIntValue(void* handle, const char* strKey, OX_CC_INT_VALUE* pstValue) {
    IntegerValue value;
    if (const int code = GetInteger(handle, strKey, pstValue != nullptr, &value); code != kOk) {
        return code;
    }
    // The record has 32 bits: a value that does not fit cannot be told, limits can be cut.
    if (value.m_value < 0 || value.m_value > UINT32_MAX) {
        return Code(OX_CC_E_GC_RANGE);
    }
    const auto cut = [](int64_t number) {
        return static_cast<uint32_t>(std::clamp<int64_t>(number, 0, UINT32_MAX));
    };
    *pstValue = {cut(value.m_value), cut(value.m_max), cut(value.m_min), cut(value.m_inc), {}};
    return kOk;
}

int OX_CC_SetIntValueEx(void* handle, const char* strKey, int64_t nValue) {
    return OnCamera(handle, strKey != nullptr, EIntent::Write,
                    [&](CCameraModel& model) { return model.SetInteger(strKey, nValue); });
}

int OX_CC_GetIntValueEx(void* handle, const char* strKey, OX_CC_INT_VALUE_EX* pstValue) {
    IntegerValue value;
    const int code = GetInteger(handle, strKey, pstValue != nullptr, &value);
    if (code == kOk) {
        *pstValue = {value.m_value, value.m_max, value.m_min, value.m_inc};
    }
    return code;
}

int OX_CC_SetEnumValue(void* handle, const char* strKey, uint32_t nValue) {
    return OnCamera(handle, strKey != nullptr, EIntent::Write,
                    [&](CCameraModel& model) { return model.SetEnum(strKey, nValue); });
}

int OX_CC_GetEnumValue(void* handle, const char* strKey, OX_CC_ENUM_VALUE* pstValue) {
    EnumValue value;
    const int code = OnCamera(handle, strKey != nullptr && pstValue != nullptr, EIntent::Read,
                              [&](CCameraModel& model) { return model.GetEnum(strKey, &value); });
    if (code != kOk) {
        return code;
    }
    std::memset(pstValue, 0, sizeof(*pstValue));
    pstValue->nCurValue = value.m_value;
    const size_t count = std::min<size_t>(value.m_entries.size(), OX_CC_MAX_ENUM_ENTRIES);
    pstValue->nSupportedNum = static_cast<uint32_t>(count);
    std::transform(value.m_entries.begin(), value.m_entries.begin() + static_cast<std::ptrdiff_t>(count),
                   pstValue->nSupportValue, [](const EnumEntry& entry) { return entry.m_value; });
    return kOk;
}

int OX_CC_SetEnumValueByString(void* handle, const char* strKey, const char* strValue) {
    return OnCamera(handle, strKey != nullptr && strValue != nullptr, EIntent::Write,
                    [&](CCameraModel& model) { return model.SetEnumByName(strKey, strValue); });
}

int OX_CC_SetFloatValue(void* handle, const char* strKey, float fValue) {
    return OnCamera(handle, strKey != nullptr, EIntent::Write,
                    [&](CCameraModel& model) { return model.SetFloat(strKey, fValue); });
}

int OX_CC_GetFloatValue(void* handle, const char* strKey, OX_CC_FLOAT_VALUE* pstValue) {
    FloatValue value;
    const int code = OnCamera(handle, strKey != nullptr && pstValue != nullptr, EIntent::Read,
                              [&](CCameraModel& model) { return model.GetFloat(strKey, &value); });
    if (code == kOk) {
        *pstValue = {value.m_value, value.m_max, value.m_min, {}};
    }
    return code;
}

int OX_CC_SetStringValue(void* handle, const char* strKey, const char* strValue) {
    return OnCamera(handle, strKey != nullptr && strValue != nullptr, EIntent::Write,
                    [&](CCameraModel& model) { return model.SetString(strKey, strValue); });
}

int OX_CC_GetStringValue(void* handle, const char* strKey, OX_CC_STRING_VALUE* pstValue) {
    StringValue value;
    const int code = OnCamera(handle, strKey != nullptr && pstValue != nullptr, EIntent::Read,
                              [&](CCameraModel& model) { return model.GetString(strKey, &value); });
    if (code != kOk) {
        return code;
    }
    std::memset(pstValue, 0, sizeof(*pstValue));
    std::copy_n(value.m_value.begin(), std::min(value.m_value.size(), sizeof(pstValue->chCurValue) - 1),
                pstValue->chCurValue);
    pstValue->nMaxLength = value.m_maxLengthBytes;
    return kOk;
}

int OX_CC_SetBoolValue(void* handle, const char* strKey, bool bValue) {
    return OnCamera(handle, strKey != nullptr, EIntent::Write,
                    [&](CCameraModel& model) { return model.SetBoolean(strKey, bValue); });
}

int OX_CC_GetBoolValue(void* handle, const char* strKey, bool* pbValue) {
    return OnCamera(handle, strKey != nullptr && pbValue != nullptr, EIntent::Read,
                    [&](CCameraModel& model) { return model.GetBoolean(strKey, pbValue); });
}

int OX_CC_SetCommandValue(void* handle, const char* strKey) {
    return OnCamera(handle, strKey != nullptr, EIntent::Write,
                    [&](CCameraModel& model) { return model.Execute(strKey); });
}

// Every value is read from the camera: there is nothing to drop.
int OX_CC_InvalidateNodes(void* handle) {
    return OnCamera(handle, true, EIntent::Read, [](CCameraModel&) { return EModelStatus::Ok; });
}

int OX_CC_FeatureLoad(void* handle, const char* strFileName) {
    return OnCamera(handle, strFileName != nullptr, EIntent::Write, [&](CCameraModel& model) {
        std::vector<uint8_t> bytes;
        if (!ReadLocalFile(strFileName, kMostFeatureFileBytes, &bytes)) {
            return EModelStatus::Argument;
        }
        std::string where;
        const EModelStatus status = model.LoadFeatures(std::string(bytes.begin(), bytes.end()), &where);
        if (status != EModelStatus::Ok) {
            std::fprintf(stderr, "virtual camera: %s, %s: not loaded\n", strFileName, where.c_str());
        }
        return status;
    });
}

int OX_CC_FeatureSave(void* handle, const char* strFileName) {
    return OnCamera(handle, strFileName != nullptr, EIntent::Read, [&](CCameraModel& model) {
        const std::string text = model.SaveFeatures();
        return WriteLocalFile(strFileName, text.data(), text.size()) ? EModelStatus::Ok
                                                                     : EModelStatus::Argument;
    });
}

int OX_XML_GetGenICamXML(void* handle, uint8_t* pData, uint32_t nDataSize, uint32_t* pnDataLen) {
    return OnCamera(handle, pData != nullptr && pnDataLen != nullptr, EIntent::Read,
                    [&](CCameraModel& model) {
                        const std::string& xml = model.Xml();
                        // The length is the whole one, so that a caller sees when its buffer was too small.
                        std::copy_n(xml.begin(), std::min<size_t>(xml.size(), nDataSize), pData);
                        *pnDataLen = static_cast<uint32_t>(xml.size());
                        return EModelStatus::Ok;
                    });
}

int OX_XML_GetNodeAccessMode(void* handle, const char* strName, uint32_t* penAccessMode) {
    return OnCamera(
        handle, strName != nullptr && penAccessMode != nullptr, EIntent::Read, [&](CCameraModel& model) {
            EAccess access = EAccess::ReadOnly;
            const bool isFixed = IsStreamFeature(strName) || model.IsCategory(strName);
            const EModelStatus status = isFixed ? EModelStatus::Ok : model.AccessOf(strName, &access);
            if (status == EModelStatus::Ok) {
                *penAccessMode = AccessModeOf(access);
            }
            return status;
        });
}

int OX_XML_GetNodeInterfaceType(void* handle, const char* strName, uint32_t* penInterfaceType) {
    return OnCamera(handle, strName != nullptr && penInterfaceType != nullptr, EIntent::Read,
                    [&](CCameraModel& model) {
                        EFeatureType type = EFeatureType::Integer;
                        const bool isCategory = model.IsCategory(strName);
                        const bool isFixed = isCategory || IsStreamFeature(strName);
                        const EModelStatus status = isFixed ? EModelStatus::Ok : model.TypeOf(strName, &type);
                        if (status == EModelStatus::Ok) {
                            *penInterfaceType = isCategory ? OX_IFT_ICategory : InterfaceTypeOf(type);
                        }
                        return status;
                    });
}

// Api_Feature.cpp - exported functions: features by name, the feature file and the description.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "base/LocalFile.h"
#include "providers/common/ApiGuard.h"

using namespace ox3d;

namespace {

constexpr uint64_t kMaxFeatureFileBytes = 1 << 20;
// Frames that were dropped because all nodes were full: counted here, where the nodes are, not in the camera.
constexpr std::string_view kLostFrames = "StreamLostFrameCount";

// A text from the outside with a length that can be worked with.
bool IsName(const char* text) {
    constexpr size_t kMaxNameBytes = 4096;
    return text != nullptr && strnlen(text, kMaxNameBytes) < kMaxNameBytes;
}

bool IsStreamFeature(const char* key) {
    return key != nullptr && key == kLostFrames;
}

int GetInteger(void* handle, const char* key, bool isCallable, OX_CC_INT_VALUE_EX* value) {
    if (IsStreamFeature(key) && isCallable) {
        return OnHandle(handle, true, [&](CSession& session) {
            *value = {static_cast<int64_t>(session.Frames().LostFrames()), INT64_MAX, 0, 1};
            return kOk;
        });
    }
    return OnCamera(handle, IsName(key) && isCallable, EIntent::Read,
                    [&](CConnection& connection) { return connection.GetInteger(key, value); });
}

} // namespace

int OX_CC_SetIntValue(void* handle, const char* strKey, uint32_t nValue) {
    return OX_CC_SetIntValueEx(handle, strKey, nValue);
}

int OX_CC_GetIntValue(void* handle, const char* strKey, OX_CC_INT_VALUE* pstValue) {
    OX_CC_INT_VALUE_EX value{};
    if (const int code = GetInteger(handle, strKey, pstValue != nullptr, &value); code != kOk) {
        return code;
    }
    // The record has 32 bits: a value that does not fit cannot be told, limits can be cut.
    if (value.nCurValue < 0 || value.nCurValue > UINT32_MAX) {
        return Code(OX_CC_E_GC_RANGE);
    }
    const auto cut = [](int64_t number) {
        return static_cast<uint32_t>(std::clamp<int64_t>(number, 0, UINT32_MAX));
    };
    *pstValue = {cut(value.nCurValue), cut(value.nMax), cut(value.nMin), cut(value.nInc), {}};
    return kOk;
}

int OX_CC_GetIntValueEx(void* handle, const char* strKey, OX_CC_INT_VALUE_EX* pstValue) {
    OX_CC_INT_VALUE_EX value{};
    const int code = GetInteger(handle, strKey, pstValue != nullptr, &value);
    if (code == kOk) {
        *pstValue = value;
    }
    return code;
}

int OX_CC_SetIntValueEx(void* handle, const char* strKey, int64_t nValue) {
    return OnCamera(handle, IsName(strKey), EIntent::Write,
                    [&](CConnection& connection) { return connection.SetInteger(strKey, nValue); });
}

int OX_CC_SetEnumValue(void* handle, const char* strKey, uint32_t nValue) {
    return OnCamera(handle, IsName(strKey), EIntent::Write,
                    [&](CConnection& connection) { return connection.SetEnum(strKey, nValue); });
}

int OX_CC_GetEnumValue(void* handle, const char* strKey, OX_CC_ENUM_VALUE* pstValue) {
    return OnCamera(handle, IsName(strKey) && pstValue != nullptr, EIntent::Read,
                    [&](CConnection& connection) { return connection.GetEnum(strKey, pstValue); });
}

int OX_CC_SetEnumValueByString(void* handle, const char* strKey, const char* strValue) {
    return OnCamera(handle, IsName(strKey) && strValue != nullptr, EIntent::Write,
                    [&](CConnection& connection) { return connection.SetEnumByName(strKey, strValue); });
}

int OX_CC_SetFloatValue(void* handle, const char* strKey, float fValue) {
    return OnCamera(handle, IsName(strKey), EIntent::Write,
                    [&](CConnection& connection) { return connection.SetFloat(strKey, fValue); });
}

int OX_CC_GetFloatValue(void* handle, const char* strKey, OX_CC_FLOAT_VALUE* pstValue) {
    return OnCamera(handle, IsName(strKey) && pstValue != nullptr, EIntent::Read,
                    [&](CConnection& connection) { return connection.GetFloat(strKey, pstValue); });
}

int OX_CC_SetStringValue(void* handle, const char* strKey, const char* strValue) {
    return OnCamera(handle, IsName(strKey) && strValue != nullptr, EIntent::Write,
                    [&](CConnection& connection) { return connection.SetString(strKey, strValue); });
}

int OX_CC_GetStringValue(void* handle, const char* strKey, OX_CC_STRING_VALUE* pstValue) {
    return OnCamera(handle, IsName(strKey) && pstValue != nullptr, EIntent::Read,
                    [&](CConnection& connection) { return connection.GetString(strKey, pstValue); });
}

int OX_CC_SetBoolValue(void* handle, const char* strKey, bool bValue) {
    return OnCamera(handle, IsName(strKey), EIntent::Write,
                    [&](CConnection& connection) { return connection.SetBoolean(strKey, bValue); });
}

int OX_CC_GetBoolValue(void* handle, const char* strKey, bool* pbValue) {
    return OnCamera(handle, IsName(strKey) && pbValue != nullptr, EIntent::Read,
                    [&](CConnection& connection) { return connection.GetBoolean(strKey, pbValue); });
}

int OX_CC_SetCommandValue(void* handle, const char* strKey) {
    return OnCamera(handle, IsName(strKey), EIntent::Write,
                    [&](CConnection& connection) { return connection.Execute(strKey); });
}

// Every value is read from the camera: there is nothing to drop.
int OX_CC_InvalidateNodes(void* handle) {
    return OnCamera(handle, true, EIntent::Read, [](CConnection&) { return kOk; });
}

int OX_CC_FeatureLoad(void* handle, const char* strFileName) {
    return OnCamera(handle, strFileName != nullptr, EIntent::Write, [&](CConnection& connection) {
        std::vector<uint8_t> bytes;
        if (!ReadLocalFile(strFileName, kMaxFeatureFileBytes, &bytes)) {
            return Code(OX_CC_E_PARAMETER);
        }
        std::string where;
        const int code = connection.LoadFeatures(std::string(bytes.begin(), bytes.end()), &where);
        if (code != kOk) {
            std::fprintf(stderr, "camera control: %s, %s: not loaded\n", strFileName, where.c_str());
        }
        return code;
    });
}

int OX_CC_FeatureSave(void* handle, const char* strFileName) {
    return OnCamera(handle, strFileName != nullptr, EIntent::Read, [&](CConnection& connection) {
        std::string text;
        if (const int code = connection.SaveFeatures(&text); code != kOk) {
            return code;
        }
        return WriteLocalFile(strFileName, text.data(), text.size()) ? kOk : Code(OX_CC_E_PARAMETER);
    });
}

int OX_XML_GetGenICamXML(void* handle, uint8_t* pData, uint32_t nDataSize, uint32_t* pnDataLen) {
    return OnCamera(handle, pData != nullptr && pnDataLen != nullptr, EIntent::Read,
                    [&](CConnection& connection) {
                        std::string xml;
                        if (const int code = connection.Xml(&xml); code != kOk) {
                            return code;
                        }
                        // The length is the whole one, so that a caller sees when its buffer was too small.
                        std::copy_n(xml.begin(), std::min<size_t>(xml.size(), nDataSize), pData);
                        *pnDataLen = static_cast<uint32_t>(xml.size());
                        return kOk;
                    });
}

int OX_XML_GetNodeAccessMode(void* handle, const char* strName, uint32_t* penAccessMode) {
    return OnCamera(handle, IsName(strName) && penAccessMode != nullptr, EIntent::Read,
                    [&](CConnection& connection) {
                        if (IsStreamFeature(strName)) {
                            *penAccessMode = OX_AM_RO;
                            return kOk;
                        }
                        return connection.AccessOf(strName, penAccessMode);
                    });
}

int OX_XML_GetNodeInterfaceType(void* handle, const char* strName, uint32_t* penInterfaceType) {
    return OnCamera(handle, IsName(strName) && penInterfaceType != nullptr, EIntent::Read,
                    [&](CConnection& connection) {
                        if (IsStreamFeature(strName)) {
                            *penInterfaceType = OX_IFT_IInteger;
                            return kOk;
                        }
                        return connection.TypeOf(strName, penInterfaceType);
                    });
}

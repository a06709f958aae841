// CameraModule_Feature.cpp - GenICam features of one camera by name and type.
//
// The public value records have the layouts of the camera-control library's, so that library writes straight
// into the caller's record.
#include <cstring>

#include "base/BoundedText.h"
#include "src/CameraModule/CameraModuleCall.h"

static_assert(sizeof(OX3D_RGBD_INTPARAM) == sizeof(OX_CC_INT_VALUE_EX));
static_assert(sizeof(OX3D_RGBD_FLOATPARAM) == sizeof(OX_CC_FLOAT_VALUE));
static_assert(sizeof(OX3D_RGBD_ENUMPARAM) == sizeof(OX_CC_ENUM_VALUE));
static_assert(sizeof(OX3D_RGBD_STRINGPARAM) == sizeof(OX_CC_STRING_VALUE));

namespace {

bool IsNull(const void* first, const void* second = "") {
    if (first != nullptr && second != nullptr) {
        return false;
    }
    OX_LOG_ERROR("parameter key is null.\r\n");
    return true;
}

} // namespace

uint32_t CCameraModule::SetIntValue(const char* key, int64_t value) {
    if (key == nullptr) {
        OX_LOG_ERROR("[SetIntValue]parameter key is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (m_extended == 1) {
        return static_cast<uint32_t>(RawCall("OX_CC_SetIntValueEx", OX_CC_SetIntValueEx, key, value));
    }
    // Without the extended functions the value is cut to its low 32 bits.
    return static_cast<uint32_t>(
        RawCall("OX_CC_SetIntValue", OX_CC_SetIntValue, key, static_cast<uint32_t>(value)));
}

uint32_t CCameraModule::GetIntValue(const char* key, OX3D_RGBD_INTPARAM* out) {
    if (IsNull(key, out)) {
        return OX3D_RGBD_E_PARAMETER;
    }
    if (m_extended == 1) {
        return static_cast<uint32_t>(RawCall("OX_CC_GetIntValueEx", OX_CC_GetIntValueEx, key,
                                             reinterpret_cast<OX_CC_INT_VALUE_EX*>(out)));
    }
    OX_CC_INT_VALUE narrow;
    memset(&narrow, 0, sizeof(narrow));
    const int status = RawCall("OX_CC_GetIntValue", OX_CC_GetIntValue, key, &narrow);
    if (status == 0) {
        *out = {narrow.nCurValue, narrow.nMax, narrow.nMin, narrow.nInc};
    }
    return static_cast<uint32_t>(status);
}

uint32_t CCameraModule::SetFloatValue(const char* key, float value) {
    return IsNull(key) ? OX3D_RGBD_E_PARAMETER : CAM_CALL(OX_CC_SetFloatValue, key, value);
}

uint32_t CCameraModule::SetEnumValue(const char* key, unsigned int value) {
    return IsNull(key) ? OX3D_RGBD_E_PARAMETER : CAM_CALL(OX_CC_SetEnumValue, key, value);
}

uint32_t CCameraModule::SetEnumValueByString(const char* key, const char* value) {
    if (IsNull(key, value)) {
        return OX3D_RGBD_E_PARAMETER;
    }
    if (m_extended != 1) {
        OX_LOG_ERROR("camera module OX_CC_SetEnumValueByString function is unsupported\r\n");
        return OX3D_RGBD_E_CAMERA;
    }
    return CAM_CALL(OX_CC_SetEnumValueByString, key, value);
}

uint32_t CCameraModule::SetStringValue(const char* key, const char* value) {
    return IsNull(key, value) ? OX3D_RGBD_E_PARAMETER : CAM_CALL(OX_CC_SetStringValue, key, value);
}

uint32_t CCameraModule::SetBoolValue(const char* key, bool value) {
    return IsNull(key) ? OX3D_RGBD_E_PARAMETER : CAM_CALL(OX_CC_SetBoolValue, key, value);
}

uint32_t CCameraModule::SetCommandValue(const char* key) {
    if (IsNull(key)) {
        return OX3D_RGBD_E_PARAMETER;
    }
    const uint32_t status = CAM_CALL(OX_CC_SetCommandValue, key);
    if (status == OX3D_RGBD_OK) {
        OX_LOG_INFO("camera module OX_CC_SetCommandValue success, strKey(%s).\r\n", key);
    }
    return status;
}

uint32_t CCameraModule::GetEnumValue(const char* key, OX3D_RGBD_ENUMPARAM* out) {
    return IsNull(key, out) ? OX3D_RGBD_E_PARAMETER
                            : CAM_CALL(OX_CC_GetEnumValue, key, reinterpret_cast<OX_CC_ENUM_VALUE*>(out));
}

uint32_t CCameraModule::GetFloatValue(const char* key, OX3D_RGBD_FLOATPARAM* out) {
    return IsNull(key, out) ? OX3D_RGBD_E_PARAMETER
                            : CAM_CALL(OX_CC_GetFloatValue, key, reinterpret_cast<OX_CC_FLOAT_VALUE*>(out));
}

uint32_t CCameraModule::GetStringValue(const char* key, OX3D_RGBD_STRINGPARAM* out) {
    return IsNull(key, out) ? OX3D_RGBD_E_PARAMETER
                            : CAM_CALL(OX_CC_GetStringValue, key, reinterpret_cast<OX_CC_STRING_VALUE*>(out));
}

uint32_t CCameraModule::GetBoolValue(const char* key, bool* out) {
    return IsNull(key, out) ? OX3D_RGBD_E_PARAMETER : CAM_CALL(OX_CC_GetBoolValue, key, out);
}

// Types are checked by the callers: 1 to 5 only.
int CCameraModule::RawSetValue(const char* key, const OX3D_RGBD_PARAM& param) {
    switch (param.enParamType) {
    case OX3D_RGBD_PARAM_BOOL: {
        const bool value = param.bBoolValue != 0;
        OX_LOG_INFO("camera module OX_CC_SetBoolValue: strKey(%s) bValue(%d).\r\n", key, value);
        return RawCall("OX_CC_SetBoolValue", OX_CC_SetBoolValue, key, value);
    }
    case OX3D_RGBD_PARAM_INT: {
        const int64_t value = param.stIntParam.nCurValue;
        // The conversion in the line is %f.
        OX_LOG_INFO("camera module SetIntValue:strKey(%s) nValue(%f).\r\n", key, static_cast<double>(value));
        return static_cast<int>(SetIntValue(key, value));
    }
    case OX3D_RGBD_PARAM_FLOAT: {
        const float value = param.stFloatParam.fCurValue;
        OX_LOG_INFO("camera module OX_CC_SetFloatValue:strKey(%s) fValue(%f).\r\n", key,
                    static_cast<double>(value));
        return RawCall("OX_CC_SetFloatValue", OX_CC_SetFloatValue, key, value);
    }
    case OX3D_RGBD_PARAM_ENUM: {
        const uint32_t value = param.stEnumParam.nCurValue;
        OX_LOG_INFO("camera module OX_CC_SetEnumValue:strKey(%s) nValue(%d).\r\n", key, value);
        return RawCall("OX_CC_SetEnumValue", OX_CC_SetEnumValue, key, value);
    }
    default: {
        const auto value = ox3d::FixedText(param.stStringParam.chCurValue);
        OX_LOG_INFO("camera module OX_CC_SetStringValue:strKey(%s), strValue(%s).\r\n", key, value.c_str());
        return RawCall("OX_CC_SetStringValue", OX_CC_SetStringValue, key, value.c_str());
    }
    }
}

int CCameraModule::RawGetValue(const char* key, OX3D_RGBD_PARAM& param) {
    switch (param.enParamType) {
    case OX3D_RGBD_PARAM_BOOL: {
        bool value = false;
        const int status = RawCall("OX_CC_GetBoolValue", OX_CC_GetBoolValue, key, &value);
        if (status == 0) {
            param.bBoolValue = value ? 1 : 0;
        }
        return status;
    }
    case OX3D_RGBD_PARAM_INT:
        return static_cast<int>(GetIntValue(key, &param.stIntParam));
    case OX3D_RGBD_PARAM_FLOAT:
        return RawCall("OX_CC_GetFloatValue", OX_CC_GetFloatValue, key,
                       reinterpret_cast<OX_CC_FLOAT_VALUE*>(&param.stFloatParam));
    case OX3D_RGBD_PARAM_ENUM:
        return RawCall("OX_CC_GetEnumValue", OX_CC_GetEnumValue, key,
                       reinterpret_cast<OX_CC_ENUM_VALUE*>(&param.stEnumParam));
    default:
        return RawCall("OX_CC_GetStringValue", OX_CC_GetStringValue, key,
                       reinterpret_cast<OX_CC_STRING_VALUE*>(&param.stStringParam));
    }
}

namespace {

bool IsKnownType(uint32_t type) {
    return type >= OX3D_RGBD_PARAM_BOOL && type <= OX3D_RGBD_PARAM_STRING;
}

} // namespace

uint32_t CCameraModule::SetValue(const char* key, const OX3D_RGBD_PARAM* param) {
    if (IsNull(key, param)) {
        return OX3D_RGBD_E_PARAMETER;
    }
    if (!IsKnownType(param->enParamType)) {
        OX_LOG_ERROR("camera module OX_CC_SetValue fail, strKey(%s) ValueType(%d), nRet:(%#x).\r\n", key,
                     param->enParamType, OX3D_RGBD_E_PARAMETER);
        return OX3D_RGBD_E_PARAMETER;
    }
    const int status = RawSetValue(key, *param);
    if (status != 0) {
        OX_LOG_ERROR("camera module OX_CC_SetValue fail, strKey(%s) ValueType(%d), nRet:(%#x).\r\n", key,
                     param->enParamType, status);
    }
    return ErrCodeTrans(status);
}

uint32_t CCameraModule::GetValue(const char* key, OX3D_RGBD_PARAM* param) {
    if (IsNull(key, param)) {
        return OX3D_RGBD_E_PARAMETER;
    }
    if (!IsKnownType(param->enParamType)) {
        OX_LOG_ERROR("camera module OX_CC_GetValue fail, strKey(%s), ValueType(%d), nRet:(%#x).\r\n", key,
                     param->enParamType, OX3D_RGBD_E_PARAMETER);
        return OX3D_RGBD_E_PARAMETER;
    }
    const int status = RawGetValue(key, *param);
    if (status != 0) {
        OX_LOG_ERROR("camera module OX_CC_GetValue fail, strKey(%s), ValueType(%d), nRet:(%#x).\r\n", key,
                     param->enParamType, status);
    }
    return ErrCodeTrans(status);
}

uint32_t CCameraModule::GetCamParamsType(const char* key, OX_XML_InterfaceType* type) {
    if (key == nullptr || type == nullptr) {
        OX_LOG_ERROR("parameter is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    return CAM_CALL(OX_XML_GetNodeInterfaceType, key, type);
}

uint32_t CCameraModule::XML_GetNodeAccessMode(const char* key, Ox3dRgbdAccessMode* mode) {
    if (key == nullptr || mode == nullptr) {
        OX_LOG_ERROR("parameter is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    return CAM_CALL(OX_XML_GetNodeAccessMode, key, mode);
}

uint32_t CCameraModule::XML_GetGenICamXML(unsigned char* buffer, unsigned int size, unsigned int* length) {
    if (buffer == nullptr || length == nullptr) {
        OX_LOG_ERROR("parameter is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    return CAM_CALL(OX_XML_GetGenICamXML, buffer, size, length);
}

uint32_t CCameraModule::PropertyImport(const char* file) {
    if (file == nullptr) {
        OX_LOG_ERROR("parameter is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (CamFunction(OX_CC_FeatureLoad) == nullptr) {
        OX_LOG_ERROR("camera module OX_CC_FeatureLoad is null, nRet:[%#x].\r\n", OX3D_RGBD_E_CAMERA);
        return OX3D_RGBD_E_CAMERA;
    }
    return CAM_CALL(OX_CC_FeatureLoad, file);
}

uint32_t CCameraModule::PropertyExport(const char* file) {
    if (file == nullptr) {
        OX_LOG_ERROR("parameter is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (CamFunction(OX_CC_FeatureSave) == nullptr) {
        OX_LOG_ERROR("camera module OX_CC_FeatureSave is null, nRet:[%#x].\r\n", OX3D_RGBD_E_CAMERA);
        return OX3D_RGBD_E_CAMERA;
    }
    return CAM_CALL(OX_CC_FeatureSave, file);
}

uint32_t CCameraModule::InvalidateNodes() {
    return CAM_CALL(OX_CC_InvalidateNodes);
}

// Manager_Param.cpp - features by name, and the library's own keys, which never reach the camera.
#include <cstring>
#include <string>

#include "src/Common/AsyncLog.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr uint32_t kInterfaceTypes = 12;

struct TypeRow {
    OX_XML_InterfaceType m_interface;
    uint32_t m_param;
};

constexpr TypeRow kTypes[] = {
    {OX_IFT_IInteger, OX3D_RGBD_PARAM_INT},      {OX_IFT_IBoolean, OX3D_RGBD_PARAM_BOOL},
    {OX_IFT_IFloat, OX3D_RGBD_PARAM_FLOAT},      {OX_IFT_IString, OX3D_RGBD_PARAM_STRING},
    {OX_IFT_IEnumeration, OX3D_RGBD_PARAM_ENUM},
};

} // namespace

uint32_t CManager::CheckOpened(const char* notPresentLine, const char* notOpenedLine) const {
    if (m_pcCamera == nullptr) {
        OX_LOG_ERROR("%s", notPresentLine);
        return OX3D_RGBD_E_STATE;
    }
    if (m_isOpened == 0) {
        OX_LOG_ERROR("%s", notOpenedLine);
        return OX3D_RGBD_E_STATE;
    }
    return OX3D_RGBD_OK;
}

uint32_t CManager::CheckCall(bool hasArguments) const {
    if (!hasArguments) {
        OX_LOG_ERROR("parameter key is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (m_pcCamera == nullptr) {
        OX_LOG_ERROR("camera is null\r\n");
        return OX3D_RGBD_E_STATE;
    }
    return OX3D_RGBD_OK;
}

uint32_t CManager::CamSetValue(const char* key, OX3D_RGBD_PARAM* value) {
    if (const uint32_t status = CheckCall(key != nullptr && value != nullptr); status != OX3D_RGBD_OK) {
        return status;
    }
    CCameraModule* camera = m_pcCamera;
    const int data = static_cast<int>(value->stIntParam.nCurValue);
    OX_LOG_DEBUG("[CamSetValue] strKey[%s] nParamType[%d] nParamData[%d].\r\n", key, value->enParamType,
                 data);
    const LibraryKeyRow* own = FindLibraryKey(key);
    if (own == nullptr) {
        const uint32_t status = camera->SetValue(key, value);
        if (status == OX3D_RGBD_OK) {
            m_journal.NoteFeature(key, *value);
        }
        return status;
    }
    const int64_t wanted = value->stIntParam.nCurValue;
    if (value->enParamType != OX3D_RGBD_PARAM_INT || wanted < own->m_min || wanted > own->m_max) {
        OX_LOG_ERROR("[CamSetValue] nParamType[%d] nParamData[%d].\r\n", value->enParamType, data);
        return OX3D_RGBD_E_PARAMETER;
    }
    if (own->m_id == ELibraryKey::AutoReconnect) {
        if (const uint32_t status = SetAutoReconnect(wanted == 1); status != OX3D_RGBD_OK) {
            return status;
        }
    }
    if (own->m_id == ELibraryKey::Threads) {
        m_poolUse.Ask(static_cast<uint32_t>(wanted));
    }
    m_keys.Set(own->m_id, static_cast<uint32_t>(wanted));
    return OX3D_RGBD_OK;
}

uint32_t CManager::CamGetValue(const char* key, OX3D_RGBD_PARAM* value) {
    if (const uint32_t status = CheckCall(key != nullptr && value != nullptr); status != OX3D_RGBD_OK) {
        return status;
    }
    CCameraModule* camera = m_pcCamera;
    if (const LibraryKeyRow* own = FindLibraryKey(key); own != nullptr) {
        value->enParamType = OX3D_RGBD_PARAM_INT;
        value->stIntParam = {m_keys.Get(own->m_id), own->m_max, own->m_min, 1};
        return OX3D_RGBD_OK;
    }
    const uint32_t status = GetCamParamsType(key, value);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("GetCamParamsType failed, errcode is (%#x)\r\n", status);
        return status;
    }
    return camera->GetValue(key, value);
}

uint32_t CManager::GetCamParamsType(const char* key, OX3D_RGBD_PARAM* value) {
    if (key == nullptr || value == nullptr) {
        OX_LOG_ERROR("parameter is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = CheckOpened();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    OX_XML_InterfaceType type = OX_IFT_IValue;
    status = m_pcCamera.load()->GetCamParamsType(key, &type);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("GetCamParamsType failed, errcode is (%#x)\r\n", status);
        return status;
    }
    if (type >= kInterfaceTypes) {
        OX_LOG_ERROR("parameter pInterfaceType is out of limit.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    status = GetParamValue(type, value);
    if (status != OX3D_RGBD_OK) {
        // The conversion in the line is %s.
        OX_LOG_ERROR("GetParamValue fail, pInterfaceType(%s), nRet:[%#x].\r\n", std::to_string(type).c_str(),
                     status);
    }
    return status;
}

uint32_t CManager::GetParamValue(OX_XML_InterfaceType type, OX3D_RGBD_PARAM* value) {
    if (value == nullptr) {
        OX_LOG_ERROR("parameter is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    for (const TypeRow& row : kTypes) {
        if (row.m_interface == type) {
            value->enParamType = row.m_param;
            OX_LOG_INFO("GetParamValue pstValue->enParamType is [%d].\r\n", row.m_param);
            return OX3D_RGBD_OK;
        }
    }
    OX_LOG_ERROR("pInterfaceType  is error , pInterfaceType is %d.\r\n", type);
    return OX3D_RGBD_E_PARAMETER;
}

uint32_t CManager::CamSetCommandValue(const char* key) {
    if (const uint32_t status = CheckCall(key != nullptr); status != OX3D_RGBD_OK) {
        return status;
    }
    CCameraModule* camera = m_pcCamera;
    if (m_softTrigger == 0 && strcmp(key, "TriggerSoftware") == 0) {
        // Its failure is ignored: some cameras refuse the switch and accept the trigger.
        SetSoftTriggerSwitchAfterOpen();
    }
    return camera->SetCommandValue(key);
}

uint32_t CManager::XML_GetNodeAccessMode(const char* name, Ox3dRgbdAccessMode* mode) {
    if (name == nullptr) {
        OX_LOG_ERROR("pstrName is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (mode == nullptr) {
        OX_LOG_ERROR("pAccessMode is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = CheckOpened();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = m_pcCamera.load()->XML_GetNodeAccessMode(name, mode);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("XML_GetNodeAccessMode failed, errcode is (%#x)\r\n", status);
    }
    return status;
}

// Manager_Maintain.cpp - operations that service a camera rather than stream from it. Each checks its
// arguments, then the manager's state, then forwards to one call of the camera module.
#include "base/BoundedText.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/Ipv4Text.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr uint32_t kMaxGvcpTimeoutMs = 10000;
constexpr const char* kSystemCalibrationFile = "LSLSystemCali";

// The public file-access record is the camera library's under another name.
static_assert(sizeof(OX3D_RGBD_FILE_ACCESS) == sizeof(OX_CC_FILE_ACCESS));
OX_CC_FILE_ACCESS* AsCameraRecord(OX3D_RGBD_FILE_ACCESS* access) {
    return reinterpret_cast<OX_CC_FILE_ACCESS*>(access);
}

// Preserved for compatibility: a write logs the lines of a read.
bool IsRegisterRange(int64_t address, int64_t length) {
    if (address < 0) {
        OX_LOG_ERROR("ReadAddressMem, nRegAddress is < 0, invalid.\r\n");
        return false;
    }
    if (length <= 0) {
        OX_LOG_ERROR("ReadAddressMem, nLength is <= 0, invalid.\r\n");
        return false;
    }
    return true;
}

uint32_t SetIpConfigWord(CCameraModule* camera, uint32_t mode, uint32_t word) {
    const uint32_t status = camera->GIGE_SetIpConfig(word);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[SetIpConfig] Set ip config (%d) failed, errcode is (%#x)\r\n", mode, status);
    }
    return status;
}

uint32_t ForceStaticIp(CCameraModule* camera, const OX3D_RGBD_IP_CONFIG& config) {
    const auto ipText = ox3d::FixedText(config.chDestIp);
    const auto maskText = ox3d::FixedText(config.chDestNetMask);
    const auto gatewayText = ox3d::FixedText(config.chDestGateWay);
    const int ipValid = IsValidIpv4(ipText.c_str());
    const int maskValid = IsValidIpv4(maskText.c_str());
    const int gatewayValid = IsValidIpv4(gatewayText.c_str());
    if (ipValid == 0 || maskValid == 0 || gatewayValid == 0) {
        OX_LOG_ERROR("[SetIpConfig] parameter is wrong,nIpRet[%d],nNetMaskRet[%d],nGateWayRet[%d] \r\n",
                     ipValid, maskValid, gatewayValid);
        return OX3D_RGBD_E_PARAMETER;
    }
    unsigned int ip = 0;
    unsigned int mask = 0;
    unsigned int gateway = 0;
    CCameraModule::GetIPVal(ip, ipText.c_str(), sizeof(config.chDestIp));
    CCameraModule::GetIPVal(mask, maskText.c_str(), sizeof(config.chDestNetMask));
    CCameraModule::GetIPVal(gateway, gatewayText.c_str(), sizeof(config.chDestGateWay));
    if (ip == 0 || mask == 0 || gateway == 0 || ((ip ^ gateway) & mask) != 0) {
        OX_LOG_ERROR("[SetIpConfig] ip config parameter is invalid.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = SetIpConfigWord(camera, config.enIPCfgMode, OX_GIGE_IP_CFG_STATIC);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = camera->GIGE_ForceIpEx(ip, mask, gateway);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[SetIpConfig] force ip (%s), subnetmask (%s), defaultGateway (%s) failed, errcode is "
                     "(%#x)\r\n",
                     ipText.c_str(), maskText.c_str(), gatewayText.c_str(), status);
        return OX3D_RGBD_E_PARAMETER;
    }
    return OX3D_RGBD_OK;
}

} // namespace

uint32_t CManager::PropertyImport(const char* file) {
    if (file == nullptr) {
        OX_LOG_ERROR("pFileName is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = CheckOpened();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = m_pcCamera.load()->PropertyImport(file);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("PropertyImport failed, errcode is (%#x)\r\n", status);
        return status;
    }
    m_journal.NoteFile(file);
    OX_LOG_INFO("[PropertyImport] PropertyImport success.\r\n");
    return OX3D_RGBD_OK;
}

uint32_t CManager::PropertyExport(const char* file) {
    uint32_t status =
        CheckOpened("[PropertyExport] camera is null\r\n", "[PropertyExport] Camera is not opened.\r\n");
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = m_pcCamera.load()->PropertyExport(file);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[PropertyExport] PropertyExport failed, errcode is (%#x)\r\n", status);
        return status;
    }
    OX_LOG_INFO("[PropertyExport] PropertyExport success.\r\n");
    return OX3D_RGBD_OK;
}

uint32_t CManager::FileAccessRead(OX3D_RGBD_FILE_ACCESS* access) {
    if (access == nullptr) {
        OX_LOG_ERROR("pstFileAccess is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const uint32_t status = CheckOpened();
    return status != OX3D_RGBD_OK ? status : m_pcCamera.load()->FileAccessRead(AsCameraRecord(access));
}

uint32_t CManager::FileAccessWrite(OX3D_RGBD_FILE_ACCESS* access) {
    if (access == nullptr) {
        OX_LOG_ERROR("pstFileAccess is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const uint32_t status = CheckOpened();
    return status != OX3D_RGBD_OK ? status : m_pcCamera.load()->FileAccessWrite(AsCameraRecord(access));
}

uint32_t CManager::CalibFileExport(const char* localFile, const char* deviceFile) {
    return TransferCalibFile("CalibFileExport", "FileAccessRead", &CCameraModule::FileAccessRead, localFile,
                             deviceFile);
}

uint32_t CManager::CalibFileImport(const char* localFile, const char* deviceFile) {
    return TransferCalibFile("CalibFileImport", "FileAccessWrite", &CCameraModule::FileAccessWrite, localFile,
                             deviceFile);
}

uint32_t CManager::TransferCalibFile(const char* operation, const char* step,
                                     uint32_t (CCameraModule::*transfer)(OX_CC_FILE_ACCESS*),
                                     const char* localFile, const char* deviceFile) {
    if (localFile == nullptr) {
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = CheckOpened();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    OX_CC_FILE_ACCESS access = {};
    access.pUserFileName = localFile;
    access.pDevFileName = deviceFile != nullptr ? deviceFile : kSystemCalibrationFile;
    status = (m_pcCamera.load()->*transfer)(&access);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[%s] %s %s failed, nRet:[%#x].\r\n", operation, step, kSystemCalibrationFile, status);
        return status;
    }
    OX_LOG_INFO("[%s] %s success.\r\n", operation, step);
    return OX3D_RGBD_OK;
}

uint32_t CManager::LocalUpgrade(const char* file) {
    if (file == nullptr) {
        OX_LOG_ERROR("LocalUpgrade is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const uint32_t status = CheckOpened();
    m_catalog.Clear();
    return status != OX3D_RGBD_OK ? status : m_pcCamera.load()->Upgrade(file);
}

uint32_t CManager::GetUpgradeProcess(uint32_t* percent) {
    if (percent == nullptr) {
        OX_LOG_ERROR("GetUpgradeProcess pnProcess is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const uint32_t status = CheckOpened();
    return status != OX3D_RGBD_OK ? status : m_pcCamera.load()->GetUpgradeProcess(percent);
}

uint32_t CManager::SetImageNodeNum(uint32_t count) {
    uint32_t status = CheckOpened();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = m_pcCamera.load()->SetImageNodeNum(count);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("Set Image Node num (%d) failed, errcode is (%#x)\r\n", count, status);
    } else {
        m_journal.NoteNodeNum(count);
    }
    return status;
}

uint32_t CManager::InvalidateNodes() {
    uint32_t status = CheckOpened();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    m_catalog.Clear();
    status = m_pcCamera.load()->InvalidateNodes();
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("InvalidateNodes failed, errcode is (%#x)\r\n", status);
    }
    return status;
}

uint32_t CManager::ReadAddressMem(void* buffer, int64_t address, int64_t length) {
    if (buffer == nullptr) {
        OX_LOG_ERROR("ReadAddressMem, input param is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (!IsRegisterRange(address, length)) {
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = CheckOpened("ReadAddressMem, camera is null\r\n", "Camera is not open.\r\n");
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = m_pcCamera.load()->ReadMemory(buffer, address, length);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("ReadAddressMem,  Read address (%#llx) len[%lld] failed, errcode (%#x)!\r\n",
                     static_cast<unsigned long long>(address), static_cast<long long>(length), status);
    }
    return status;
}

uint32_t CManager::WriteAddressMem(const void* buffer, int64_t address, int64_t length) {
    if (buffer == nullptr) {
        OX_LOG_ERROR("WriteAddressMem, input param is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (!IsRegisterRange(address, length)) {
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = CheckOpened("WriteAddressMem, camera is null\r\n", "Camera is not open.\r\n");
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = m_pcCamera.load()->WriteMemory(buffer, address, length);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("WriteAddressMem,  write address (%#llx) len[%lld] failed, errcode (%#x)!\r\n",
                     static_cast<unsigned long long>(address), static_cast<long long>(length), status);
    }
    return status;
}

uint32_t CManager::SetGvcpTimeout(uint32_t ms) {
    if (ms > kMaxGvcpTimeoutMs) {
        OX_LOG_ERROR("[SetGvcpTimeout] param  (%d) invalid. not in [0-10000].\r\n", ms);
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status =
        CheckOpened("[SetGvcpTimeout] camera is null.\r\n", "[SetGvcpTimeout] Camera is not opened.\r\n");
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = m_pcCamera.load()->SetGvcpTimeout(ms);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[SetGvcpTimeout] Set Gvcp Timeout failed, errcode is (%#x).\r\n", status);
    } else {
        m_journal.NoteGvcpTimeout(ms);
    }
    return status;
}

uint32_t CManager::GetGvcpTimeout(uint32_t* ms) {
    if (ms == nullptr) {
        OX_LOG_ERROR("[GetGvcpTimeout] pMillisec is NULL.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status =
        CheckOpened("[GetGvcpTimeout] camera is null.\r\n", "[GetGvcpTimeout] Camera is not opened.\r\n");
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = m_pcCamera.load()->GetGvcpTimeout(ms);
    if (status != OX3D_RGBD_OK) {
        // Preserved for compatibility: "Set" for both directions.
        OX_LOG_ERROR("[GetGvcpTimeout] Set Gvcp Timeout failed, errcode is (%#x).\r\n", status);
    }
    return status;
}

uint32_t CManager::GetCameraXML(uint8_t* buffer, uint32_t size, uint32_t* length) {
    if (size == 0) {
        OX_LOG_ERROR("GetCameraXML, nDataSize is 0 \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = CheckOpened("GetCameraXML, camera is null\r\n");
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    status = m_pcCamera.load()->XML_GetGenICamXML(buffer, size, length);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("GetCameraXML, XML_GetGenICamXML failed. nRet[%#x] \r\n", status);
    }
    return status;
}

// The device is bound but not opened: its address is set by packets that reach it in any subnet.
uint32_t CManager::SetIpConfig(const OX3D_RGBD_IP_CONFIG* config) {
    if (config == nullptr) {
        OX_LOG_ERROR("[SetIpConfig] pstIPConfig is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    CCameraModule* camera = m_pcCamera;
    if (camera == nullptr) {
        OX_LOG_ERROR("[SetIpConfig] camera is null\r\n");
        return OX3D_RGBD_E_STATE;
    }
    OX_LOG_INFO("[SetIpConfig] Begin force ip cfgmode(%d) IP:(%s) SubNetMask:(%s) DefaultGateWay:(%s)\r\n",
                config->enIPCfgMode, ox3d::FixedText(config->chDestIp).c_str(),
                ox3d::FixedText(config->chDestNetMask).c_str(),
                ox3d::FixedText(config->chDestGateWay).c_str());
    uint32_t status = OX3D_RGBD_OK;
    switch (config->enIPCfgMode) {
    case OX3D_RGBD_IP_STATIC:
        status = ForceStaticIp(camera, *config);
        break;
    case OX3D_RGBD_IP_DHCP:
        status = SetIpConfigWord(camera, config->enIPCfgMode, OX_GIGE_IP_CFG_DHCP);
        break;
    case OX3D_RGBD_IP_LINK_LOCAL:
        status = SetIpConfigWord(camera, config->enIPCfgMode, OX_GIGE_IP_CFG_LLA);
        break;
    default:
        OX_LOG_ERROR("[SetIpConfig] Set ip config (%d) failed, is invalid \r\n", config->enIPCfgMode);
        return OX3D_RGBD_E_PARAMETER;
    }
    if (status == OX3D_RGBD_OK) {
        OX_LOG_INFO("[SetIpConfig] GIGE_SetIpConfig success.\r\n");
    }
    return status;
}

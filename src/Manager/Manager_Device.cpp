// Manager_Device.cpp - enumeration, binding one device, and the device's record.
#include <cstring>
#include <new>

#include "base/BoundedText.h"
#include "base/NeverDestroyed.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/DeviceRecord.h"
#include "src/Manager/Manager.h"

using ox3d::FixedText;

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr uint32_t kAllTransports = OX_CC_GIGE_DEVICE | OX_CC_USB_DEVICE;

uint32_t TransportMask(uint32_t deviceType) {
    switch (deviceType) {
    case OX3D_RGBD_DEVICE_USB:
        return OX_CC_USB_DEVICE;
    case OX3D_RGBD_DEVICE_ALL:
        return kAllTransports;
    default:
        return OX_CC_GIGE_DEVICE;
    }
}

// An Ethernet record and a USB record have the serial number at different offsets. Both are read in every
// record, whatever its transport.
bool MatchesSerialNumber(const OX_CC_DEVICE_INFO& device, const char* serialNumber, const char* operation) {
    const auto gige = FixedText(device.stGigEInfo.chSerialNumber);
    const auto usb = FixedText(device.stUsb3Info.chSerialNumber);
    if (strcmp(serialNumber, gige.c_str()) == 0 || strcmp(serialNumber, usb.c_str()) == 0) {
        return true;
    }
    OX_LOG_ERROR("[%s] the input nDeviceNum (%s) not match enum nDeviceNum (%s/%s) .\r\n", operation,
                 serialNumber, gige.c_str(), usb.c_str());
    return false;
}

bool MatchesModelName(const OX_CC_DEVICE_INFO& device, const char* name) {
    const auto gige = FixedText(device.stGigEInfo.chModelName);
    const auto usb = FixedText(device.stUsb3Info.chModelName);
    if (strcmp(name, gige.c_str()) == 0 || strcmp(name, usb.c_str()) == 0) {
        return true;
    }
    OX_LOG_ERROR("[CompareBindParm] the input DevName (%s) not match enum chModelName (%s/%s) .\r\n", name,
                 gige.c_str(), usb.c_str());
    return false;
}

bool MatchesIp(const OX_CC_DEVICE_INFO& device, const char* ip) {
    char text[16] = {};
    GetIPString(text, device.stGigEInfo.nCurrentIp);
    if (strcmp(ip, text) == 0) {
        return true;
    }
    OX_LOG_ERROR("[CompareBindParm] the input ip (%s) not match enum ip (%s) .\r\n", ip, text);
    return false;
}

bool Matches(const OX_CC_DEVICE_INFO& device, OX_BIND_WAYS way, const char* parm) {
    switch (way) {
    case OX_BIND_WAYS::ByIp:
        return MatchesIp(device, parm);
    case OX_BIND_WAYS::ByName:
        return MatchesModelName(device, parm);
    default:
        return MatchesSerialNumber(device, parm, "CompareBindParm");
    }
}

void LogRecord(const char* lead, const char* modelWord, const char* tail, const OX3D_RGBD_DEVICE_INFO& info) {
    OX_LOG_INFO("%s device SN[%s] %s[%s] ip[%s] SubNetmask[%s] gateway[%s]%s\r\n", lead,
                FixedText(info.chSerialNumber).c_str(), modelWord, FixedText(info.chModelName).c_str(),
                FixedText(info.chCurrentIp).c_str(), FixedText(info.chCurrentSubNetMask).c_str(),
                FixedText(info.chDefaultGateWay).c_str(), tail);
}

// Binds by a text of the application; `nullLine` is logged where it is null.
uint32_t BindByText(CManager& manager, OX_BIND_WAYS way, const char* text, const char* nullLine) {
    if (text == nullptr) {
        OX_LOG_ERROR("%s", nullLine);
        return OX3D_RGBD_E_PARAMETER;
    }
    const uint32_t status = manager.BindDevBySomeWay(way, text);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[BindDevBySomeWay] bind fail.\r\n");
    }
    return status;
}

} // namespace

CManager* CManager::Shared() {
    // Never destroyed: a thread may be enumerating while the process exits.
    static CManager* const shared = new (std::nothrow) CManager;
    return shared;
}

COXMutex& CManager::EnumerationLock() {
    static ox3d::CNeverDestroyed<COXMutex> lock;
    return lock.Get();
}

uint32_t CManager::EnumDevices(uint32_t transportMask, OX_CC_DEVICE_INFO_LIST* list) {
    if (list == nullptr) {
        OX_LOG_ERROR("[EnumDevices] pstCamList is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    memset(list, 0, sizeof(*list));
    return CCameraModule::Enum(transportMask, list);
}

uint32_t CManager::CamGetDeviceNumber(uint32_t deviceType, uint32_t* count) {
    if (count == nullptr) {
        OX_LOG_ERROR("camera is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const COXLock lock(&EnumerationLock());
    OX_CC_DEVICE_INFO_LIST list;
    const uint32_t status = EnumDevices(TransportMask(deviceType), &list);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[CamGetDeviceNumber] Enum fail.error code:[%#x]\r\n", status);
        return status;
    }
    *count = list.nDeviceNum;
    return OX3D_RGBD_OK;
}

uint32_t CManager::GetDeviceList(uint32_t deviceType, OX3D_RGBD_DEVICE_INFO* list, uint32_t capacity,
                                 uint32_t* count) {
    if (capacity == 0 || list == nullptr || count == nullptr) {
        OX_LOG_ERROR("[GetDeviceList] param is error.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const COXLock lock(&EnumerationLock());
    OX_CC_DEVICE_INFO_LIST found;
    const uint32_t status = EnumDevices(TransportMask(deviceType), &found);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[GetDeviceList] Enum fail.error code:[%#x]\r\n", status);
        return status;
    }
    const uint32_t written = found.nDeviceNum < capacity ? found.nDeviceNum : capacity;
    for (uint32_t i = 0; i < written; ++i) {
        FillDeviceInfo(*found.pDeviceInfo[i], &list[i]);
        LogRecord("[Enum] Enum", "ModelName", " ", list[i]);
    }
    *count = written;
    return OX3D_RGBD_OK;
}

int CManager::CompareBindParm(OX_BIND_WAYS way, const char* parm, const OX_CC_DEVICE_INFO_LIST* list,
                              int& index) {
    if (list == nullptr || way > OX_BIND_WAYS::BySerialNumber || parm == nullptr) {
        return 0;
    }
    int found = 0;
    if (way == OX_BIND_WAYS::First) {
        index = 0; // an empty list fails later, when the handle is created
        found = 1;
    } else {
        for (uint32_t i = 0; i < list->nDeviceNum && found == 0; ++i) {
            if (Matches(*list->pDeviceInfo[i], way, parm)) {
                index = static_cast<int>(i);
                found = 1;
            }
        }
    }
    OX_LOG_INFO("[CompareBindParm] param bFind[%d]  nFindNum[%d] .\r\n", found, index);
    return found;
}

uint32_t CManager::BindDevBySomeWay(OX_BIND_WAYS way, const char* parm) {
    if (way > OX_BIND_WAYS::BySerialNumber || parm == nullptr) {
        OX_LOG_ERROR("[BindDevBySomeWay] param error.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (m_pcCamera != nullptr) {
        OX_LOG_ERROR("[BindDevBySomeWay] already connect one camera\r\n");
        return OX3D_RGBD_E_STATE;
    }
    OX_LOG_INFO("[BindDevBySomeWay] start. chParm[%s].\r\n", parm);
    const COXLock lock(&EnumerationLock());
    OX_CC_DEVICE_INFO_LIST list;
    uint32_t status = EnumDevices(kAllTransports, &list);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[BindDevBySomeWay] enum devices fail [%#x]\r\n", status);
        return status;
    }
    int index = 0;
    if (CompareBindParm(way, parm, &list, index) == 0) {
        OX_LOG_ERROR("[BindDevBySomeWay] No find the chParm[%s]  devices \r\n", parm);
        return OX3D_RGBD_E_PARAMETER;
    }
    const OX_CC_DEVICE_INFO* device = list.pDeviceInfo[index];
    status = CreateHandle(device);
    if (device != nullptr) {
        m_nDeviceType = device->nTLayerType;
        if (device->nTLayerType == OX_CC_USB_DEVICE) {
            const bool isUsb3 =
                GetUserUSBType(static_cast<int>(device->stUsb3Info.nBcdUsb)) == OX3D_RGBD_USB_3;
            OX_LOG_INFO("[BindDevBySomeWay] USB Type = %s\r\n", isUsb3 ? "USB3" : "USB2");
        }
    }
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[BindDevBySomeWay] CreateHandle, enum devices fail [%#x]\r\n", status);
        return status;
    }
    OX_LOG_INFO("[BindDevBySomeWay] end. chParm[%s].\r\n", parm);
    return OX3D_RGBD_OK;
}

uint32_t CManager::BindDevice(OX3D_RGBD_DEVICE_INFO* info) {
    if (info == nullptr) {
        OX_LOG_INFO("[BindDevice] param DeviceInfo is null.\r\n");
        return BindByText(*this, OX_BIND_WAYS::First, "", "");
    }
    const uint32_t status =
        BindDevBySomeWay(OX_BIND_WAYS::BySerialNumber, FixedText(info->chSerialNumber).c_str());
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[BindDevBySomeWay]CreateHandle, enum devices fail [%#x]\r\n", status);
        return status;
    }
    LogRecord("[BindDevice] bind", "Model", ".", *info);
    return OX3D_RGBD_OK;
}

uint32_t CManager::BindDeviceBySerialNumber(const char* serialNumber) {
    return BindByText(*this, OX_BIND_WAYS::BySerialNumber, serialNumber,
                      "BindDeviceBySerialNumber, serial number is null.\r\n");
}

uint32_t CManager::BindDeviceByIP(const char* ip) {
    return BindByText(*this, OX_BIND_WAYS::ByIp, ip, "BindDeviceByIP, param is null.nIP = 0.\r\n");
}

uint32_t CManager::BindDeviceByName(const char* name) {
    return BindByText(*this, OX_BIND_WAYS::ByName, name,
                      "BindDeviceByName, param is null.chDeviceName = null\r\n");
}

uint32_t CManager::CreateHandle(const OX_CC_DEVICE_INFO* record) {
    OX_LOG_INFO("[CreateHandle] begin.\r\n");
    if (record == nullptr) {
        OX_LOG_ERROR("[CreateHandle] camera info is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (m_pcCamera != nullptr) {
        OX_LOG_ERROR("[CreateHandle] ConnectDevice, m_pcCamera is not null.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    std::unique_ptr<CCameraModule> camera(new (std::nothrow) CCameraModule);
    if (camera == nullptr) {
        OX_LOG_ERROR("[CreateHandle] new CCameraModule fail.\r\n");
        return OX3D_RGBD_E_MEMORY;
    }
    const uint32_t status = camera->CreateHandle(record);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[CreateHandle] create handle fail, nRet:[%#x].\r\n", status);
        return status;
    }
    m_pcCamera = camera.release();
    OX_LOG_INFO("[CreateHandle] end success.\r\n");
    return OX3D_RGBD_OK;
}

uint32_t CManager::CamGetDeviceInfo(OX3D_RGBD_DEVICE_INFO* out) {
    uint32_t status = CheckCall(out != nullptr);
    if (status != OX3D_RGBD_OK || out == nullptr) { // implied by the status; for the static analyser
        return status;
    }
    CCameraModule* camera = m_pcCamera;
    OX_CC_DEVICE_INFO device;
    memset(&device, 0, sizeof(device));
    status = camera->GetDeviceInfo(&device);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("CamGetDeviceInfo GetDeviceInfo fail, nRet:[%#x].\r\n", status);
        return status;
    }
    FillDeviceInfo(device, out);
    // For USB devices as well, where the address replaces vendor and product id: preserved for applications
    // that expect zeros there.
    if (device.nTLayerType == OX_CC_GIGE_DEVICE || device.nTLayerType == OX_CC_USB_DEVICE) {
        FillMacAddress(device, out);
    }
    LogRecord("[CamGetDeviceInfo]", "ModelName", " ", *out);
    return OX3D_RGBD_OK;
}

uint32_t CManager::CamIsAccessible(const OX3D_RGBD_DEVICE_INFO* info, uint32_t accessMode) {
    if (info == nullptr) {
        OX_LOG_ERROR("parameter key is null\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const COXLock lock(&EnumerationLock());
    OX_CC_DEVICE_INFO_LIST list;
    const uint32_t status = EnumDevices(kAllTransports, &list);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[CamIsAccessible] enum devices fail [%#x]\r\n", status);
        return status;
    }
    const auto serialNumber = FixedText(info->chSerialNumber);
    for (uint32_t i = 0; i < list.nDeviceNum; ++i) {
        if (MatchesSerialNumber(*list.pDeviceInfo[i], serialNumber.c_str(), "CamIsAccessible")) {
            return CCameraModule::IsDeviceAccessible(list.pDeviceInfo[i], accessMode) & 0xFFu;
        }
    }
    OX_LOG_ERROR("[CamIsAccessible] No find the chParm[%s]  devices \r\n", serialNumber.c_str());
    return OX3D_RGBD_E_PARAMETER;
}

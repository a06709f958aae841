// CameraModule.cpp - handle, streaming, callbacks and maintenance calls of one camera. Feature access is in
// CameraModule_Feature.cpp.
#include "src/CameraModule/CameraModule.h"

#include <cstdlib>
#include <cstring>

#include "base/BoundedText.h"
#include "base/Cancellation.h"
#include "src/CameraModule/CameraModuleCall.h"

namespace {

struct CodeRow {
    uint32_t m_camera;
    uint32_t m_status;
};

constexpr CodeRow kCodes[] = {
    {OX_CC_OK, OX3D_RGBD_OK},
    {OX_CC_E_HANDLE, OX3D_RGBD_E_HANDLE},
    {OX_CC_E_SUPPORT, OX3D_RGBD_E_CAMERA},
    {OX_CC_E_BUFFER_FULL, OX3D_RGBD_E_CAMERA_02},
    {OX_CC_E_CALL_ORDER, OX3D_RGBD_E_STATE},
    {OX_CC_E_PARAMETER, OX3D_RGBD_E_PARAMETER},
    {OX_CC_E_GC_GENERIC, OX3D_RGBD_E_PARAMETER},
    {OX_CC_E_GC_ARGUMENT, OX3D_RGBD_E_PARAMETER},
    {OX_CC_E_GC_DYNAMIC_CAST, OX3D_RGBD_E_PARAMETER},
    {OX_CC_E_RESOURCE, OX3D_RGBD_E_MEMORY},
    {OX_CC_E_NO_DATA, OX3D_RGBD_E_NO_DATA},
    {OX_CC_E_PRECONDITION, OX3D_RGBD_E_CAMERA_07},
    {OX_CC_E_GC_ACCESS, OX3D_RGBD_E_CAMERA_07},
    {OX_CC_E_VERSION, OX3D_RGBD_E_CAMERA_08},
    {OX_CC_E_NO_BUFFER_SPACE, OX3D_RGBD_E_CAMERA_09},
    {OX_CC_E_ABNORMAL_IMAGE, OX3D_RGBD_E_CAMERA_0A},
    {OX_CC_E_LOAD_LIBRARY, OX3D_RGBD_E_LOAD_LIBRARY},
    {OX_CC_E_GC_RANGE, OX3D_RGBD_E_CAMERA_0F},
    {OX_CC_E_ACCESS_DENIED, OX3D_RGBD_E_CAMERA_0E},
};

// Clamps what a camera-control library lists to the list's capacity and drops null entries, so that callers
// can follow every entry.
void TidyList(OX_CC_DEVICE_INFO_LIST* list) {
    const uint32_t listed = list->nDeviceNum < OX_CC_MAX_DEVICES ? list->nDeviceNum : OX_CC_MAX_DEVICES;
    uint32_t usable = 0;
    for (uint32_t i = 0; i < listed; ++i) {
        if (list->pDeviceInfo[i] != nullptr) {
            list->pDeviceInfo[usable++] = list->pDeviceInfo[i];
        }
    }
    if (usable != list->nDeviceNum) {
        OX_LOG_WARNING("[Enum] the camera list counts [%u], usable are [%u].\r\n", list->nDeviceNum, usable);
    }
    for (uint32_t i = usable; i < OX_CC_MAX_DEVICES; ++i) {
        list->pDeviceInfo[i] = nullptr;
    }
    list->nDeviceNum = usable;
}

} // namespace

CCameraModule::CCameraModule() {
    ResetMember();
}

void CCameraModule::ResetMember() {
    m_imageCallBack = nullptr;
    m_imageUser = nullptr;
    m_exceptionCallBack = nullptr;
    m_exceptionUser = nullptr;
    m_eventCallBack = nullptr;
    m_eventUser = nullptr;
    m_handle.Set(nullptr);
    m_isLetGo = false;
    memset(&m_deviceInfo, 0, sizeof(m_deviceInfo));
    m_extended = 0;
}

uint32_t CCameraModule::ErrCodeTrans(int code) {
    const auto camera = static_cast<uint32_t>(code);
    for (const CodeRow& row : kCodes) {
        if (row.m_camera == camera) {
            return row.m_status;
        }
    }
    return OX3D_RGBD_E_UNKNOWN;
}

uint32_t CCameraModule::Enum(unsigned int layerMask, OX_CC_DEVICE_INFO_LIST* list) {
    OX_LOG_INFO("[Enum] begin.\r\n");
    uint32_t status = LoadCamDllEnumFunction();
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[Enum] LoadCamDllEnumFunction fail, nRet:[%#x].\r\n", status);
        return status;
    }
    status = static_cast<uint32_t>(CamFunction(OX_CC_EnumDevices)(layerMask, list));
    if (status != OX_CC_OK) {
        OX_LOG_ERROR("[Enum] OX_CC_EnumDevices fail, nRet:[%#x].\r\n", status);
        return status;
    }
    TidyList(list);
    OX_LOG_INFO("[Enum] enum by gige sdk, get camera num:[%d].\r\n", list->nDeviceNum);
    OX_LOG_INFO("[Enum] end success.\r\n");
    return OX3D_RGBD_OK;
}

uint32_t CCameraModule::IsDeviceAccessible(OX_CC_DEVICE_INFO* info, unsigned int accessMode) {
    const uint32_t status = LoadCamDllIsDeviceAccessible();
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("camera module LoadCamDllIsDeviceAccessible fail, nRet:[%#x].\r\n", status);
        return 0;
    }
    const uint32_t accessible = CamFunction(OX_CC_IsDeviceAccessible)(info, accessMode) ? 1 : 0;
    // Logged as an error also when it is none: preserved for programs that filter the log by level.
    OX_LOG_ERROR("camera module OX_CC_IsDeviceAccessible bIsDeviceAccessible:[%#x].\r\n", accessible);
    return accessible;
}

uint32_t CCameraModule::GetIPVal(unsigned int& out, const char* text, int len) {
    if (text == nullptr) {
        OX_LOG_ERROR("[GetIPString] chCurrentIp is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    char buffer[17] = {};
    const size_t bound = len < 0 ? 0 : (len < 16 ? static_cast<size_t>(len) : 16);
    memcpy(buffer, text, strnlen(text, bound));
    const ox3d::CFixedText<17> shown(buffer);

    constexpr float kWeights[] = {16777216.0f, 65536.0f, 256.0f};
    unsigned int value = 0;
    char* rest = nullptr;
    char* field = strtok_r(buffer, ".", &rest);
    for (int i = 0; i < 4 && field != nullptr; ++i, field = strtok_r(nullptr, ".", &rest)) {
        const long number = strtol(field, nullptr, 10);
        if (number < 0 || number > 255) {
            continue;
        }
        // Every product has at most 8 significant bits, so single precision holds it exactly.
        value += i < 3 ? static_cast<unsigned int>(static_cast<float>(number) * kWeights[i])
                       : static_cast<unsigned int>(number);
    }
    out = value;
    OX_LOG_INFO("[GetIPVal] chCurrentIp[%s] nCurrentIp[%d].\r\n", shown.c_str(), value);
    return OX3D_RGBD_OK;
}

uint32_t CCameraModule::CreateHandle(const OX_CC_DEVICE_INFO* info) {
    if (info == nullptr) {
        OX_LOG_ERROR("[CreateHandle] camera info is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = LoadCamDllAllFunctions();
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[CreateHandle] camera module LoadCamDllAllFunctions fail, nRet:[%#x].\r\n", status);
        DeInit();
        return status;
    }
    status = LoadCamDllSpeFunction();
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[CreateHandle] camera module LoadCamDllSpeFunction fail, nRet:[%#x].\r\n", status);
    }
    m_extended = status == OX3D_RGBD_OK ? 1 : 0;
    OX_LOG_INFO("[CreateHandle] Get Gige Sdk version:(%#x).\r\n", CamFunction(OX_CC_GetSDKVersion)());

    m_deviceInfo = *info;
    void* handle = nullptr;
    const int code = CamFunction(OX_CC_CreateHandle)(&handle, info);
    m_handle.Set(handle);
    if (code != 0) {
        const OX_CC_GIGE_DEVICE_INFO& gige = info->stGigEInfo;
        OX_LOG_ERROR("[CreateHandle] camera module OX_CC_CreateHandle fail, macH:(%#x), macL:(%#x), "
                     "CurrentIP:(%#x), NetExport:(%#x), SN:(%s), nRet:[%#x].\r\n",
                     info->nMacAddrHigh, info->nMacAddrLow, gige.nCurrentIp, gige.nNetExport,
                     ox3d::FixedText(gige.chSerialNumber).c_str(), code);
        OX_LOG_ERROR("[CreateHandle] catch a error, nRet:[%#x].\r\n", code);
        DeInit(); // the library may have stored a handle all the same
        return ErrCodeTrans(code);
    }
    return OX3D_RGBD_OK;
}

uint32_t CCameraModule::DestroyHandle() {
    return CAM_CALL(OX_CC_DestroyHandle);
}

uint32_t CCameraModule::Init() {
    return OpenDevice();
}

uint32_t CCameraModule::OpenDevice() {
    return CAM_CALL(OX_CC_OpenDevice, OX_CC_ACCESS_EXCLUSIVE, static_cast<uint16_t>(0));
}

uint32_t CCameraModule::CloseDevice() {
    return CAM_CALL(OX_CC_CloseDevice);
}

uint32_t CCameraModule::StartGrabbing() {
    return CAM_CALL(OX_CC_StartGrabbing);
}

uint32_t CCameraModule::StopGrabbing() {
    return CAM_CALL(OX_CC_StopGrabbing);
}

// Every step runs whatever the state and whatever the step before returned: a device that is not open
// refuses, and the refusal is only logged.
uint32_t CCameraModule::DeInit() {
    if (!m_handle.IsSet()) {
        return OX3D_RGBD_OK;
    }
    const auto step = [this](const char* name, auto*& global) {
        const int status = RawCall(name, global);
        if (status != 0) {
            OX_LOG_ERROR("[DeInit] %s failed, nRet:[%#x].\r\n", name, status);
        } else {
            OX_LOG_INFO("[DeInit] %s success.\r\n", name);
        }
    };
    step("OX_CC_StopGrabbing", OX_CC_StopGrabbing);
    step("OX_CC_CloseDevice", OX_CC_CloseDevice);
    step("OX_CC_DestroyHandle", OX_CC_DestroyHandle);
    m_handle.Set(nullptr);
    return OX3D_RGBD_OK;
}

void CCameraModule::LetGo() {
    m_isLetGo = true;
    void* handle = m_handle.Take();
    if (handle == nullptr) {
        return;
    }
    // What the library says is of no interest: the device is gone. The stop wakes threads that wait for a frame.
    CamFunction(OX_CC_StopGrabbing)(handle);
    m_handle.WaitUnused();
    CamFunction(OX_CC_CloseDevice)(handle);
    CamFunction(OX_CC_DestroyHandle)(handle);
    OX_LOG_INFO("[LetGo] the lost device is closed.\r\n");
}

void CCameraModule::Adopt(CCameraModule* other) {
    m_deviceInfo = other->m_deviceInfo;
    m_extended = other->m_extended.load();
    m_handle.Set(other->m_handle.Take());
}

uint32_t CCameraModule::RegisterImageCallBack(ImageCallBack fn, void* user) {
    m_imageUser = user;
    m_imageCallBack = fn;
    return CAM_CALL(OX_CC_RegisterImageCallBackEx, fn != nullptr ? &VirtualImageCB : nullptr,
                    static_cast<void*>(this));
}

uint32_t CCameraModule::RegisterExceptionCallBack(ExceptionCallBack fn, void* user) {
    m_exceptionUser = user;
    m_exceptionCallBack = fn;
    return CAM_CALL(OX_CC_RegisterExceptionCallBack, fn != nullptr ? &VirtualExceptionCB : nullptr,
                    static_cast<void*>(this));
}

uint32_t CCameraModule::RegisterVolumeEvent(const char* event, const char* missingLine, EventCallBack fn,
                                            void* user) {
    if (CamFunction(OX_CC_RegisterEventCallBackEx) == nullptr) {
        OX_LOG_ERROR("%s", missingLine);
        return OX3D_RGBD_E_CAMERA;
    }
    m_eventUser = user;
    m_eventCallBack = fn;
    return CAM_CALL(OX_CC_RegisterEventCallBackEx, event, fn != nullptr ? &VirtualEventInfoCB : nullptr,
                    static_cast<void*>(this));
}

uint32_t CCameraModule::RegisterDwsVolumeEventInfoCallBack(EventCallBack fn, void* user) {
    return RegisterVolumeEvent("DwsVolume",
                               "[RegisterDwsVolumeEventInfoCallBack] OX_CC_RegisterEventCallBackEx Is null, "
                               "oxs sdk not support.\r\n",
                               fn, user);
}

uint32_t CCameraModule::RegisterStereoVolumeEventInfoCallBack(EventCallBack fn, void* user) {
    return RegisterVolumeEvent("StereoVolume",
                               "[RegisterStereoVolumeEventInfoCallBack] OX_CC_RegisterEventCallBackEx is "
                               "null, oxs sdk not support.\r\n",
                               fn, user);
}

void CCameraModule::VirtualImageCB(uint8_t* data, OX_FRAME_OUT_INFO_EX* info, void* user) {
    auto* self = static_cast<CCameraModule*>(user);
    const ImageCallBack fn = self != nullptr ? self->m_imageCallBack.load() : nullptr;
    if (fn != nullptr) {
        fn(data, info, self->m_imageUser);
    }
}

void CCameraModule::VirtualExceptionCB(uint32_t msgType, void* user) {
    auto* self = static_cast<CCameraModule*>(user);
    const ExceptionCallBack fn = self != nullptr ? self->m_exceptionCallBack.load() : nullptr;
    if (fn != nullptr) {
        fn(msgType, self->m_exceptionUser);
    }
}

void CCameraModule::VirtualEventInfoCB(OX_EVENT_OUT_INFO* info, void* user) {
    auto* self = static_cast<CCameraModule*>(user);
    const EventCallBack fn = self != nullptr ? self->m_eventCallBack.load() : nullptr;
    if (fn != nullptr) {
        fn(info, self->m_eventUser);
    }
}

uint32_t CCameraModule::SetImageNodeNum(unsigned int count) {
    return CAM_CALL(OX_CC_SetImageNodeNum, count);
}

uint32_t CCameraModule::GetOneFrameTimeout(unsigned char* buffer, unsigned int size,
                                           OX_FRAME_OUT_INFO_EX* info, unsigned int ms) {
    if (info == nullptr) {
        OX_LOG_ERROR("camera module pFrameInfo is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    return CAM_CALL(OX_CC_GetOneFrameTimeout, buffer, size, info, ms);
}

uint32_t CCameraModule::GetImageBuffer(OX_FRAME_OUT* frame, unsigned int ms) {
    if (frame == nullptr) {
        OX_LOG_ERROR("camera module pFrame is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const ox3d::CCancellationPoint waiting; // what is logged of a failure cannot be cancelled
    return CAM_CALL(OX_CC_GetImageBuffer, frame, ms);
}

uint32_t CCameraModule::FreeImageBuffer(OX_FRAME_OUT* frame) {
    if (frame == nullptr) {
        OX_LOG_ERROR("camera module pFrame is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    return CAM_CALL(OX_CC_FreeImageBuffer, frame);
}

uint32_t CCameraModule::FreeImageBuffer(OX_FRAME_OUT* frame, const CUse& lender) {
    const int status = RawCallOn(lender.Handle(), "OX_CC_FreeImageBuffer", OX_CC_FreeImageBuffer, frame);
    if (status != 0) {
        OX_LOG_ERROR("camera module OX_CC_FreeImageBuffer fail, nRet:[%#x].\r\n", status);
    }
    return ErrCodeTrans(status);
}

uint32_t CCameraModule::GetDeviceInfo(OX_CC_DEVICE_INFO* out) {
    return CAM_CALL(OX_CC_GetDeviceInfo, out);
}

int CCameraModule::GetOptimalPacketSize() {
    auto* function = CamFunction(OX_CC_GetOptimalPacketSize);
    if (function == nullptr) {
        OX_LOG_ERROR("camera module OX_CC_GetOptimalPacketSize is null.\r\n");
        return 0;
    }
    const CUse use(m_handle);
    return function(use.Handle());
}

uint32_t CCameraModule::SetGvcpTimeout(unsigned int ms) {
    return CAM_CALL(OX_GIGE_SetGvcpTimeout, ms);
}

uint32_t CCameraModule::GetGvcpTimeout(unsigned int* ms) {
    return CAM_CALL(OX_GIGE_GetGvcpTimeout, ms);
}

uint32_t CCameraModule::GIGE_ForceIpEx(unsigned int ip, unsigned int mask, unsigned int gateway) {
    return CAM_CALL(OX_GIGE_ForceIpEx, ip, mask, gateway);
}

uint32_t CCameraModule::GIGE_SetIpConfig(unsigned int type) {
    return CAM_CALL(OX_GIGE_SetIpConfig, type);
}

uint32_t CCameraModule::TransferFile(const char* name, int (*&global)(void*, OX_CC_FILE_ACCESS*),
                                     const char* operation, OX_CC_FILE_ACCESS* access) {
    if (access == nullptr) {
        OX_LOG_ERROR("[%s] pstFileAccess is null.\r\n", operation);
        return OX3D_RGBD_E_PARAMETER;
    }
    if (m_extended == 0) {
        OX_LOG_ERROR("[%s] %s function is unsupported.\r\n", operation, name);
        return OX3D_RGBD_E_CAMERA;
    }
    const uint32_t status = Call(name, global, access);
    if (status == OX3D_RGBD_OK) {
        OX_LOG_INFO("[%s] %s success.\r\n", operation, name);
    }
    return status;
}

uint32_t CCameraModule::FileAccessRead(OX_CC_FILE_ACCESS* access) {
    return TransferFile("OX_CC_FileAccessRead", OX_CC_FileAccessRead, "FileAccessRead", access);
}

uint32_t CCameraModule::FileAccessWrite(OX_CC_FILE_ACCESS* access) {
    return TransferFile("OX_CC_FileAccessWrite", OX_CC_FileAccessWrite, "FileAccessWrite", access);
}

uint32_t CCameraModule::Upgrade(const void* filePath) {
    if (filePath == nullptr) {
        OX_LOG_ERROR("camera module pFilePathName is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const int status = RawCall("OX_CC_LocalUpgrade", OX_CC_LocalUpgrade, filePath);
    if (status != 0) {
        OX_LOG_ERROR("camrea module OX_CC_LocalUpgrade fail, pFilePathName(%s), nRet:[%#x].\r\n",
                     static_cast<const char*>(filePath), status);
    }
    return ErrCodeTrans(status);
}

uint32_t CCameraModule::GetUpgradeProcess(unsigned int* percent) {
    if (percent == nullptr) {
        OX_LOG_ERROR("camera module pnProcess is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    return CAM_CALL(OX_CC_GetUpgradeProcess, percent);
}

template <class Buffer>
uint32_t CCameraModule::TransferMemory(const char* name, int (*&global)(void*, Buffer*, int64_t, int64_t),
                                       Buffer* buffer, int64_t address, int64_t length) {
    if (buffer == nullptr) {
        OX_LOG_ERROR("camera module pBuffer is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const int status = RawCall(name, global, buffer, address, length);
    if (status != 0) {
        OX_LOG_ERROR("camera module %s fail, nAddress(%#llx), nLength(%lld), nRet:[%#x].\r\n", name,
                     static_cast<unsigned long long>(address), static_cast<long long>(length), status);
    }
    return ErrCodeTrans(status);
}

uint32_t CCameraModule::ReadMemory(void* buffer, int64_t address, int64_t length) {
    return TransferMemory("OX_CC_ReadMemory", OX_CC_ReadMemory, buffer, address, length);
}

uint32_t CCameraModule::WriteMemory(const void* buffer, int64_t address, int64_t length) {
    return TransferMemory("OX_CC_WriteMemory", OX_CC_WriteMemory, buffer, address, length);
}

// CameraModule.h - the device manager's one way to one camera: a handle of the camera-control library, each
// call checked, its failure logged with the library's raw code and translated into the public status space.
//
// Threads: as many at once as the camera-control library allows; nothing here locks. The callbacks arrive on
// threads of that library.
#ifndef OX3D_CAMERA_MODULE_H
#define OX3D_CAMERA_MODULE_H

#include <atomic>
#include <cstdint>

#include "src/CameraModule/CamLoadLibrary.h"
#include "src/CameraModule/CameraHandle.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

class CCameraModule {
public:
    using ImageCallBack = OX_CC_IMAGE_CALLBACK;
    using ExceptionCallBack = OX_CC_EXCEPTION_CALLBACK;
    using EventCallBack = OX_CC_EVENT_CALLBACK;

    CCameraModule();
    ~CCameraModule() = default;
    CCameraModule(const CCameraModule&) = delete;
    CCameraModule& operator=(const CCameraModule&) = delete;

    void ResetMember();

    // The list holds at most OX_CC_MAX_DEVICES records, none null, afterwards. Raw camera code.
    static uint32_t Enum(unsigned int layerMask, OX_CC_DEVICE_INFO_LIST* list);
    // 1 or 0; 0 as well when the library cannot be loaded.
    static uint32_t IsDeviceAccessible(OX_CC_DEVICE_INFO* info, unsigned int accessMode);
    // Dotted decimal text of at most `len` (and 16) bytes to a number; fields above 255 count as 0.
    static uint32_t GetIPVal(unsigned int& out, const char* text, int len);
    // Camera code to public status.
    static uint32_t ErrCodeTrans(int code);

    uint32_t CreateHandle(const OX_CC_DEVICE_INFO* info);
    uint32_t DestroyHandle();
    uint32_t Init();
    uint32_t DeInit();
    uint32_t OpenDevice();
    uint32_t CloseDevice();
    // Gives up the handle of a device that is lost: waits for the calls on it, closes and destroys it. Calls from
    // here on fail as on a lost device, until Adopt.
    void LetGo();
    // Takes over the handle of another module; callbacks have to be registered again.
    void Adopt(CCameraModule* other);
    bool IsLetGo() const { return m_isLetGo && !m_handle.IsSet(); }
    // Keeps what the device has lent from going while it is used.
    using CUse = CCameraHandle::CUse;
    CCameraHandle& Handle() { return m_handle; }
    uint32_t StartGrabbing();
    uint32_t StopGrabbing();

    uint32_t RegisterImageCallBack(ImageCallBack fn, void* user);
    uint32_t RegisterExceptionCallBack(ExceptionCallBack fn, void* user);
    uint32_t RegisterDwsVolumeEventInfoCallBack(EventCallBack fn, void* user);
    uint32_t RegisterStereoVolumeEventInfoCallBack(EventCallBack fn, void* user);

    // Raw camera codes, all others translated.
    uint32_t SetIntValue(const char* key, int64_t value);
    uint32_t GetIntValue(const char* key, OX3D_RGBD_INTPARAM* out);

    uint32_t SetFloatValue(const char* key, float value);
    uint32_t SetEnumValue(const char* key, unsigned int value);
    uint32_t SetEnumValueByString(const char* key, const char* value);
    uint32_t SetStringValue(const char* key, const char* value);
    uint32_t SetBoolValue(const char* key, bool value);
    uint32_t SetCommandValue(const char* key);
    uint32_t GetEnumValue(const char* key, OX3D_RGBD_ENUMPARAM* out);
    uint32_t GetFloatValue(const char* key, OX3D_RGBD_FLOATPARAM* out);
    uint32_t GetStringValue(const char* key, OX3D_RGBD_STRINGPARAM* out);
    uint32_t GetBoolValue(const char* key, bool* out);
    // Dispatch on the record's enParamType.
    uint32_t SetValue(const char* key, const OX3D_RGBD_PARAM* param);
    uint32_t GetValue(const char* key, OX3D_RGBD_PARAM* param);
    uint32_t GetCamParamsType(const char* key, OX_XML_InterfaceType* type);
    uint32_t XML_GetNodeAccessMode(const char* key, Ox3dRgbdAccessMode* mode);
    uint32_t XML_GetGenICamXML(unsigned char* buffer, unsigned int size, unsigned int* length);
    uint32_t PropertyImport(const char* file);
    uint32_t PropertyExport(const char* file);
    uint32_t InvalidateNodes();

    uint32_t SetImageNodeNum(unsigned int count);
    uint32_t GetOneFrameTimeout(unsigned char* buffer, unsigned int size, OX_FRAME_OUT_INFO_EX* info,
                                unsigned int ms);
    uint32_t GetImageBuffer(OX_FRAME_OUT* frame, unsigned int ms);
    uint32_t FreeImageBuffer(OX_FRAME_OUT* frame);
    // The same to the handle that lent it, which may have been let go since.
    uint32_t FreeImageBuffer(OX_FRAME_OUT* frame, const CUse& lender);

    uint32_t GetDeviceInfo(OX_CC_DEVICE_INFO* out);
    // A packet size in bytes, not a status; 0 where the library does not offer the function.
    int GetOptimalPacketSize();
    uint32_t SetGvcpTimeout(unsigned int ms);
    uint32_t GetGvcpTimeout(unsigned int* ms);
    uint32_t GIGE_ForceIpEx(unsigned int ip, unsigned int mask, unsigned int gateway);
    uint32_t GIGE_SetIpConfig(unsigned int type);
    uint32_t FileAccessRead(OX_CC_FILE_ACCESS* access);
    uint32_t FileAccessWrite(OX_CC_FILE_ACCESS* access);
    uint32_t Upgrade(const void* filePath);
    uint32_t GetUpgradeProcess(unsigned int* percent);
    uint32_t ReadMemory(void* buffer, int64_t address, int64_t length);
    uint32_t WriteMemory(const void* buffer, int64_t address, int64_t length);

private:
    static void VirtualImageCB(uint8_t* data, OX_FRAME_OUT_INFO_EX* info, void* user);
    static void VirtualExceptionCB(uint32_t msgType, void* user);
    static void VirtualEventInfoCB(OX_EVENT_OUT_INFO* info, void* user);

    template <class Result, class... Params, class... Args>
    int RawCallOn(void* handle, const char* name, Result (*&global)(void*, Params...), Args... args);
    // The camera's raw result of function(handle, arguments...); a missing function counts as unsupported, and every
    // call on a device that was let go as one on a device that is gone.
    template <class Result, class... Params, class... Args>
    int RawCall(const char* name, Result (*&global)(void*, Params...), Args... args);
    // The same, a failure logged under the function's name, the result translated.
    template <class Result, class... Params, class... Args>
    uint32_t Call(const char* name, Result (*&global)(void*, Params...), Args... args);
    uint32_t RegisterVolumeEvent(const char* event, const char* missingLine, EventCallBack fn, void* user);
    uint32_t TransferFile(const char* name, int (*&global)(void*, OX_CC_FILE_ACCESS*), const char* operation,
                          OX_CC_FILE_ACCESS* access);
    template <class Buffer>
    uint32_t TransferMemory(const char* name, int (*&global)(void*, Buffer*, int64_t, int64_t),
                            Buffer* buffer, int64_t address, int64_t length);
    int RawSetValue(const char* key, const OX3D_RGBD_PARAM& param);
    int RawGetValue(const char* key, OX3D_RGBD_PARAM& param);

    // Written before the trampoline is registered, read on the delivery thread.
    std::atomic<ImageCallBack> m_imageCallBack;
    std::atomic<void*> m_imageUser;
    std::atomic<ExceptionCallBack> m_exceptionCallBack;
    std::atomic<void*> m_exceptionUser;
    std::atomic<EventCallBack> m_eventCallBack; // shared by the two volume events
    std::atomic<void*> m_eventUser;
    CCameraHandle m_handle;
    std::atomic<bool> m_isLetGo{false}; // once: without a handle there was one
    OX_CC_DEVICE_INFO m_deviceInfo;
    std::atomic<uint32_t> m_extended; // 1: the extended functions are available
};

#endif

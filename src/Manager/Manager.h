// Manager.h - CManager, the object behind one device handle: the lifecycle of one device, its camera module,
// its parameters and the delivery of its frames. It owns the frame assembler and the depth conversion, which
// keep their own state.
//
// Life: constructed, Init, bound, connected (opened), started and stopped any number of times, DeInit,
// destroyed. Calls out of order give OX3D_RGBD_E_STATE.
//
// Locks, outermost first; the library itself takes none while it holds one below it:
//   device lock       held by the interface around all operations but those marked (unlocked); the registry
//                     lock, under which a handle ends, lies inside it
//   lifecycle lock    what a device that is back has to find unchanged: whether it streams, which callbacks it has.
//                     The thread that brings it back takes this one alone, not the device lock
//   enumeration lock  while device records of the camera-control library are in use
//   callback lock     push path: one frame is assembled and delivered. An application's callback runs under
//                     it and may take the device lock from there: the interface sees to it that this never
//                     waits for a thread that waits for the callback (ApiGuard)
//   frame mutex       pull path: the same; the two paths never run at once
//   calibration file  while the local calibration file is written or read
//   conversion lock   leaf, inside CDepthConversion; no camera is asked under it
// The log's and the callback slots' own mutexes lie below all of these.
#ifndef OX3D_MANAGER_H
#define OX3D_MANAGER_H

#include <atomic>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/CallbackSlot.h"
#include "base/WorkerPool.h"
#include "src/CameraModule/CameraModule.h"
#include "src/Common/Thread.h"
#include "src/Manager/BindWays.h"
#include "src/Manager/CalibrationCache.h"
#include "src/Manager/CatalogCache.h"
#include "src/Manager/DepthConversion.h"
#include "src/Manager/DeviceClock.h"
#include "src/Manager/FrameAssembler.h"
#include "src/Manager/FrameCloud.h"
#include "src/Manager/FrameCopies.h"
#include "src/Manager/FrameNotes.h"
#include "src/Manager/GrowBuffer.h"
#include "src/Manager/HeldFrames.h"
#include "src/Manager/LibraryKeys.h"
#include "src/Manager/OwnedMutex.h"
#include "src/Manager/Reconnector.h"
#include "src/Manager/SettingsJournal.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <ox3drgbd/OxCameraControl.h>

class CManager {
public:
    CManager();
    ~CManager();
    CManager(const CManager&) = delete;
    CManager& operator=(const CManager&) = delete;

    // The manager behind the functions that take no handle. Lives as long as the process, so that its lines
    // reach the log; null when it cannot be made.
    static CManager* Shared();

    // The lock around every use of the camera-control library's device records: they die at the next
    // enumeration in the process.
    static COXMutex& EnumerationLock();

    // ---- Enumeration and binding: Manager_Device.cpp ----------------------------------------------------
    static uint32_t EnumDevices(uint32_t transportMask, OX_CC_DEVICE_INFO_LIST* list);
    uint32_t CamGetDeviceNumber(uint32_t deviceType, uint32_t* count);
    uint32_t GetDeviceList(uint32_t deviceType, OX3D_RGBD_DEVICE_INFO* list, uint32_t capacity,
                           uint32_t* count);
    static int CompareBindParm(OX_BIND_WAYS way, const char* parm, const OX_CC_DEVICE_INFO_LIST* list,
                               int& index);
    uint32_t BindDevBySomeWay(OX_BIND_WAYS way, const char* parm);
    uint32_t BindDevice(OX3D_RGBD_DEVICE_INFO* info);
    uint32_t BindDeviceByIP(const char* ip);
    uint32_t BindDeviceByName(const char* name);
    uint32_t BindDeviceBySerialNumber(const char* serialNumber);
    uint32_t CreateHandle(const OX_CC_DEVICE_INFO* record);
    uint32_t CamGetDeviceInfo(OX3D_RGBD_DEVICE_INFO* out);
    // A truth value on success, a status otherwise.
    static uint32_t CamIsAccessible(const OX3D_RGBD_DEVICE_INFO* info, uint32_t accessMode);

    // ---- Lifecycle: Manager_Lifecycle.cpp ---------------------------------------------------------------
    void ResetMember();
    void LoadLogConfig(); // Manager_LogConfig.cpp
    uint32_t Init();
    uint32_t ConnectDevice();
    uint32_t SetWorkModeAfterOpen();
    uint32_t SetSoftTriggerSwitchAfterOpen();
    uint32_t Start();
    uint32_t Stop();
    uint32_t DeInit();
    uint32_t Release();
    // In a forked child, before the manager is destroyed: forgets the camera, which is the parent's, without a
    // word to it, and the locks that threads of the parent may hold.
    void Abandon();

    // ---- Parameters: Manager_Param.cpp ------------------------------------------------------------------
    uint32_t CamSetValue(const char* key, OX3D_RGBD_PARAM* value);
    uint32_t CamGetValue(const char* key, OX3D_RGBD_PARAM* value); // (unlocked)
    uint32_t CamSetCommandValue(const char* key);                  // (unlocked)
    uint32_t GetCamParamsType(const char* key, OX3D_RGBD_PARAM* value);
    static uint32_t GetParamValue(OX_XML_InterfaceType type, OX3D_RGBD_PARAM* value);
    uint32_t XML_GetNodeAccessMode(const char* name, Ox3dRgbdAccessMode* mode);

    // ---- The list of features: Manager_Features.cpp -----------------------------------------------------
    uint32_t GetFeatures(const char* name, OX3D_RGBD_FEATURE* out, uint32_t capacity,
                         uint32_t* count); // (unlocked)
    uint32_t GetFeatureEntries(const char* name, OX3D_RGBD_FEATURE_ENTRY* out, uint32_t capacity,
                               uint32_t* count); // (unlocked)
    uint32_t SetEnumByName(const char* name, const char* entry);

    // ---- Maintenance: Manager_Maintain.cpp --------------------------------------------------------------
    uint32_t PropertyImport(const char* file);
    uint32_t PropertyExport(const char* file);
    uint32_t FileAccessRead(OX3D_RGBD_FILE_ACCESS* access);
    uint32_t FileAccessWrite(OX3D_RGBD_FILE_ACCESS* access);
    // The calibration of the whole system, off the camera and onto it; a null name in the camera means
    // "LSLSystemCali".
    uint32_t CalibFileExport(const char* localFile, const char* deviceFile);
    uint32_t CalibFileImport(const char* localFile, const char* deviceFile);
    uint32_t LocalUpgrade(const char* file);
    uint32_t GetUpgradeProcess(uint32_t* percent);
    uint32_t SetImageNodeNum(uint32_t count);
    uint32_t InvalidateNodes();
    uint32_t ReadAddressMem(void* buffer, int64_t address, int64_t length);
    uint32_t WriteAddressMem(const void* buffer, int64_t address, int64_t length);
    uint32_t SetGvcpTimeout(uint32_t ms);
    uint32_t GetGvcpTimeout(uint32_t* ms);
    uint32_t GetCameraXML(uint8_t* buffer, uint32_t size, uint32_t* length);
    uint32_t SetIpConfig(const OX3D_RGBD_IP_CONFIG* config);

    // ---- Calibration: Manager_Calib.cpp -----------------------------------------------------------------
    uint32_t GetCalibInfo(uint32_t calibType, OX3D_RGBD_CALIB_INFO* out); // (unlocked)

    // ---- Geometry of frames: Manager_Geometry.cpp; all (unlocked) ---------------------------------------
    uint32_t GetExtrinsics(uint32_t from, uint32_t to, OX3D_RGBD_EXTRINSICS* out);
    uint32_t GetIntrinsics(uint32_t stream, OX3D_RGBD_INTRINSICS* out);
    uint32_t CopyFrame(const OX3D_RGBD_FRAME_DATA& frame, OX3D_RGBD_FRAME_DATA** out);
    uint32_t TakeFrame(OX3D_RGBD_FRAME_DATA* frame, OX3D_RGBD_FRAME_DATA** out);
    uint32_t MapFrame(const OX3D_RGBD_FRAME_DATA& frame, const OX3D_RGBD_CLOUD_OPTIONS& options,
                      OX3D_RGBD_CLOUD* out);

    // ---- Times of frames: Manager_Clock.cpp; all (unlocked) ---------------------------------------------
    uint32_t GetFrameClock(OX3D_RGBD_FRAME_CLOCK* out);
    uint32_t GetFrameTimes(const OX3D_RGBD_FRAME_DATA& frame, OX3D_RGBD_FRAME_TIMES* out);

    // ---- Delivery: Manager_Delivery.cpp -----------------------------------------------------------------
    uint32_t RegisterFrameCallBack(OX3D_RGBD_FrameDataCallBack callback, void* user);
    uint32_t RegisterExceptionCB(OX3D_RGBD_ExceptionCallBack callback, void* user);
    void ImageCallBack(uint8_t* data, OX_FRAME_OUT_INFO_EX* info);
    void ExceptionCallBack(uint32_t message);
    uint32_t FetchFrame(OX3D_RGBD_FRAME_DATA* frame, uint32_t timeoutMs);
    // Wait until no other thread is inside a callback that has been replaced; false when that takes longer.
    // Called without any lock.
    bool WaitForFormerFrameCallback(uint32_t ms) { return m_frameCallback.WaitFormer(ms); }
    bool WaitForFormerExceptionCallback(uint32_t ms) { return m_exceptionCallback.WaitFormer(ms); }
    // No callback begins from here on.
    void DropCallbacks();
    // Returns when no other thread is inside a callback.
    void WaitForCallbacks();

    // ---- A lost device that comes back: Manager_Reconnect.cpp -------------------------------------------
    uint32_t SetAutoReconnect(bool isOn);

    // ---- Frames, depth and color: Manager_Frame.cpp -----------------------------------------------------
    void ClearAllLocalData() OX_REQUIRES(m_assembler);
    uint32_t UpdateChunkDataToLocal(const OX_CHUNK_DATA_CONTENT* chunks, uint32_t count, uint32_t width,
                                    uint32_t height) OX_REQUIRES(m_assembler);
    // `main` is null where the raw frame has no main image.
    uint32_t FillFrameData(OX3D_RGBD_FRAME_DATA* frame, const RawFrame* main = nullptr)
        OX_REQUIRES(m_assembler);
    uint32_t RgbResolutionAlign(const OX3D_RGBD_IMAGE_DATA* depth, OX3D_RGBD_IMAGE_DATA* color)
        OX_REQUIRES(m_assembler);
    // depthOut may be depthIn; at least one output. (unlocked)
    uint32_t DepthMapConvert(const OX3D_RGBD_IMAGE_DATA* depthIn, OX3D_RGBD_IMAGE_DATA* depthOut,
                             OX3D_RGBD_IMAGE_DATA* pointCloudOut);

private:
    // OX3D_RGBD_OK with a camera that is opened; else OX3D_RGBD_E_STATE after the matching log line.
    uint32_t CheckOpened(const char* notPresentLine = "camera is null\r\n",
                         const char* notOpenedLine = "Camera is not opened.\r\n") const;
    // The checks of the plain calls on a camera: first the arguments, then the camera.
    uint32_t CheckCall(bool hasArguments) const;
    uint32_t ReadCatalog(CCatalogCache::Catalog* catalog);
    uint32_t FindFeatures(const char* name, CCatalogCache::Catalog* catalog,
                          std::vector<const CatalogFeature*>* found);
    uint32_t ReadPresent(const CatalogFeature& feature, OX3D_RGBD_FEATURE* out);
    uint32_t CopyCalibrationFile();
    uint32_t TransferCalibFile(const char* operation, const char* step,
                               uint32_t (CCameraModule::*transfer)(OX_CC_FILE_ACCESS*), const char* localFile,
                               const char* deviceFile);
    uint32_t LoadCalibration(uint32_t depthWidth, DepthCalibration* out);
    uint32_t CalibrationOf(uint32_t depthWidth, bool isRetried, DepthCalibration* out);
    AssemblyOptions Options() const;
    void NoteFrame(const AssemblyOptions& options, const RawFrame* main, const OX3D_RGBD_FRAME_DATA& frame)
        OX_REQUIRES(m_assembler);
    uint32_t FeatureOfSize(const char* key, uint32_t* value);
    uint32_t PresentFrame(KnownFrame* known);
    uint32_t FindFrame(const OX3D_RGBD_FRAME_DATA& frame, KnownFrame* known);
    uint32_t KeepFrame(const char* operation, const OX3D_RGBD_FRAME_DATA& frame, const TakenBuffers& taken,
                       OX3D_RGBD_FRAME_DATA** out);
    TakenBuffers BuffersOf(const FrameNote& note) OX_REQUIRES(m_assembler);
    void LatchClock();
    void TellTimes(KnownFrame* known);
    uint32_t Calibrate(bool isRetried, KnownFrame* known);
    void NoteFrameNumber(const char* operation, uint32_t frameNumber);
    uint32_t RegisterImageTrampoline(CCameraModule* camera);
    uint32_t RegisterExceptionTrampoline(CCameraModule* camera);
    // A frame of the camera, or of the same camera when it is back in time.
    bool WaitForFrame(CCameraModule* camera, uint32_t timeoutMs, OX_FRAME_OUT* raw,
                      std::optional<CCameraModule::CUse>* use);
    void TellApplication(uint32_t exceptionId);
    void LetGoOfDevice();
    bool ReopenDevice();
    uint32_t OpenSameDevice();
    uint32_t ResumeDevice();
    uint32_t SetImageNodes(CCameraModule* camera);
    uint32_t SetWorkMode(CCameraModule* camera);
    uint32_t AssembleFetched(OX3D_RGBD_FRAME_DATA* frame, OX_FRAME_OUT* raw, const HostTimes& arrival,
                             const CCameraModule::CUse& lender);
    uint32_t AssembleFrame(const char* operation, const RawFrame& main, OX3D_RGBD_FRAME_DATA* frame)
        OX_REQUIRES(m_assembler);

    // Lifecycle; written under the device lock, the flags also read by the unlocked calls and the delivery
    // thread.
    std::atomic<CCameraModule*> m_pcCamera{nullptr};
    std::atomic<uint32_t> m_isOpened{0};
    std::atomic<uint32_t> m_isGrabbing{0};
    std::atomic<uint32_t> m_softTrigger{0};
    std::atomic<uint32_t> m_nDeviceType{0}; // transport type of the bound device
    bool m_hasLogReference = false;
    CHeldFrames m_heldFrames;
    CLibraryKeys m_keys;
    CCatalogCache m_catalog;

    // A lost device that comes back.
    COXMutex m_lifecycleMutex;
    CSettingsJournal m_journal;
    char m_serialNumber[65] = {}; // written before the thread that reads it is started
    CCameraModule m_returning;    // the looking thread's, with the handle of an attempt
    std::atomic<bool> m_isFrameTrampolineSet{false};

    // Delivery.
    ox3d::CCallbackSlot<OX3D_RGBD_FrameDataCallBack> m_frameCallback;
    ox3d::CCallbackSlot<OX3D_RGBD_ExceptionCallBack> m_exceptionCallback;
    COXMutex m_callbackMutex; // the callback lock
    COwnedMutex m_frameMutex; // the frame mutex
    std::atomic<uint32_t> m_lastFrameNum{0};
    CGrowBuffer m_imageBuf; // the main image on the pull path; frame mutex

    COXMutex m_calibrationFileMutex; // the local calibration file: written and read whole
    CFrameAssembler m_assembler;     // callback lock or frame mutex
    CDepthConversion m_conversion;
    CFrameNotes m_notes;
    CDeviceClock m_clock;
    CCalibrationCache m_calibrations;
    CFrameCloud m_cloud;
    CSpareUse m_spareUse;
    ox3d::CPoolUse m_poolUse;   // device lock
    CReconnector m_reconnector; // last: its thread uses all the others
};

#endif

// Manager_Lifecycle.cpp - construction, connecting and configuring the camera, start, stop and tear-down.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "base/BoundedText.h"
#include "src/Common/AsyncLog.h"
#include "src/Common/DataFolder.h"
#include "src/Common/Profile.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr uint64_t kImageBufferBytes = 0xA00000;

// Features that are set after opening: RGB-D output, the color image as chunk data, and on USB the demosaic
// pair as well.
struct FeatureStep {
    const char* m_key;
    uint32_t m_type;
    uint32_t m_value;
    const char* m_label; // in the log line of a failure
};

constexpr FeatureStep kWorkMode[] = {
    {"CameraWorkingMode", OX3D_RGBD_PARAM_ENUM, 4, "working mode"},
    {"ImageMode", OX3D_RGBD_PARAM_ENUM, 2, "Image mode"},
    {"ChunkModeActive", OX3D_RGBD_PARAM_BOOL, 1, "Chunk Mode Active"},
    {"ChunkSelector", OX3D_RGBD_PARAM_ENUM, 24, "Chunk Selector"},
    {"ChunkEnable", OX3D_RGBD_PARAM_BOOL, 1, "Chunk Mode Active"},
};

constexpr FeatureStep kUsbWorkMode[] = {
    {"ChunkSelector", OX3D_RGBD_PARAM_ENUM, 19, "Chunk Selector"},
    {"ChunkEnable", OX3D_RGBD_PARAM_BOOL, 1, "Chunk Mode Active"},
};

constexpr FeatureStep kSoftTrigger[] = {
    {"TriggerMode", OX3D_RGBD_PARAM_ENUM, 1, "trigger mode"},
    {"TriggerSource", OX3D_RGBD_PARAM_ENUM, 7, "trigger source"},
};

template <size_t N>
uint32_t RunSteps(CCameraModule* camera, const FeatureStep (&steps)[N], CSettingsJournal* journal = nullptr) {
    for (const FeatureStep& step : steps) {
        OX3D_RGBD_PARAM param;
        memset(&param, 0, sizeof(param));
        param.enParamType = step.m_type;
        if (step.m_type == OX3D_RGBD_PARAM_BOOL) {
            param.bBoolValue = step.m_value;
        } else {
            param.stEnumParam.nCurValue = step.m_value;
        }
        const uint32_t status = camera->SetValue(step.m_key, &param);
        if (status != OX3D_RGBD_OK) {
            OX_LOG_ERROR("Set %s failed! err code:%#x.\r\n", step.m_label, status);
            return status;
        }
        if (journal != nullptr) {
            journal->NoteFeature(step.m_key, param);
        }
    }
    return OX3D_RGBD_OK;
}

// The profile's node count. The integer reader returns its default for a 0 as well as for a missing key. A
// written 0 gets a log line, so the text tells the two apart.
uint32_t ReadBufferNode(const char* path) {
    constexpr const char* kSection = "CameraConfig";
    constexpr const char* kKey = "BufferNode";
    const uint32_t count = Linux_GetPrivateProfileInt(kSection, kKey, 0, path);
    if (count != 0) {
        return count;
    }
    char text[256] = {};
    Linux_GetPrivateProfileString(kSection, kKey, "", text, sizeof(text), path);
    char* end = text;
    const bool isWrittenZero = strtoul(text, &end, 0) == 0 && end != text;
    return isWrittenZero ? 0 : 1;
}

uint32_t SetImageNodesFromProfile(CCameraModule* camera) {
    char own[256] = {};
    const auto directory = ox3d::FixedText(g_strCurrentDllPath);
    const int length = snprintf(own, sizeof(own), "%s./%s", directory.c_str(), "Ox3dRgbdCfg.ini");
    const ox3d::CDataPath moved("Ox3dRgbdCfg.ini");
    const bool isMoved = ox3d::DataFolder() != nullptr;
    const char* const path = isMoved ? moved.Text() : own;
    const bool isCut = !isMoved && length >= static_cast<int>(sizeof(own));
    if (isCut || access(path, F_OK) != 0) {
        OX_LOG_ERROR("[ConnectDevice] File %s not exist, use default node Num.\r\n", path);
        return OX3D_RGBD_OK;
    }
    uint32_t count = ReadBufferNode(path);
    if (count == 0) {
        OX_LOG_ERROR("[ConnectDevice] Get  BufferNode value [%d] .\r\n", count);
        count = 1;
    }
    OX_LOG_INFO("[ConnectDevice] Get BufferNode count from %s\\BufferNode, value[%d].\r\n", path, count);
    const uint32_t status = camera->SetImageNodeNum(count);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[ConnectDevice] SetImageNodeNum fail nRet:[%#x].\r\n", status);
        return status;
    }
    OX_LOG_INFO("[ConnectDevice] SetImageNodeNum value[%d].\r\n", count);
    return OX3D_RGBD_OK;
}

} // namespace

CManager::CManager()
    : m_imageBuf(kImageBufferBytes), m_conversion([this](uint32_t depthWidth, DepthCalibration* out) {
          return CalibrationOf(depthWidth, true, out);
      }),
      m_reconnector({[this] { LetGoOfDevice(); }, [this] { return ReopenDevice(); },
                     [this](uint32_t exceptionId) { TellApplication(exceptionId); }}) {
    LoadLogConfig();
    ResetMember();
}

// Releases the camera and the buffers after an open that failed half-way.
CManager::~CManager() {
    if (m_pcCamera != nullptr || m_imageBuf.Data() != nullptr) {
        DeInit();
    }
    if (m_hasLogReference) {
        DestroyAsyncLog();
    }
}

void CManager::ResetMember() {
    m_pcCamera = nullptr;
    m_isOpened = 0;
    m_isGrabbing = 0;
    m_softTrigger = 0;
    m_nDeviceType = 0;
    m_keys.Reset();
    m_lastFrameNum = 0;
    m_journal.Clear();
    m_catalog.Clear();
    const CAssembling assembling(m_assembler); // no frame is under way
    m_assembler.Reset();
}

uint32_t CManager::Init() {
    OX_LOG_INFO("[Init] Begin.\r\n");
    if (!m_imageBuf.EnsureExists()) {
        OX_LOG_ERROR("[Init] New m_pImageBufAddr buf fail.\r\n");
        // Preserved for compatibility: the text lacks a percent sign, so the code is not printed.
        OX_LOG_ERROR("[Init] catch a error, nRet:[#x].\r\n");
        Release();
        OX_LOG_INFO("[Init] end success.\r\n");
        return OX3D_RGBD_E_MEMORY;
    }
    OX_LOG_INFO("[Init] end success.\r\n");
    return OX3D_RGBD_OK;
}

uint32_t CManager::ConnectDevice() {
    OX_LOG_INFO("[ConnectDevice] begin.\r\n");
    CCameraModule* camera = m_pcCamera;
    if (camera == nullptr) {
        // Preserved for compatibility: the text says the opposite.
        OX_LOG_ERROR("[ConnectDevice] m_pcCamera is not null.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    if (m_isOpened != 0) {
        OX_LOG_ERROR("[ConnectDevice] m_pcCamera is already open.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    uint32_t status = camera->Init();
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[ConnectDevice] init camera fail, nRet:[%#x].\r\n", status);
        return status;
    }
    status = SetImageNodes(camera);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    m_isOpened = 1;
    status = SetWorkModeAfterOpen();
    if (status != OX3D_RGBD_OK) {
        camera->CloseDevice();
        m_isOpened = 0;
        OX_LOG_ERROR("[ConnectDevice] SetWorkModeAfterOpen fail nRet:[%#x].\r\n", status);
        return status;
    }
    status = CopyCalibrationFile();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    OX_LOG_INFO("[ConnectDevice] end success.\r\n");
    return OX3D_RGBD_OK;
}

uint32_t CManager::SetImageNodes(CCameraModule* camera) {
    return SetImageNodesFromProfile(camera);
}

uint32_t CManager::SetWorkModeAfterOpen() {
    return SetWorkMode(m_pcCamera);
}

uint32_t CManager::SetWorkMode(CCameraModule* camera) {
    const uint32_t status = RunSteps(camera, kWorkMode);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    OX_LOG_INFO("m_nDeviceType:%08x.\r\n", m_nDeviceType.load());
    return m_nDeviceType == OX_CC_USB_DEVICE ? RunSteps(camera, kUsbWorkMode) : OX3D_RGBD_OK;
}

uint32_t CManager::SetSoftTriggerSwitchAfterOpen() {
    const uint32_t status = RunSteps(m_pcCamera, kSoftTrigger, &m_journal);
    if (status == OX3D_RGBD_OK) {
        m_softTrigger = 1;
    }
    return status;
}

uint32_t CManager::Start() {
    OX_LOG_INFO("[Start] begin.\r\n");
    CCameraModule* camera = m_pcCamera;
    if (camera == nullptr) {
        OX_LOG_INFO("[Start] The camera is not connect.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    if (m_isOpened == 0) {
        OX_LOG_ERROR("[Start] Camera is not opened.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    if (m_isGrabbing != 0) {
        OX_LOG_INFO("[Start] The camera is already start job.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    const COXLock lock(&m_lifecycleMutex);
    m_clock.Begin(ReadClockNs(CLOCK_MONOTONIC));
    const uint32_t status = camera->StartGrabbing();
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[Start] StartGrabbing failed. nRet[%#x].\r\n", status);
        return status;
    }
    OX_LOG_INFO("[Start] StartGrabbing success.\r\n");
    // Counter before flag: otherwise a frame that arrives between the two is counted and its number lost.
    m_lastFrameNum.store(0, std::memory_order_relaxed);
    m_isGrabbing = 1;
    OX_LOG_INFO("[Start] end success.\r\n");
    return OX3D_RGBD_OK;
}

uint32_t CManager::Stop() {
    OX_LOG_INFO("[Stop] begin.\r\n");
    CCameraModule* camera = m_pcCamera;
    if (camera == nullptr) {
        OX_LOG_INFO("[Stop] The camera is not connect.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    if (m_isOpened == 0) {
        OX_LOG_ERROR("[Stop] Camera is not opened.\r\n");
        return OX3D_RGBD_E_STATE;
    }
    if (m_isGrabbing == 0) {
        OX_LOG_INFO("[Stop] The camera is already stop job. \r\n");
        return OX3D_RGBD_E_STATE;
    }
    const COXLock lock(&m_lifecycleMutex);
    m_heldFrames.GiveBack(camera);
    const uint32_t status = camera->StopGrabbing();
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[Stop] StopGrabbing failed. nRet[%#x]. \r\n", status);
    } else {
        OX_LOG_INFO("[Stop] Camera StopGrabbing success. \r\n");
    }
    m_notes.ForgetLent();
    m_frameMutex.UnlockIfHeld();
    m_isGrabbing = 0;
    m_lastFrameNum.store(0, std::memory_order_relaxed);
    m_softTrigger = 0;
    OX_LOG_INFO("[Stop] end success.\r\n");
    return OX3D_RGBD_OK;
}

uint32_t CManager::DeInit() {
    OX_LOG_INFO("[DeInit] begin.\r\n");
    m_reconnector.Close();
    m_frameMutex.UnlockIfHeld();
    if (m_isGrabbing != 0) {
        Stop();
    }
    CCameraModule* camera = m_pcCamera;
    if (camera != nullptr) {
        m_heldFrames.GiveBack(camera);
        camera->DeInit();
        // The camera-control library may return while one of its callbacks runs; the buffers must outlive it.
        WaitForCallbacks();
        m_pcCamera = nullptr;
        m_isOpened = 0;
        delete camera;
    }
    Release();
    OX_LOG_INFO("[DeInit] end success.\r\n");
    return OX3D_RGBD_OK;
}

uint32_t CManager::Release() {
    const CAssembling assembling(m_assembler); // no frame is under way
    m_imageBuf.Free();
    m_assembler.Release();
    m_conversion.Release();
    m_notes.Forget();
    m_cloud.Release();
    return OX3D_RGBD_OK;
}

void CManager::Abandon() {
    delete m_pcCamera.exchange(nullptr); // but not what the provider holds for it
    m_isGrabbing = 0;
    m_frameCallback.Renew();
    m_exceptionCallback.Renew();
    m_conversion.Renew();
    m_notes.Renew();
    m_clock.Renew();
    m_calibrations.Renew();
    m_cloud.Renew();
    m_reconnector.Renew();
    m_journal.Renew();
    m_catalog.Renew();
}

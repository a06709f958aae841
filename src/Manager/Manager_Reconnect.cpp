// Manager_Reconnect.cpp - what the thread of CReconnector does with the manager's device: lets it go when it is lost,
// and brings the same device back as the application had left it.
#include <cstdio>
#include <cstring>

#include "base/BoundedText.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";

} // namespace

// Under the device lock.
uint32_t CManager::SetAutoReconnect(bool isOn) {
    if (!isOn || m_reconnector.IsOn()) {
        return m_reconnector.Switch(isOn);
    }
    uint32_t status = CheckOpened();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    OX3D_RGBD_DEVICE_INFO info;
    memset(&info, 0, sizeof(info));
    status = CamGetDeviceInfo(&info);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    if (info.chSerialNumber[0] == '\0') {
        OX_LOG_ERROR("[AutoReconnect] a device without a serial number cannot be told from others.\r\n");
        return OX3D_RGBD_E_NO_DATA;
    }
    if (m_serialNumber[0] == '\0') { // for good: a thread may read it
        snprintf(m_serialNumber, sizeof(m_serialNumber), "%s", ox3d::FixedText(info.chSerialNumber).c_str());
    }
    status = RegisterExceptionTrampoline(m_pcCamera);
    return status != OX3D_RGBD_OK ? status : m_reconnector.Switch(true);
}

void CManager::LetGoOfDevice() {
    CCameraModule* camera = m_pcCamera;
    m_heldFrames.GiveBack(camera);
    camera->LetGo();
    m_notes.ForgetLent();
    m_heldFrames.Forget();
}

uint32_t CManager::OpenSameDevice() {
    {
        const COXLock lock(&EnumerationLock());
        OX_CC_DEVICE_INFO_LIST list;
        uint32_t status = EnumDevices(m_nDeviceType, &list);
        if (status != OX3D_RGBD_OK) {
            return status;
        }
        int index = 0;
        if (CompareBindParm(OX_BIND_WAYS::BySerialNumber, m_serialNumber, &list, index) == 0) {
            return OX3D_RGBD_E_CAMERA_07;
        }
        status = m_returning.CreateHandle(list.pDeviceInfo[index]);
        if (status != OX3D_RGBD_OK) {
            return status;
        }
    }
    uint32_t status = m_returning.Init();
    if (status == OX3D_RGBD_OK) { // first: a provider tells of a loss once, to whoever is registered then
        status = RegisterExceptionTrampoline(&m_returning);
    }
    if (status == OX3D_RGBD_OK) {
        status = SetImageNodes(&m_returning);
    }
    if (status == OX3D_RGBD_OK) {
        status = SetWorkMode(&m_returning);
    }
    if (status == OX3D_RGBD_OK) {
        m_journal.Replay(m_returning, [this] { return m_reconnector.IsAttemptWanted(); });
    }
    return status;
}

// From here on the device's calls go to the fresh one. It streams if the device did.
uint32_t CManager::ResumeDevice() {
    const COXLock lock(&m_lifecycleMutex);
    CCameraModule* camera = m_pcCamera;
    camera->Adopt(&m_returning);
    m_catalog.Clear(); // it may have new firmware
    uint32_t status = RegisterExceptionTrampoline(camera);
    if (status == OX3D_RGBD_OK && m_isFrameTrampolineSet) {
        status = RegisterImageTrampoline(camera);
    }
    if (status == OX3D_RGBD_OK && m_isGrabbing != 0) {
        m_lastFrameNum.store(0, std::memory_order_relaxed);
        m_clock.Begin(ReadClockNs(CLOCK_MONOTONIC));
        status = camera->StartGrabbing();
    }
    return status;
}

bool CManager::ReopenDevice() {
    // Whatever the attempt ends with, an exception included, no handle of it may keep the device from the next.
    struct CloseAtEnd {
        CCameraModule& m_camera;
        ~CloseAtEnd() { m_camera.DeInit(); } // nothing once the handle is adopted
    };
    const CloseAtEnd closeAtEnd{m_returning};
    uint32_t status = OpenSameDevice();
    if (status == OX3D_RGBD_OK) {
        status = m_reconnector.IsAttemptWanted() ? ResumeDevice() : OX3D_RGBD_E_CAMERA_07;
    }
    if (status != OX3D_RGBD_OK) {
        OX_LOG_WARNING("[AutoReconnect] device [%s] is not back yet, nRet:[%#x].\r\n", m_serialNumber,
                       status);
        return false;
    }
    OX_LOG_WARNING("[AutoReconnect] device [%s] is back.\r\n", m_serialNumber);
    return true;
}

// Manager_Calib.cpp - the calibration of the device, from the local copy of the camera's calibration file.
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>

#include "base/BoundedText.h"
#include "src/Common/AsyncLog.h"
#include "src/Common/DataFolder.h"
#include "src/Manager/Manager.h"

using ox3d::FixedText;

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr const char* kCalibrationDeviceFile = "RGBDSensorCali";
constexpr uint32_t kLogWaitMs = 50;

// The device's record, for its serial number. `lead` begins the log line of a failure.
uint32_t ReadDeviceInfo(CManager& manager, const char* lead, OX3D_RGBD_DEVICE_INFO* info) {
    memset(info, 0, sizeof(*info));
    const uint32_t status = manager.CamGetDeviceInfo(info);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("%s CamGetDeviceInfo failed, nRet:[%#x].\r\n", lead, status);
        return OX3D_RGBD_E_NO_DATA;
    }
    return OX3D_RGBD_OK;
}

ox3d::CDataPath CalibrationPath(const char* serialNumber) {
    char name[kCalibrationNameBytes] = {};
    CalibrationFileName(serialNumber, name);
    return ox3d::CDataPath(name);
}

// The provider's code is the same for a file that the camera does not give and for one that cannot be written here. What
// stands against the file may stand against a log, too.
void SayWhyNotWritable(const char* path, bool hasLog) {
    const char* const reason = ox3d::WhyNotWritable(path);
    if (reason != nullptr && !hasLog) {
        fprintf(stderr, "Ox3dRgbd: %s cannot be written: %s\n", path, reason);
    } else if (reason != nullptr) {
        OX_LOG_ERROR("[CalibrationFile] %s cannot be written: %s.\r\n", path, reason);
    }
}

uint32_t FetchFile(CCameraModule* camera, const char* name) {
    OX_CC_FILE_ACCESS access;
    memset(&access, 0, sizeof(access));
    access.pUserFileName = name;
    access.pDevFileName = kCalibrationDeviceFile;
    return camera->FileAccessRead(&access);
}

// The transfer takes as long as the camera likes, and may wait for a callback in which a frame is aligned by the copy
// that there is: so it goes into a file of its own, without the lock, and takes the copy's place when it is whole.
uint32_t RefreshFile(CCameraModule* camera, const char* name, COXMutex* fileMutex) {
    static std::atomic<uint32_t> s_transfers{0};
    char part[sizeof(ox3d::CDataPath) + 24] = {}; // and two numbers
    snprintf(part, sizeof(part), "%s.%d.%u", name, getpid(), ++s_transfers);
    uint32_t status = FetchFile(camera, part);
    if (status == OX3D_RGBD_OK) {
        const COXLock lock(fileMutex);
        status = rename(part, name) == 0 ? OX3D_RGBD_OK : OX3D_RGBD_E_NO_DATA;
    }
    if (status != OX3D_RGBD_OK) {
        remove(part);
    }
    return status;
}

} // namespace

// Copies the file off the camera.
uint32_t CManager::CopyCalibrationFile() {
    OX3D_RGBD_DEVICE_INFO info;
    uint32_t status = ReadDeviceInfo(*this, "[DepthMapConvert] Get", &info);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const ox3d::CDataPath path = CalibrationPath(FixedText(info.chSerialNumber).c_str());
    status = FetchFile(m_pcCamera, path.Text());
    if (status != OX3D_RGBD_OK) {
        OxLog_WaitUntilWritten(kLogWaitMs); // the open has filled its queue
        OX_LOG_ERROR("[DepthMapConvert] Get FileAccessRead RGBDSensorCali failed, nRet:[%#x].\r\n", status);
        SayWhyNotWritable(path.Text(), m_hasLogReference);
    }
    m_calibrations.ForgetFailure();
    return status;
}

uint32_t CManager::GetCalibInfo(uint32_t calibType, OX3D_RGBD_CALIB_INFO* out) {
    if (out == nullptr || (calibType != OX3D_RGBD_CALIB_DEPTH && calibType != OX3D_RGBD_CALIB_COLOR)) {
        OX_LOG_ERROR("[GetCalibInfo] param is invalid, calibType[%u].\r\n", calibType);
        return OX3D_RGBD_E_PARAMETER;
    }
    uint32_t status = CheckOpened();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    CCameraModule* camera = m_pcCamera;
    OX3D_RGBD_PARAM width;
    memset(&width, 0, sizeof(width));
    width.enParamType = OX3D_RGBD_PARAM_INT;
    status = camera->GetValue("Width", &width);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[GetCalibInfo] get Width failed, nRet:[%#x].\r\n", status);
        return status;
    }
    OX3D_RGBD_DEVICE_INFO info;
    status = ReadDeviceInfo(*this, "[GetCalibInfo]", &info);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const ox3d::CDataPath path = CalibrationPath(FixedText(info.chSerialNumber).c_str());
    const char* const name = path.Text();

    // When the camera cannot be read now, the local copy from opening it still serves.
    status = RefreshFile(camera, name, &m_calibrationFileMutex);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_WARNING("[GetCalibInfo] refresh of %s failed, nRet:[%#x].\r\n", name, status);
        SayWhyNotWritable(name, m_hasLogReference);
    }
    m_calibrations.ForgetFailure();
    const COXLock lock(&m_calibrationFileMutex);
    if (!LoadSensorCalibration(name, width.stIntParam.nCurValue, calibType, out)) {
        OX_LOG_ERROR("[GetCalibInfo] %s is missing or incomplete.\r\n", name);
        return OX3D_RGBD_E_NO_DATA;
    }
    return OX3D_RGBD_OK;
}

uint32_t CManager::CalibrationOf(uint32_t depthWidth, bool isRetried, DepthCalibration* out) {
    const auto load = [this](uint32_t width, DepthCalibration* loaded) {
        return LoadCalibration(width, loaded);
    };
    return m_calibrations.Get(depthWidth, isRetried, load, out);
}

uint32_t CManager::LoadCalibration(uint32_t depthWidth, DepthCalibration* out) {
    OX3D_RGBD_DEVICE_INFO info;
    const uint32_t status = ReadDeviceInfo(*this, "[DepthMapConvert] Get", &info);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const auto serialNumber = FixedText(info.chSerialNumber);
    const ox3d::CDataPath path = CalibrationPath(serialNumber.c_str());
    OX_LOG_INFO("[DepthMapConvert] RGBDSensorCali camSerialNum(%s).\r\n", serialNumber.c_str());
    const char* missing = nullptr;
    {
        const COXLock lock(&m_calibrationFileMutex);
        missing = LoadDepthCalibration(path.Text(), depthWidth, out);
    }
    if (missing != nullptr) {
        OX_LOG_ERROR("%s", missing);
        return OX3D_RGBD_E_NO_DATA;
    }
    return OX3D_RGBD_OK;
}

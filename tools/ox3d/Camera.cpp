// Cameras through the public interface of the library.
#include "tools/ox3d/Camera.h"

#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Status.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace ox3d::tool {
namespace {

constexpr uint32_t kMaxCameras = 256;

[[noreturn]] void Throw(EExitCode code, const std::string& what, uint32_t status) {
    throw CStatusError(code, what + ": " + StatusText(status), status);
}

[[noreturn]] void ThrowFromProvider(const ProviderChoice& provider, const std::string& what,
                                    uint32_t status) {
    if (status != OX3D_RGBD_E_LOAD_LIBRARY) {
        Throw(EExitCode::Camera, what, status);
    }
    const std::string reason = WhyNotLoadable(provider);
    throw CToolError(EExitCode::Provider,
                     what + ": " + StatusText(status) + (reason.empty() ? "" : "\n  " + reason));
}

} // namespace

std::string AddressOf(const DeviceRecord& record) {
    if (record.nDeviceType != OX3D_RGBD_DEVICE_USB) {
        return TextOf(record.chCurrentIp);
    }
    switch (record.nUsbProtocol) {
    case OX3D_RGBD_USB_2:
        return "USB 2.0";
    case OX3D_RGBD_USB_3:
        return "USB 3.0";
    default:
        return "USB";
    }
}

std::string MacText(const DeviceRecord& record) {
    const uint8_t* const mac = record.chMacAddress;
    char text[32];
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
    return text;
}

bool IsFree(const DeviceRecord& record) {
    constexpr uint32_t kExclusive = 1;
    DeviceRecord copy = record;
    return OX3D_RGBD_CamIsAccessible(&copy, kExclusive) == 1;
}

// Only an opening that fails tells why.
EReach ReachOf(const DeviceRecord& record) {
    if (IsFree(record)) {
        return EReach::Free;
    }
    DeviceRecord copy = record;
    void* handle = nullptr;
    const uint32_t status = OX3D_RGBD_OpenDevice(&handle, &copy);
    if (status == OX3D_RGBD_OK) {
        OX3D_RGBD_CloseDevice(&handle);
        return EReach::Free;
    }
    return status == OX3D_RGBD_E_CAMERA_07 ? EReach::OutOfReach : EReach::InUse;
}

std::vector<DeviceRecord> ListCameras(const ProviderChoice& provider) {
    std::vector<DeviceRecord> cameras(kMaxCameras);
    uint32_t count = 0;
    const uint32_t status =
        OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ALL, cameras.data(), kMaxCameras, &count);
    if (status != OX3D_RGBD_OK) {
        ThrowFromProvider(provider, "cannot look for cameras", status);
    }
    cameras.resize(std::min(count, kMaxCameras));
    return cameras;
}

const DeviceRecord& PickCamera(const std::vector<DeviceRecord>& cameras, const std::string& serial) {
    if (cameras.empty()) {
        throw CToolError(EExitCode::NoCamera, "no camera found");
    }
    if (serial.empty()) {
        return cameras.front();
    }
    std::string present;
    for (const DeviceRecord& camera : cameras) {
        if (TextOf(camera.chSerialNumber) == serial) {
            return camera;
        }
        present += ' ';
        present += TextOf(camera.chSerialNumber);
    }
    throw CToolError(EExitCode::NoCamera, "no camera with serial number " + serial + "; present:" + present);
}

CCamera::CCamera(const ProviderChoice& provider, const DeviceRecord& record) : m_record(record) {
    const std::string what = "cannot open the camera " + TextOf(record.chSerialNumber);
    void* handle = nullptr;
    const uint32_t status = OX3D_RGBD_OpenDevice(&handle, &m_record);
    if (status != OX3D_RGBD_OK) {
        ThrowFromProvider(provider, what, status);
    }
    m_handle = handle;
    // Without it a loss still ends the grab, only later: when no frame has come for too long.
    OX3D_RGBD_RegisterExceptionCallBack(m_handle, OnException, this);
}

void CCamera::OnException(OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
    if (info != nullptr && info->nExceptionId == OX3D_RGBD_EXCEPTION_OFFLINE) {
        static_cast<CCamera*>(user)->m_isLost.store(true);
    }
}

void CCamera::Start() {
    if (const uint32_t status = OX3D_RGBD_Start(m_handle); status != OX3D_RGBD_OK) {
        Throw(EExitCode::Camera, "cannot start the camera", status);
    }
}

void CCamera::Stop() {
    OX3D_RGBD_Stop(m_handle); // a camera that does not stop is closed all the same
}

void CCamera::Close() {
    if (m_handle != nullptr) {
        OX3D_RGBD_CloseDevice(&m_handle);
        m_handle = nullptr;
    }
}

std::string CCamera::Kind() const {
    constexpr const char* kKey = "Ox3dCameraKind";
    Ox3dRgbdAccessMode mode = OX3D_RGBD_ACCESS_NOT_IMPLEMENTED;
    OX3D_RGBD_PARAM param{};
    const bool isThere = OX3D_RGBD_XML_GetNodeAccessMode(m_handle, kKey, &mode) == OX3D_RGBD_OK &&
                         mode == OX3D_RGBD_ACCESS_READ_ONLY &&
                         OX3D_RGBD_GetParam(m_handle, kKey, &param) == OX3D_RGBD_OK &&
                         param.enParamType == OX3D_RGBD_PARAM_STRING;
    return isThere ? TextOf(param.stStringParam.chCurValue) : "";
}

void CCamera::ExpectDepth() const {
    if (Kind() == "Plain2d") {
        throw CToolError(EExitCode::Camera,
                         "the camera sends an image without depth (Ox3dCameraKind: Plain2d)");
    }
}

bool CCamera::AlignWhereKnown() {
    OX3D_RGBD_CALIB_INFO color{};
    const bool isKnown =
        Kind() != "Sfnc3d" || OX3D_RGBD_GetCalibInfo(m_handle, OX3D_RGBD_CALIB_COLOR, &color) == OX3D_RGBD_OK;
    Switch(OX3D_RGBD_KEY_IMAGE_ALIGN, isKnown);
    return isKnown;
}

void CCamera::Switch(const char* key, bool isOn) {
    OX3D_RGBD_PARAM param{};
    param.enParamType = OX3D_RGBD_PARAM_INT;
    param.stIntParam.nCurValue = isOn ? 1 : 0;
    if (const uint32_t status = OX3D_RGBD_SetParam(m_handle, key, &param); status != OX3D_RGBD_OK) {
        Throw(EExitCode::Camera, std::string("cannot switch ") + key + (isOn ? " on" : " off"), status);
    }
}

std::optional<OX3D_RGBD_CALIB_INFO> CCamera::Calibration(uint32_t calibType) const {
    OX3D_RGBD_CALIB_INFO calib{};
    if (OX3D_RGBD_GetCalibInfo(m_handle, calibType, &calib) != OX3D_RGBD_OK) {
        return std::nullopt;
    }
    return calib;
}

} // namespace ox3d::tool

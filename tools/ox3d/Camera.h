// Cameras through the public interface of the library: listing them, and one opened camera that closes
// itself.
#ifndef OX3D_TOOL_CAMERA_H
#define OX3D_TOOL_CAMERA_H

#include "base/BoundedText.h"
#include "recording/camera/CameraRecord.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Provider.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <string>
#include <vector>

namespace ox3d::tool {

using DeviceRecord = OX3D_RGBD_DEVICE_INFO;

// A text field of a record, read with its bound.
template <size_t N>
std::string TextOf(const char (&field)[N]) {
    return PrintableText(BoundedText(field));
}

// "192.168.1.101", or "USB 3.0".
std::string AddressOf(const DeviceRecord& record);
// "02:00:00:00:00:01", of an Ethernet camera.
std::string MacText(const DeviceRecord& record);
// Whether a new session could have the camera for itself.
bool IsFree(const DeviceRecord& record);
// Of a camera that is listed.
enum class EReach {
    Free,
    InUse,
    OutOfReach // it answers the search, but not at its address
};
EReach ReachOf(const DeviceRecord& record);

// Throws CToolError when the cameras cannot be enumerated.
std::vector<DeviceRecord> ListCameras(const ProviderChoice& provider);

// The one with the serial number, or the first with an empty one. Throws CToolError when there is none.
const DeviceRecord& PickCamera(const std::vector<DeviceRecord>& cameras, const std::string& serial);

// A status of the library that ended a command.
class CStatusError : public CToolError {
public:
    CStatusError(EExitCode code, const std::string& message, uint32_t status)
        : CToolError(code, message), m_status(status) {}
    uint32_t Status() const { return m_status; }

private:
    uint32_t m_status;
};

class CCamera {
public:
    // Opens the camera. Throws CToolError.
    CCamera(const ProviderChoice& provider, const DeviceRecord& record);
    ~CCamera() { Close(); }
    CCamera(const CCamera&) = delete;
    CCamera& operator=(const CCamera&) = delete;

    void* Handle() const { return m_handle; }
    const DeviceRecord& Record() const { return m_record; }
    // Whether the library registers this camera's depth to its color image.
    bool IsRegistered() const { return m_record.nDeviceType == OX3D_RGBD_DEVICE_ETHERNET; }
    // Whether the camera has reported its own loss.
    bool IsLost() const { return m_isLost.load(); }

    void Start(); // throws CToolError
    void Stop();
    void Close();
    // Native, Sfnc3d or Plain2d; empty where what speaks to the camera does not tell.
    std::string Kind() const;
    // Throws a CToolError for a camera without depth.
    void ExpectDepth() const;
    // Switches registration of depth to color on, or off for a camera that does not tell where its color is taken from:
    // its frames could not be assembled. Whether it is on.
    bool AlignWhereKnown();
    void Switch(const char* key, bool isOn); // one of OX3D_RGBD_KEY_*; throws CToolError
    // Copies the file of the camera's calibration. Returns a status.
    uint32_t SaveCalibration(const std::string& file) const { return SaveCalibrationFile(m_handle, file); }
    // The lens of a stream as it is delivered (OX3D_RGBD_CAMERA_*); empty where the camera has no calibration.
    std::optional<RecordedLens> Lens(uint32_t stream) const { return LensOf(m_handle, stream); }
    std::optional<OX3D_RGBD_CALIB_INFO> Calibration(uint32_t calibType) const;

private:
    static void OnException(OX3D_RGBD_EXCEPTION_INFO* info, void* user);

    void* m_handle = nullptr;
    DeviceRecord m_record{};
    std::atomic<bool> m_isLost{false};
};

} // namespace ox3d::tool

#endif

// CameraConfig.h - what one virtual camera is, and the reader of the text file that lists them.
#ifndef OX3D_VIRTUAL_CAMERA_CAMERA_CONFIG_H
#define OX3D_VIRTUAL_CAMERA_CAMERA_CONFIG_H

#include <string>
#include <string_view>
#include <vector>

#include "virtual-camera/Faults.h"
#include "virtual-camera/Feature.h"
#include "virtual-camera/frames/FrameSource.h"
#include "virtual-camera/scan3d/Scan3dSettings.h"

namespace ox3d {

// Native: depth as the image and colour in a chunk. Sfnc3d: components, as the standard's 3D model has it.
enum class ECameraKind : uint8_t { Native, Sfnc3d };

struct CameraConfig {
    ECameraKind m_kind = ECameraKind::Native;
    ETransport m_transport = ETransport::GigE;
    std::string m_serial;
    std::string m_model;
    std::string m_manufacturer = "Ox3d";
    std::string m_userName;
    std::string m_deviceVersion = "1.0.0";
    uint64_t m_mac = 0; // first byte in bits 40-47
    uint32_t m_ip = 0;  // first octet in bits 24-31, like the four below
    uint32_t m_mask = 0xFFFFFF00;
    uint32_t m_gateway = 0xC0A80101;
    uint32_t m_hostIp = 0xC0A8010A;
    double m_fps = 30;
    FrameSourceConfig m_source;
    Scan3dConfig m_scan3d; // of a camera of kind Sfnc3d
    FaultSet m_faults;
};

// Where cameras are in the network that say nothing of it; each gets the next address.
struct NetworkDefaults {
    uint32_t m_firstIp = 0xC0A80165; // 192.168.1.101
    uint32_t m_mask = 0xFFFFFF00;
    uint32_t m_gateway = 0xC0A80101;
    uint32_t m_hostIp = 0xC0A8010A;
    bool m_isWire = false; // cameras of other kinds than the native one need one
    ECameraKind m_kind = ECameraKind::Native;
};

// Reads the list. A camera whose section has an error is left out; every error is one line of *errors,
// "fileName:line: what". Relative recording folders are taken from baseFolder.
std::vector<CameraConfig> ParseCameraList(std::string_view text, const std::string& fileName,
                                          const std::string& baseFolder, std::vector<std::string>* errors,
                                          const NetworkDefaults& network = {});

// The cameras when no file is named: one Ethernet camera.
std::vector<CameraConfig> DefaultCameraList(const NetworkDefaults& network = {});

// The same cameras again would look and behave alike.
bool IsSameCamera(const CameraConfig& a, const CameraConfig& b);

} // namespace ox3d

#endif

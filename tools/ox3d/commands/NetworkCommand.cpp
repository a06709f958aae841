// ox3d network: the cameras on the network with their addresses, also where those are wrong, and giving a
// camera another address.
#include "base/Ipv4.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/Table.h"
#include "tools/ox3d/WorkFolder.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/host/CameraAddress.h"
#include "tools/ox3d/host/HostFacts.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ox3drgbd/OxCameraControl.h>
#include <thread>

namespace ox3d::tool {
namespace {

using Clock = std::chrono::steady_clock;
using EMove = NetworkOptions::EMove;

// What the modes say beyond the one bit that all have in common: link-local is always the last resort.
constexpr uint32_t kStaticBit = OX_GIGE_IP_CFG_STATIC & ~OX_GIGE_IP_CFG_LLA;
constexpr uint32_t kDhcpBit = OX_GIGE_IP_CFG_DHCP & ~OX_GIGE_IP_CFG_LLA;

EMove ModeOf(const DeviceRecord& record) {
    if ((record.nIpCfgMode & kStaticBit) != 0) { // cameras try them in this order
        return EMove::Static;
    }
    if ((record.nIpCfgMode & kDhcpBit) != 0) {
        return EMove::Dhcp;
    }
    return (record.nIpCfgMode & OX_GIGE_IP_CFG_LLA) != 0 ? EMove::LinkLocal : EMove::None;
}

const char* ModeText(EMove mode) {
    switch (mode) {
    case EMove::Static:
        return "static";
    case EMove::Dhcp:
        return "DHCP";
    case EMove::LinkLocal:
        return "link-local";
    case EMove::None:
        break;
    }
    return "unknown";
}

// 0 for a text that is no address: cameras without one leave it empty.
template <size_t N>
uint32_t NumberOf(const char (&field)[N]) {
    return ParseIpv4(TextOf(field), EOctetForm::Plain).value_or(0);
}

Ipv4Network NetworkOf(const DeviceRecord& record) {
    return {NumberOf(record.chCurrentIp), NumberOf(record.chCurrentSubNetMask)};
}

std::vector<DeviceRecord> EthernetOnly(std::vector<DeviceRecord> cameras) {
    std::erase_if(cameras,
                  [](const DeviceRecord& camera) { return camera.nDeviceType != OX3D_RGBD_DEVICE_ETHERNET; });
    return cameras;
}

std::string FitOfRecord(const DeviceRecord& camera, const std::vector<DeviceRecord>& all,
                        const std::vector<HostAddress>& host) {
    const uint32_t ip = NumberOf(camera.chCurrentIp);
    const auto sharesAddress = [&](const DeviceRecord& other) { return NumberOf(other.chCurrentIp) == ip; };
    if (ip != 0 && std::count_if(all.begin(), all.end(), sharesAddress) > 1) {
        return "address in use twice";
    }
    return FitText(FitOf(NetworkOf(camera), NumberOf(camera.chNetExport), host));
}

std::string SeenBy(const DeviceRecord& camera, const std::vector<HostAddress>& host) {
    const std::optional<HostAddress> known = FindHostAddress(NumberOf(camera.chNetExport), host);
    return TextOf(camera.chNetExport) + (known ? " (" + known->m_interface + ")" : "");
}

// The cameras on the network, or the one of them with this serial number.
void PrintCameras(const std::vector<DeviceRecord>& cameras, const std::string& serial, bool isJson) {
    const std::vector<HostAddress> host = AddressesOf(ReadInterfaces());
    const std::vector<DeviceRecord> onNetwork = EthernetOnly(cameras);
    std::vector<TableRow> rows = {
        {"SERIAL", "MODEL", "MAC", "ADDRESS", "MASK", "GATEWAY", "MODE", "SEEN BY", "FIT"}};
    for (const DeviceRecord& camera : onNetwork) {
        if (serial.empty() || TextOf(camera.chSerialNumber) == serial) {
            rows.push_back({TextOf(camera.chSerialNumber), TextOf(camera.chModelName), MacText(camera),
                            TextOf(camera.chCurrentIp), TextOf(camera.chCurrentSubNetMask),
                            TextOf(camera.chDefaultGateWay), ModeText(ModeOf(camera)), SeenBy(camera, host),
                            FitOfRecord(camera, onNetwork, host)});
        }
    }
    if (isJson) {
        PrintTableJson(rows);
        return;
    }
    std::fputs(rows.size() == 1 ? "no cameras found on the network\n" : TableText(rows).c_str(), stdout);
}

void CheckNotInUse(uint32_t ip, const std::string& serial, const std::vector<DeviceRecord>& cameras) {
    for (const DeviceRecord& camera : EthernetOnly(cameras)) {
        if (NumberOf(camera.chCurrentIp) == ip && TextOf(camera.chSerialNumber) != serial) {
            throw CToolError(EExitCode::Usage, "the address " + Ipv4Text(ip) + " is the camera " +
                                                   TextOf(camera.chSerialNumber) + "'s");
        }
    }
    constexpr uint32_t kLoopback = 127; // virtual cameras share the host's addresses there
    if (ip >> 24 != kLoopback && FindHostAddress(ip, AddressesOf(ReadInterfaces()))) {
        throw CToolError(EExitCode::Usage, "the address " + Ipv4Text(ip) + " is this host's own");
    }
}

StaticAddress PlanFor(const DeviceRecord& camera, const AddressRequest& request) {
    AddressSurroundings around;
    around.m_camera = NetworkOf(camera);
    around.m_gateway = NumberOf(camera.chDefaultGateWay);
    const uint32_t hostIp = NumberOf(camera.chNetExport);
    const std::optional<HostAddress> known = FindHostAddress(hostIp, AddressesOf(ReadInterfaces()));
    around.m_host = known ? known->m_network : Ipv4Network{hostIp, 0};
    return PlanAddress(request, around);
}

template <size_t N>
void PutAddress(char (&field)[N], uint32_t address) {
    static_assert(N >= sizeof("255.255.255.255"));
    std::snprintf(field, N, "%s", Ipv4Text(address).c_str());
}

void Configure(const std::string& serial, EMove move, const StaticAddress& address) {
    OX3D_RGBD_IP_CONFIG config{};
    config.enIPCfgMode = move == EMove::Static ? OX3D_RGBD_IP_STATIC
                         : move == EMove::Dhcp ? OX3D_RGBD_IP_DHCP
                                               : OX3D_RGBD_IP_LINK_LOCAL;
    if (move == EMove::Static) {
        PutAddress(config.chDestIp, address.m_ip);
        PutAddress(config.chDestNetMask, address.m_mask);
        PutAddress(config.chDestGateWay, address.m_gateway);
    }
    if (const uint32_t status = OX3D_RGBD_SetIpConfig(serial.c_str(), &config); status != OX3D_RGBD_OK) {
        const char* const hint =
            move == EMove::Static ? "it must not be open anywhere"
                                  : "it must not be open anywhere, and needs an address that fits the host: "
                                    "in a wrong subnet give it one with --set-ip first";
        throw CToolError(EExitCode::Camera, "the camera " + serial +
                                                " cannot be configured: " + StatusText(status) + "; " + hint);
    }
}

bool IsAsTold(const DeviceRecord& camera, EMove move, const StaticAddress& address) {
    if (move != EMove::Static) {
        return ModeOf(camera) == move; // its address changes at the next start
    }
    const Ipv4Network now = NetworkOf(camera);
    return now.m_address == address.m_ip && now.m_mask == address.m_mask;
}

// Looks until the camera is as it was told to be, and returns the cameras found then.
std::vector<DeviceRecord> WaitUntilAsTold(const ProviderChoice& provider, const std::string& serial,
                                          const NetworkOptions& options, const StaticAddress& address) {
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(options.m_patienceSeconds);
    for (;;) {
        std::vector<DeviceRecord> cameras = ListCameras(provider);
        const auto found = std::find_if(cameras.begin(), cameras.end(), [&](const DeviceRecord& camera) {
            return TextOf(camera.chSerialNumber) == serial;
        });
        if (found != cameras.end() && IsAsTold(*found, options.m_move, address)) {
            return cameras;
        }
        if (IsInterrupted()) {
            throw CToolError(EExitCode::Interrupted, "interrupted before the camera was found again");
        }
        if (Clock::now() >= deadline) {
            throw CToolError(EExitCode::Camera,
                             "the camera " + serial + " took its new configuration, but after " +
                                 std::to_string(options.m_patienceSeconds) + " s it is " +
                                 (found == cameras.end() ? "not found"
                                                         : "found at " + TextOf(found->chCurrentIp) + " (" +
                                                               ModeText(ModeOf(*found)) + ")"));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
}

void Report(const std::string& serial, EMove move, const StaticAddress& address, std::FILE* out) {
    if (move == EMove::Static) {
        std::fprintf(out, "camera %s is found at %s now (mask %s, gateway %s)\n\n", serial.c_str(),
                     Ipv4Text(address.m_ip).c_str(), Ipv4Text(address.m_mask).c_str(),
                     Ipv4Text(address.m_gateway).c_str());
    } else {
        std::fprintf(out, "camera %s is set to %s; its address changes when it is next switched on\n\n",
                     serial.c_str(), ModeText(move));
    }
}

// Returns the cameras found once the camera is as it was told to be.
std::vector<DeviceRecord> Move(const ProviderChoice& provider, const std::string& serial,
                               const NetworkOptions& options, const std::vector<DeviceRecord>& cameras,
                               std::FILE* out) {
    StaticAddress address;
    if (options.m_move == EMove::Static) {
        address = PlanFor(PickCamera(cameras, serial), options.m_address);
        CheckNotInUse(address.m_ip, serial, cameras);
    }
    Configure(serial, options.m_move, address);
    std::vector<DeviceRecord> found = WaitUntilAsTold(provider, serial, options, address);
    Report(serial, options.m_move, address, out);
    return found;
}

} // namespace

EExitCode RunNetwork(CCameraControl& control, const Arguments& arguments) {
    const NetworkOptions& options = arguments.m_network;
    const std::string& serial = arguments.m_serial;
    if (options.m_move == EMove::Static) {
        CheckAddressTexts(options.m_address);
    }
    const ProviderChoice& provider = control.Enter();
    const CScratchFolder folder;
    EnterFolder(folder.Path());
    std::vector<DeviceRecord> cameras = ListCameras(provider);
    if (!serial.empty()) {
        const DeviceRecord& camera = PickCamera(cameras, serial);
        if (camera.nDeviceType != OX3D_RGBD_DEVICE_ETHERNET) {
            throw CToolError(EExitCode::Usage,
                             "the camera " + serial + " is a USB camera and has no address");
        }
        if (options.m_move != EMove::None) {
            cameras = Move(provider, serial, options, cameras, arguments.m_isJson ? stderr : stdout);
        }
    }
    PrintCameras(cameras, serial, arguments.m_isJson);
    return EExitCode::Ok;
}

} // namespace ox3d::tool

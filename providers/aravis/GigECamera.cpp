// GigECamera.cpp - cameras of the network: their control, opening, and their addresses.
#include <chrono>
#include <thread>

#include "base/Ipv4.h"
#include "base/SignalMask.h"
#include "base/UdpSocket.h"
#include "gigevision/Registers.h"
#include "providers/aravis/AravisCamera.h"
#include "providers/aravis/Discovery.h"
#include "providers/aravis/Gvcp.h"
#include "providers/aravis/Network.h"
#include "providers/common/DeviceText.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr std::chrono::seconds kLongestMove{5};

// Aravis goes down with an interface that is not there: it is looked for first.
bool IsInterfaceThere(uint32_t hostIp) {
    CUdpSocket socket;
    return hostIp != 0 && socket.Open({hostIp, 0});
}

bool IsHeld(uint32_t control) {
    return (control & (gige::kControlAccess | gige::kExclusiveAccess)) != 0;
}

int OpenGigEDevice(const CameraPath& path, bool isForControl, CObject<ArvDevice>* device) {
    const CObject<GInetAddress> host(g_inet_address_new_from_string(Ipv4Text(path.m_hostIp).c_str()));
    const CObject<GInetAddress> camera(g_inet_address_new_from_string(Ipv4Text(path.m_cameraIp).c_str()));
    CArvError error;
    const CSignalsBlocked blocked; // Aravis starts its heartbeat's thread
    CObject<ArvDevice> opened(arv_gv_device_new(host.get(), camera.get(), error.Out()));
    if (opened == nullptr || error.IsSet()) {
        return error.IsSet() ? error.Code() : kDeviceGone;
    }
    ArvGvDevice* gigE = ARV_GV_DEVICE(opened.get());
    const bool isController = arv_gv_device_is_controller(gigE) != 0;
    if (isForControl && !isController) {
        return Code(OX_CC_E_ACCESS_DENIED);
    }
    if (!isForControl && isController) {
        arv_gv_device_leave_control(gigE, error.Out()); // Aravis takes what it can get
    }
    *device = std::move(opened);
    return kOk;
}

} // namespace

CGvcpClient CGigECamera::Client(int tries) const {
    const OX_CC_GIGE_DEVICE_INFO device = Now().stGigEInfo;
    return {device.nNetExport, device.nCurrentIp, m_controlTimeoutMs, tries};
}

EGvcpResult CGigECamera::ReadControl(uint32_t* control) {
    const EGvcpResult result = Client().Read(gige::reg::kControlPrivilege, control);
    if (result != EGvcpResult::Silent) {
        return result;
    }
    const auto found = FindByMac(gvcp::MacOf(Now()));
    if (!found) {
        return EGvcpResult::Silent;
    }
    Update(*found);
    return Client().Read(gige::reg::kControlPrivilege, control);
}

// While another application has exclusive access, not even the register can be read.
bool CGigECamera::IsAccessible(uint32_t accessMode) const {
    uint32_t control = 0;
    const EGvcpResult result = Client().Read(gige::reg::kControlPrivilege, &control);
    if (!IsAccessMode(accessMode) || result != EGvcpResult::Ok) {
        return false;
    }
    return accessMode == OX_CC_ACCESS_MONITOR ? (control & gige::kExclusiveAccess) == 0 : !IsHeld(control);
}

int CGigECamera::CheckFree(uint32_t accessMode) {
    uint32_t control = 0;
    switch (ReadControl(&control)) {
    case EGvcpResult::Ok:
        break;
    case EGvcpResult::Silent:
        return kDeviceGone;
    case EGvcpResult::Denied:
        return Code(OX_CC_E_ACCESS_DENIED);
    case EGvcpResult::Refused:
        return Code(OX_CC_E_UNKNOWN);
    }
    const bool isFree =
        accessMode == OX_CC_ACCESS_MONITOR ? (control & gige::kExclusiveAccess) == 0 : !IsHeld(control);
    return isFree ? kOk : Code(OX_CC_E_ACCESS_DENIED);
}

int CGigECamera::Open(uint32_t accessMode, const std::shared_ptr<CHandleCallbacks>& callbacks,
                      std::shared_ptr<CConnection>* connection) {
    if (!IsAccessMode(accessMode)) {
        return Code(OX_CC_E_PARAMETER);
    }
    if (const int code = CheckFree(accessMode); code != kOk) {
        return code;
    }
    const OX_CC_GIGE_DEVICE_INFO now = Now().stGigEInfo;
    const CameraPath path{now.nNetExport, now.nCurrentIp};
    if (!IsInterfaceThere(path.m_hostIp)) {
        return kDeviceGone;
    }
    CObject<ArvDevice> device;
    if (const int code = OpenGigEDevice(path, accessMode != OX_CC_ACCESS_MONITOR, &device); code != kOk) {
        return code;
    }
    const CLock lock(m_settingsMutex);
    const int code =
        Connect(std::move(device), path, accessMode, callbacks, m_resend, m_controlTimeoutMs, connection);
    if (code == kOk) {
        m_connection = std::static_pointer_cast<CAravisConnection>(*connection);
    }
    return code;
}

int CGigECamera::SetResend(bool isOn, uint32_t maxPercent, uint32_t timeoutMs) {
    constexpr uint32_t kLongestTimeoutMs = 10000;
    if (timeoutMs > kLongestTimeoutMs) {
        return Code(OX_CC_E_PARAMETER);
    }
    const CLock lock(m_settingsMutex);
    m_resend = {isOn, maxPercent, timeoutMs};
    if (const auto connection = m_connection.lock()) {
        connection->SetResend(m_resend);
    }
    return kOk;
}

void CGigECamera::SetControlTimeout(uint32_t timeoutMs) {
    m_controlTimeoutMs = timeoutMs;
    const CLock lock(m_settingsMutex);
    if (const auto connection = m_connection.lock()) {
        connection->SetControlTimeout(timeoutMs);
    }
}

// ---- Addresses ----

// A camera whose address belongs to another subnet cannot be asked whether it is under control, only be found.
int CGigECamera::CheckForNetwork() const {
    uint32_t control = 0;
    switch (Client().Read(gige::reg::kControlPrivilege, &control)) {
    case EGvcpResult::Ok:
        return IsHeld(control) ? Code(OX_CC_E_ACCESS_DENIED) : kOk;
    case EGvcpResult::Denied:
        return Code(OX_CC_E_ACCESS_DENIED);
    case EGvcpResult::Refused:
        return Code(OX_CC_E_UNKNOWN);
    case EGvcpResult::Silent:
        break;
    }
    return FindByMac(gvcp::MacOf(Now())) ? kOk : kDeviceGone;
}

// Through the open connection, or else with control taken for just as long.
bool CGigECamera::WriteRegisters(const std::shared_ptr<CConnection>& connection,
                                 std::initializer_list<std::pair<uint32_t, uint32_t>> registers) const {
    if (connection != nullptr) {
        return static_cast<CAravisConnection&>(*connection).OnDevice([&](ArvDevice* device) {
            CArvError error;
            for (const auto& [address, value] : registers) {
                arv_device_write_register(device, address, value, error.Out());
                if (error.IsSet()) {
                    return error.Code();
                }
            }
            return kOk;
        }) == kOk;
    }
    CGvcpClient client = Client();
    if (client.Write(gige::reg::kControlPrivilege, gige::kControlAccess) != EGvcpResult::Ok) {
        return false;
    }
    bool isWritten = true;
    for (const auto& [address, value] : registers) {
        isWritten = isWritten && client.Write(address, value) == EGvcpResult::Ok;
    }
    client.Write(gige::reg::kControlPrivilege, gige::kOpenAccess);
    return isWritten;
}

bool CGigECamera::WritePersistentAddress(const std::shared_ptr<CConnection>& connection, uint32_t ip,
                                         uint32_t mask, uint32_t gateway) const {
    return WriteRegisters(connection,
                          {{gige::reg::kIpConfig, gige::kIpModePersistent | gige::kIpModeLinkLocal},
                           {gige::reg::kPersistentIp, ip},
                           {gige::reg::kPersistentMask, mask},
                           {gige::reg::kPersistentGateway, gateway}});
}

int CGigECamera::ForceIp(const std::shared_ptr<CConnection>& connection, uint32_t ip,
                         const uint32_t* maskAndGateway) {
    const uint64_t mac = gvcp::MacOf(Now());
    const auto found = FindByMac(mac);
    if (!found) {
        return kDeviceGone;
    }
    Update(*found);
    const OX_CC_GIGE_DEVICE_INFO& before = found->stGigEInfo;
    const uint32_t mask = maskAndGateway == nullptr ? before.nCurrentSubNetMask : maskAndGateway[0];
    const uint32_t gateway = maskAndGateway == nullptr ? before.nDefaultGateWay : maskAndGateway[1];
    if (!IsHostAddress(ip) || !IsSubnetMask(mask)) {
        return Code(OX_CC_E_PARAMETER);
    }
    // A static configuration is set by its mode and then its address: the address has to last.
    bool isPending = false;
    {
        const CLock lock(m_settingsMutex);
        isPending = m_isStaticPending;
    }
    const bool isStatic = ((before.nIpCfgCurrent >> kIpModeShift) & gige::kIpModePersistent) != 0;
    bool isPersistent = !isStatic && !isPending;
    isPersistent = isPersistent || WritePersistentAddress(connection, ip, mask, gateway);
    const auto until = std::chrono::steady_clock::now() + kLongestMove;
    do {
        BroadcastForceIp(mac, ip, mask, gateway);
        const auto now = FindByMac(mac);
        if (now && now->stGigEInfo.nCurrentIp == ip) {
            Update(*now);
            isPersistent = isPersistent || WritePersistentAddress(nullptr, ip, mask, gateway);
            const CLock lock(m_settingsMutex);
            m_isStaticPending = m_isStaticPending && !isPersistent;
            return kOk;
        }
    } while (std::chrono::steady_clock::now() < until);
    return Code(OX_CC_E_NO_DATA);
}

int CGigECamera::SetIpMode(const std::shared_ptr<CConnection>& connection, uint32_t mode) {
    uint32_t control = 0;
    const bool isReached =
        connection != nullptr || Client().Read(gige::reg::kControlPrivilege, &control) == EGvcpResult::Ok;
    if (!isReached) {
        // In another subnet: the mode can be set once the address has been.
        const CLock lock(m_settingsMutex);
        m_isStaticPending = mode == gige::kIpModePersistent;
        return m_isStaticPending ? kOk : kDeviceGone;
    }
    if (!WriteRegisters(connection, {{gige::reg::kIpConfig, mode | gige::kIpModeLinkLocal}})) {
        return Code(OX_CC_E_ACCESS_DENIED);
    }
    const CLock lock(m_settingsMutex);
    m_isStaticPending = false;
    return kOk;
}

} // namespace ox3d

// AravisCamera.cpp - what cameras of both transports share, and those on USB.
#include "providers/aravis/AravisCamera.h"

#include "providers/aravis/AravisStream.h"
#include "providers/aravis/Description.h"
#include "providers/aravis/UsbDevices.h"
#include "providers/common/Status.h"

namespace ox3d {

OX_CC_DEVICE_INFO CAravisCamera::Now() const {
    const CLock lock(m_mutex);
    return m_record;
}

void CAravisCamera::Update(const OX_CC_DEVICE_INFO& record) {
    const CLock lock(m_mutex);
    m_record = record;
}

OX_CC_DEVICE_INFO CAravisCamera::Record(const OX_CC_DEVICE_INFO& /*listed*/) const {
    return Now();
}

NodeMaker CAravisCamera::Nodes() const {
    return [] { return std::make_unique<AravisNode>(); };
}

int CAravisCamera::Connect(CObject<ArvDevice> device, const CameraPath& path, uint32_t accessMode,
                           const std::shared_ptr<CHandleCallbacks>& callbacks, const ResendSettings& resend,
                           uint32_t controlTimeoutMs, std::shared_ptr<CConnection>* connection) const {
    if (!IsUsableDescription(device.get())) {
        return Code(OX_CC_E_GC_GENERIC);
    }
    auto made = std::make_shared<CAravisConnection>(std::move(device), path, callbacks, accessMode);
    made->SetResend(resend);
    made->SetControlTimeout(controlTimeoutMs);
    if (!made->Begin()) {
        return Code(OX_CC_E_RESOURCE);
    }
    *connection = std::move(made);
    return kOk;
}

void CAravisCamera::Close(const std::shared_ptr<CConnection>& connection) {
    std::static_pointer_cast<CAravisConnection>(connection)->Release();
}

// ---- USB ----

// Opening is the only way to find out whether another process has it open.
bool CUsbCamera::IsAccessible(uint32_t accessMode) const {
    CObject<ArvDevice> device;
    return IsAccessMode(accessMode) && OpenUsbDevice(Now(), &device) == kOk;
}

int CUsbCamera::CheckForNetwork() const {
    return Code(OX_CC_E_SUPPORT);
}

int CUsbCamera::Open(uint32_t accessMode, const std::shared_ptr<CHandleCallbacks>& callbacks,
                     std::shared_ptr<CConnection>* connection) {
    if (!IsAccessMode(accessMode)) {
        return Code(OX_CC_E_PARAMETER);
    }
    CObject<ArvDevice> device;
    if (const int code = OpenUsbDevice(Now(), &device); code != kOk) {
        return code;
    }
    const int code =
        Connect(std::move(device), {}, accessMode, callbacks, {}, CGvcpClient::kDefaultTimeoutMs, connection);
    if (code == kOk) {
        NoteUsbDevice(Now(), true);
    }
    return code;
}

void CUsbCamera::Close(const std::shared_ptr<CConnection>& connection) {
    CAravisCamera::Close(connection);
    NoteUsbDevice(Now(), false);
}

int CUsbCamera::ForceIp(const std::shared_ptr<CConnection>& /*connection*/, uint32_t /*ip*/,
                        const uint32_t* /*maskAndGateway*/) {
    return Code(OX_CC_E_SUPPORT);
}

int CUsbCamera::SetIpMode(const std::shared_ptr<CConnection>& /*connection*/, uint32_t /*mode*/) {
    return Code(OX_CC_E_SUPPORT);
}

} // namespace ox3d

// AravisCamera.h - a camera of the network or of USB as a handle knows it.
#ifndef OX3D_ARAVIS_ARAVIS_CAMERA_H
#define OX3D_ARAVIS_ARAVIS_CAMERA_H

#include <atomic>

#include "base/Mutex.h"
#include "providers/aravis/AravisConnection.h"
#include "providers/aravis/GvcpClient.h"
#include "providers/common/Camera.h"

namespace ox3d {

class CAravisCamera : public CCamera {
public:
    explicit CAravisCamera(const OX_CC_DEVICE_INFO& record) : m_record(record) {}

    OX_CC_DEVICE_INFO Record(const OX_CC_DEVICE_INFO& listed) const override;
    void Close(const std::shared_ptr<CConnection>& connection) override;
    NodeMaker Nodes() const override;

protected:
    OX_CC_DEVICE_INFO Now() const;
    void Update(const OX_CC_DEVICE_INFO& record);
    int Connect(CObject<ArvDevice> device, const CameraPath& path, uint32_t accessMode,
                const std::shared_ptr<CHandleCallbacks>& callbacks, const ResendSettings& resend,
                uint32_t controlTimeoutMs, std::shared_ptr<CConnection>* connection) const;

private:
    mutable CMutex m_mutex;
    OX_CC_DEVICE_INFO m_record OX_GUARDED_BY(m_mutex); // changes with the camera's address
};

class CGigECamera final : public CAravisCamera {
public:
    using CAravisCamera::CAravisCamera;

    bool IsAccessible(uint32_t accessMode) const override;
    int CheckForNetwork() const override;
    int Open(uint32_t accessMode, const std::shared_ptr<CHandleCallbacks>& callbacks,
             std::shared_ptr<CConnection>* connection) override;
    int ForceIp(const std::shared_ptr<CConnection>& connection, uint32_t ip,
                const uint32_t* maskAndGateway) override;
    int SetIpMode(const std::shared_ptr<CConnection>& connection, uint32_t mode) override;
    int SetResend(bool isOn, uint32_t maxPercent, uint32_t timeoutMs) override;
    void SetControlTimeout(uint32_t timeoutMs) override;

private:
    CGvcpClient Client(int tries = CGvcpClient::kTries) const;
    // Reads the control register, looking for the camera's new address when it is not at the old one.
    EGvcpResult ReadControl(uint32_t* control);
    int CheckFree(uint32_t accessMode);
    bool WriteRegisters(const std::shared_ptr<CConnection>& connection,
                        std::initializer_list<std::pair<uint32_t, uint32_t>> registers) const;
    bool WritePersistentAddress(const std::shared_ptr<CConnection>& connection, uint32_t ip, uint32_t mask,
                                uint32_t gateway) const;

    std::atomic<uint32_t> m_controlTimeoutMs{CGvcpClient::kDefaultTimeoutMs};
    CMutex m_settingsMutex;
    ResendSettings m_resend OX_GUARDED_BY(m_settingsMutex);
    std::weak_ptr<CAravisConnection> m_connection OX_GUARDED_BY(m_settingsMutex);
    bool m_isStaticPending OX_GUARDED_BY(m_settingsMutex) = false;
};

class CUsbCamera final : public CAravisCamera {
public:
    using CAravisCamera::CAravisCamera;

    bool IsAccessible(uint32_t accessMode) const override;
    int CheckForNetwork() const override;
    int Open(uint32_t accessMode, const std::shared_ptr<CHandleCallbacks>& callbacks,
             std::shared_ptr<CConnection>* connection) override;
    void Close(const std::shared_ptr<CConnection>& connection) override;
    int ForceIp(const std::shared_ptr<CConnection>& connection, uint32_t ip,
                const uint32_t* maskAndGateway) override;
    int SetIpMode(const std::shared_ptr<CConnection>& connection, uint32_t mode) override;
};

} // namespace ox3d

#endif

// Camera.h - a camera as a handle knows it before and while it is open, and the provider that finds cameras.
#ifndef OX3D_PROVIDER_CAMERA_H
#define OX3D_PROVIDER_CAMERA_H

#include <memory>
#include <string>

#include <ox3drgbd/OxCameraControl.h>

#include "providers/common/Connection.h"
#include "providers/common/FrameBuffer.h"

namespace ox3d {

constexpr bool IsAccessMode(uint32_t mode) {
    return mode == OX_CC_ACCESS_EXCLUSIVE || mode == OX_CC_ACCESS_CONTROL || mode == OX_CC_ACCESS_MONITOR;
}

class CCamera {
public:
    CCamera() = default;
    virtual ~CCamera() = default;
    CCamera(const CCamera&) = delete;
    CCamera& operator=(const CCamera&) = delete;

    // The record as it is now of a camera that was listed with the one given.
    virtual OX_CC_DEVICE_INFO Record(const OX_CC_DEVICE_INFO& listed) const = 0;
    // Whether it could be opened in the mode now.
    virtual bool IsAccessible(uint32_t accessMode) const = 0;
    // kOk when the network configuration may be set without having the camera open.
    virtual int CheckForNetwork() const = 0;
    // OX_CC_E_ACCESS_DENIED when another handle or application has it open in a way that excludes this.
    virtual int Open(uint32_t accessMode, const std::shared_ptr<CHandleCallbacks>& callbacks,
                     std::shared_ptr<CConnection>* connection) = 0;
    // Its stream's camera thread has ended, threads that call back may still be there.
    virtual void Close(const std::shared_ptr<CConnection>& connection) = 0;
    virtual NodeMaker Nodes() const = 0;

    // ---- Ethernet. The connection is the handle's own, or null. ----

    // maskAndGateway is null where both stay as they are.
    virtual int ForceIp(const std::shared_ptr<CConnection>& connection, uint32_t ip,
                        const uint32_t* maskAndGateway) = 0;
    // Mode as in the register: one of the three bits.
    virtual int SetIpMode(const std::shared_ptr<CConnection>& connection, uint32_t mode) = 0;
    virtual int SetResend(bool /*isOn*/, uint32_t /*maxPercent*/, uint32_t /*timeoutMs*/) { return 0; }
    virtual void SetControlTimeout(uint32_t /*timeoutMs*/) {}

    virtual bool HasEvent(const char* /*name*/) const { return true; }
};

class IProvider {
public:
    virtual ~IProvider() = default;
    virtual int Enumerate(uint32_t layers, OX_CC_DEVICE_INFO_LIST* list) = 0;
    // Null when there cannot be such a camera.
    virtual std::shared_ptr<CCamera> Find(const OX_CC_DEVICE_INFO& record) = 0;
};

// Each provider defines it. Never destroyed: threads of an application may still be inside the provider when
// statics go.
IProvider& Provider();

} // namespace ox3d

#endif

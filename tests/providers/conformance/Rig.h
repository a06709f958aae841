// Rig.h - what differs between the providers that the conformance suite runs on.
#ifndef OX3D_CONFORMANCE_RIG_H
#define OX3D_CONFORMANCE_RIG_H

#include <cstdint>
#include <string>

namespace ox3d::test {

class CRig {
public:
    CRig() = default;
    virtual ~CRig() = default;
    CRig(const CRig&) = delete;
    CRig& operator=(const CRig&) = delete;

    // The provider's file.
    virtual const char* Library() const = 0;
    // OX_CC_GIGE_DEVICE or OX_CC_USB_DEVICE.
    virtual uint32_t Layer() const = 0;
    // Puts the cameras of a list (as virtual-camera/CameraConfig.h reads it) in place of those before.
    virtual void Plug(const std::string& list) = 0;
    // Whether a camera that is open in the first mode may be opened in the second.
    virtual bool CanShare(uint32_t first, uint32_t second) const = 0;
    virtual bool HasEvents() const { return true; }
};

// Each program defines its own.
CRig& Rig();

} // namespace ox3d::test

#endif

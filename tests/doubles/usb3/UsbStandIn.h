// UsbStandIn.h - a USB with at most one camera, for a program that takes the functions of libusb from here.
#ifndef OX3D_DOUBLE_USB_STAND_IN_H
#define OX3D_DOUBLE_USB_STAND_IN_H

#include "virtual-camera/CameraConfig.h"

namespace ox3d::test {

// Takes the place of a camera that is there already.
void PlugUsbCamera(const CameraConfig& config);
void UnplugUsbCamera();
// Whether another process has the camera's interfaces.
void SetUsbBusy(bool isBusy);

} // namespace ox3d::test

#endif

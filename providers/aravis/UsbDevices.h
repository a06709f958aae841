// UsbDevices.h - USB3 Vision cameras, found and opened through Aravis.
#ifndef OX3D_ARAVIS_USB_DEVICES_H
#define OX3D_ARAVIS_USB_DEVICES_H

#include <arv.h>

#include <string>
#include <vector>

#include <ox3drgbd/OxCameraControl.h>

#include "ArvError.h"

namespace ox3d {

std::vector<OX_CC_DEVICE_INFO> ListUsbDevices();

int OpenUsbDevice(const OX_CC_DEVICE_INFO& record, CObject<ArvDevice>* device);

// Fills what Aravis does not tell from a folder like /sys/bus/usb/devices, where the camera is there.
void FillFromSysfs(const std::string& folder, OX_CC_USB_DEVICE_INFO* device);

} // namespace ox3d

#endif

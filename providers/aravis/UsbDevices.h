// UsbDevices.h - USB3 Vision cameras, found and opened through Aravis.
#ifndef OX3D_ARAVIS_USB_DEVICES_H
#define OX3D_ARAVIS_USB_DEVICES_H

#include <arv.h>

#include <string>
#include <vector>

#include <ox3drgbd/OxCameraControl.h>

#include "providers/aravis/ArvError.h"

namespace ox3d {

std::vector<OX_CC_DEVICE_INFO> ListUsbDevices();

// OX_CC_E_ACCESS_DENIED while it is open, here or elsewhere.
int OpenUsbDevice(const OX_CC_DEVICE_INFO& record, CObject<ArvDevice>* device);
// Notes what this process has open: Aravis is not asked for it again.
void NoteUsbDevice(const OX_CC_DEVICE_INFO& record, bool isOpen);

// Fills what Aravis does not tell from a folder like /sys/bus/usb/devices, where the camera is there.
void FillFromSysfs(const std::string& folder, OX_CC_USB_DEVICE_INFO* device);

} // namespace ox3d

#endif

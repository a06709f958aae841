// DeviceRecord.h - the camera-control library's device record turned into the public one.
#ifndef OX3D_DEVICE_RECORD_H
#define OX3D_DEVICE_RECORD_H

#include <ox3drgbd/Ox3dRgbdDefine.h>
#include <ox3drgbd/OxCameraControl.h>

// Dotted decimal of an IP number into a 16-byte field, most significant octet first. An address of 0 (and a
// null field) gives OX3D_RGBD_E_PARAMETER and leaves the field as it was.
uint32_t GetIPString(char* out, uint32_t ip);

// USB protocol value (OX3D_RGBD_USB_*) of a BCD USB release number.
uint32_t GetUserUSBType(int bcdUsb);

// Fills the fields that apply to the device's transport and leaves the others alone; a device of an unknown
// transport leaves the whole record alone.
void FillDeviceInfo(const OX_CC_DEVICE_INFO& device, OX3D_RGBD_DEVICE_INFO* out);

// The six MAC address bytes from the two MAC words, most significant first.
void FillMacAddress(const OX_CC_DEVICE_INFO& device, OX3D_RGBD_DEVICE_INFO* out);

#endif

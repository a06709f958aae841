// DeviceRecord.cpp - see DeviceRecord.h.
#include "src/Manager/DeviceRecord.h"

#include <cstddef>
#include <cstring>

#include "base/Ipv4.h"
#include "src/Common/AsyncLog.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";

// The six Ethernet texts have the same order and widths in both records: one block.
constexpr size_t kEthernetTextBytes = 32 + 32 + 32 + 48 + 16 + 16;
static_assert(offsetof(OX3D_RGBD_DEVICE_INFO, chManufacturerName) == 0);
static_assert(offsetof(OX3D_RGBD_DEVICE_INFO, nDeviceType) == kEthernetTextBytes);
static_assert(offsetof(OX_CC_GIGE_DEVICE_INFO, nNetExport) -
                  offsetof(OX_CC_GIGE_DEVICE_INFO, chManufacturerName) ==
              kEthernetTextBytes);
static_assert(offsetof(OX3D_RGBD_DEVICE_INFO, nVendorId) == 180 && sizeof(OX3D_RGBD_DEVICE_INFO) == 272);
static_assert(offsetof(OX3D_RGBD_DEVICE_INFO, chCurrentIp) == 192);

// The first bytes of a longer field, byte for byte: a text that does not fit loses its terminator.
template <size_t N, size_t M>
void CopyFirst(char (&out)[N], const char (&field)[M]) {
    static_assert(N <= M);
    memcpy(out, field, N);
}

void FillEthernet(const OX_CC_DEVICE_INFO& device, OX3D_RGBD_DEVICE_INFO* out) {
    const OX_CC_GIGE_DEVICE_INFO& gige = device.stGigEInfo;
    const auto* record = reinterpret_cast<const uint8_t*>(&gige);
    memcpy(out, record + offsetof(OX_CC_GIGE_DEVICE_INFO, chManufacturerName), kEthernetTextBytes);
    out->nDeviceType = OX3D_RGBD_DEVICE_ETHERNET;
    FillMacAddress(device, out);
    out->nIpCfgMode = gige.nIpCfgCurrent;
    GetIPString(out->chCurrentIp, gige.nCurrentIp);
    GetIPString(out->chCurrentSubNetMask, gige.nCurrentSubNetMask);
    GetIPString(out->chDefaultGateWay, gige.nDefaultGateWay);
    GetIPString(out->chNetExport, gige.nNetExport);
}

void FillUsb(const OX_CC_DEVICE_INFO& device, OX3D_RGBD_DEVICE_INFO* out) {
    const OX_CC_USB_DEVICE_INFO& usb = device.stUsb3Info;
    CopyFirst(out->chManufacturerName, usb.chManufacturerName);
    CopyFirst(out->chModelName, usb.chModelName);
    CopyFirst(out->chDeviceVersion, usb.chDeviceVersion);
    CopyFirst(out->chManufacturerSpecificInfo, usb.chVendorName);
    CopyFirst(out->chSerialNumber, usb.chSerialNumber);
    CopyFirst(out->chUserDefinedName, usb.chUserDefinedName);
    out->nDeviceType = OX3D_RGBD_DEVICE_USB;
    out->nVendorId = usb.nVendorId;
    out->nProductId = usb.nProductId;
    out->nUsbProtocol = GetUserUSBType(static_cast<int>(usb.nBcdUsb));
    CopyFirst(out->chCurrentIp, usb.chDeviceGuid);
}

} // namespace

uint32_t GetIPString(char* out, uint32_t ip) {
    if (out == nullptr || ip == 0) {
        OX_LOG_ERROR("[GetIPString] pstCamInfo Or nCurrentIp is error.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    const ox3d::Ipv4Field text = ox3d::Ipv4Chars(ip);
    memcpy(out, text.data(), text.size());
    OX_LOG_INFO("[GetIPString] nCurrentIp[%u] pIPString is %s .\r\n", ip, text.data());
    return OX3D_RGBD_OK;
}

uint32_t GetUserUSBType(int bcdUsb) {
    switch (bcdUsb) {
    case 0x0200:
    case 0x0210:
        return OX3D_RGBD_USB_2;
    case 0x0300:
    case 0x0310:
        return OX3D_RGBD_USB_3;
    default:
        return OX3D_RGBD_USB_UNKNOWN;
    }
}

void FillMacAddress(const OX_CC_DEVICE_INFO& device, OX3D_RGBD_DEVICE_INFO* out) {
    const uint32_t high = device.nMacAddrHigh;
    const uint32_t low = device.nMacAddrLow;
    const uint8_t mac[6] = {static_cast<uint8_t>(high >> 8), static_cast<uint8_t>(high),
                            static_cast<uint8_t>(low >> 24), static_cast<uint8_t>(low >> 16),
                            static_cast<uint8_t>(low >> 8),  static_cast<uint8_t>(low)};
    memcpy(out->chMacAddress, mac, sizeof(mac));
}

void FillDeviceInfo(const OX_CC_DEVICE_INFO& device, OX3D_RGBD_DEVICE_INFO* out) {
    if (device.nTLayerType == OX_CC_GIGE_DEVICE) {
        FillEthernet(device, out);
    } else if (device.nTLayerType == OX_CC_USB_DEVICE) {
        FillUsb(device, out);
    }
}

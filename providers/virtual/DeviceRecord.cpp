// DeviceRecord.cpp - fills the fixed fields of device records, each with its own bound.
#include "providers/virtual/DeviceRecord.h"

#include <cstring>

#include "providers/common/DeviceText.h"

namespace ox3d {
namespace {

constexpr uint16_t kVendorId = 0x1209; // numbers that are set aside for tests
constexpr uint16_t kProductId = 0x0001;
constexpr uint32_t kUsb3 = 0x0300;

void FillGigE(const CameraIdentity& from, OX_CC_GIGE_DEVICE_INFO* to) {
    to->nIpCfgOption = from.m_ipModes << kIpModeShift;
    to->nIpCfgCurrent = from.m_ipMode << kIpModeShift;
    to->nCurrentIp = from.m_ip;
    to->nCurrentSubNetMask = from.m_mask;
    to->nDefaultGateWay = from.m_gateway;
    CopyText(to->chManufacturerName, from.m_vendor);
    CopyText(to->chModelName, from.m_model);
    CopyText(to->chDeviceVersion, from.m_version);
    CopyText(to->chManufacturerSpecificInfo, from.m_info);
    CopyText(to->chSerialNumber, from.m_serial);
    CopyText(to->chUserDefinedName, from.m_userName);
    to->nNetExport = from.m_hostIp;
}

void FillUsb(const CameraIdentity& from, uint32_t ordinal, OX_CC_USB_DEVICE_INFO* to) {
    to->nCrtlInEndPoint = 0x81;
    to->nCrtlOutEndPoint = 0x01;
    to->nStreamEndPoint = 0x82;
    to->nEventEndPoint = 0x83;
    to->nVendorId = kVendorId;
    to->nProductId = kProductId;
    to->nDeviceNumber = ordinal;
    CopyText(to->chDeviceGuid, "1209" + from.m_serial);
    CopyText(to->chVendorName, from.m_vendor);
    CopyText(to->chModelName, from.m_model);
    CopyText(to->chFamilyName, from.m_info);
    CopyText(to->chDeviceVersion, from.m_version);
    CopyText(to->chManufacturerName, from.m_vendor);
    CopyText(to->chSerialNumber, from.m_serial);
    CopyText(to->chUserDefinedName, from.m_userName);
    to->nBcdUsb = kUsb3;
}

} // namespace

OX_CC_DEVICE_INFO ToDeviceRecord(const CameraIdentity& identity, uint32_t ordinal) {
    OX_CC_DEVICE_INFO record;
    std::memset(&record, 0, sizeof(record));
    if (identity.m_transport == ETransport::Usb) {
        record.nTLayerType = OX_CC_USB_DEVICE;
        FillUsb(identity, ordinal, &record.stUsb3Info);
        return record;
    }
    record.nTLayerType = OX_CC_GIGE_DEVICE;
    record.nMacAddrHigh = static_cast<uint32_t>(identity.m_mac >> 32);
    record.nMacAddrLow = static_cast<uint32_t>(identity.m_mac);
    FillGigE(identity, &record.stGigEInfo);
    return record;
}

} // namespace ox3d

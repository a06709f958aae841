// Counting, listing, finding and binding devices.
#include "tests/doubles/ScriptedCamera.h"

namespace {

class Enumeration : public CScripted {
protected:
    using Record = OX3D_RGBD_DEVICE_INFO;

    static Record Untouched() {
        Record record;
        memset(&record, 0x5A, sizeof(record));
        return record;
    }
    // The list, and one record more that nobody may touch. Records begin as bytes of 0x5A.
    static std::vector<Record> List(uint32_t type, uint32_t capacity, uint32_t expectedCount) {
        std::vector<Record> records(capacity + 1, Untouched());
        uint32_t count = 0;
        EXPECT_EQ(OX3D_RGBD_GetDeviceList(type, records.data(), capacity, &count), OX3D_RGBD_OK);
        EXPECT_EQ(count, expectedCount);
        return records;
    }
    static Record RecordOf(const OX_CC_DEVICE_INFO& device) {
        Double().SetDevices({device});
        return List(OX3D_RGBD_DEVICE_ALL, 1, 1)[0];
    }
    static uint32_t Count(uint32_t type = OX3D_RGBD_DEVICE_ALL) {
        uint32_t count = 0x5A5A5A5A;
        EXPECT_EQ(OX3D_RGBD_GetDeviceNumber(type, &count), OX3D_RGBD_OK);
        return count;
    }
    // The serial number of the device that an open binds.
    template <class Open, class Argument>
    std::string Bound(Open open, Argument argument) {
        Record info = {};
        EXPECT_EQ(open(&m_handle, argument), OX3D_RGBD_OK);
        EXPECT_EQ(OX3D_RGBD_GetDeviceInfo(m_handle, &info), OX3D_RGBD_OK);
        Close();
        return {info.chSerialNumber, strnlen(info.chSerialNumber, sizeof(info.chSerialNumber))};
    }
};

TEST_F(Enumeration, TheDeviceTypeDecidesWhichTransportsAreAsked) {
    EXPECT_CALLS(Count(OX3D_RGBD_DEVICE_ETHERNET), 1u, "OX_CC_EnumDevices(1)");
    EXPECT_CALLS(Count(OX3D_RGBD_DEVICE_USB), 1u, "OX_CC_EnumDevices(4)");
    EXPECT_CALLS(Count(OX3D_RGBD_DEVICE_ALL), 2u, "OX_CC_EnumDevices(5)");
    EXPECT_STREQ(List(OX3D_RGBD_DEVICE_USB, 2, 1)[0].chSerialNumber, "USB1");
}

TEST_F(Enumeration, AListStopsAtItsCapacityInTheCamerasOrder) {
    Double().SetDevices({EthernetDevice("A"), UsbDevice("B"), EthernetDevice("C")});
    const std::vector<Record> records = List(OX3D_RGBD_DEVICE_ALL, 2, 2);
    EXPECT_STREQ(records[0].chSerialNumber, "A");
    EXPECT_STREQ(records[1].chSerialNumber, "B");
    EXPECT_EQ(RecordBytes(records[2]), RecordBytes(Untouched()));
    List(OX3D_RGBD_DEVICE_ALL, 9, 3);
}

TEST_F(Enumeration, EmptyAndOverlongListsOfTheProviderAreTidied) {
    OX_CC_DEVICE_INFO device = EthernetDevice("A");
    OX_CC_DEVICE_INFO_LIST list = {};
    list.nDeviceNum = 300; // more than there are places
    for (uint32_t i = 0; i < OX_CC_MAX_DEVICES; ++i) {
        list.pDeviceInfo[i] = i % 2 == 0 ? &device : nullptr;
    }
    Answer(DOUBLE_OX_CC_EnumDevices, list);
    EXPECT_EQ(Count(), 128u);
    EXPECT_STREQ(List(OX3D_RGBD_DEVICE_ALL, 300, 128)[127].chSerialNumber, "A");
}

TEST_F(Enumeration, AFailureIsReportedInTheProvidersOwnCode) {
    Fail(DOUBLE_OX_CC_EnumDevices, OX_CC_E_RESOURCE);
    uint32_t count = 77;
    Record info = {};
    EXPECT_LINES(OX3D_RGBD_GetDeviceNumber(3, &count), OX_CC_E_RESOURCE, "[Enum] begin.",
                 "[Enum] OX_CC_EnumDevices fail, nRet:[0x80000006].",
                 "[CamGetDeviceNumber] Enum fail.error code:[0x80000006]");
    EXPECT_EQ(OX3D_RGBD_GetDeviceList(3, &info, 1, &count), OX_CC_E_RESOURCE);
    EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&info, 1), OX_CC_E_RESOURCE);
    EXPECT_EQ(OX3D_RGBD_OpenDevice(&m_handle, nullptr), OX_CC_E_RESOURCE);
    EXPECT_EQ(count, 77u);
}

TEST_F(Enumeration, AnEthernetRecordCarriesTextsMacAndAddresses) {
    OX_CC_DEVICE_INFO device = EthernetDevice("SN", "M", 0x0A010203);
    device.nMacAddrHigh = 0xFFFF1122;
    device.nMacAddrLow = 0x33445566;
    device.stGigEInfo.nIpCfgCurrent = 0x06000000;
    device.stGigEInfo.nCurrentSubNetMask = 0xFFFFFF00;
    device.stGigEInfo.nNetExport = 0xC0A80001; // and a gateway of 0
    SetText(device.stGigEInfo.chManufacturerName, std::string(32, 'x'));
    SetText(device.stGigEInfo.chUserDefinedName, "U");
    Record expected = Untouched();
    SetText(expected.chManufacturerName, std::string(32, 'x'));
    SetText(expected.chModelName, "M");
    SetText(expected.chDeviceVersion, "");
    SetText(expected.chManufacturerSpecificInfo, "");
    SetText(expected.chSerialNumber, "SN");
    SetText(expected.chUserDefinedName, "U");
    expected.nDeviceType = OX3D_RGBD_DEVICE_ETHERNET;
    memcpy(expected.chMacAddress, "\x11\x22\x33\x44\x55\x66", 6);
    expected.nIpCfgMode = 0x06000000;
    SetText(expected.chCurrentIp, "10.1.2.3");
    SetText(expected.chCurrentSubNetMask, "255.255.255.0");
    SetText(expected.chNetExport, "192.168.0.1");
    EXPECT_EQ(RecordBytes(RecordOf(device)), RecordBytes(expected));
    device.stGigEInfo.nDefaultGateWay = 0x0A010001;
    EXPECT_STREQ(RecordOf(device).chDefaultGateWay, "10.1.0.1");
    device.nTLayerType = 8; // another transport: counted, and the record left alone
    EXPECT_EQ(RecordBytes(RecordOf(device)), RecordBytes(Untouched()));
}

TEST_F(Enumeration, AUsbRecordCarriesTextsIdsAndGuid) {
    OX_CC_DEVICE_INFO device = UsbDevice(std::string(30, '7'), std::string(40, 'm'));
    device.stUsb3Info.nVendorId = 0x1234;
    device.stUsb3Info.nProductId = 0x5678;
    device.stUsb3Info.nBcdUsb = 0x0310;
    SetText(device.stUsb3Info.chManufacturerName, "Maker");
    SetText(device.stUsb3Info.chVendorName, std::string(60, 'v'));
    SetText(device.stUsb3Info.chDeviceGuid, "0123456789abcdefgh");
    Record expected = Untouched();
    SetText(expected.chManufacturerName, "Maker");
    SetText(expected.chModelName, std::string(40, 'm'));
    SetText(expected.chDeviceVersion, "");
    SetText(expected.chManufacturerSpecificInfo, std::string(60, 'v'));
    SetText(expected.chSerialNumber, std::string(30, '7'));
    SetText(expected.chUserDefinedName, "");
    expected.nDeviceType = OX3D_RGBD_DEVICE_USB;
    expected.nVendorId = 0x1234;
    expected.nProductId = 0x5678;
    expected.nUsbProtocol = OX3D_RGBD_USB_3;
    SetText(expected.chCurrentIp, "0123456789abcdef");
    EXPECT_EQ(RecordBytes(RecordOf(device)), RecordBytes(expected));
    const uint32_t releases[][2] = {{0x0200, 1}, {0x0210, 1}, {0x0300, 2}, {0x0310, 2}, {0x0320, 0}, {0, 0}};
    for (const auto& [bcd, protocol] : releases) {
        device.stUsb3Info.nBcdUsb = bcd;
        EXPECT_EQ(RecordOf(device).nUsbProtocol, protocol);
    }
}

TEST_F(Enumeration, AccessibilityIsATruthValue) {
    Record info = {};
    SetText(info.chSerialNumber, "USB1");
    EXPECT_CALLS(OX3D_RGBD_CamIsAccessible(&info, 7), 1u, "OX_CC_EnumDevices(5)",
                 "OX_CC_IsDeviceAccessible(7)");
    Fail(DOUBLE_OX_CC_IsDeviceAccessible, 1);
    EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&info, 1), 0u);
    SetText(info.chSerialNumber, "none");
    EXPECT_LAST_LINE(OX3D_RGBD_CamIsAccessible(&info, 1), OX3D_RGBD_E_PARAMETER,
                     "[CamIsAccessible] No find the chParm[none]  devices ");
}

TEST_F(Enumeration, BindsTheFirstDeviceThatMatchesExactly) {
    OX_CC_DEVICE_INFO usb = UsbDevice("B", "Model U");
    usb.stUsb3Info.nDeviceNumber = 0x07000001; // at the place of an Ethernet device's IP
    Double().SetDevices(
        {EthernetDevice("A", "Twin", 0x0A000001), EthernetDevice("C", "Twin", 0x0A000002), usb});
    EXPECT_EQ(Bound(OX3D_RGBD_OpenDeviceByIp, "10.0.0.2"), "C");
    EXPECT_EQ(Bound(OX3D_RGBD_OpenDeviceByIp, "7.0.0.1"), "B") << "whatever the transport";
    EXPECT_EQ(Bound(OX3D_RGBD_OpenDeviceByName, "Twin"), "A");
    EXPECT_EQ(Bound(OX3D_RGBD_OpenDeviceByName, "Model U"), "B");
    EXPECT_EQ(Bound(OX3D_RGBD_OpenDeviceBySerialNumber, "C"), "C");
    EXPECT_EQ(Bound(OX3D_RGBD_OpenDeviceBySerialNumber, "B"), "B");
    EXPECT_EQ(Bound(OX3D_RGBD_OpenDevice, nullptr), "A") << "no record means the first device";
    EXPECT_EQ(OX3D_RGBD_OpenDeviceByIp(&m_handle, "10.0.0.02"), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(OX3D_RGBD_OpenDeviceByName(&m_handle, "twin"), OX3D_RGBD_E_PARAMETER);
    Double().SetDevices({});
    EXPECT_EQ(Count(), 0u);
    EXPECT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, ""), OX3D_RGBD_E_PARAMETER);
    const Lines lines =
        LinesOf([&] { EXPECT_EQ(OX3D_RGBD_OpenDevice(&m_handle, nullptr), OX3D_RGBD_E_PARAMETER); });
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "[BindDevice] param DeviceInfo is null."), 1);
    EXPECT_EQ(m_handle, nullptr) << "nothing bound, nothing stored";
}

TEST_F(Enumeration, FindsTheDeviceOfARecordByItsSerialNumberAlone) {
    Record info = {};
    SetText(info.chSerialNumber, "USB1");
    SetText(info.chModelName, "anything");
    EXPECT_EQ(Bound(OX3D_RGBD_OpenDevice, &info), "USB1");
    const std::string full(16, '9'); // no terminator in the field
    Double().SetDevices({EthernetDevice("A"), EthernetDevice(full)});
    SetText(info.chSerialNumber, full);
    EXPECT_EQ(Bound(OX3D_RGBD_OpenDevice, &info), full);
}

} // namespace

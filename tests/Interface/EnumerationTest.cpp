// Counting, listing, finding and binding devices.
#include "ScriptedCamera.h"

namespace {

class Enumeration : public CScripted {
protected:
    std::vector<OX3D_RGBD_DEVICE_INFO> List(uint32_t type, uint32_t capacity, uint32_t* count) {
        std::vector<OX3D_RGBD_DEVICE_INFO> records(capacity + 1);
        memset(records.data(), 0x5A, records.size() * sizeof(records[0]));
        EXPECT_EQ(OX3D_RGBD_GetDeviceList(type, records.data(), capacity, count), OX3D_RGBD_OK);
        return records;
    }
    uint32_t Count(uint32_t type = OX3D_RGBD_DEVICE_ALL) {
        uint32_t count = 0x5A5A5A5A;
        EXPECT_EQ(OX3D_RGBD_GetDeviceNumber(type, &count), OX3D_RGBD_OK);
        return count;
    }
};

// Whether every byte of the part is as the caller left it.
template <size_t N>
bool IsUntouched(const char (&field)[N]) {
    return std::string(field, N) == std::string(N, 0x5A);
}

TEST_F(Enumeration, TheDeviceTypeDecidesWhichTransportsAreAsked) {
    uint32_t count = 0;
    OX3D_RGBD_DEVICE_INFO info = {};
    const char* const masks[] = {"1", "4", "5"};
    for (uint32_t type = 1; type <= 3; ++type) {
        const Lines calls = CallsOf([&] {
            OX3D_RGBD_GetDeviceNumber(type, &count);
            OX3D_RGBD_GetDeviceList(type, &info, 1, &count);
        });
        const std::string expected = std::string("OX_CC_EnumDevices(") + masks[type - 1] + ")";
        EXPECT_EQ(calls, (Lines{expected, expected}));
    }
    EXPECT_EQ(Count(OX3D_RGBD_DEVICE_ETHERNET), 1u);
    EXPECT_EQ(Count(OX3D_RGBD_DEVICE_ALL), 2u);
    SetDevices({});
    EXPECT_EQ(Count(), 0u);
}

TEST_F(Enumeration, AListStopsAtItsCapacityInTheCamerasOrder) {
    SetDevices({EthernetDevice("A"), UsbDevice("B"), EthernetDevice("C")});
    uint32_t count = 0;
    const auto records = List(OX3D_RGBD_DEVICE_ALL, 2, &count);
    EXPECT_EQ(count, 2u);
    EXPECT_STREQ(records[0].chSerialNumber, "A");
    EXPECT_STREQ(records[1].chSerialNumber, "B");
    EXPECT_TRUE(IsUntouched(records[2].chSerialNumber));
    List(OX3D_RGBD_DEVICE_ALL, 9, &count);
    EXPECT_EQ(count, 3u);
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
    uint32_t count = 0;
    EXPECT_STREQ(List(OX3D_RGBD_DEVICE_ALL, 300, &count)[127].chSerialNumber, "A");
    EXPECT_EQ(count, 128u);
}

TEST_F(Enumeration, TheProviderGetsAnEmptyListEachTime) {
    bool isClear = true;
    Work look = [&](const DoubleCall& call) {
        const OX_CC_DEVICE_INFO_LIST empty = {};
        isClear = isClear && memcmp(call.pOutput, &empty, sizeof(empty)) == 0;
    };
    OnCall(DOUBLE_OX_CC_EnumDevices, &look);
    Count();
    OX3D_RGBD_DEVICE_INFO info = {};
    OX3D_RGBD_CamIsAccessible(&info, 1);
    EXPECT_TRUE(isClear);
}

TEST_F(Enumeration, AFailureIsReportedInTheProvidersOwnCode) {
    Fail(DOUBLE_OX_CC_EnumDevices, OX_CC_E_RESOURCE);
    uint32_t count = 77;
    OX3D_RGBD_DEVICE_INFO info = {};
    const Lines lines = LinesOf([&] { EXPECT_EQ(OX3D_RGBD_GetDeviceNumber(3, &count), OX_CC_E_RESOURCE); });
    EXPECT_EQ(lines, (Lines{"[Enum] begin.", "[Enum] OX_CC_EnumDevices fail, nRet:[0x80000006].",
                            "[CamGetDeviceNumber] Enum fail.error code:[0x80000006]"}));
    EXPECT_EQ(OX3D_RGBD_GetDeviceList(3, &info, 1, &count), OX_CC_E_RESOURCE);
    EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&info, 1), OX_CC_E_RESOURCE);
    EXPECT_EQ(OX3D_RGBD_OpenDevice(&m_handle, nullptr), OX_CC_E_RESOURCE);
    EXPECT_EQ(count, 77u);
}

TEST_F(Enumeration, AnEthernetRecordCarriesItsTextsMacAndAddresses) {
    OX_CC_DEVICE_INFO device = EthernetDevice("SN", "M", 0x0A010203);
    device.nMacAddrHigh = 0xFFFF1122;
    device.nMacAddrLow = 0x33445566;
    device.stGigEInfo.nIpCfgCurrent = 0x06000000;
    device.stGigEInfo.nCurrentSubNetMask = 0xFFFFFF00;
    device.stGigEInfo.nNetExport = 0xC0A80001;
    SetText(device.stGigEInfo.chManufacturerName, std::string(40, 'x')); // fills its field
    SetText(device.stGigEInfo.chDeviceVersion, "V");
    SetText(device.stGigEInfo.chManufacturerSpecificInfo, "I");
    SetText(device.stGigEInfo.chUserDefinedName, "U");
    SetDevices({device});
    uint32_t count = 0;
    OX3D_RGBD_DEVICE_INFO record = {};
    const Lines lines = LinesOf([&] { record = List(OX3D_RGBD_DEVICE_ETHERNET, 1, &count)[0]; });
    EXPECT_EQ(lines.back().substr(0, 87),
              "[Enum] Enum device SN[SN] ModelName[M] ip[10.1.2.3] SubNetmask[255.255.255.0] gateway[Z");
    EXPECT_EQ(std::string(record.chManufacturerName, 32), std::string(32, 'x'));
    EXPECT_STREQ(record.chModelName, "M");
    EXPECT_STREQ(record.chDeviceVersion, "V");
    EXPECT_STREQ(record.chManufacturerSpecificInfo, "I");
    EXPECT_STREQ(record.chSerialNumber, "SN");
    EXPECT_STREQ(record.chUserDefinedName, "U");
    EXPECT_EQ(record.nDeviceType, OX3D_RGBD_DEVICE_ETHERNET);
    const uint8_t mac[] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x5A, 0x5A}; // two bytes left alone
    EXPECT_EQ(memcmp(record.chMacAddress, mac, sizeof(mac)), 0);
    EXPECT_EQ(record.nIpCfgMode, 0x06000000u);
    EXPECT_STREQ(record.chCurrentIp, "10.1.2.3");
    EXPECT_STREQ(record.chCurrentSubNetMask, "255.255.255.0");
    EXPECT_TRUE(IsUntouched(record.chDefaultGateWay)) << "an address of 0 leaves the field alone";
    EXPECT_STREQ(record.chNetExport, "192.168.0.1");
}

TEST_F(Enumeration, AUsbRecordCarriesItsTextsIdsAndGuid) {
    OX_CC_DEVICE_INFO device = UsbDevice(std::string(30, '7'), std::string(40, 'm'));
    device.stUsb3Info.nVendorId = 0x1234;
    device.stUsb3Info.nProductId = 0x5678;
    device.stUsb3Info.nBcdUsb = 0x0310;
    SetText(device.stUsb3Info.chManufacturerName, "Maker");
    SetText(device.stUsb3Info.chVendorName, std::string(60, 'v'));
    SetText(device.stUsb3Info.chDeviceGuid, "0123456789abcdefgh");
    SetDevices({device});
    uint32_t count = 0;
    const OX3D_RGBD_DEVICE_INFO record = List(OX3D_RGBD_DEVICE_USB, 1, &count)[0];
    EXPECT_STREQ(record.chManufacturerName, "Maker");
    EXPECT_EQ(std::string(record.chModelName, 32), std::string(32, 'm'));
    EXPECT_EQ(std::string(record.chManufacturerSpecificInfo, 48), std::string(48, 'v'));
    EXPECT_EQ(std::string(record.chSerialNumber, 16), std::string(16, '7'));
    EXPECT_EQ(record.nDeviceType, OX3D_RGBD_DEVICE_USB);
    EXPECT_EQ(record.nVendorId, 0x1234u);
    EXPECT_EQ(record.nProductId, 0x5678u);
    EXPECT_EQ(record.nUsbProtocol, OX3D_RGBD_USB_3);
    EXPECT_EQ(std::string(record.chCurrentIp, 16), "0123456789abcdef");
    EXPECT_TRUE(IsUntouched(record.chCurrentSubNetMask));
    EXPECT_TRUE(IsUntouched(record.chDefaultGateWay));
    EXPECT_TRUE(IsUntouched(record.chNetExport));
}

TEST_F(Enumeration, UsbReleasesAreToldApart) {
    const uint32_t releases[][2] = {{0x0200, 1}, {0x0210, 1}, {0x0300, 2}, {0x0310, 2}, {0x0320, 0}, {0, 0}};
    for (const auto& [bcd, protocol] : releases) {
        OX_CC_DEVICE_INFO device = UsbDevice("B");
        device.stUsb3Info.nBcdUsb = bcd;
        SetDevices({device});
        uint32_t count = 0;
        EXPECT_EQ(List(OX3D_RGBD_DEVICE_USB, 1, &count)[0].nUsbProtocol, protocol);
    }
}

TEST_F(Enumeration, ADeviceOfAnotherTransportIsCountedAndItsRecordLeftAlone) {
    OX_CC_DEVICE_INFO device = EthernetDevice("A");
    device.nTLayerType = 8;
    SetDevices({device});
    uint32_t count = 0;
    const OX3D_RGBD_DEVICE_INFO record = List(OX3D_RGBD_DEVICE_ALL, 1, &count)[0];
    EXPECT_EQ(count, 1u);
    EXPECT_TRUE(IsUntouched(record.chSerialNumber));
    EXPECT_EQ(record.nDeviceType, 0x5A5A5A5Au);
}

TEST_F(Enumeration, AccessibilityIsATruthValue) {
    OX3D_RGBD_DEVICE_INFO info = {};
    SetText(info.chSerialNumber, "USB1");
    const Lines calls = CallsOf([&] { EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&info, 7), 1u); });
    EXPECT_EQ(calls, (Lines{"OX_CC_EnumDevices(5)", "OX_CC_IsDeviceAccessible(7)"}));
    Fail(DOUBLE_OX_CC_IsDeviceAccessible, 1);
    EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&info, 1), 0u);
    SetText(info.chSerialNumber, "none");
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&info, 1), OX3D_RGBD_E_PARAMETER); }).back(),
              "[CamIsAccessible] No find the chParm[none]  devices ");
}

class Binding : public CScripted {
protected:
    // The serial number of the device that an open binds, or empty.
    static std::string Bound(const std::function<uint32_t(void**)>& open) {
        void* handle = nullptr;
        std::string serial;
        const uint32_t status = open(&handle);
        if (status == OX3D_RGBD_OK) {
            OX3D_RGBD_DEVICE_INFO info = {};
            EXPECT_EQ(OX3D_RGBD_GetDeviceInfo(handle, &info), OX3D_RGBD_OK);
            serial = std::string(info.chSerialNumber, strnlen(info.chSerialNumber, 16));
            EXPECT_EQ(OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
        } else {
            EXPECT_EQ(status, OX3D_RGBD_E_PARAMETER);
            EXPECT_EQ(handle, nullptr) << "nothing bound, nothing stored";
        }
        return serial;
    }
    static std::string ByIp(const char* ip) {
        return Bound([&](void** h) { return OX3D_RGBD_OpenDeviceByIp(h, ip); });
    }
    static std::string ByName(const char* name) {
        return Bound([&](void** h) { return OX3D_RGBD_OpenDeviceByName(h, name); });
    }
    static std::string ByNumber(const char* number) {
        return Bound([&](void** h) { return OX3D_RGBD_OpenDeviceBySerialNumber(h, number); });
    }
    static std::string ByRecord(OX3D_RGBD_DEVICE_INFO* info) {
        return Bound([&](void** h) { return OX3D_RGBD_OpenDevice(h, info); });
    }
};

TEST_F(Binding, FindsTheFirstDeviceThatMatchesExactly) {
    OX_CC_DEVICE_INFO usb = UsbDevice("B", "Model U");
    usb.stUsb3Info.nDeviceNumber = 0;       // for Ethernet this word is the mask
    usb.stGigEInfo.nCurrentIp = 0x07000001; // for USB the device number
    SetDevices({EthernetDevice("A", "Twin", 0x0A000001), EthernetDevice("C", "Twin", 0x0A000002), usb});
    EXPECT_EQ(ByIp("10.0.0.2"), "C");
    EXPECT_EQ(ByIp("7.0.0.1"), "B") << "the word at the place of the IP, whatever the transport";
    EXPECT_EQ(ByIp("10.0.0.02"), "");
    EXPECT_EQ(ByIp(""), "");
    EXPECT_EQ(ByName("Twin"), "A");
    EXPECT_EQ(ByName("Model U"), "B");
    EXPECT_EQ(ByName("twin"), "");
    EXPECT_EQ(ByName("Twi"), "");
    EXPECT_EQ(ByNumber("C"), "C");
    EXPECT_EQ(ByNumber("B"), "B");
    EXPECT_EQ(ByNumber("c"), "");
    EXPECT_EQ(ByRecord(nullptr), "A") << "no record means the first device";
}

TEST_F(Binding, ARecordIsFoundAgainByItsSerialNumberAlone) {
    OX3D_RGBD_DEVICE_INFO info = {};
    SetText(info.chSerialNumber, "USB1");
    SetText(info.chModelName, "anything");
    EXPECT_EQ(ByRecord(&info), "USB1");
    const std::string full(16, '9'); // no terminator in the field
    SetDevices({EthernetDevice("A"), EthernetDevice(full)});
    SetText(info.chSerialNumber, full);
    EXPECT_EQ(ByRecord(&info), full);
}

TEST_F(Binding, WithoutDevicesTheFirstCannotBeBound) {
    SetDevices({});
    EXPECT_EQ(ByRecord(nullptr), "");
    EXPECT_EQ(ByNumber(""), "");
}

TEST_F(Binding, OfAnUnknownSerialNumberSaysWhatItCompared) {
    SetDevices({EthernetDevice("A")});
    DrainLogAtEveryCall();
    const Lines lines = LinesOf([] { ByNumber("Z"); });
    const Lines expected = {"[CompareBindParm] the input nDeviceNum (Z) not match enum nDeviceNum (A/) .",
                            "[CompareBindParm] param bFind[0]  nFindNum[0] .",
                            "[BindDevBySomeWay] No find the chParm[Z]  devices ",
                            "[BindDevBySomeWay] bind fail."};
    EXPECT_NE(std::search(lines.begin(), lines.end(), expected.begin(), expected.end()), lines.end())
        << testing::PrintToString(lines);
}

} // namespace

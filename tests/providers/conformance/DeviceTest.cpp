// DeviceTest.cpp - finding a camera, its handles, and who may open what.
#include <algorithm>
#include <functional>
#include <string_view>
#include <thread>

#include "tests/providers/conformance/Provider.h"

using namespace ox3d::test;

namespace {

std::string_view BytesOf(const OX_CC_DEVICE_INFO& record) {
    return {reinterpret_cast<const char*>(&record), sizeof(record)};
}

TEST(Enumeration, TellsWhatACameraIsToThoseWhoAskForItsLayer) {
    const CHandle handle("user_name = left\n");
    const OX_CC_DEVICE_INFO& record = handle.Record();
    EXPECT_EQ(record.nTLayerType, kLayer);
    if (kLayer == OX_CC_USB_DEVICE) {
        EXPECT_STREQ(record.stUsb3Info.chSerialNumber, "S1");
        EXPECT_STREQ(record.stUsb3Info.chModelName, "Model One");
        EXPECT_STREQ(record.stUsb3Info.chManufacturerName, "Maker");
        EXPECT_EQ(record.stUsb3Info.nDeviceNumber, 1U);
        EXPECT_NE(record.stUsb3Info.chDeviceGuid[0], '\0');
        EXPECT_EQ(record.stUsb3Info.nVendorId, 0x1209);
    } else {
        EXPECT_STREQ(record.stGigEInfo.chSerialNumber, "S1");
        EXPECT_STREQ(record.stGigEInfo.chModelName, "Model One");
        EXPECT_STREQ(record.stGigEInfo.chManufacturerName, "Maker");
        EXPECT_STREQ(record.stGigEInfo.chDeviceVersion, "1.0.9");
        EXPECT_STREQ(record.stGigEInfo.chUserDefinedName, "left");
        EXPECT_EQ(record.nMacAddrHigh, 0x0200U);
        EXPECT_EQ(record.nMacAddrLow, 1U);
        EXPECT_EQ(record.stGigEInfo.nIpCfgOption, 0x07000000U);
        EXPECT_EQ(record.stGigEInfo.nIpCfgCurrent & OX_GIGE_IP_CFG_STATIC, OX_GIGE_IP_CFG_STATIC);
        EXPECT_NE(record.stGigEInfo.nNetExport, 0U);
    }
    const auto isOwn = [&](const OX_CC_DEVICE_INFO& other) { return BytesOf(other) == BytesOf(record); };
    OX_CC_DEVICE_INFO own{};
    ASSERT_EQ(CC(OX_CC_GetDeviceInfo)(handle, &own), 0);
    EXPECT_TRUE(isOwn(own));
    for (const uint32_t layers : {1U, 2U, 4U, 5U}) {
        const auto all = List(layers); // others may be on this host's network
        EXPECT_EQ(std::count_if(all.begin(), all.end(), isOwn), (layers & kLayer) == 0 ? 0 : 1) << layers;
    }
}

TEST(Handle, IsRefusedOnceItIsDestroyed) {
    CHandle handle;
    void* dead = handle;
    ASSERT_EQ(handle.Destroy(), 0);
    const CHandle next;
    EXPECT_EQ(CC(OX_CC_DestroyHandle)(dead), Status(OX_CC_E_HANDLE));
    EXPECT_EQ(CC(OX_CC_OpenDevice)(dead, OX_CC_ACCESS_EXCLUSIVE, 0), Status(OX_CC_E_HANDLE));
}

TEST(Handle, IsNotMadeForWhatIsNoCamera) {
    void* handle = nullptr;
    OX_CC_DEVICE_INFO record = CHandle().Record();
    record.nTLayerType = 77;
    EXPECT_EQ(CC(OX_CC_CreateHandle)(&handle, &record), kBadArgument);
    EXPECT_FALSE(CC(OX_CC_IsDeviceAccessible)(&record, OX_CC_ACCESS_EXCLUSIVE));
    record = {};
    record.nTLayerType = kLayer;
    EXPECT_EQ(CC(OX_CC_CreateHandle)(&handle, &record), kBadArgument);
    EXPECT_EQ(CC(OX_CC_CreateHandle)(nullptr, &record), kBadArgument);
    EXPECT_EQ(CC(OX_CC_CreateHandle)(&handle, nullptr), kBadArgument);
    EXPECT_EQ(handle, nullptr);
}

// Every function with an invalid handle, and with a valid one of an open camera but bad arguments.
TEST(Arguments, AreCheckedAfterTheHandle) {
    const COpenCamera handle;
    uint32_t word = 0;
    uint8_t bytes[8] = {};
    OX_FRAME_OUT_INFO_EX info{};
    OX_CC_FILE_ACCESS file{};
    file.pUserFileName = "one name only";
    const std::string longName(4096, 'n');
    using Call = std::function<int(void*)>;
    const Call calls[] = {
        [](void* h) { return CC(OX_CC_GetDeviceInfo)(h, nullptr); },
        [](void* h) { return CC(OX_CC_GetImageBuffer)(h, nullptr, 0); },
        [&](void* h) { return CC(OX_CC_GetOneFrameTimeout)(h, nullptr, 8, &info, 0); },
        [&](void* h) { return CC(OX_CC_GetOneFrameTimeout)(h, bytes, 8, nullptr, 0); },
        [](void* h) { return CC(OX_CC_FreeImageBuffer)(h, nullptr); },
        [](void* h) { return CC(OX_CC_SetImageNodeNum)(h, 257); },
        [](void* h) { return CC(OX_CC_SetImageNodeNum)(h, 0); },
        [](void* h) { return CC(OX_CC_GetAllMatchInfo)(h, nullptr); },
        [&](void* h) { return CC(OX_CC_RegisterEventCallBackEx)(h, longName.c_str(), nullptr, nullptr); },
        [](void* h) { return CC(OX_CC_RegisterEventCallBackEx)(h, nullptr, nullptr, nullptr); },
        [](void* h) { return CC(OX_CC_SetIntValue)(h, nullptr, 1); },
        [&](void* h) { return CC(OX_CC_SetIntValue)(h, longName.c_str(), 1); },
        [](void* h) { return CC(OX_CC_GetIntValue)(h, "StreamLostFrameCount", nullptr); },
        [](void* h) { return CC(OX_CC_GetIntValueEx)(h, "Width", nullptr); },
        [](void* h) { return CC(OX_CC_SetEnumValueByString)(h, "TriggerMode", nullptr); },
        [](void* h) { return CC(OX_CC_SetStringValue)(h, "DeviceUserID", nullptr); },
        [](void* h) { return CC(OX_CC_GetStringValue)(h, "DeviceUserID", nullptr); },
        [](void* h) { return CC(OX_CC_FeatureLoad)(h, "no/such/file"); },
        [](void* h) { return CC(OX_CC_FeatureSave)(h, "/dev/null"); },
        [](void* h) { return CC(OX_CC_FeatureSave)(h, nullptr); },
        [&](void* h) { return CC(OX_XML_GetGenICamXML)(h, nullptr, 8, &word); },
        [&](void* h) { return CC(OX_XML_GetNodeInterfaceType)(h, nullptr, &word); },
        [](void* h) { return CC(OX_XML_GetNodeAccessMode)(h, "Width", nullptr); },
        [&](void* h) { return CC(OX_CC_ReadMemory)(h, bytes, -4, 4); },
        [&](void* h) { return CC(OX_CC_ReadMemory)(h, bytes, 0, INT64_MAX); },
        [&](void* h) { return CC(OX_CC_ReadMemory)(h, bytes, 0, 0); },
        [](void* h) { return CC(OX_CC_WriteMemory)(h, nullptr, 0, 4); },
        [](void* h) { return CC(OX_CC_GetUpgradeProcess)(h, nullptr); },
        [](void* h) { return CC(OX_GIGE_GetGvcpTimeout)(h, nullptr); },
        [](void* h) { return CC(OX_GIGE_SetIpConfig)(h, 0x03000000); },
        [&](void* h) { return CC(OX_CC_FileAccessRead)(h, &file); },
        [](void* h) { return CC(OX_CC_GetFileAccessProgress)(h, nullptr); },
        [](void* h) { return CC(OX_CC_LocalUpgrade)(h, nullptr); },
        [](void* h) { return CC(OX_CC_LocalUpgrade)(h, "/dev/zero"); },
    };
    for (size_t i = 0; i < std::size(calls); ++i) {
        EXPECT_EQ(calls[i](handle), kBadArgument) << "row " << i;
        EXPECT_EQ(calls[i](nullptr), Status(OX_CC_E_HANDLE)) << "row " << i;
        EXPECT_EQ(calls[i](&word), Status(OX_CC_E_HANDLE)) << "row " << i;
    }
    EXPECT_EQ(CC(OX_CC_EnumDevices)(5, nullptr), kBadArgument);
    EXPECT_FALSE(CC(OX_CC_IsDeviceAccessible)(nullptr, 1));
}

TEST(CallOrder, IsAskedForOpenAndStartedCameras) {
    const CHandle handle;
    OX_CC_INT_VALUE_EX value{};
    for (int round = 0; round < 2; ++round) { // a camera that has been closed is like one never opened
        EXPECT_EQ(CC(OX_CC_GetIntValueEx)(handle, "Width", &value), kCallOrder);
        EXPECT_EQ(CC(OX_CC_StartGrabbing)(handle), kCallOrder);
        EXPECT_EQ(handle.Close(), kCallOrder);
        handle.Open();
        EXPECT_EQ(CC(OX_CC_OpenDevice)(handle, 1, 0), kCallOrder);
        EXPECT_EQ(handle.Stop(), kCallOrder);
        EXPECT_EQ(handle.Fetch(1000), kCallOrder);
        handle.Start();
        EXPECT_EQ(CC(OX_CC_StartGrabbing)(handle), kCallOrder);
        EXPECT_EQ(handle.Close(), 0); // stops as well
        EXPECT_EQ(handle.Fetch(1000), kCallOrder);
    }
}

TEST(Access, IsSharedAsTheModesAllow) {
    const CHandle first;
    const CHandle second(first.Record());
    OX_CC_DEVICE_INFO record = first.Record();
    for (const auto& [held, wanted] : {std::pair{1U, 1U},
                                       {1U, 3U},
                                       {1U, 7U},
                                       {3U, 1U},
                                       {3U, 3U},
                                       {3U, 7U},
                                       {7U, 1U},
                                       {7U, 3U},
                                       {7U, 7U}}) {
        SCOPED_TRACE(std::to_string(held) + " then " + std::to_string(wanted));
        const bool isShared = CanShare(held, wanted);
        EXPECT_TRUE(CC(OX_CC_IsDeviceAccessible)(&record, held));
        first.Open(held);
        EXPECT_EQ(CC(OX_CC_IsDeviceAccessible)(&record, wanted), isShared);
        EXPECT_EQ(CC(OX_CC_OpenDevice)(second, wanted, 0), isShared ? 0 : kDenied);
        EXPECT_EQ(first.Gain(), 0) << "the first is none the worse";
        EXPECT_EQ(first.Close(), 0);
        second.Close();
    }
    EXPECT_EQ(CC(OX_CC_OpenDevice)(first, 2, 0), kBadArgument);
    EXPECT_FALSE(CC(OX_CC_IsDeviceAccessible)(&record, 2));
}

TEST(Access, LetsAMonitorLookAndNotTouch) {
    const CHandle monitor;
    monitor.Open(OX_CC_ACCESS_MONITOR);
    EXPECT_EQ(monitor.Gain(), 0);
    if (CanShare(OX_CC_ACCESS_MONITOR, OX_CC_ACCESS_CONTROL)) {
        const CHandle owner(monitor.Record());
        owner.Open(OX_CC_ACCESS_CONTROL);
        std::this_thread::sleep_for(
            std::chrono::milliseconds(500)); // whatever looks after the two has looked
        EXPECT_EQ(owner.SetGain(2), 0);
        EXPECT_EQ(monitor.Gain(), 2);
        const CHandle late(monitor.Record());
        late.Open(OX_CC_ACCESS_MONITOR);
        EXPECT_EQ(owner.Gain(), 2) << "settings stay";
    }
    EXPECT_EQ(CC(OX_CC_FeatureSave)(monitor, "features.txt"), 0);
    for (const int status :
         {CC(OX_CC_SetEnumValue)(monitor, "TriggerMode", 1),
          CC(OX_CC_SetStringValue)(monitor, "DeviceUserID", "x"),
          CC(OX_CC_SetBoolValue)(monitor, "ChunkModeActive", true),
          CC(OX_CC_FeatureLoad)(monitor, "features.txt"), CC(OX_CC_WriteMemory)(monitor, "x", 0x20000, 1),
          CC(OX_CC_LocalUpgrade)(monitor, "features.txt")}) {
        EXPECT_EQ(status, kDenied);
    }
    EXPECT_EQ(monitor.SetGain(1), kDenied);
    EXPECT_EQ(CC(OX_CC_SetCommandValue)(monitor, "DeviceReset"), kDenied);
    EXPECT_EQ(CC(OX_CC_StartGrabbing)(monitor), kDenied);
    EXPECT_EQ(monitor.Stop(), kCallOrder);
}

} // namespace

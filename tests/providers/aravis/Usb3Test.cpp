// Usb3Test.cpp - the provider on a USB3 Vision camera that a stand-in for libusb plays; only run with it
// preloaded.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ox3drgbd/OxCameraControl.h>

#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <unistd.h>

namespace {

void* Symbol(const char* name) {
    static void* const s_library = dlopen(OX3D_PROVIDER, RTLD_NOW | RTLD_LOCAL);
    void* symbol = s_library == nullptr ? nullptr : dlsym(s_library, name);
    EXPECT_NE(symbol, nullptr) << name;
    return symbol;
}
#define CC(name) reinterpret_cast<decltype(&::name)>(Symbol(#name))

constexpr int Status(uint32_t code) {
    return static_cast<int>(code);
}

class Usb3 : public testing::Test {
protected:
    void SetUp() override {
        unlink(m_unplug);
        setenv("OX3D_USB_UNPLUG", m_unplug, 1);
        OX_CC_DEVICE_INFO_LIST list{};
        ASSERT_EQ(CC(OX_CC_EnumDevices)(OX_CC_USB_DEVICE, &list), 0);
        ASSERT_EQ(list.nDeviceNum, 1u);
        m_record = *list.pDeviceInfo[0];
        ASSERT_EQ(CC(OX_CC_CreateHandle)(&m_handle, &m_record), 0);
        ASSERT_EQ(CC(OX_CC_OpenDevice)(m_handle, OX_CC_ACCESS_EXCLUSIVE, 0), 0);
    }
    void TearDown() override {
        CC(OX_CC_DestroyHandle)(m_handle);
        unlink(m_unplug);
    }
    const char* const m_unplug = "unplugged";
    OX_CC_DEVICE_INFO m_record{};
    void* m_handle = nullptr;
};

TEST_F(Usb3, ACameraIsListedWithItsNames) {
    EXPECT_EQ(m_record.nTLayerType, OX_CC_USB_DEVICE);
    EXPECT_STREQ(m_record.stUsb3Info.chVendorName, "Fake");
    EXPECT_STREQ(m_record.stUsb3Info.chModelName, "FakeUsb");
    EXPECT_STREQ(m_record.stUsb3Info.chSerialNumber, "U3V0001");
    EXPECT_STREQ(m_record.stUsb3Info.chDeviceGuid, "12090001CAFE");
    EXPECT_EQ(m_record.stUsb3Info.nVendorId, 0x1209);
}

TEST_F(Usb3, FeaturesKeepTypeRangeIncrementAndAccess) {
    const struct {
        int m_got;
        uint32_t m_wanted;
    } kRows[] = {{CC(OX_CC_SetIntValueEx)(m_handle, "Step", 12), OX_CC_OK},
                 {CC(OX_CC_SetIntValueEx)(m_handle, "Step", 13), OX_CC_E_GC_RANGE}, // not a step of 4
                 {CC(OX_CC_SetIntValueEx)(m_handle, "Step", 104), OX_CC_E_GC_RANGE},
                 {CC(OX_CC_SetIntValueEx)(m_handle, "Width", 64), OX_CC_E_GC_ACCESS},
                 {CC(OX_CC_SetBoolValue)(m_handle, "Step", true), OX_CC_E_GC_DYNAMIC_CAST},
                 {CC(OX_CC_SetIntValueEx)(m_handle, "Nothing", 1), OX_CC_E_GC_ARGUMENT},
                 {CC(OX_CC_SetStringValue)(m_handle, "DeviceUserID", "left"), OX_CC_OK}};
    for (const auto& row : kRows) {
        EXPECT_EQ(row.m_got, Status(row.m_wanted));
    }
    OX_CC_INT_VALUE_EX step{};
    EXPECT_EQ(CC(OX_CC_GetIntValueEx)(m_handle, "Step", &step), 0);
    EXPECT_EQ(step.nCurValue, 12);
    OX_CC_STRING_VALUE name{};
    EXPECT_EQ(CC(OX_CC_GetStringValue)(m_handle, "DeviceUserID", &name), 0);
    EXPECT_STREQ(name.chCurValue, "left");
    char raw[6] = {};
    EXPECT_EQ(CC(OX_CC_ReadMemory)(m_handle, raw, 0x185, 3), 0); // no whole word
    EXPECT_STREQ(raw, "eft");
}

TEST_F(Usb3, FramesComeWholeWithTheirChunk) {
    ASSERT_EQ(CC(OX_CC_StartGrabbing)(m_handle), 0);
    EXPECT_EQ(CC(OX_CC_SetIntValueEx)(m_handle, "Step", 8), Status(OX_CC_E_GC_ACCESS)); // locked
    uint32_t last = 0;
    for (int i = 0; i < 50; ++i) {
        OX_FRAME_OUT frame{};
        ASSERT_EQ(CC(OX_CC_GetImageBuffer)(m_handle, &frame, 20000), 0);
        const OX_FRAME_OUT_INFO_EX& info = frame.stFrameInfo;
        EXPECT_GT(info.nFrameNum, last);
        last = info.nFrameNum;
        EXPECT_EQ(info.nWidth * info.nHeight * 2u, info.nFrameLen);
        EXPECT_EQ(info.enPixelType, 0x011000B8u);
        EXPECT_EQ(frame.pBufAddr[0] | (frame.pBufAddr[info.nFrameLen - 1] << 8), static_cast<int>(last));
        ASSERT_EQ(info.nUnparsedChunkNum, 1u);
        EXPECT_EQ(info.pUnparsedChunkContent[0].nChunkID, OX_CHUNK_EXTENDED_IMAGE);
        EXPECT_EQ(info.pUnparsedChunkContent[0].nChunkLen, 132u);
        EXPECT_EQ(info.pUnparsedChunkContent[0].pChunkData[131], static_cast<uint8_t>(last));
        EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(m_handle, &frame), 0);
    }
    EXPECT_EQ(CC(OX_CC_StopGrabbing)(m_handle), 0);
}

TEST_F(Usb3, ASecondOpenerIsRefused) {
    void* second = nullptr;
    ASSERT_EQ(CC(OX_CC_CreateHandle)(&second, &m_record), 0);
    EXPECT_FALSE(CC(OX_CC_IsDeviceAccessible)(&m_record, OX_CC_ACCESS_EXCLUSIVE));
    EXPECT_EQ(CC(OX_CC_OpenDevice)(second, OX_CC_ACCESS_EXCLUSIVE, 0), Status(OX_CC_E_ACCESS_DENIED));
    EXPECT_EQ(CC(OX_CC_CloseDevice)(m_handle), 0);
    EXPECT_TRUE(CC(OX_CC_IsDeviceAccessible)(&m_record, OX_CC_ACCESS_EXCLUSIVE));
    setenv("OX3D_USB_BUSY", ".", 1); // another process
    EXPECT_EQ(CC(OX_CC_OpenDevice)(second, OX_CC_ACCESS_EXCLUSIVE, 0), Status(OX_CC_E_ACCESS_DENIED));
    unsetenv("OX3D_USB_BUSY");
    EXPECT_EQ(CC(OX_CC_OpenDevice)(second, OX_CC_ACCESS_EXCLUSIVE, 0), 0);
    EXPECT_EQ(CC(OX_CC_DestroyHandle)(second), 0);
}

struct Loss {
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0;
};

TEST_F(Usb3, UnpluggingIsToldOnceAndCallsEndCleanly) {
    Loss loss;
    const auto onLoss = [](uint32_t message, void* user) {
        auto* told = static_cast<Loss*>(user);
        const std::lock_guard lock(told->m_mutex);
        told->m_count += message == OX_CC_EXCEPTION_DEV_DISCONNECT ? 1 : 100;
        told->m_changed.notify_all();
    };
    ASSERT_EQ(CC(OX_CC_RegisterExceptionCallBack)(m_handle, onLoss, &loss), 0);
    ASSERT_EQ(CC(OX_CC_StartGrabbing)(m_handle), 0);
    std::ofstream(m_unplug) << "gone\n";
    {
        std::unique_lock lock(loss.m_mutex);
        EXPECT_TRUE(
            loss.m_changed.wait_for(lock, std::chrono::seconds(60), [&] { return loss.m_count > 0; }));
    }
    OX_CC_INT_VALUE_EX value{};
    EXPECT_EQ(CC(OX_CC_GetIntValueEx)(m_handle, "Step", &value), Status(OX_CC_E_PRECONDITION));
    EXPECT_EQ(CC(OX_CC_StopGrabbing)(m_handle), 0);
    EXPECT_EQ(CC(OX_CC_CloseDevice)(m_handle), 0);
    EXPECT_EQ(loss.m_count, 1);
    EXPECT_EQ(CC(OX_CC_OpenDevice)(m_handle, OX_CC_ACCESS_EXCLUSIVE, 0), Status(OX_CC_E_PRECONDITION));
    unlink(m_unplug);
    EXPECT_EQ(CC(OX_CC_OpenDevice)(m_handle, OX_CC_ACCESS_EXCLUSIVE, 0), 0);
}

} // namespace

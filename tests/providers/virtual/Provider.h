// Provider.h - the provider opened at run time, and cameras on a list of the test's own.
#ifndef OX3D_TEST_PROVIDER_H
#define OX3D_TEST_PROVIDER_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ox3drgbd/OxCameraControl.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "tests/support/Waiting.h"

namespace ox3d::test {

inline void* ProviderSymbol(const char* name) {
    static void* const s_library = dlopen(OX3D_PROVIDER, RTLD_NOW | RTLD_LOCAL);
    void* symbol = s_library == nullptr ? nullptr : dlsym(s_library, name);
    EXPECT_NE(symbol, nullptr) << name;
    return symbol;
}

// CC(OX_CC_StartGrabbing)(handle): the provider's function, not one that happens to be linked here.
#define CC(name) reinterpret_cast<decltype(&::name)>(::ox3d::test::ProviderSymbol(#name))

constexpr int Status(uint32_t code) {
    return static_cast<int>(code);
}

// Small and fast, so that tests wait little; names of their own, since cameras live as long as the process.
inline std::string CameraText(const std::string& serial, const std::string& more = "") {
    return "[camera]\nserial = " + serial +
           "\ncolor_width = 640\ncolor_height = 480\nnoise = no\nfps = 100\n" + more + "\n";
}

inline OX_CC_DEVICE_INFO_LIST List(const std::string& text, uint32_t layers = 5) {
    const std::string path = "cameras.ini";
    std::ofstream(path) << text;
    setenv("OX3D_VIRTUAL_CAMERAS", path.c_str(), 1);
    OX_CC_DEVICE_INFO_LIST list{};
    EXPECT_EQ(CC(OX_CC_EnumDevices)(layers, &list), 0);
    return list;
}

// One handle of the first listed camera.
class CHandle {
public:
    explicit CHandle(const std::string& text) {
        const OX_CC_DEVICE_INFO_LIST list = List(text);
        EXPECT_GE(list.nDeviceNum, 1u);
        EXPECT_EQ(CC(OX_CC_CreateHandle)(&m_handle, list.pDeviceInfo[0]), 0);
    }
    ~CHandle() { Destroy(); }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;

    operator void*() const { return m_handle; } // NOLINT(google-explicit-constructor)
    void Open() const { ASSERT_EQ(CC(OX_CC_OpenDevice)(m_handle, OX_CC_ACCESS_EXCLUSIVE, 0), 0); }
    void Start() const { ASSERT_EQ(CC(OX_CC_StartGrabbing)(m_handle), 0); }
    void EnableColor() const {
        EXPECT_EQ(CC(OX_CC_SetEnumValue)(m_handle, "CameraWorkingMode", 4), 0);
        EXPECT_EQ(CC(OX_CC_SetBoolValue)(m_handle, "ChunkModeActive", true), 0);
        EXPECT_EQ(CC(OX_CC_SetEnumValue)(m_handle, "ChunkSelector", 24), 0);
        EXPECT_EQ(CC(OX_CC_SetBoolValue)(m_handle, "ChunkEnable", true), 0);
    }
    // Number of the next frame, 0 when there is none in time.
    uint32_t Fetch(uint32_t timeoutMs = 20000) const {
        OX_FRAME_OUT frame{};
        if (CC(OX_CC_GetImageBuffer)(m_handle, &frame, timeoutMs) != 0) {
            return 0;
        }
        EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(m_handle, &frame), 0);
        return frame.stFrameInfo.nFrameNum;
    }
    int Destroy() {
        return m_handle == nullptr ? 0 : CC(OX_CC_DestroyHandle)(std::exchange(m_handle, nullptr));
    }

private:
    void* m_handle = nullptr;
};

} // namespace ox3d::test

#endif

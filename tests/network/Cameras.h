// Cameras.h - network cameras as a child process, a device of the library, and what its frames must show.
//
// Everything runs in a private network, where the loopback interface is the only one.
#ifndef OX3D_TEST_NETWORK_CAMERAS_H
#define OX3D_TEST_NETWORK_CAMERAS_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "virtual-camera/frames/FrameSource.h"
#include <ox3drgbd/Ox3dRgbdApi.h>

namespace ox3d::test {

// ox3d-virtual-camera with these arguments; it answers once the constructor has returned.
class CCameras {
public:
    explicit CCameras(std::vector<std::string> arguments)
        : m_process(WithProgram(std::move(arguments)), ".") {
        EXPECT_TRUE(m_process.WaitForOutput("\nready\n")) << m_process.Output();
    }
    // Gone without a word, as by a cut cable.
    void Kill() { m_process.Signal(9); }

private:
    static std::vector<std::string> WithProgram(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OX3D_VIRTUAL_CAMERA);
        return arguments;
    }
    CProcess m_process;
};

// One device of the library, closed at the end.
class CDevice {
public:
    explicit CDevice(const char* serial) {
        EXPECT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, serial), OX3D_RGBD_OK);
        for (const char* key : {OX3D_RGBD_KEY_IMAGE_ALIGN, OX3D_RGBD_KEY_RESOLUTION_ALIGN}) {
            SetInt(key, 0); // images as the camera sends them
        }
    }
    ~CDevice() { EXPECT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK); }
    CDevice(const CDevice&) = delete;
    CDevice& operator=(const CDevice&) = delete;
    operator void*() const { return m_handle; }

    OX3D_RGBD_PARAM Get(const char* key) const {
        OX3D_RGBD_PARAM value{};
        EXPECT_EQ(OX3D_RGBD_GetParam(m_handle, key, &value), OX3D_RGBD_OK) << key;
        return value;
    }
    void SetInt(const char* key, int64_t number) const {
        OX3D_RGBD_PARAM value{};
        value.enParamType = OX3D_RGBD_PARAM_INT;
        value.stIntParam.nCurValue = number;
        EXPECT_EQ(OX3D_RGBD_SetParam(m_handle, key, &value), OX3D_RGBD_OK) << key;
    }
    void SetFloat(const char* key, float number) const {
        OX3D_RGBD_PARAM value{};
        value.enParamType = OX3D_RGBD_PARAM_FLOAT;
        value.stFloatParam.fCurValue = number;
        EXPECT_EQ(OX3D_RGBD_SetParam(m_handle, key, &value), OX3D_RGBD_OK) << key;
    }

private:
    void* m_handle = nullptr;
};

constexpr uint32_t kCycle = 8; // frames that differ, over and over

// The camera of 8.06 MB frames: 1280 x 720 depth, 1920 x 1080 color.
inline std::string BigCamera() {
    return "serial=BIG,width=1280,height=720,color_width=1920,color_height=1080,cycle=" +
           std::to_string(kCycle);
}

// The images that the camera sends, made from the same scene.
class CTruth {
public:
    explicit CTruth(uint32_t depthWidth = 640, uint32_t depthHeight = 480, uint32_t colorWidth = 1280,
                    uint32_t colorHeight = 960) {
        FrameSourceConfig config;
        config.m_depthWidth = depthWidth;
        config.m_depthHeight = depthHeight;
        config.m_colorWidth = colorWidth;
        config.m_colorHeight = colorHeight;
        std::string error;
        m_source = CreateFrameSource(config, &error);
        m_frames.resize(kCycle);
        for (uint32_t i = 0; i < kCycle; ++i) {
            EXPECT_TRUE(m_source->Render(i, true, false, &m_frames[i])) << error;
        }
    }
    const std::string& CalibrationXml() const { return m_source->CalibrationXml(); }
    // Every byte of depth and color.
    bool IsShownBy(const OX3D_RGBD_FRAME_DATA& frame) const;

private:
    std::unique_ptr<CFrameSource> m_source;
    std::vector<FrameImages> m_frames;
};

std::string ReadBytes(const std::string& name);
void WriteBytes(const std::string& name, const std::string& bytes);

} // namespace ox3d::test

#endif

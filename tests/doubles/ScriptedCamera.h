// ScriptedCamera.h - fixtures of the tests that run the library against the scripted camera-control library:
// a fresh working folder for the process, two cameras, frames, and the log lines of single calls.
#ifndef OX3D_SCRIPTED_CAMERA_H
#define OX3D_SCRIPTED_CAMERA_H

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/doubles/Double.h"
#include "tests/support/Files.h"
#include "tests/support/OpenThings.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <ox3drgbd/Ox3dRgbdImgProc.h>

using namespace ox3d::test;

// The library opens its log in the working folder of its first call, so there is one folder for the process.
inline const CWorkFolder g_processFolder;

template <size_t N>
void SetText(char (&field)[N], const std::string& text) {
    memset(field, 0, N);
    memcpy(field, text.data(), std::min(N, text.size()));
}

inline OX_CC_DEVICE_INFO EthernetDevice(const std::string& serial, const std::string& model = "RGBD-E",
                                        uint32_t ip = 0xC0A8010Au) {
    OX_CC_DEVICE_INFO device = {};
    device.nTLayerType = OX_CC_GIGE_DEVICE;
    device.stGigEInfo.nCurrentIp = ip;
    SetText(device.stGigEInfo.chSerialNumber, serial);
    SetText(device.stGigEInfo.chModelName, model);
    return device;
}

inline OX_CC_DEVICE_INFO UsbDevice(const std::string& serial, const std::string& model = "RGBD-U") {
    OX_CC_DEVICE_INFO device = {};
    device.nTLayerType = OX_CC_USB_DEVICE;
    SetText(device.stUsb3Info.chSerialNumber, serial);
    SetText(device.stUsb3Info.chModelName, model);
    return device;
}

// Two sets: 640 x 480 with a focal length of 500, and 1280 x 720 with 1000. The color camera is moved by
// (21, 1, 0), which at a depth of 1000 is 10.5 columns and half a row of the first set.
inline const char* const kCalibration = R"(<?xml version="1.0"?><Calib>
 <RGBD_1><Camera img_w="640" img_h="480"/>
  <Left_correct><Intrins fx="500" fy="500" cx="320" cy="240"/></Left_correct>
  <Left_correct_2_RGB><RotMat r00="1" r11="1" r22="1"/><TVec t0="21" t1="1" t2="0"/></Left_correct_2_RGB>
  <RGB><Intrins fx="500" fy="500" cx="320" cy="240"/><Distort k1="0.5" k2="2" p1="3" p2="4" k3="5"/></RGB>
 </RGBD_1><RGBD_2><Camera img_w="1280" img_h="720"/>
  <Left_correct><Intrins fx="1000" fy="900" cx="640" cy="360"/>
   <Distort k1="1.5" k2="2" p1="3" p2="4" k3="5"/></Left_correct>
  <Left_correct_2_RGB><RotMat r00="1" r11="1" r22="1"/><TVec t0="0" t1="0" t2="0"/></Left_correct_2_RGB>
  <RGB><Intrins fx="1100" fy="1000" cx="641" cy="361"/><Distort k1="6" k2="7" p1="8" p2="9" k3="10"/></RGB>
 </RGBD_2></Calib>)";

// A frame's main image and chunks, which own their memory. Alive as long as a frame of it is out.
class CRawFrame {
public:
    CRawFrame(uint16_t width, uint16_t height, uint32_t frameNumber = 1, uint16_t depth = 1000)
        : m_main(size_t{width} * height * 2) {
        for (size_t i = 0; i < m_main.size(); i += 2) {
            memcpy(&m_main[i], &depth, sizeof(depth));
        }
        m_info.nWidth = width;
        m_info.nHeight = height;
        m_info.enPixelType = OX3D_RGBD_PIXEL_DEPTH16;
        m_info.nFrameNum = frameNumber;
        m_info.nDevTimeStampHigh = 2;
        m_info.nDevTimeStampLow = 3;
        m_info.nFrameLen = static_cast<uint32_t>(m_main.size());
    }
    CRawFrame(const CRawFrame&) = delete;
    CRawFrame& operator=(const CRawFrame&) = delete;

    // A chunk of a header and a payload whose byte i is first + i.
    std::vector<uint8_t>& AddChunk(uint32_t id, uint32_t headerBytes, uint32_t width, uint32_t height,
                                   size_t payloadBytes, uint8_t first = 0) {
        auto& bytes = m_chunkBytes.emplace_back(headerBytes + payloadBytes, uint8_t{0xEE});
        const uint32_t words[3] = {OX3D_RGBD_PIXEL_RGB8_PLANAR, width, height};
        memcpy(bytes.data(), words, sizeof(words));
        for (size_t i = 0; i < payloadBytes; ++i) {
            bytes[headerBytes + i] = static_cast<uint8_t>(first + i);
        }
        AddRecord(bytes.data(), id, static_cast<uint32_t>(bytes.size()));
        return bytes;
    }
    std::vector<uint8_t>& AddColor(uint32_t width, uint32_t height, uint8_t first = 0) {
        return AddChunk(OX_CHUNK_EXTENDED_IMAGE, 32, width, height, size_t{width} * height * 3, first);
    }
    void AddRecord(uint8_t* data, uint32_t id, uint32_t lengthBytes) {
        m_chunks.push_back({data, id, lengthBytes, {}});
    }
    OX_FRAME_OUT Out() {
        OX_FRAME_OUT out = {};
        out.pBufAddr = m_main.data();
        out.stFrameInfo = *Info();
        return out;
    }
    OX_FRAME_OUT_INFO_EX* Info() {
        m_info.nUnparsedChunkNum = static_cast<uint32_t>(m_chunks.size());
        m_info.pUnparsedChunkContent = m_chunks.data();
        return &m_info;
    }
    OX_FRAME_OUT_INFO_EX m_info = {};
    std::vector<uint8_t> m_main;

private:
    std::deque<std::vector<uint8_t>> m_chunkBytes;
    std::vector<OX_CHUNK_DATA_CONTENT> m_chunks;
};

inline OX3D_RGBD_IMAGE_DATA DepthImage(std::vector<uint8_t>& samples, uint32_t width, uint32_t height) {
    OX3D_RGBD_IMAGE_DATA image = {};
    image.enImageType = OX3D_RGBD_PIXEL_DEPTH16;
    image.nWidth = width;
    image.nHeight = height;
    image.nDataLen = width * height * 2;
    image.pData = samples.data();
    return image;
}

template <class Record>
std::vector<uint8_t> RecordBytes(const Record& record) {
    const auto* first = reinterpret_cast<const uint8_t*>(&record);
    return {first, first + sizeof(record)};
}

inline OX3D_RGBD_PARAM IntParam(int64_t value) {
    OX3D_RGBD_PARAM param = {};
    param.enParamType = OX3D_RGBD_PARAM_INT;
    param.stIntParam.nCurValue = value;
    return param;
}

// The status of a call, and all lines that it writes, its last one, or all calls that it makes of the camera.
#define EXPECT_LINES(call, status, ...) \
    EXPECT_EQ(LinesOf([&] { EXPECT_EQ((call), (status)); }), (Lines{__VA_ARGS__}))
#define EXPECT_LAST_LINE(call, status, line) \
    EXPECT_EQ(LastOf(LinesOf([&] { EXPECT_EQ((call), (status)); })), line)
#define EXPECT_CALLS(call, status, ...) \
    EXPECT_EQ(CallsOf([&] { EXPECT_EQ((call), (status)); }), (Lines{__VA_ARGS__}))

class CScripted : public testing::Test {
protected:
    using Lines = std::vector<std::string>;

    void SetUp() override {
        uint32_t count = 0;
        OX3D_RGBD_GetDeviceNumber(OX3D_RGBD_DEVICE_ALL, &count); // from here on there is a log
        std::filesystem::remove("Ox3dRgbdCfg.ini");
        Double().Reset();
        Double().SetDevices({EthernetDevice("ETH1"), UsbDevice("USB1")});
        Double().SetFile("RGBDSensorCali", kCalibration);
        // Every node is an integer, 640 whatever its name, until a later rule says otherwise.
        Answer(DOUBLE_OX_XML_GetNodeInterfaceType, OX_IFT_IInteger);
        Answer(DOUBLE_OX_CC_GetIntValueEx, OX_CC_INT_VALUE_EX{640, 4000, 1, 1});
        Answer(DOUBLE_OX_CC_GetIntValue, OX_CC_INT_VALUE{640, 4000, 1, 2, {}});
    }
    void TearDown() override {
        if (m_handle != nullptr) {
            EXPECT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK);
        }
        ExpectNothingLeft();
        Double().Reset();
    }

    static void Fail(uint32_t function, uint32_t status, uint32_t ordinal = 0) {
        Double().AddRule({.m_function = function, .m_ordinal = ordinal, .m_status = status});
    }
    template <class Record>
    static void Answer(uint32_t function, const Record& record) {
        Double().AddRule({.m_function = function, .m_output = RecordBytes(record)});
    }
    // Runs the work at that one of the function's calls, or at each for 0, on the caller's thread.
    static void OnCall(uint32_t function, uint32_t ordinal, std::function<void(const DoubleCall&)> work) {
        Double().AddRule({.m_function = function, .m_ordinal = ordinal, .m_work = std::move(work)});
    }
    static void ExpectNothingLeft() {
        EXPECT_EQ(Double().Handles(), 0u);
        EXPECT_EQ(Double().LentFrames(), 0u);
        EXPECT_EQ(Double().Script()->m_faults, 0u) << "calls that no caller should make";
    }
    // The calls that the work makes, each as "Function(arguments)".
    template <class Call>
    static Lines CallsOf(Call&& work) {
        const auto before = static_cast<std::ptrdiff_t>(Double().Calls().size());
        work();
        const Lines calls = Double().Calls();
        return {calls.begin() + before, calls.end()};
    }

    void Open(const char* serial = "ETH1") {
        ASSERT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, serial), OX3D_RGBD_OK);
    }
    void OpenAndStart(const char* serial = "ETH1") {
        Open(serial);
        ASSERT_EQ(Start(), OX3D_RGBD_OK);
    }
    uint32_t Start() { return OX3D_RGBD_Start(m_handle); }
    uint32_t Stop() { return OX3D_RGBD_Stop(m_handle); }
    void Close() { ASSERT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK); }
    uint32_t SetSwitch(const char* key, int64_t value) {
        OX3D_RGBD_PARAM param = IntParam(value);
        return OX3D_RGBD_SetParam(m_handle, key, &param);
    }
    void SwitchOff(const char* key) { ASSERT_EQ(SetSwitch(key, 0), OX3D_RGBD_OK); }
    static void Deliver(CRawFrame& frame, bool isAwaited = true) {
        Double().DeliverFrame(frame.m_main.data(), frame.Info(), isAwaited);
    }
    // Lends the frame to the library and fetches it.
    uint32_t Fetch(CRawFrame& frame) {
        Double().QueueFrame(frame.Out());
        memset(&m_frame, 0xAB, sizeof(m_frame)); // the library owes a record that is zeroed
        return OX3D_RGBD_FetchFrame(m_handle, &m_frame, 1000);
    }
    const OX3D_RGBD_IMAGE_DATA& Image(uint32_t index) const { return m_frame.stImageData[index]; }

    // ---- The log: it queues nine lines between two looks of its writer, so single calls can be watched ----

    // The lines that the work writes, without their headers and ends.
    template <class Call>
    static Lines LinesOf(Call&& work) {
        DrainLog();
        const auto before = static_cast<std::streamoff>(std::filesystem::file_size(kLogName));
        work();
        DrainLog();
        Lines lines;
        std::istringstream text(ReadFile(kLogName, before));
        for (std::string line; std::getline(text, line);) {
            line = line.substr(line.find(": ", line.find("-L")) + 2);
            if (line != kMarker) {
                lines.push_back(line.substr(0, line.size() - 1));
            }
        }
        return lines;
    }
    static std::string LastOf(const Lines& lines) { return lines.empty() ? std::string() : lines.back(); }
    // Makes LinesOf work for long sequences too: every camera call waits for the log.
    static void DrainLogAtEveryCall() {
        OnCall(kFunctions, 0, [](const DoubleCall&) { DrainLog(); });
    }
    // Returns when all lines so far are in the file.
    static void DrainLog() {
        const auto before = static_cast<std::streamoff>(std::filesystem::file_size(kLogName));
        const auto isMarked = [&] { return ReadFile(kLogName, before).find(kMarker) != std::string::npos; };
        int attempts = 0;
        ASSERT_TRUE(Eventually([&] {
            OX3D_RGBD_GetSDKVersion(nullptr); // lost when the queue is full
            ++attempts;
            for (int i = 0; i < 50 && !isMarked(); ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            return isMarked();
        }));
        if (attempts > 1) { // let a late marker in, or the next call here would take it for its own
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }

    static constexpr const char* kLogName = "Ox3dRgbdLog/Ox3dRgbd_00.log";
    void* m_handle = nullptr;
    OX3D_RGBD_FRAME_DATA m_frame = {};

private:
    static constexpr const char* kMarker = "[OX3D_RGBD_GetSDKVersion] stVersion is null.\r";
};

// The Ethernet camera is open.
class COpened : public CScripted {
protected:
    void SetUp() override {
        CScripted::SetUp();
        Open();
    }
};

#endif

// Provider.cpp - the recording that the camera plays, and how a test speaks to it.
#include "tests/providers/conformance/Provider.h"

#include <dlfcn.h>
#include <png.h>

#include <cstring>
#include <filesystem>
#include <utility>

#include "tests/support/Files.h"
#include "tests/support/Waiting.h"

namespace ox3d::test {
namespace {

constexpr uint32_t kFrames = 4;

uint16_t Depth(uint32_t frame, uint32_t pixel) {
    return static_cast<uint16_t>(1000 * (frame % kFrames + 1) + pixel % 997);
}

uint8_t Color(uint32_t frame, uint32_t pixel, uint32_t channel) {
    return static_cast<uint8_t>(50 * (frame % kFrames) + 7 * pixel + 80 * channel);
}

void WritePng(const std::string& path, uint32_t width, uint32_t height, png_uint_32 format,
              const void* pixels) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = format;
    EXPECT_NE(png_image_write_to_file(&image, path.c_str(), 0, pixels, 0, nullptr), 0) << image.message;
}

std::string RecordingFolder() {
    const std::filesystem::path folder = std::filesystem::absolute("recording");
    std::filesystem::create_directories(folder / "depth");
    std::filesystem::create_directories(folder / "color");
    WriteFile(folder / "calibration.xml", CalibrationText());
    for (uint32_t frame = 0; frame < kFrames; ++frame) {
        std::vector<uint16_t> depth(kDepthBytes / 2);
        std::vector<uint8_t> color(kColorBytes);
        for (uint32_t i = 0; i < depth.size(); ++i) {
            depth[i] = Depth(frame, i);
        }
        for (uint32_t i = 0; i < color.size(); ++i) {
            color[i] = Color(frame, i / 3, i % 3);
        }
        const std::string name = std::to_string(frame) + ".png";
        WritePng(folder / "depth" / name, kWidth, kHeight, PNG_FORMAT_LINEAR_Y, depth.data());
        WritePng(folder / "color" / name, kColorWidth, kColorHeight, PNG_FORMAT_RGB, color.data());
    }
    return folder;
}

bool IsColorOf(uint32_t frame, const OX_CHUNK_DATA_CONTENT& chunk) {
    constexpr uint32_t kHeader[8] = {0x02180021, kColorWidth, kColorHeight};
    if (chunk.nChunkID != OX_CHUNK_EXTENDED_IMAGE || chunk.nChunkLen != sizeof(kHeader) + kColorBytes ||
        std::memcmp(chunk.pChunkData, kHeader, sizeof(kHeader)) != 0) {
        return false;
    }
    const uint8_t* planes = chunk.pChunkData + sizeof(kHeader);
    for (uint32_t i = 0; i < kColorBytes; ++i) {
        if (planes[i] != Color(frame, i % (kColorBytes / 3), i / (kColorBytes / 3))) {
            return false;
        }
    }
    return true;
}

std::string& PluggedList() {
    static std::string s_list;
    return s_list;
}

} // namespace

void* ProviderSymbol(const char* name) {
    static void* const s_library = dlopen(Rig().Library(), RTLD_NOW | RTLD_LOCAL);
    void* symbol = s_library == nullptr ? nullptr : dlsym(s_library, name);
    EXPECT_NE(symbol, nullptr) << name;
    return symbol;
}

const std::string& CalibrationText() {
    static const std::string s_text = [] {
        std::string text = "<SensorCali>\n";
        for (int line = 0; text.size() < 9999; ++line) {
            text += "<!-- " + std::to_string(line) + " -->\n";
        }
        return text + "</SensorCali>\n";
    }();
    return s_text;
}

std::string CameraText(const std::string& more) {
    static const std::string s_folder = RecordingFolder();
    return "[camera]\ntransport = " + std::string(Rig().Layer() == OX_CC_USB_DEVICE ? "usb" : "gige") +
           "\nserial = S1\nmodel = Model One\nmanufacturer = Maker\ndevice_version = 1.0.9\n"
           "source = recording\nrecording = " +
           s_folder + "\nfps = 100\n" + more;
}

bool IsWhole(const uint8_t* image, const OX_FRAME_OUT_INFO_EX& info) {
    const uint32_t frame = info.nFrameNum - 1;
    if (info.nWidth != kWidth || info.nHeight != kHeight || info.enPixelType != 0x011000B8 ||
        info.nFrameLen != kDepthBytes || reinterpret_cast<uintptr_t>(image) % 64 != 0) {
        return false;
    }
    for (uint32_t i = 0; i < kDepthBytes / 2; ++i) {
        if ((image[2 * i] | image[2 * i + 1] << 8) != Depth(frame, i)) {
            return false;
        }
    }
    const uint32_t chunks = info.nUnparsedChunkNum;
    return chunks == 0 ? info.pUnparsedChunkContent == nullptr
                       : chunks == 1 && IsColorOf(frame, *info.pUnparsedChunkContent);
}

std::vector<OX_CC_DEVICE_INFO> List(uint32_t layers) {
    OX_CC_DEVICE_INFO_LIST list{};
    EXPECT_EQ(CC(OX_CC_EnumDevices)(layers, &list), 0);
    std::vector<OX_CC_DEVICE_INFO> records;
    for (uint32_t i = 0; i < list.nDeviceNum; ++i) {
        records.push_back(*list.pDeviceInfo[i]);
    }
    return records;
}

void Plug(const std::string& list) {
    Rig().Plug(list);
    PluggedList() = list;
}

CHandle::CHandle(const std::string& lines) {
    static OX_CC_DEVICE_INFO s_record; // searching takes a while
    const std::string text = CameraText(lines);
    // After a fault the camera may not be what it was.
    if (text != PluggedList() || text.find("fault") != text.npos) {
        Plug(text);
        const auto records = List();
        EXPECT_EQ(records.size(), 1U);
        s_record = records.empty() ? OX_CC_DEVICE_INFO{} : records.front();
    }
    Create(s_record);
}

CHandle::CHandle(const OX_CC_DEVICE_INFO& record) {
    Create(record);
}

// A busy machine fetches late: frames are only lost where a test means it.
void CHandle::Create(const OX_CC_DEVICE_INFO& record) {
    m_record = record;
    EXPECT_EQ(CC(OX_CC_CreateHandle)(&m_handle, &m_record), 0);
    EXPECT_EQ(CC(OX_CC_SetImageNodeNum)(m_handle, 64), 0);
}

void CHandle::Open(uint32_t accessMode) const {
    ASSERT_EQ(CC(OX_CC_OpenDevice)(m_handle, accessMode, 0), 0);
}

int CHandle::OpenAgain() const {
    int status = kGone;
    Eventually([&] {
        status = CC(OX_CC_OpenDevice)(m_handle, OX_CC_ACCESS_EXCLUSIVE, 0);
        return status != kGone;
    });
    return status;
}

int CHandle::Destroy() {
    return m_handle == nullptr ? 0 : CC(OX_CC_DestroyHandle)(std::exchange(m_handle, nullptr));
}

void CHandle::Set(const char* key, uint32_t value) const {
    EXPECT_EQ(CC(OX_CC_SetEnumValue)(m_handle, key, value), 0) << key;
}

void CHandle::EnableColor() const {
    Set("CameraWorkingMode", 4);
    EXPECT_EQ(CC(OX_CC_SetBoolValue)(m_handle, "ChunkModeActive", true), 0);
    Set("ChunkSelector", 24);
    EXPECT_EQ(CC(OX_CC_SetBoolValue)(m_handle, "ChunkEnable", true), 0);
}

void CHandle::OpenForTriggers() const {
    Open();
    Set("TriggerMode", 1);
}

uint32_t CHandle::Fetch(uint32_t timeoutMs) const {
    OX_FRAME_OUT frame{};
    if (CC(OX_CC_GetImageBuffer)(m_handle, &frame, timeoutMs) != 0) {
        return 0;
    }
    EXPECT_TRUE(IsWhole(frame.pBufAddr, frame.stFrameInfo)) << "frame " << frame.stFrameInfo.nFrameNum;
    EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(m_handle, &frame), 0);
    return frame.stFrameInfo.nFrameNum;
}

int CHandle::FetchStatus(uint32_t timeoutMs) const {
    OX_FRAME_OUT frame{};
    const int status = CC(OX_CC_GetImageBuffer)(m_handle, &frame, timeoutMs);
    if (status == 0) {
        EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(m_handle, &frame), 0);
    }
    return status;
}

int64_t CHandle::Lost() const {
    OX_CC_INT_VALUE_EX lost{};
    EXPECT_EQ(CC(OX_CC_GetIntValueEx)(m_handle, "StreamLostFrameCount", &lost), 0);
    return lost.nCurValue;
}

} // namespace ox3d::test

// Provider.cpp - the recording that the camera plays, and how a test speaks to it.
#include "tests/providers/conformance/Provider.h"

#include <dlfcn.h>

#include <cstring>
#include <utility>

#include "recording/RecordingWriter.h"
#include "tests/support/Files.h"
#include "tests/support/Waiting.h"

namespace ox3d::test {
namespace {

constexpr uint32_t kFrames = 4;
constexpr PngSize kDepthSize{64, 48};
constexpr PngSize kColorSize{32, 24};
constexpr uint32_t kColorPixels = kColorSize.m_width * kColorSize.m_height;

struct Images {
    std::vector<uint16_t> m_depth;
    std::vector<uint8_t> m_planes; // red, green, blue
};

Images ImagesOf(uint32_t frame) {
    Images images{std::vector<uint16_t>(kDepthBytes / 2), std::vector<uint8_t>(3 * kColorPixels)};
    for (uint32_t i = 0; i < kDepthBytes / 2; ++i) {
        images.m_depth[i] = static_cast<uint16_t>(1000 * (frame + 1) + i % 997);
    }
    for (uint32_t i = 0; i < 3 * kColorPixels; ++i) {
        images.m_planes[i] = static_cast<uint8_t>(50 * frame + 7 * i + i / 113);
    }
    return images;
}

std::string RecordingFolder() {
    const std::filesystem::path folder = std::filesystem::absolute("recording");
    std::filesystem::remove_all(folder);
    CRecordingWriter writer(folder);
    std::string error;
    EXPECT_TRUE(writer.Begin(&error)) << error;
    WriteFile(writer.CalibrationFile(), Noise(9999)); // longer than any block of a transfer
    for (uint32_t frame = 0; frame < kFrames; ++frame) {
        const Images images = ImagesOf(frame);
        std::vector<uint8_t> rgb;
        for (uint32_t i = 0; i < 3 * kColorPixels; ++i) {
            rgb.push_back(images.m_planes[i % 3 * kColorPixels + i / 3]);
        }
        EXPECT_TRUE(writer.Add(frame, kDepthSize, images.m_depth.data(), kColorSize, rgb.data(), &error))
            << error;
    }
    return folder;
}

std::string g_plugged; // the list of the cameras that are there

} // namespace

void* ProviderSymbol(const char* name) {
    static void* const s_library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
    void* symbol = s_library == nullptr ? nullptr : dlsym(s_library, name);
    EXPECT_NE(symbol, nullptr) << name;
    return symbol;
}

std::string CameraText(const std::string& more) {
    static const std::string s_folder = RecordingFolder();
    return "[camera]\ntransport = " + std::string(kLayer == OX_CC_USB_DEVICE ? "usb" : "gige") +
           "\nserial = S1\nmodel = Model One\nmanufacturer = Maker\ndevice_version = 1.0.9\n"
           "source = recording\nrecording = " +
           s_folder + "\nfps = 100\n" + more;
}

std::string Noise(size_t lengthBytes) {
    std::string bytes;
    for (size_t i = 0; i < lengthBytes; ++i) {
        bytes += static_cast<char>(i * 2654435761U >> 13U);
    }
    return bytes;
}

bool IsWhole(const uint8_t* image, const OX_FRAME_OUT_INFO_EX& info) {
    const Images wanted = ImagesOf((info.nFrameNum - 1) % kFrames);
    if (info.nWidth != kDepthSize.m_width || info.nHeight != kDepthSize.m_height ||
        info.enPixelType != 0x011000B8 || info.nFrameLen != kDepthBytes ||
        reinterpret_cast<uintptr_t>(image) % 64 != 0 ||
        std::memcmp(image, wanted.m_depth.data(), kDepthBytes) != 0) {
        return false;
    }
    if (info.nUnparsedChunkNum == 0) {
        return info.pUnparsedChunkContent == nullptr;
    }
    constexpr uint32_t kHeader[8] = {0x02180021, kColorSize.m_width, kColorSize.m_height};
    const OX_CHUNK_DATA_CONTENT& chunk = *info.pUnparsedChunkContent;
    return info.nUnparsedChunkNum == 1 && chunk.nChunkID == OX_CHUNK_EXTENDED_IMAGE &&
           chunk.nChunkLen == sizeof(kHeader) + wanted.m_planes.size() &&
           std::memcmp(chunk.pChunkData, kHeader, sizeof(kHeader)) == 0 &&
           std::memcmp(chunk.pChunkData + sizeof(kHeader), wanted.m_planes.data(), 3 * kColorPixels) == 0;
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
    PlugCameras(list);
    g_plugged = list;
}

CHandle::CHandle(const std::string& lines)
    : CHandle([&] {
          static OX_CC_DEVICE_INFO s_record; // searching takes a while
          const std::string text = CameraText(lines);
          // After a fault the camera may not be what it was.
          if (text != g_plugged || text.find("fault") != text.npos) {
              Plug(text);
              const auto records = List();
              EXPECT_EQ(records.size(), 1U);
              s_record = records.empty() ? OX_CC_DEVICE_INFO{} : records.front();
          }
          return s_record;
      }()) {}

// A busy machine fetches late: frames are only lost where a test means it.
CHandle::CHandle(const OX_CC_DEVICE_INFO& record) : m_record(record) {
    EXPECT_EQ(CC(OX_CC_CreateHandle)(&m_handle, &m_record), 0);
    SetNodes(64);
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

OX_FRAME_OUT CHandle::Borrow() const {
    OX_FRAME_OUT frame{};
    EXPECT_EQ(CC(OX_CC_GetImageBuffer)(m_handle, &frame, kLongMs), 0);
    return frame;
}

int CHandle::Fetch(uint32_t timeoutMs) const {
    OX_FRAME_OUT frame{};
    if (const int status = CC(OX_CC_GetImageBuffer)(m_handle, &frame, timeoutMs); status != 0) {
        return status;
    }
    EXPECT_TRUE(IsWhole(frame.pBufAddr, frame.stFrameInfo)) << "frame " << frame.stFrameInfo.nFrameNum;
    EXPECT_EQ(GiveBack(frame), 0);
    return static_cast<int>(frame.stFrameInfo.nFrameNum);
}

int64_t CHandle::Lost() const {
    return Value(CC(OX_CC_GetIntValueEx), m_handle, "StreamLostFrameCount").nCurValue;
}

} // namespace ox3d::test

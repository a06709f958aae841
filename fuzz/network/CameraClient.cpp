// CameraClient.cpp - the provider's functions as an application uses them.
#include "fuzz/network/CameraClient.h"

#include <dlfcn.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string_view>
#include <utility>

namespace ox3d::attack {
namespace {

using Clock = std::chrono::steady_clock;

constexpr milliseconds kPoll{20};
constexpr uint32_t kFetchMs = 300;
constexpr uint32_t kNodes = 2;
constexpr uint64_t kFirstFrames = 24; // after which both sides have the memory that they need
// Aravis tries to give control back to a camera that is gone.
constexpr std::chrono::seconds kLongestEnd{10};

void* Symbol(const char* name) {
    static void* const s_library = dlopen(OX3D_PROVIDER, RTLD_NOW | RTLD_LOCAL);
    void* const symbol = s_library == nullptr ? nullptr : dlsym(s_library, name);
    if (symbol == nullptr) {
        std::fprintf(stderr, "attack_camera: %s: %s\n", name, dlerror());
        std::_Exit(2);
    }
    return symbol;
}

#define CC(name) reinterpret_cast<decltype(&::name)>(Symbol(#name))

bool Eventually(milliseconds patience, const std::function<bool()>& condition) {
    const auto until = Clock::now() + patience;
    while (!condition()) {
        if (Clock::now() >= until) {
            return false;
        }
        std::this_thread::sleep_for(kPoll);
    }
    return true;
}

// Of the calling thread and of those that it starts.
void DropCapabilities() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[2] = {};
    if (syscall(SYS_capset, &header, none) != 0) {
        std::perror("attack_camera: capset");
    }
}

void NoteLoss(uint32_t type, void* user) {
    if (type == OX_CC_EXCEPTION_DEV_DISCONNECT) {
        ++*static_cast<std::atomic<uint32_t>*>(user);
    }
}

} // namespace

bool CCameraClient::Open(milliseconds patience) {
    return Eventually(patience, [&] {
        OX_CC_DEVICE_INFO_LIST list{};
        if (CC(OX_CC_EnumDevices)(OX_CC_GIGE_DEVICE, &list) != 0 || list.nDeviceNum != 1) {
            return false;
        }
        m_record = *list.pDeviceInfo[0];
        if (CC(OX_CC_CreateHandle)(&m_handle, &m_record) == 0 &&
            CC(OX_CC_OpenDevice)(m_handle, OX_CC_ACCESS_EXCLUSIVE, 0) == 0) {
            return true;
        }
        CC(OX_CC_DestroyHandle)(std::exchange(m_handle, nullptr));
        return false;
    });
}

bool CCameraClient::Begin(bool hasPacketSocket, milliseconds patience) {
    m_losses = 0;
    if (!Open(patience)) {
        return false;
    }
    CC(OX_CC_RegisterExceptionCallBack)(m_handle, &NoteLoss, &m_losses);
    CC(OX_CC_SetImageNodeNum)(m_handle, kNodes);
    int status = 0;
    std::thread([&] { // whose capabilities the threads of the stream get
        if (!hasPacketSocket) {
            DropCapabilities();
        }
        status = CC(OX_CC_StartGrabbing)(m_handle);
    })
        .join();
    m_watcher = std::jthread([this](const std::stop_token& stop) { Watch(stop); });
    return status == 0 && HasNextFrames(kFirstFrames, patience);
}

bool CCameraClient::End() {
    const auto start = Clock::now();
    m_watcher.request_stop();
    if (m_handle != nullptr) {
        CC(OX_CC_StopGrabbing)(m_handle);
        CC(OX_CC_CloseDevice)(m_handle);
        CC(OX_CC_DestroyHandle)(std::exchange(m_handle, nullptr));
    }
    m_watcher = {};
    return Clock::now() - start < kLongestEnd;
}

bool CCameraClient::HasNextFrames(uint64_t count, milliseconds patience) const {
    const uint64_t before = Frames();
    return Eventually(patience, [&] { return Frames() >= before + count; });
}

// The first frame that comes may have been on its way before.
bool CCameraClient::HasNextFrame(milliseconds patience) const {
    return HasNextFrames(2, patience);
}

bool CCameraClient::WaitForLoss(milliseconds patience) const {
    return Eventually(patience, [&] { return Losses() > 0; });
}

int CCameraClient::OpenBeside(uint32_t accessMode) const {
    void* handle = nullptr;
    int status = CC(OX_CC_CreateHandle)(&handle, &m_record);
    if (status == 0) {
        status = CC(OX_CC_OpenDevice)(handle, accessMode, 0);
        CC(OX_CC_DestroyHandle)(handle);
    }
    return status;
}

Endpoint CCameraClient::StreamPort() const {
    OX_CC_INT_VALUE_EX port{};
    CC(OX_CC_GetIntValueEx)(m_handle, "GevSCPHostPort", &port);
    return {m_record.stGigEInfo.nNetExport, static_cast<uint16_t>(port.nCurValue)};
}

void CCameraClient::Watch(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        OX_FRAME_OUT frame{};
        const auto start = Clock::now();
        const int status = CC(OX_CC_GetImageBuffer)(m_handle, &frame, kFetchMs);
        const auto late = std::chrono::duration_cast<milliseconds>(Clock::now() - start).count() - kFetchMs;
        m_latestFetchMs = std::max<int64_t>(m_latestFetchMs, late);
        if (status == 0) {
            Look(frame);
            CC(OX_CC_FreeImageBuffer)(m_handle, &frame);
        } else {
            std::this_thread::sleep_for(milliseconds(1));
        }
    }
}

void CCameraClient::Look(const OX_FRAME_OUT& frame) {
    const OX_FRAME_OUT_INFO_EX& info = frame.stFrameInfo;
    const std::string_view bytes(reinterpret_cast<const char*>(frame.pBufAddr), info.nFrameLen);
    const uint64_t image = std::hash<std::string_view>()(bytes) | 1U;
    uint64_t& known = m_images[(info.nFrameNum - 1) % kCycle];
    known = known == 0 ? image : known;
    const bool isGenuine = image == known && info.nWidth == 640 && info.nHeight == 480 &&
                           info.nFrameLen == uint32_t{info.nWidth} * info.nHeight * 2;
    ++(isGenuine ? m_frames : m_forged);
}

} // namespace ox3d::attack

// Checks.h - what the scenarios have in common: devices, counted callbacks, and comparisons that complain.
#ifndef OX3D_FUZZ_SESSION_CHECKS_H
#define OX3D_FUZZ_SESSION_CHECKS_H

#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include "fuzz/session/OwnTime.h"
#include "fuzz/session/Player.h"
#include "fuzz/session/Scenarios.h"
#include "tests/doubles/ScriptedCamera.h"

namespace ox3d::session {

inline uint32_t Pick(Run& run, uint32_t first, uint32_t last) {
    return std::uniform_int_distribution<uint32_t>(first, last)(run.m_random);
}

// What the cameras answer while they are there.
inline void PlugIn() {
    CDouble& scripted = Double();
    scripted.Script()->m_rules.clear();
    scripted.AddRule({.m_function = DOUBLE_OX_CC_GetIntValueEx,
                      .m_output = RecordBytes(OX_CC_INT_VALUE_EX{640, 4000, 1, 1})});
    scripted.AddRule(
        {.m_function = DOUBLE_OX_XML_GetNodeInterfaceType, .m_output = RecordBytes(OX_IFT_IInteger)});
}

// Two devices with files and features; nothing is lost or refused.
inline void SetUpCamera() {
    CPlayer({}).End(); // resets the camera
    CDouble& scripted = Double();
    scripted.SetDevices({EthernetDevice("ETH1"), UsbDevice("USB1")});
    scripted.SetFile("RGBDSensorCali", kCalibration);
    PlugIn();
}

inline void Expect(const char* what, uint32_t actual, uint32_t expected) {
    if (actual != expected) {
        char text[160];
        snprintf(text, sizeof(text), "%s gave %#x, not %#x", what, actual, expected);
        Complain(text);
    }
}

// The same, and no later than the time-out allows; the milliseconds that it took.
template <class Call>
int64_t ExpectInTime(const char* what, uint32_t expected, uint32_t timeoutMs, Call&& call) {
    const auto begin = OwnTime();
    Expect(what, call(), expected);
    const auto taken = OwnTime() - begin;
    if (taken > std::chrono::milliseconds(timeoutMs) + kGrace) {
        Complain(std::string(what) + " took " + std::to_string(taken.count()) + " ms");
    }
    return taken.count();
}

inline size_t ResidentBytes() {
    size_t pages = 0;
    size_t resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

// Resident memory at the first look is the measure of the later ones. Sanitizers keep what was freed.
class CGrowth {
public:
    // Large blocks go back to the system when they are freed: what is left is kept by the library, not the allocator.
    CGrowth() { mallopt(M_MMAP_THRESHOLD, 128 << 10); }
    CGrowth(const CGrowth&) = delete;
    CGrowth& operator=(const CGrowth&) = delete;
    ~CGrowth() {
        if (m_looks < 2) {
            Complain("nobody has looked for growth");
        }
    }
    void Look(const char* what) {
        constexpr size_t kMaxBytes = size_t{1} << 20;
        const size_t bytes = ResidentBytes();
        ++m_looks;
        m_first = m_first == 0 ? bytes : m_first;
        if (!kSanitized && bytes > m_first + kMaxBytes) {
            Complain(std::string(what) + " grows by " + std::to_string((bytes - m_first) >> 10) + " KiB");
        }
    }

private:
    size_t m_first = 0;
    size_t m_looks = 0;
};

inline uint32_t SetSwitch(void* handle, const char* key, int64_t value) {
    OX3D_RGBD_PARAM param = IntParam(value);
    return OX3D_RGBD_SetParam(handle, key, &param);
}

// What the application's callbacks have seen.
struct Seen {
    std::atomic<uint32_t> m_frames{0};
    std::atomic<uint32_t> m_losses{0};
};

inline void CountSeenFrame(OX3D_RGBD_FRAME_DATA* /*frame*/, void* user) {
    ++static_cast<Seen*>(user)->m_frames;
}

inline void CountSeenLoss(OX3D_RGBD_EXCEPTION_INFO* /*info*/, void* user) {
    ++static_cast<Seen*>(user)->m_losses;
}

} // namespace ox3d::session

#endif

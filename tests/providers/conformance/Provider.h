// Provider.h - the provider opened at run time, and a small camera whose every byte is known.
#ifndef OX3D_CONFORMANCE_PROVIDER_H
#define OX3D_CONFORMANCE_PROVIDER_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/providers/conformance/Rig.h"
#include <ox3drgbd/OxCameraControl.h>

namespace ox3d::test {

void* ProviderSymbol(const char* name);

// CC(OX_CC_StartGrabbing)(handle): the provider's function, not one that happens to be linked here.
#define CC(name) reinterpret_cast<decltype(&::name)>(::ox3d::test::ProviderSymbol(#name))

constexpr int Status(uint32_t code) {
    return static_cast<int>(code);
}
constexpr int kCallOrder = Status(OX_CC_E_CALL_ORDER);
constexpr int kNoData = Status(OX_CC_E_NO_DATA);
constexpr int kGone = Status(OX_CC_E_PRECONDITION);
constexpr uint32_t kForever = UINT32_MAX;
constexpr uint32_t kLongMs = 20000; // only keeps a failure from hanging

// The camera plays a recording of a few frames over and over.
constexpr uint32_t kWidth = 64;
constexpr uint32_t kHeight = 48;
constexpr uint32_t kDepthBytes = kWidth * kHeight * 2;
constexpr uint32_t kColorWidth = 32;
constexpr uint32_t kColorHeight = 24;
constexpr uint32_t kColorBytes = kColorWidth * kColorHeight * 3;
// The text of its calibration file, longer than any block of a transfer.
const std::string& CalibrationText();

// A section of the camera list, 100 frames a second; further lines come last and win.
std::string CameraText(const std::string& more = "");
// Its camera has left for good once it has been reset.
constexpr const char* kStaysAway = "fault = replug_after 600000\n";
constexpr const char* kComesBack = "fault = replug_after 1\n";

// Every byte of the image and of the color chunk, where there is one.
bool IsWhole(const uint8_t* image, const OX_FRAME_OUT_INFO_EX& info);

// Puts these cameras in place of those before.
void Plug(const std::string& list);
std::vector<OX_CC_DEVICE_INFO> List(uint32_t layers = Rig().Layer());

// One handle of the first listed camera.
class CHandle {
public:
    explicit CHandle(const std::string& lines = "");
    // A further handle of the same camera.
    explicit CHandle(const OX_CC_DEVICE_INFO& record);
    ~CHandle() { Destroy(); }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;

    operator void*() const { return m_handle; } // NOLINT(google-explicit-constructor)
    const OX_CC_DEVICE_INFO& Record() const { return m_record; }
    void Open(uint32_t accessMode = OX_CC_ACCESS_EXCLUSIVE) const;
    // Once a camera that restarts is back; the last status otherwise.
    int OpenAgain() const;
    void Start() const { ASSERT_EQ(CC(OX_CC_StartGrabbing)(m_handle), 0); }
    int Stop() const { return CC(OX_CC_StopGrabbing)(m_handle); }
    int Close() const { return CC(OX_CC_CloseDevice)(m_handle); }
    int Destroy();
    void Set(const char* key, uint32_t value) const;
    void EnableColor() const;
    // One frame for each trigger, and none without.
    void OpenForTriggers() const;
    void Trigger() const { ASSERT_EQ(CC(OX_CC_SetCommandValue)(m_handle, "TriggerSoftware"), 0); }
    void Reset() const {
        CC(OX_CC_SetCommandValue)(m_handle, "DeviceReset");
    } // may be gone before it answers
    // Number of the next frame, which has to be whole; 0 when there is none in time.
    uint32_t Fetch(uint32_t timeoutMs = kLongMs) const;
    // What a fetch answers that lends nothing.
    int FetchStatus(uint32_t timeoutMs = 0) const;
    int64_t Lost() const;

private:
    void Create(const OX_CC_DEVICE_INFO& record);

    OX_CC_DEVICE_INFO m_record{};
    void* m_handle = nullptr;
};

} // namespace ox3d::test

#endif

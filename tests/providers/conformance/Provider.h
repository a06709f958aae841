// Provider.h - the provider opened at run time, and a small camera whose every byte is known.
#ifndef OX3D_CONFORMANCE_PROVIDER_H
#define OX3D_CONFORMANCE_PROVIDER_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ox3drgbd/OxCameraControl.h>

namespace ox3d::test {

// ---- What differs between providers: each program defines its own ----

extern const char* const kLibrary; // the provider's file
extern const uint32_t kLayer;      // OX_CC_GIGE_DEVICE or OX_CC_USB_DEVICE
extern const bool kHasEvents;
// Puts the cameras of a list (as virtual-camera/CameraConfig.h reads it) in place of those before.
void PlugCameras(const std::string& list);
// Whether a camera that is open in the first mode may be opened in the second.
bool CanShare(uint32_t first, uint32_t second);

// ---- What all have in common ----

void* ProviderSymbol(const char* name);

// CC(OX_CC_StartGrabbing)(handle): the provider's function, not one that happens to be linked here.
#define CC(name) reinterpret_cast<decltype(&::name)>(::ox3d::test::ProviderSymbol(#name))

constexpr int Status(uint32_t code) {
    return static_cast<int>(code);
}
constexpr int kCallOrder = Status(OX_CC_E_CALL_ORDER);
constexpr int kDenied = Status(OX_CC_E_ACCESS_DENIED);
constexpr int kNoData = Status(OX_CC_E_NO_DATA);
constexpr int kGone = Status(OX_CC_E_PRECONDITION);
constexpr int kBadArgument = Status(OX_CC_E_PARAMETER);
constexpr uint32_t kForever = UINT32_MAX;
constexpr uint32_t kLongMs = 20000; // only keeps a failure from hanging

// The camera plays a recording of a few frames over and over.
constexpr uint32_t kDepthBytes = 64 * 48 * 2;

// A section of the camera list, 100 frames a second; further lines come last and win.
std::string CameraText(const std::string& more = "");
// Its camera has left for good once it has been reset.
constexpr const char* kStaysAway = "fault = replug_after 600000\n";
constexpr const char* kComesBack = "fault = replug_after 1\n";

// Bytes without a pattern.
std::string Noise(size_t lengthBytes);
// Every byte of the image and of the color chunk, where there is one.
bool IsWhole(const uint8_t* image, const OX_FRAME_OUT_INFO_EX& info);

// Puts these cameras in place of those before.
void Plug(const std::string& list);
std::vector<OX_CC_DEVICE_INFO> List(uint32_t layers = kLayer);

// Value(CC(OX_CC_GetFloatValue), handle, "Gain"): the record of a feature that can be read.
template <typename TValue>
TValue Value(int (*get)(void*, const char*, TValue*), void* handle, const char* key) {
    TValue value{};
    EXPECT_EQ(get(handle, key, &value), 0) << key;
    return value;
}

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
    int SetGain(float gain) const { return CC(OX_CC_SetFloatValue)(m_handle, "Gain", gain); }
    float Gain() const { return Value(CC(OX_CC_GetFloatValue), m_handle, "Gain").fCurValue; }
    void SetNodes(uint32_t count) const { ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(m_handle, count), 0); }
    void EnableColor() const;
    void Trigger() const { ASSERT_EQ(CC(OX_CC_SetCommandValue)(m_handle, "TriggerSoftware"), 0); }
    // The camera may be gone before it answers.
    void Reset() const { CC(OX_CC_SetCommandValue)(m_handle, "DeviceReset"); }
    // The next frame, which there has to be.
    OX_FRAME_OUT Borrow() const;
    int GiveBack(OX_FRAME_OUT frame) const { return CC(OX_CC_FreeImageBuffer)(m_handle, &frame); }
    // Number of the next frame, which has to be whole; the status when there is none.
    int Fetch(uint32_t timeoutMs = kLongMs) const;
    int64_t Lost() const;

private:
    OX_CC_DEVICE_INFO m_record{};
    void* m_handle = nullptr;
};

class COpenCamera : public CHandle {
public:
    explicit COpenCamera(const std::string& lines = "") : CHandle(lines) { Open(); }
};

} // namespace ox3d::test

#endif

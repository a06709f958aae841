// Model.h - what the library answers, predicted: for each step of a session the calls that it makes of the camera, in
// order, and the status that it gives. Knows the interface and the faults, nothing of the library's code.
#ifndef OX3D_FUZZ_SESSION_MODEL_H
#define OX3D_FUZZ_SESSION_MODEL_H

#include <array>
#include <bitset>
#include <cstdint>
#include <iterator>
#include <vector>

#include "tests/doubles/Double.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace ox3d::session {

constexpr uint32_t kFunctions = test::kFunctions;

// The camera library answers the code; ordinal 0: at every call.
struct CameraFault {
    uint32_t m_function = kFunctions;
    uint32_t m_ordinal = 0;
    uint32_t m_code = 0;
};

struct Faults {
    std::vector<CameraFault> m_camera;
    std::bitset<kFunctions> m_hidden; // functions that the camera library lacks
};

// What a camera library may answer: all codes that are listed, and four that are not.
inline constexpr uint32_t kCameraCodes[] = {
    0x80000000, 0x80000001, 0x80000002, 0x80000003, 0x80000004, 0x80000006, 0x80000007, 0x80000008,
    0x80000009, 0x8000000A, 0x8000000B, 0x8000000C, 0x800000FF, 0x80000100, 0x80000101, 0x80000102,
    0x80000104, 0x80000106, 0x80000203, 0x80000005, 0x8000FFFF, 0xFFFFFFFF, 0x00000001};
static_assert(std::size(kCameraCodes) == 23);

// Frames by what they hold.
enum class EFrame : uint8_t {
    Whole,     // depth of 640 x 480 and color
    DepthOnly, // without color
    Small,     // too small to be aligned
    Broken,    // with chunks that are no images
    Pair,      // with a demosaic pair
    Count
};

enum class ESwitch : uint8_t { ImageAlign, ResolutionAlign, OutputRgbd, Threads, Count };

// What the status of the translated code is.
uint32_t Translated(uint32_t code);

// The predicted state of library and camera. A copy is a state to come back to.
class CModel {
public:
    CModel() = default;
    explicit CModel(const Faults& faults) : m_faults(&faults) {}

    // Each predicts one call of the interface. Arguments are valid but where a parameter says otherwise.
    uint32_t Enumerate();
    uint32_t IsAccessible(bool isKnown);
    uint32_t Open(bool isKnown, bool isUsb, bool isBoundFirst);
    uint32_t Close();
    uint32_t Start();
    uint32_t Stop();
    uint32_t Fetch();
    void Deliver(EFrame frame);
    uint32_t RegisterFrames(bool isRegistered);
    uint32_t RegisterExceptions(bool isRegistered);
    void Raise(uint32_t message);
    uint32_t Trigger();
    uint32_t GetParam(uint32_t function, bool hasValue);
    uint32_t SetSwitch(ESwitch key, int64_t value);
    uint32_t Calibration();
    uint32_t Clock();
    uint32_t Points(bool isValid);
    uint32_t SetIp(bool isKnown, bool isStatic);
    uint32_t Forward(uint32_t function); // one call, translated
    uint32_t DeviceInfo() { return Forward(test::DOUBLE_OX_CC_GetDeviceInfo); }

    bool IsHidden(uint32_t function) const { return m_faults->m_hidden[function]; }

    const Faults* m_faults = nullptr;
    std::array<uint32_t, kFunctions> m_counts{}; // calls of each function
    std::vector<EFrame> m_queue;                 // frames for fetches
    bool m_isOpen = false;
    bool m_isUsb = false;
    bool m_isGrabbing = false;
    bool m_isCameraGrabbing = false;
    bool m_isSoftTrigger = false;
    bool m_isCalibrated = false;
    bool m_isFrameCallback = false;
    bool m_isFrameRegistered = false; // with the camera
    bool m_isExceptionCallback = false;
    bool m_isExceptionRegistered = false;
    std::array<bool, static_cast<size_t>(ESwitch::Count)> m_switches{true, true, false};
    uint32_t m_frameCalls = 0; // of the application's callbacks
    uint32_t m_exceptionCalls = 0;
    uint32_t m_keptHandles = 0; // that the camera refused to destroy
    uint32_t m_keptFrames = 0;  // that it refused to take back

private:
    uint32_t Ask(uint32_t function);
    uint32_t LoadCore();
    bool HasExtended() const;
    uint32_t CreateHandle();
    void Retire();
    uint32_t Connect();
    uint32_t Assemble(EFrame frame);
    uint32_t m_scaledPixels = 0; // that the buffer for scaled color holds
    bool IsOn(ESwitch key) const { return !m_isUsb && m_switches[static_cast<size_t>(key)]; }
};

} // namespace ox3d::session

#endif

// Model.cpp - see Model.h.
#include "fuzz/session/Model.h"

#include <ox3drgbd/OxCameraControl.h>

namespace ox3d::session {

using namespace test;

namespace {

struct Row {
    uint32_t m_code;
    uint32_t m_status;
};

constexpr Row kTranslations[] = {
    {0x00000000, 0x00000000}, {0x80000000, 0x80060000}, {0x80000001, 0x80060001}, {0x80000002, 0x80060002},
    {0x80000003, 0x80060003}, {0x80000004, 0x80060004}, {0x80000006, 0x80060005}, {0x80000007, 0x80060006},
    {0x80000008, 0x80060007}, {0x80000009, 0x80060008}, {0x8000000A, 0x80060009}, {0x8000000B, 0x8006000A},
    {0x8000000C, 0x8006000B}, {0x80000100, 0x80060004}, {0x80000101, 0x80060004}, {0x80000102, 0x8006000F},
    {0x80000104, 0x80060004}, {0x80000106, 0x80060007}, {0x80000203, 0x8006000E},
};

enum class EGroup : uint8_t { Core, Extended, Access };
enum class ENeed : uint8_t { Required, Optional };
struct Symbol {
    EGroup m_group;
    ENeed m_need;
};
constexpr Symbol kSymbols[] = {
#define OX_CAM_SYMBOL(result, name, arguments, group, need) {EGroup::group, ENeed::need},
#include "src/CameraModule/CamSymbols.def"
};

} // namespace

uint32_t Translated(uint32_t code) {
    for (const Row& row : kTranslations) {
        if (row.m_code == code) {
            return row.m_status;
        }
    }
    return OX3D_RGBD_E_UNKNOWN;
}

uint32_t CModel::Ask(uint32_t function) {
    if (IsHidden(function)) {
        return OX_CC_E_SUPPORT;
    }
    const uint32_t ordinal = ++m_counts[function];
    uint32_t code = 0;
    for (const CameraFault& fault : m_faults->m_camera) {
        if (fault.m_function == function && (fault.m_ordinal == 0 || fault.m_ordinal == ordinal)) {
            code = fault.m_code != 0 ? fault.m_code : code;
        }
    }
    return code;
}

uint32_t CModel::Forward(uint32_t function) {
    return Translated(Ask(function));
}

bool CModel::HasExtended() const {
    for (uint32_t i = 0; i < kFunctions; ++i) {
        if (IsHidden(i) && kSymbols[i].m_group == EGroup::Extended) {
            return false;
        }
    }
    return true;
}

uint32_t CModel::LoadCore() {
    for (uint32_t i = 0; i < kFunctions; ++i) {
        if (IsHidden(i) && kSymbols[i].m_group == EGroup::Core && kSymbols[i].m_need == ENeed::Required) {
            return OX3D_RGBD_E_LOAD_LIBRARY;
        }
    }
    return OX3D_RGBD_OK;
}

// The enumeration's code comes as it is.
uint32_t CModel::Enumerate() {
    return IsHidden(DOUBLE_OX_CC_EnumDevices) ? OX3D_RGBD_E_LOAD_LIBRARY : Ask(DOUBLE_OX_CC_EnumDevices);
}

uint32_t CModel::IsAccessible(bool isKnown) {
    if (const uint32_t status = Enumerate(); status != 0) {
        return status;
    }
    if (!isKnown) {
        return OX3D_RGBD_E_PARAMETER;
    }
    return !IsHidden(DOUBLE_OX_CC_IsDeviceAccessible) && Ask(DOUBLE_OX_CC_IsDeviceAccessible) == 0 ? 1 : 0;
}

uint32_t CModel::CreateHandle() {
    if (const uint32_t status = LoadCore(); status != 0) {
        return status;
    }
    Ask(DOUBLE_OX_CC_GetSDKVersion); // its answer is only logged
    return Forward(DOUBLE_OX_CC_CreateHandle);
}

// The camera goes, whatever it answers.
void CModel::Retire() {
    if (Ask(DOUBLE_OX_CC_StopGrabbing) == 0) {
        m_isCameraGrabbing = false;
    }
    Ask(DOUBLE_OX_CC_CloseDevice);
    m_keptHandles += Ask(DOUBLE_OX_CC_DestroyHandle) != 0 ? 1 : 0;
}

uint32_t CModel::Connect() {
    if (const uint32_t status = Forward(DOUBLE_OX_CC_OpenDevice); status != 0) {
        return status;
    }
    constexpr uint32_t kWorkMode[] = {DOUBLE_OX_CC_SetEnumValue, DOUBLE_OX_CC_SetEnumValue,
                                      DOUBLE_OX_CC_SetBoolValue, DOUBLE_OX_CC_SetEnumValue,
                                      DOUBLE_OX_CC_SetBoolValue, DOUBLE_OX_CC_SetEnumValue,
                                      DOUBLE_OX_CC_SetBoolValue};
    const size_t steps = m_isUsb ? 7 : 5;
    for (size_t i = 0; i < steps; ++i) {
        if (const uint32_t status = Forward(kWorkMode[i]); status != 0) {
            Ask(DOUBLE_OX_CC_CloseDevice);
            return status;
        }
    }
    if (Ask(DOUBLE_OX_CC_GetDeviceInfo) != 0) {
        return OX3D_RGBD_E_NO_DATA;
    }
    return HasExtended() ? Forward(DOUBLE_OX_CC_FileAccessRead) : OX3D_RGBD_E_CAMERA;
}

uint32_t CModel::Open(bool isKnown, bool isUsb, bool isBoundFirst) {
    uint32_t status = Enumerate();
    if (status != 0) {
        return status;
    }
    if (!isKnown && !isBoundFirst) {
        return OX3D_RGBD_E_PARAMETER;
    }
    status = CreateHandle();
    if (status != 0) {
        return status;
    }
    m_isUsb = isUsb;
    status = Connect();
    if (status != 0) {
        Retire();
        return status;
    }
    const CModel former = *this;
    *this = CModel(*former.m_faults);
    m_counts = former.m_counts;
    m_queue = former.m_queue;
    m_frameCalls = former.m_frameCalls;
    m_exceptionCalls = former.m_exceptionCalls;
    m_keptHandles = former.m_keptHandles;
    m_keptFrames = former.m_keptFrames;
    m_isUsb = isUsb;
    m_isOpen = true;
    return OX3D_RGBD_OK;
}

uint32_t CModel::Close() {
    if (m_isGrabbing) {
        Stop();
    }
    Retire();
    m_isOpen = false;
    m_isGrabbing = false;
    m_isCameraGrabbing = false;
    return OX3D_RGBD_OK;
}

uint32_t CModel::Start() {
    if (m_isGrabbing) {
        return OX3D_RGBD_E_STATE;
    }
    if (const uint32_t status = Forward(DOUBLE_OX_CC_StartGrabbing); status != 0) {
        return status;
    }
    if (m_isCameraGrabbing) { // it refused to stop before
        return OX3D_RGBD_E_STATE;
    }
    m_isGrabbing = true;
    m_isCameraGrabbing = true;
    return OX3D_RGBD_OK;
}

uint32_t CModel::Stop() {
    if (!m_isGrabbing) {
        return OX3D_RGBD_E_STATE;
    }
    m_isCameraGrabbing = Ask(DOUBLE_OX_CC_StopGrabbing) != 0;
    m_isGrabbing = false;
    m_isSoftTrigger = false;
    return OX3D_RGBD_OK;
}

// Calibration first, then the image's size; then what the frame needs of color.
uint32_t CModel::Assemble(EFrame frame) {
    if (IsOn(ESwitch::ImageAlign)) {
        if (!m_isCalibrated && Ask(DOUBLE_OX_CC_GetDeviceInfo) != 0) {
            return OX3D_RGBD_E_NO_DATA;
        }
        m_isCalibrated = true;
        if (frame == EFrame::Small) {
            return OX3D_RGBD_E_ALGORITHM;
        }
    }
    // Color of the depth image's size stays as it is. The first that is scaled settles for how much there is room.
    if (IsOn(ESwitch::ResolutionAlign) && (frame == EFrame::Whole || frame == EFrame::Small)) {
        const uint32_t pixels = frame == EFrame::Whole ? 640 * 480 : 320 * 240;
        m_scaledPixels = m_scaledPixels == 0 ? pixels : m_scaledPixels;
        if (pixels > m_scaledPixels) {
            return OX3D_RGBD_E_MEMORY;
        }
    }
    const bool hasColor = frame != EFrame::DepthOnly && frame != EFrame::Broken;
    return IsOn(ESwitch::OutputRgbd) && !hasColor ? OX3D_RGBD_E_NO_DATA : OX3D_RGBD_OK;
}

uint32_t CModel::Fetch() {
    if (!m_isGrabbing || m_isFrameCallback) {
        return OX3D_RGBD_E_STATE;
    }
    if (Ask(DOUBLE_OX_CC_GetImageBuffer) != 0 || m_queue.empty()) {
        return OX3D_RGBD_E_NO_DATA;
    }
    const EFrame frame = m_queue.front();
    m_queue.erase(m_queue.begin());
    const uint32_t status = Assemble(frame);
    const uint32_t code = Ask(DOUBLE_OX_CC_FreeImageBuffer);
    m_keptFrames += code != 0 ? 1 : 0;
    return status != 0 ? status : Translated(code);
}

void CModel::Deliver(EFrame frame) {
    if (m_isGrabbing && m_isFrameCallback && Assemble(frame) == OX3D_RGBD_OK) {
        ++m_frameCalls;
    }
}

uint32_t CModel::RegisterFrames(bool isRegistered) {
    if (const uint32_t status = Forward(DOUBLE_OX_CC_RegisterImageCallBackEx); status != 0) {
        return status;
    }
    m_isFrameCallback = isRegistered;
    m_isFrameRegistered = true;
    return OX3D_RGBD_OK;
}

uint32_t CModel::RegisterExceptions(bool isRegistered) {
    if (const uint32_t status = Forward(DOUBLE_OX_CC_RegisterExceptionCallBack); status != 0) {
        return status;
    }
    m_isExceptionCallback = isRegistered;
    m_isExceptionRegistered = true;
    return OX3D_RGBD_OK;
}

void CModel::Raise(uint32_t message) {
    m_exceptionCalls += m_isExceptionCallback && message == OX_CC_EXCEPTION_DEV_DISCONNECT ? 1 : 0;
}

// A camera may refuse the switch to software triggers and accept the trigger.
uint32_t CModel::Trigger() {
    if (!m_isSoftTrigger) {
        m_isSoftTrigger = Ask(DOUBLE_OX_CC_SetEnumValue) == 0 && Ask(DOUBLE_OX_CC_SetEnumValue) == 0;
    }
    return Forward(DOUBLE_OX_CC_SetCommandValue);
}

uint32_t CModel::GetParam(uint32_t function, bool hasValue) {
    if (const uint32_t status = Forward(DOUBLE_OX_XML_GetNodeInterfaceType); status != 0) {
        return status;
    }
    return hasValue ? Forward(function) : OX3D_RGBD_E_PARAMETER;
}

uint32_t CModel::SetSwitch(ESwitch key, int64_t value) {
    const int64_t least = key == ESwitch::Threads ? 1 : 0; // what a step may set is at most one more
    if (value < least || value > least + 1) {
        return OX3D_RGBD_E_PARAMETER;
    }
    m_switches[static_cast<size_t>(key)] = value == 1;
    return OX3D_RGBD_OK;
}

// The local copy serves where the camera refuses the file.
uint32_t CModel::Calibration() {
    if (const uint32_t status = Forward(DOUBLE_OX_CC_GetIntValueEx); status != 0) {
        return status;
    }
    if (Ask(DOUBLE_OX_CC_GetDeviceInfo) != 0) {
        return OX3D_RGBD_E_NO_DATA;
    }
    Ask(DOUBLE_OX_CC_FileAccessRead);
    return OX3D_RGBD_OK;
}

// Which of the two latches there is, the rate of the ticks, and three tries; a device without any has no say.
uint32_t CModel::Clock() {
    const uint32_t read = HasExtended() ? DOUBLE_OX_CC_GetIntValueEx : DOUBLE_OX_CC_GetIntValue;
    const bool hasLatch = Ask(read) == 0 || Ask(read) == 0;
    Ask(read);
    for (int i = 0; hasLatch && i < 3; ++i) {
        if (Ask(DOUBLE_OX_CC_SetCommandValue) != 0 || Ask(read) != 0) {
            break;
        }
    }
    return OX3D_RGBD_OK;
}

uint32_t CModel::Points(bool isValid) {
    if (!isValid) {
        return OX3D_RGBD_E_PARAMETER;
    }
    if (!m_isCalibrated && Ask(DOUBLE_OX_CC_GetDeviceInfo) != 0) {
        return OX3D_RGBD_E_NO_DATA;
    }
    m_isCalibrated = true;
    return OX3D_RGBD_OK;
}

uint32_t CModel::SetIp(bool isKnown, bool isStatic) {
    uint32_t status = Enumerate();
    if (status != 0) {
        return status;
    }
    if (!isKnown) {
        return OX3D_RGBD_E_PARAMETER;
    }
    status = CreateHandle();
    if (status != 0) {
        return status;
    }
    status = Forward(DOUBLE_OX_GIGE_SetIpConfig);
    if (status == 0 && isStatic && Ask(DOUBLE_OX_GIGE_ForceIpEx) != 0) {
        status = OX3D_RGBD_E_PARAMETER;
    }
    const bool isCameraGrabbing = m_isCameraGrabbing; // of the device that is open beside
    Retire();
    m_isCameraGrabbing = isCameraGrabbing;
    return status;
}

} // namespace ox3d::session

// Steps.cpp - see Steps.h.
#include "fuzz/session/Steps.h"

#include <array>
#include <iterator>

#include "fuzz/session/Interpose.h"

namespace ox3d::session {
namespace {

using Context = CPlayer::Context;

bool IsNull(uint8_t value) {
    return (value & kNullBit) != 0;
}

template <class Record>
Record* Argument(Record& record, uint8_t value) {
    return IsNull(value) ? nullptr : &record;
}

const char* TextArgument(const char* text, uint8_t value) {
    return IsNull(value) ? nullptr : text;
}

void CountFrame(OX3D_RGBD_FRAME_DATA* /*frame*/, void* user) {
    const CInside outside(false);
    ++static_cast<Context*>(user)->m_frameCalls;
}

void CountException(OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
    const CInside outside(false);
    static_cast<Context*>(user)->m_exceptionCalls +=
        info->nExceptionId == OX3D_RGBD_EXCEPTION_OFFLINE ? 1 : 0;
}

// A device is opened in one of these ways.
constexpr uint8_t kOpenWays = 7;
uint32_t CallOpen(Context& context, void* /*handle*/, uint8_t value) {
    OX3D_RGBD_DEVICE_INFO record = {};
    SetText(record.chSerialNumber, "USB1");
    void** const handle = &context.m_handle;
    switch (value % kOpenWays) {
    case 0:
        return OX3D_RGBD_OpenDeviceBySerialNumber(handle, "ETH1");
    case 1:
        return OX3D_RGBD_OpenDeviceBySerialNumber(handle, "USB1");
    case 2:
        return OX3D_RGBD_OpenDevice(handle, nullptr);
    case 3:
        return OX3D_RGBD_OpenDevice(handle, &record);
    case 4:
        return OX3D_RGBD_OpenDeviceByIp(handle, "192.168.1.10");
    case 5:
        return OX3D_RGBD_OpenDeviceByName(handle, "RGBD-U");
    default:
        return OX3D_RGBD_OpenDeviceBySerialNumber(handle, "nobody");
    }
}

uint32_t PredictOpen(Context& context, uint8_t value) {
    const uint8_t way = value % kOpenWays;
    return context.m_model.Open(way != kOpenWays - 1, way % 2 == 1, way == 2);
}

struct ParamKind {
    const char* m_key;
    uint32_t m_type;
    uint32_t m_setter;
    uint32_t m_getter;
};
constexpr ParamKind kParams[] = {
    {"Bool", OX3D_RGBD_PARAM_BOOL, test::DOUBLE_OX_CC_SetBoolValue, test::DOUBLE_OX_CC_GetBoolValue},
    {"Int", OX3D_RGBD_PARAM_INT, test::DOUBLE_OX_CC_SetIntValueEx, test::DOUBLE_OX_CC_GetIntValueEx},
    {"Float", OX3D_RGBD_PARAM_FLOAT, test::DOUBLE_OX_CC_SetFloatValue, test::DOUBLE_OX_CC_GetFloatValue},
    {"Enum", OX3D_RGBD_PARAM_ENUM, test::DOUBLE_OX_CC_SetEnumValue, test::DOUBLE_OX_CC_GetEnumValue},
    {"Text", OX3D_RGBD_PARAM_STRING, test::DOUBLE_OX_CC_SetStringValue, test::DOUBLE_OX_CC_GetStringValue},
    {"Category", OX3D_RGBD_PARAM_STRING + 1, 0, 0},
};
constexpr uint8_t kParamKinds = std::size(kParams);
constexpr const char* kSwitchKeys[] = {"ImageAlign", "ResolutionAlign", "OutputRgbd", "Ox3dThreads"};

OX3D_RGBD_PARAM ParamOf(uint32_t type) {
    OX3D_RGBD_PARAM param = {};
    param.enParamType = type;
    return param;
}

// 0, 1, or 2: a switch refuses the last, the number of threads the first.
int64_t SwitchValue(uint8_t value) {
    return value / std::size(kSwitchKeys) % 3;
}

ESwitch SwitchOf(uint8_t value) {
    return static_cast<ESwitch>(value % std::size(kSwitchKeys));
}

EFrame FrameOf(uint8_t value) {
    return static_cast<EFrame>(value % static_cast<uint8_t>(EFrame::Count));
}

// On this thread, which stands for the camera's.
void Deliver(Context& context, EFrame kind) {
    if (context.m_model.m_isOpen && context.m_model.m_isFrameRegistered) {
        CRawFrame& frame = RawFrame(kind);
        const auto& lane = test::Double().m_frames;
        lane.m_callback(frame.m_main.data(), frame.Info(), lane.m_user);
    }
}

constexpr uint32_t kMessages[] = {OX_CC_EXCEPTION_DEV_DISCONNECT, 0x8002, 0};
uint32_t MessageOf(uint8_t value) {
    return kMessages[value % std::size(kMessages)];
}

uint32_t CallPoints(Context& /*context*/, void* handle, uint8_t value) {
    static std::vector<uint8_t>& s_samples = *new std::vector<uint8_t>(size_t{640} * 480 * 2, 1);
    OX3D_RGBD_IMAGE_DATA depth = DepthImage(s_samples, 640, 480);
    depth.nDataLen -= value % 2;
    OX3D_RGBD_IMAGE_DATA points = {};
    return OX3D_RGBD_MapDepthToPointCloud(handle, &depth, Argument(points, value));
}

uint32_t CallSetIp(Context& /*context*/, void* /*handle*/, uint8_t value) {
    OX3D_RGBD_IP_CONFIG config = {};
    config.enIPCfgMode = value % 2 == 0 ? OX3D_RGBD_IP_DHCP : OX3D_RGBD_IP_STATIC;
    SetText(config.chDestIp, "192.168.1.20");
    SetText(config.chDestNetMask, "255.255.255.0");
    SetText(config.chDestGateWay, "192.168.1.1");
    return OX3D_RGBD_SetIpConfig(value % 4 < 2 ? "ETH1" : "nobody", &config);
}

uint32_t CallFile(void* handle, uint8_t value, uint32_t (*call)(void*, OX3D_RGBD_FILE_ACCESS*)) {
    OX3D_RGBD_FILE_ACCESS access = {};
    access.pUserFileName = "transferred";
    access.pDevFileName = "RGBDSensorCali";
    return call(handle, Argument(access, value));
}

template <uint32_t Function>
uint32_t Forward(Context& context, uint8_t /*value*/) {
    return context.m_model.Forward(Function);
}

// NOLINTBEGIN(cppcoreguidelines-*): the lambdas are rows of a table
constexpr StepKind kKinds[] = {
    {"open", EShape::Alone, CallOpen, PredictOpen},
    {"close", EShape::Handle, [](Context& c, void*, uint8_t) { return OX3D_RGBD_CloseDevice(&c.m_handle); },
     [](Context& c, uint8_t) { return c.m_model.Close(); }},
    {"start", EShape::Handle, [](Context&, void* h, uint8_t) { return OX3D_RGBD_Start(h); },
     [](Context& c, uint8_t) { return c.m_model.Start(); }},
    {"stop", EShape::Handle, [](Context&, void* h, uint8_t) { return OX3D_RGBD_Stop(h); },
     [](Context& c, uint8_t) { return c.m_model.Stop(); }},
    {"queue", EShape::Camera,
     [](Context&, void*, uint8_t v) {
         test::Double().QueueFrame(RawFrame(FrameOf(v)).Out());
         return 0u;
     },
     [](Context& c, uint8_t v) {
         c.m_model.m_queue.push_back(FrameOf(v));
         return 0u;
     }},
    {"fetch", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         OX3D_RGBD_FRAME_DATA frame;
         return OX3D_RGBD_FetchFrame(h, Argument(frame, v), 0);
     },
     [](Context& c, uint8_t) { return c.m_model.Fetch(); }},
    {"frames", EShape::Handle,
     [](Context& c, void* h, uint8_t v) {
         return OX3D_RGBD_RegisterFrameCallBack(h, v % 2 == 0 ? CountFrame : nullptr, &c);
     },
     [](Context& c, uint8_t v) { return c.m_model.RegisterFrames(v % 2 == 0); }},
    {"exceptions", EShape::Handle,
     [](Context& c, void* h, uint8_t v) {
         return OX3D_RGBD_RegisterExceptionCallBack(h, v % 2 == 0 ? CountException : nullptr, &c);
     },
     [](Context& c, uint8_t v) { return c.m_model.RegisterExceptions(v % 2 == 0); }},
    {"deliver", EShape::Alone,
     [](Context& c, void*, uint8_t v) {
         Deliver(c, FrameOf(v));
         return 0u;
     },
     [](Context& c, uint8_t v) {
         if (c.m_model.m_isOpen && c.m_model.m_isFrameRegistered) {
             c.m_model.Deliver(FrameOf(v));
         }
         return 0u;
     }},
    {"raise", EShape::Alone,
     [](Context& c, void*, uint8_t v) {
         if (c.m_model.m_isOpen && c.m_model.m_isExceptionRegistered) {
             const auto& lane = test::Double().m_exceptions;
             lane.m_callback(MessageOf(v), lane.m_user);
         }
         return 0u;
     },
     [](Context& c, uint8_t v) {
         if (c.m_model.m_isOpen && c.m_model.m_isExceptionRegistered) {
             c.m_model.Raise(MessageOf(v));
         }
         return 0u;
     }},
    {"trigger", EShape::Handle, [](Context&, void* h, uint8_t) { return OX3D_RGBD_SoftTrigger(h); },
     [](Context& c, uint8_t) { return c.m_model.Trigger(); }},
    {"execute", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) { return OX3D_RGBD_Execute(h, TextArgument("Command", v)); },
     Forward<test::DOUBLE_OX_CC_SetCommandValue>},
    {"get", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         OX3D_RGBD_PARAM param = {};
         return OX3D_RGBD_GetParam(h, kParams[v % kParamKinds].m_key, Argument(param, v));
     },
     [](Context& c, uint8_t v) {
         const ParamKind& kind = kParams[v % kParamKinds];
         return c.m_model.GetParam(kind.m_getter, kind.m_setter != 0);
     }},
    {"set", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         const ParamKind& kind = kParams[v % kParamKinds];
         OX3D_RGBD_PARAM param = ParamOf(kind.m_type);
         return OX3D_RGBD_SetParam(h, TextArgument(kind.m_key, v), &param);
     },
     [](Context& c, uint8_t v) {
         const ParamKind& kind = kParams[v % kParamKinds];
         return kind.m_setter == 0 ? OX3D_RGBD_E_PARAMETER : c.m_model.Forward(kind.m_setter);
     }},
    {"switch", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         OX3D_RGBD_PARAM param = IntParam(SwitchValue(v & 0x3F));
         return OX3D_RGBD_SetParam(h, kSwitchKeys[static_cast<size_t>(SwitchOf(v & 0x3F))],
                                   Argument(param, v));
     },
     [](Context& c, uint8_t v) { return c.m_model.SetSwitch(SwitchOf(v & 0x3F), SwitchValue(v & 0x3F)); }},
    {"points", EShape::NullHandleFirst, CallPoints,
     [](Context& c, uint8_t v) { return c.m_model.Points(v % 2 == 0); }},
    {"calibration", EShape::NullHandleFirst,
     [](Context&, void* h, uint8_t v) {
         OX3D_RGBD_CALIB_INFO info;
         return OX3D_RGBD_GetCalibInfo(h, 1 + v % 2, Argument(info, v));
     },
     [](Context& c, uint8_t) { return c.m_model.Calibration(); }},
    {"count devices", EShape::Alone,
     [](Context&, void*, uint8_t v) {
         uint32_t count = 0;
         return OX3D_RGBD_GetDeviceNumber(1 + v % 3, &count);
     },
     [](Context& c, uint8_t) { return c.m_model.Enumerate(); }},
    {"list devices", EShape::Alone,
     [](Context&, void*, uint8_t v) {
         OX3D_RGBD_DEVICE_INFO list[2] = {};
         uint32_t count = 0;
         return OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ALL, list, 1 + v % 2, &count);
     },
     [](Context& c, uint8_t) { return c.m_model.Enumerate(); }},
    {"is accessible", EShape::Alone,
     [](Context&, void*, uint8_t v) {
         OX3D_RGBD_DEVICE_INFO record = {};
         SetText(record.chSerialNumber, v % 2 == 0 ? "ETH1" : "nobody");
         return OX3D_RGBD_CamIsAccessible(&record, OX_CC_ACCESS_EXCLUSIVE);
     },
     [](Context& c, uint8_t v) { return c.m_model.IsAccessible(v % 2 == 0); }},
    {"set ip", EShape::Alone, CallSetIp,
     [](Context& c, uint8_t v) { return c.m_model.SetIp(v % 4 < 2, v % 2 == 1); }},
    {"device info", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         OX3D_RGBD_DEVICE_INFO info = {};
         return OX3D_RGBD_GetDeviceInfo(h, Argument(info, v));
     },
     Forward<test::DOUBLE_OX_CC_GetDeviceInfo>},
    {"nodes", EShape::Handle, [](Context&, void* h, uint8_t v) { return OX3D_RGBD_SetImageNodeNum(h, v); },
     Forward<test::DOUBLE_OX_CC_SetImageNodeNum>},
    {"access mode", EShape::HandleFirst,
     [](Context&, void* h, uint8_t v) {
         Ox3dRgbdAccessMode mode = 0;
         return OX3D_RGBD_XML_GetNodeAccessMode(h, "Int", Argument(mode, v));
     },
     Forward<test::DOUBLE_OX_XML_GetNodeAccessMode>},
    {"invalidate", EShape::Handle, [](Context&, void* h, uint8_t) { return OX3D_RGBD_InvalidateNodes(h); },
     Forward<test::DOUBLE_OX_CC_InvalidateNodes>},
    {"export", EShape::NullHandleFirst,
     [](Context&, void* h, uint8_t v) { return OX3D_RGBD_ExportAllParam(h, TextArgument("features", v)); },
     Forward<test::DOUBLE_OX_CC_FeatureSave>},
    {"import", EShape::NullHandleFirst,
     [](Context&, void* h, uint8_t v) { return OX3D_RGBD_ImportAllParam(h, TextArgument("features", v)); },
     Forward<test::DOUBLE_OX_CC_FeatureLoad>},
    {"xml", EShape::HandleFirst,
     [](Context&, void* h, uint8_t v) {
         uint8_t text[16];
         uint32_t length = 0;
         return OX3D_RGBD_GetCameraXML(h, text, sizeof(text), Argument(length, v));
     },
     Forward<test::DOUBLE_OX_XML_GetGenICamXML>},
    {"read file", EShape::HandleFirst,
     [](Context&, void* h, uint8_t v) { return CallFile(h, v, OX3D_RGBD_FileAccessRead); },
     Forward<test::DOUBLE_OX_CC_FileAccessRead>},
    {"write file", EShape::HandleFirst,
     [](Context&, void* h, uint8_t v) { return CallFile(h, v, OX3D_RGBD_FileAccessWrite); },
     Forward<test::DOUBLE_OX_CC_FileAccessWrite>},
    {"upgrade", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) { return OX3D_RGBD_LocalUpgrade(h, TextArgument("firmware", v)); },
     Forward<test::DOUBLE_OX_CC_LocalUpgrade>},
    {"upgrade progress", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         uint32_t percent = 0;
         return OX3D_RGBD_GetUpgradeProcess(h, Argument(percent, v));
     },
     Forward<test::DOUBLE_OX_CC_GetUpgradeProcess>},
    {"read memory", EShape::HandleFirst,
     [](Context&, void* h, uint8_t v) {
         uint32_t word = 0;
         return OX3D_RGBD_ReadAddressMem(h, Argument(word, v), 0, sizeof(word));
     },
     Forward<test::DOUBLE_OX_CC_ReadMemory>},
    {"write memory", EShape::HandleFirst,
     [](Context&, void* h, uint8_t v) {
         const uint32_t word = 0;
         return OX3D_RGBD_WriteAddressMem(h, Argument(word, v), 0, sizeof(word));
     },
     Forward<test::DOUBLE_OX_CC_WriteMemory>},
    {"set timeout", EShape::Handle,
     [](Context&, void* h, uint8_t v) { return OX3D_RGBD_SetGvcpTimeout(h, v); },
     Forward<test::DOUBLE_OX_GIGE_SetGvcpTimeout>},
    {"get timeout", EShape::HandleFirst,
     [](Context&, void* h, uint8_t v) {
         uint32_t milliseconds = 0;
         return OX3D_RGBD_GetGvcpTimeout(h, Argument(milliseconds, v));
     },
     Forward<test::DOUBLE_OX_GIGE_GetGvcpTimeout>},
    {"export system", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         return OX3D_RGBD_ExportSystemCalibration(h, TextArgument("system", v));
     },
     Forward<test::DOUBLE_OX_CC_FileAccessRead>},
    {"import system", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         return OX3D_RGBD_ImportSystemCalibration(h, TextArgument("system", v));
     },
     Forward<test::DOUBLE_OX_CC_FileAccessWrite>},
    {"map nobody's frame", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         const OX3D_RGBD_FRAME_DATA frame = {};
         const OX3D_RGBD_CLOUD_OPTIONS options = {};
         OX3D_RGBD_CLOUD cloud;
         return OX3D_RGBD_MapFrameToPointCloud(h, Argument(frame, v), &options, &cloud);
     },
     [](Context&, uint8_t) { return OX3D_RGBD_E_PARAMETER; }},
    {"copy nobody's frame", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         const OX3D_RGBD_FRAME_DATA frame = {};
         OX3D_RGBD_FRAME_DATA* copy = nullptr;
         return OX3D_RGBD_CopyFrame(h, &frame, Argument(copy, v));
     },
     [](Context&, uint8_t) { return OX3D_RGBD_E_PARAMETER; }},
    {"take nobody's frame", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         OX3D_RGBD_FRAME_DATA frame = {};
         OX3D_RGBD_FRAME_DATA* taken = nullptr;
         return OX3D_RGBD_TakeFrame(h, &frame, Argument(taken, v));
     },
     [](Context&, uint8_t) { return OX3D_RGBD_E_PARAMETER; }},
    {"clock", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         OX3D_RGBD_FRAME_CLOCK clock;
         const uint32_t status = OX3D_RGBD_GetFrameClock(h, Argument(clock, v));
         return status == OX3D_RGBD_E_NO_DATA ? OX3D_RGBD_OK : status; // as the frames so far were stamped
     },
     [](Context& context, uint8_t) { return context.m_model.Clock(); }},
    {"times of nobody's frame", EShape::ArgumentFirst,
     [](Context&, void* h, uint8_t v) {
         const OX3D_RGBD_FRAME_DATA frame = {};
         OX3D_RGBD_FRAME_TIMES times;
         return OX3D_RGBD_GetFrameTimes(h, Argument(frame, v), &times);
     },
     [](Context&, uint8_t) { return OX3D_RGBD_E_PARAMETER; }},
    {"free nobody's copy", EShape::Alone,
     [](Context&, void*, uint8_t v) {
         std::array<OX3D_RGBD_FRAME_DATA, 2> frames{};
         return OX3D_RGBD_FreeFrame(v % 3 == 2 ? nullptr : &frames[v % 3]);
     },
     [](Context&, uint8_t) { return OX3D_RGBD_E_PARAMETER; }},
};
// NOLINTEND(cppcoreguidelines-*)

} // namespace

std::span<const StepKind> StepKinds() {
    return kKinds;
}

CRawFrame& RawFrame(EFrame kind) {
    static const auto s_frames = [] {
        std::array<CRawFrame*, static_cast<size_t>(EFrame::Count)> frames{};
        for (size_t i = 0; i < frames.size(); ++i) {
            const bool isSmall = static_cast<EFrame>(i) == EFrame::Small;
            frames[i] = isSmall ? new CRawFrame(320, 240) : new CRawFrame(640, 480);
        }
        const auto frame = [&frames](EFrame of) -> CRawFrame& { return *frames[static_cast<size_t>(of)]; };
        frame(EFrame::Whole).AddColor(320, 240);
        frame(EFrame::Small).AddColor(160, 120);
        frame(EFrame::Broken).AddRecord(nullptr, OX_CHUNK_EXTENDED_IMAGE, 1000);
        frame(EFrame::Broken).AddRecord(frame(EFrame::Broken).m_main.data(), OX_CHUNK_DEMOSAIC_PAIR, 27);
        frame(EFrame::Broken).AddRecord(frame(EFrame::Broken).m_main.data(), 0x1234, 100);
        frame(EFrame::Pair).AddColor(640, 480);
        frame(EFrame::Pair).AddChunk(OX_CHUNK_DEMOSAIC_PAIR, 28, 64, 96, size_t{64} * 96);
        return frames;
    }();
    return *s_frames[static_cast<size_t>(kind)];
}

} // namespace ox3d::session

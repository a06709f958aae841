// Double.cpp - the scripted camera-control library: cameras without faults behind its exported functions, all 57
// made from the one list. Each enters its call into the ledger, obeys the rules and then does its part.
#include "tests/doubles/Double.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ios>
#include <iterator>
#include <sstream>
#include <tuple>
#include <type_traits>

#include "tests/support/Files.h"

namespace ox3d::test {
namespace {

using Lock = std::unique_lock<std::mutex>;

CDouble& g_double = *new CDouble; // never destroyed: cameras' threads may outlive main

constexpr int Code(uint32_t code) {
    return static_cast<int>(code);
}

// Enters the call into the ledger and runs the rules' work. A dead handle is a fault.
uint32_t Judge(uint32_t function, const DoubleCall& call, void* handle, bool takesHandle,
               std::vector<uint8_t>* output) {
    std::vector<DoubleRule> rules;
    {
        const CDouble::Locked script = g_double.Script();
        const uint32_t ordinal = ++script->m_counts[function];
        script->m_calls.push_back(call.m_text);
        if (takesHandle && !g_double.m_cameras.contains(handle)) {
            ++script->m_faults;
            return OX_CC_E_HANDLE;
        }
        std::copy_if(script->m_rules.begin(), script->m_rules.end(), std::back_inserter(rules),
                     [&](const DoubleRule& rule) {
                         return (rule.m_function == function || rule.m_function == kFunctions) &&
                                (rule.m_ordinal == ordinal || rule.m_ordinal == 0);
                     });
    }
    uint32_t status = 0;
    for (const DoubleRule& rule : rules) {
        status = rule.m_status != 0 ? rule.m_status : status;
        *output = rule.m_output.empty() ? *output : rule.m_output;
        if (rule.m_work) {
            rule.m_work(call);
        }
    }
    return status;
}

// Waits for the camera's callbacks in flight, but for the one that asks.
template <class Callback>
void Settle(Lock& lock, void* handle, const DoubleLane<Callback>& lane) {
    g_double.m_changed.wait(lock, [&] {
        const uint32_t own = lane.m_caller == std::this_thread::get_id() ? 1 : 0;
        return !g_double.m_script.m_isPatient || lane.m_handle != handle || lane.m_inFlight <= own;
    });
}

template <class Callback>
int Register(DoubleLane<Callback>& lane, void* handle, Callback callback, void* user) {
    const Lock lock(g_double.m_mutex);
    lane.m_handle = handle;
    lane.m_callback = callback;
    lane.m_user = user;
    return 0;
}

template <class Callback>
void Unregister(Lock& lock, DoubleLane<Callback>& lane, void* handle) {
    lane.m_callback = lane.m_handle == handle ? nullptr : lane.m_callback;
    Settle(lock, handle, lane);
}

int SetGrabbing(void* handle, bool isGrabbing) {
    Lock lock(g_double.m_mutex);
    DoubleCamera& camera = g_double.m_cameras[handle];
    if (camera.m_isGrabbing == isGrabbing || !camera.m_isOpen) {
        return Code(OX_CC_E_CALL_ORDER);
    }
    camera.m_isGrabbing = isGrabbing;
    g_double.m_changed.notify_all();
    if (!isGrabbing) {
        Settle(lock, handle, g_double.m_frames);
    }
    return 0;
}

// ---- What each function does; by default, nothing, but every camera is accessible ------------------------

template <uint32_t Function, class... Args>
int Run(Args... /*args*/) {
    return Function == DOUBLE_OX_CC_IsDeviceAccessible ? 1 : 0;
}

template <>
int Run<DOUBLE_OX_CC_EnumDevices>(uint32_t mask, OX_CC_DEVICE_INFO_LIST* list) {
    const CDouble::Locked script = g_double.Script();
    std::vector<OX_CC_DEVICE_INFO> listed;
    listed.reserve(script->m_devices.size());
    list->nDeviceNum = 0;
    for (const OX_CC_DEVICE_INFO& device : script->m_devices) {
        // Other transports than the two are listed whatever the mask: it is the caller who has to cope.
        const uint32_t known = device.nTLayerType & (OX_CC_GIGE_DEVICE | OX_CC_USB_DEVICE);
        if (known == 0 || (known & mask) != 0) {
            list->pDeviceInfo[list->nDeviceNum++] = &listed.emplace_back(device);
        }
    }
    script->m_listed = std::move(listed);
    return 0;
}

template <>
int Run<DOUBLE_OX_CC_CreateHandle>(void** handle, const OX_CC_DEVICE_INFO* device) {
    static uintptr_t s_next = 0x10001; // never given out twice
    const Lock lock(g_double.m_mutex);
    *handle = reinterpret_cast<void*>(s_next); // NOLINT(performance-no-int-to-ptr): a mere name
    s_next += 2;
    g_double.m_cameras[*handle].m_device = *device;
    return 0;
}

template <>
int Run<DOUBLE_OX_CC_DestroyHandle>(void* handle) {
    Lock lock(g_double.m_mutex);
    g_double.m_cameras.erase(handle);
    Unregister(lock, g_double.m_frames, handle);
    Unregister(lock, g_double.m_exceptions, handle);
    return 0;
}

template <>
int Run<DOUBLE_OX_CC_OpenDevice>(void* handle, uint32_t /*mode*/, uint16_t /*key*/) {
    const CDouble::Locked script = g_double.Script();
    script->m_faults += std::exchange(g_double.m_cameras[handle].m_isOpen, true) ? 1 : 0;
    return 0;
}

template <>
int Run<DOUBLE_OX_CC_CloseDevice>(void* handle) {
    SetGrabbing(handle, false);
    const Lock lock(g_double.m_mutex);
    return std::exchange(g_double.m_cameras[handle].m_isOpen, false) ? 0 : Code(OX_CC_E_CALL_ORDER);
}

template <>
int Run<DOUBLE_OX_CC_StartGrabbing>(void* handle) {
    return SetGrabbing(handle, true);
}

template <>
int Run<DOUBLE_OX_CC_StopGrabbing>(void* handle) {
    return SetGrabbing(handle, false);
}

template <>
int Run<DOUBLE_OX_CC_GetImageBuffer>(void* handle, OX_FRAME_OUT* frame, uint32_t timeoutMs) {
    Lock lock(g_double.m_mutex);
    const DoubleCamera& camera = g_double.m_cameras[handle];
    DoubleScript& script = g_double.m_script;
    g_double.m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                [&] { return !camera.m_isGrabbing || !script.m_frames.empty(); });
    if (!camera.m_isGrabbing || script.m_frames.empty()) {
        return Code(camera.m_isGrabbing ? OX_CC_E_NO_DATA : OX_CC_E_CALL_ORDER);
    }
    *frame = script.m_frames.front();
    script.m_frames.pop_front();
    script.m_lent.insert(frame->pBufAddr);
    return 0;
}

template <>
int Run<DOUBLE_OX_CC_FreeImageBuffer>(void* /*handle*/, OX_FRAME_OUT* frame) {
    const CDouble::Locked script = g_double.Script();
    const bool isLent = !script->m_lent.extract(frame->pBufAddr).empty();
    script->m_faults += isLent ? 0 : 1;
    return isLent ? 0 : Code(OX_CC_E_PARAMETER);
}

template <>
int Run<DOUBLE_OX_CC_FileAccessRead>(void* /*handle*/, OX_CC_FILE_ACCESS* access) {
    const CDouble::Locked script = g_double.Script();
    const auto file = script->m_files.find(access->pDevFileName);
    if (file == script->m_files.end()) {
        return Code(OX_CC_E_PARAMETER);
    }
    WriteFile(access->pUserFileName, file->second);
    return 0;
}

template <>
int Run<DOUBLE_OX_CC_GetDeviceInfo>(void* handle, OX_CC_DEVICE_INFO* device) {
    const Lock lock(g_double.m_mutex);
    *device = g_double.m_cameras[handle].m_device;
    return 0;
}

template <>
int Run<DOUBLE_OX_CC_RegisterImageCallBackEx>(void* handle, OX_CC_IMAGE_CALLBACK callback, void* user) {
    return Register(g_double.m_frames, handle, callback, user);
}

template <>
int Run<DOUBLE_OX_CC_RegisterExceptionCallBack>(void* handle, OX_CC_EXCEPTION_CALLBACK callback, void* user) {
    return Register(g_double.m_exceptions, handle, callback, user);
}

// ---- The exported functions: the arguments as text and as the record that is written ---------------------

template <class Arg>
std::string TextOf(Arg arg) {
    if constexpr (std::is_same_v<Arg, const char*>) {
        return arg != nullptr ? arg : "null";
    } else if constexpr (std::is_arithmetic_v<Arg>) {
        std::ostringstream text;
        text << std::showbase << (static_cast<double>(arg) < 0x10000 ? std::dec : std::hex) << arg;
        return text.str();
    } else if constexpr (std::is_same_v<Arg, OX_CC_FILE_ACCESS*>) {
        return std::string(arg->pUserFileName) + ", " + arg->pDevFileName;
    } else if constexpr (std::is_same_v<Arg, const OX_CC_DEVICE_INFO*>) {
        const bool isUsb = arg->nTLayerType == OX_CC_USB_DEVICE;
        const char* const field = isUsb ? arg->stUsb3Info.chSerialNumber : arg->stGigEInfo.chSerialNumber;
        return {field, strnlen(field, 16)};
    } else {
        return {};
    }
}

template <class Arg>
void Capture(DoubleCall* call, Arg arg) {
    const std::string own = TextOf(arg);
    call->m_text += own.empty() || call->m_text.back() == '(' ? own : ", " + own;
    if constexpr (std::is_convertible_v<Arg, void*>) {
        call->m_output = arg;
        if constexpr (std::is_same_v<Arg, uint8_t*>) {
            call->m_bytes = arg;
        }
    } else if constexpr (std::is_function_v<std::remove_pointer_t<Arg>>) {
        call->m_callback = reinterpret_cast<void (*)()>(arg);
    }
}

constexpr const char* kNames[] = {
#define OX_CAM_SYMBOL(result, name, arguments, group, need) #name,
#include "src/CameraModule/CamSymbols.def"
};

struct Visit {
    Visit() { Tell(true); }
    ~Visit() { Tell(false); }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;
    static void Tell(bool isBegin) {
        if (g_double.m_onVisit != nullptr) {
            g_double.m_onVisit(isBegin);
        }
    }
};

template <uint32_t Function, class Signature>
struct Entry;

template <uint32_t Function, class Result, class... Args>
struct Entry<Function, Result(Args...)> {
    static Result Call(Args... args) {
        const Visit visit;
        DoubleCall call;
        call.m_text = std::string(kNames[Function]) + '(';
        (Capture(&call, args), ...);
        call.m_text += ')';
        void* handle = nullptr;
        constexpr bool takesHandle = std::is_same_v<std::tuple_element_t<0, std::tuple<Args..., int>>, void*>;
        if constexpr (takesHandle) {
            handle = std::get<0>(std::tuple(args...));
        }
        std::vector<uint8_t> output;
        const uint32_t status = Judge(Function, call, handle, takesHandle, &output);
        if (status != 0) { // a truth value fails by being false
            return std::is_same_v<Result, bool> ? Result{} : static_cast<Result>(status);
        }
        const int result = Run<Function>(args...);
        if (result >= 0 && call.m_output != nullptr && !output.empty()) {
            memcpy(call.m_output, output.data(), output.size());
        }
        return static_cast<Result>(result);
    }
};

} // namespace
} // namespace ox3d::test

// An indirect function's resolver names the function that callers get: so a list of types without names of
// arguments is enough to define and export all of them.
// NOLINTBEGIN(bugprone-macro-parentheses): types and names cannot stand in parentheses.
#define OX_CAM_SYMBOL(result, name, arguments, group, need)                                                \
    extern "C" __attribute__((visibility("hidden"), used)) auto ResolverOf_##name()->result(*) arguments { \
        return &ox3d::test::Entry<ox3d::test::DOUBLE_##name, result arguments>::Call;                      \
    }                                                                                                      \
    extern "C" OX_CC_API result name arguments __attribute__((ifunc("ResolverOf_" #name)));
#include "src/CameraModule/CamSymbols.def"
// NOLINTEND(bugprone-macro-parentheses)

extern "C" OX_CC_API ox3d::test::CDouble* OX_GetDouble();
extern "C" ox3d::test::CDouble* OX_GetDouble() {
    return &ox3d::test::g_double;
}

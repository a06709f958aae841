// Double.cpp - the scripted camera-control library: cameras without faults behind its exported functions, all 57
// made from the one list. Each enters its call into the ledger, obeys the rules and then does its part.
#include "tests/doubles/Double.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <type_traits>
#include <utility>

#include "tests/support/Files.h"

namespace ox3d::test {
namespace {

constexpr int Code(uint32_t code) {
    return static_cast<int>(code);
}

// A camera calls back from two threads: one for frames, one for exceptions.
template <class Callback>
struct CallbackLane {
    Callback m_callback = nullptr;
    void* m_user = nullptr;
    uint32_t m_inFlight = 0; // also those that wait for their turn
    std::mutex m_turn;
};

struct Camera {
    OX_CC_DEVICE_INFO m_device = {};
    bool m_isOpen = false;
    bool m_isGrabbing = false;
    CallbackLane<OX_CC_IMAGE_CALLBACK> m_frames;
    CallbackLane<OX_CC_EXCEPTION_CALLBACK> m_exceptions;
};
using CameraRef = std::shared_ptr<Camera>;

thread_local const void* t_lane = nullptr; // the one on whose behalf this thread calls

// Everything but the cameras; Reset replaces it whole.
struct Script {
    std::vector<DoubleRule> m_rules;
    std::vector<DoubleCall> m_calls;
    uint32_t m_counts[kFunctions] = {};
    std::vector<OX_CC_DEVICE_INFO> m_devices;
    std::map<std::string, std::optional<std::string>> m_files;
    std::deque<OX_FRAME_OUT> m_frames;
    std::multiset<const uint8_t*> m_lent;
    uint32_t m_faults = 0;
    bool m_isPatient = true;
};

// One mutex guards it all; it is never held during a rule's work, a callback or a wait.
class CLibrary final : public CDouble {
    using Lock = std::unique_lock<std::mutex>;

    template <class Work>
    auto Locked(Work work) {
        const Lock lock(m_mutex);
        return work(m_script);
    }

public:
    void Reset() override {
        Locked([](Script& script) { script = {}; });
    }
    void AddRule(const DoubleRule& rule) override {
        Locked([&](Script& script) { script.m_rules.push_back(rule); });
    }
    void SetDevices(const std::vector<OX_CC_DEVICE_INFO>& devices) override {
        Locked([&](Script& script) { script.m_devices = devices; });
    }
    void SetFile(const std::string& name, const std::optional<std::string>& text) override {
        Locked([&](Script& script) { script.m_files[name] = text; });
    }
    void QueueFrame(const OX_FRAME_OUT& frame) override {
        Locked([&](Script& script) { script.m_frames.push_back(frame); });
        m_changed.notify_all();
    }
    void DeliverFrame(uint8_t* data, OX_FRAME_OUT_INFO_EX* info, bool isAwaited) override {
        CallBack(&Camera::m_frames, m_frameTarget, isAwaited, data, info);
    }
    void RaiseException(uint32_t message, bool isAwaited) override {
        CallBack(&Camera::m_exceptions, m_exceptionTarget, isAwaited, message);
    }
    void SetPatience(bool isPatient) override {
        Locked([&](Script& script) { script.m_isPatient = isPatient; });
    }
    std::vector<DoubleCall> Calls() override {
        return Locked([](Script& script) { return script.m_calls; });
    }
    uint32_t CallCount(uint32_t function) override {
        return Locked([&](Script& script) { return script.m_counts[function]; });
    }
    DoubleLedger Ledger() override {
        return Locked([this](Script& script) {
            const auto isOpen = [](const auto& entry) { return entry.second->m_isOpen; };
            return DoubleLedger{
                static_cast<uint32_t>(m_cameras.size()),
                static_cast<uint32_t>(std::count_if(m_cameras.begin(), m_cameras.end(), isOpen)),
                static_cast<uint32_t>(script.m_lent.size()), script.m_faults};
        });
    }

    // Enters the call into the ledger and runs the rules' work. A dead handle is a fault.
    uint32_t Judge(DoubleCall* call, bool takesHandle, std::vector<uint8_t>* output);

    // What a camera without faults does; by default, nothing.
    template <uint32_t Function, class... Args>
    int Run(Args... /*args*/) {
        return 0;
    }

private:
    CameraRef Find(void* handle) { // under the mutex
        const auto found = m_cameras.find(handle);
        return found != m_cameras.end() ? found->second : nullptr;
    }
    int SetGrabbing(void* handle, bool isGrabbing);
    template <class Lane>
    void Settle(Lock& lock, const Lane& lane) {
        const uint32_t own = t_lane == &lane ? 1 : 0;
        m_changed.wait(lock, [&] { return lane.m_inFlight <= own; });
    }
    template <class Lane, class... Args>
    void CallBack(Lane Camera::*which, const CameraRef& target, bool isAwaited, Args... args);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    Script m_script;
    std::vector<std::unique_ptr<OX_CC_DEVICE_INFO>> m_listed; // die at the next enumeration
    std::map<void*, CameraRef> m_cameras;
    CameraRef m_frameTarget;
    CameraRef m_exceptionTarget;
    uintptr_t m_nextHandle = 0x10001; // never given out twice
};

// Never destroyed: cameras' threads may outlive main.
CLibrary& Library() {
    static auto* const s_library = new CLibrary;
    return *s_library;
}

template <class Lane, class... Args>
void CLibrary::CallBack(Lane Camera::*which, const CameraRef& target, bool isAwaited, Args... args) {
    const CameraRef camera = Locked([&](Script&) {
        if (target != nullptr) {
            ++((*target).*which).m_inFlight;
        }
        return target;
    });
    if (camera == nullptr) {
        return;
    }
    std::thread caller([=, this] {
        Lane& lane = (*camera).*which;
        t_lane = &lane;
        {
            const Lock turn(lane.m_turn);
            const auto [callback, user] =
                Locked([&](Script&) { return std::pair(lane.m_callback, lane.m_user); });
            if (callback != nullptr) {
                callback(args..., user);
            }
        }
        Locked([&](Script&) { --lane.m_inFlight; });
        m_changed.notify_all();
    });
    isAwaited ? caller.join() : caller.detach();
}

uint32_t CLibrary::Judge(DoubleCall* call, bool takesHandle, std::vector<uint8_t>* output) {
    uint32_t status = 0;
    std::vector<DoubleRule> rules;
    {
        const Lock lock(m_mutex);
        call->m_ordinal = ++m_script.m_counts[call->m_function];
        m_script.m_calls.push_back(*call);
        if (takesHandle && Find(call->m_handle) == nullptr) {
            ++m_script.m_faults;
            return OX_CC_E_HANDLE;
        }
        for (const DoubleRule& rule : m_script.m_rules) {
            if ((rule.m_function == call->m_function || rule.m_function == kFunctions) &&
                (rule.m_ordinal == call->m_ordinal || rule.m_ordinal == 0)) {
                rules.push_back(rule);
            }
        }
    }
    for (const DoubleRule& rule : rules) {
        status = rule.m_status != 0 ? rule.m_status : status;
        *output = rule.m_output.empty() ? *output : rule.m_output;
        if (rule.m_work) {
            rule.m_work(*call);
        }
    }
    return status;
}

// ---- What each function does -----------------------------------------------------------------------------

template <>
int CLibrary::Run<DOUBLE_OX_CC_GetSDKVersion>() {
    return 0x01020304;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_EnumDevices>(uint32_t mask, OX_CC_DEVICE_INFO_LIST* list) {
    const Lock lock(m_mutex);
    m_listed.clear();
    for (const OX_CC_DEVICE_INFO& device : m_script.m_devices) {
        // Other transports than the two are listed whatever the mask: it is the caller who has to cope.
        const uint32_t known = device.nTLayerType & (OX_CC_GIGE_DEVICE | OX_CC_USB_DEVICE);
        if (known == 0 || (known & mask) != 0) {
            m_listed.push_back(std::make_unique<OX_CC_DEVICE_INFO>(device));
            list->pDeviceInfo[m_listed.size() - 1] = m_listed.back().get();
        }
    }
    list->nDeviceNum = static_cast<uint32_t>(m_listed.size());
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_IsDeviceAccessible>(OX_CC_DEVICE_INFO* /*device*/, uint32_t /*mode*/) {
    return 1;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_CreateHandle>(void** handle, const OX_CC_DEVICE_INFO* device) {
    const Lock lock(m_mutex);
    *handle = reinterpret_cast<void*>(m_nextHandle); // NOLINT(performance-no-int-to-ptr): a mere name
    m_nextHandle += 2;
    m_cameras[*handle] = std::make_shared<Camera>();
    m_cameras[*handle]->m_device = *device;
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_DestroyHandle>(void* handle) {
    Lock lock(m_mutex);
    const CameraRef camera = Find(handle);
    m_cameras.erase(handle);
    m_frameTarget = m_frameTarget == camera ? nullptr : m_frameTarget;
    m_exceptionTarget = m_exceptionTarget == camera ? nullptr : m_exceptionTarget;
    camera->m_frames.m_callback = nullptr;
    camera->m_exceptions.m_callback = nullptr;
    if (m_script.m_isPatient) {
        Settle(lock, camera->m_frames);
        Settle(lock, camera->m_exceptions);
    }
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_OpenDevice>(void* handle, uint32_t /*mode*/, uint16_t /*key*/) {
    const Lock lock(m_mutex);
    const CameraRef camera = Find(handle);
    m_script.m_faults += camera->m_isOpen ? 1 : 0;
    camera->m_isOpen = true;
    return 0;
}

int CLibrary::SetGrabbing(void* handle, bool isGrabbing) {
    Lock lock(m_mutex);
    const CameraRef camera = Find(handle);
    if (camera->m_isGrabbing == isGrabbing || !camera->m_isOpen) {
        return Code(OX_CC_E_CALL_ORDER);
    }
    camera->m_isGrabbing = isGrabbing;
    m_changed.notify_all();
    if (!isGrabbing && m_script.m_isPatient) {
        Settle(lock, camera->m_frames);
    }
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_CloseDevice>(void* handle) {
    SetGrabbing(handle, false);
    const Lock lock(m_mutex);
    return std::exchange(Find(handle)->m_isOpen, false) ? 0 : Code(OX_CC_E_CALL_ORDER);
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_StartGrabbing>(void* handle) {
    return SetGrabbing(handle, true);
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_StopGrabbing>(void* handle) {
    return SetGrabbing(handle, false);
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_GetImageBuffer>(void* handle, OX_FRAME_OUT* frame, uint32_t timeoutMs) {
    Lock lock(m_mutex);
    const CameraRef camera = Find(handle);
    m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                       [&] { return !camera->m_isGrabbing || !m_script.m_frames.empty(); });
    if (!camera->m_isGrabbing || m_script.m_frames.empty()) {
        return Code(camera->m_isGrabbing ? OX_CC_E_NO_DATA : OX_CC_E_CALL_ORDER);
    }
    *frame = m_script.m_frames.front();
    m_script.m_frames.pop_front();
    m_script.m_lent.insert(frame->pBufAddr);
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_FreeImageBuffer>(void* /*handle*/, OX_FRAME_OUT* frame) {
    const Lock lock(m_mutex);
    const auto lent = m_script.m_lent.find(frame->pBufAddr);
    if (lent == m_script.m_lent.end()) {
        ++m_script.m_faults;
        return Code(OX_CC_E_PARAMETER);
    }
    m_script.m_lent.erase(lent);
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_FileAccessRead>(void* /*handle*/, OX_CC_FILE_ACCESS* access) {
    const Lock lock(m_mutex);
    const std::optional<std::string>& text = m_script.m_files[access->pDevFileName];
    if (!text) {
        return Code(OX_CC_E_PARAMETER);
    }
    WriteFile(access->pUserFileName, *text);
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_GetDeviceInfo>(void* handle, OX_CC_DEVICE_INFO* device) {
    const Lock lock(m_mutex);
    *device = Find(handle)->m_device;
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_RegisterImageCallBackEx>(void* handle, OX_CC_IMAGE_CALLBACK callback,
                                                        void* user) {
    const Lock lock(m_mutex);
    m_frameTarget = Find(handle);
    m_frameTarget->m_frames.m_callback = callback;
    m_frameTarget->m_frames.m_user = user;
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_RegisterExceptionCallBack>(void* handle, OX_CC_EXCEPTION_CALLBACK callback,
                                                          void* user) {
    const Lock lock(m_mutex);
    m_exceptionTarget = Find(handle);
    m_exceptionTarget->m_exceptions.m_callback = callback;
    m_exceptionTarget->m_exceptions.m_user = user;
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_GetOptimalPacketSize>(void* /*handle*/) {
    return 1500;
}

// Every node is an integer, 640 whatever its name, until a rule says otherwise.
template <>
int CLibrary::Run<DOUBLE_OX_XML_GetNodeInterfaceType>(void* /*handle*/, const char* /*key*/, uint32_t* type) {
    *type = OX_IFT_IInteger;
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_GetIntValueEx>(void* /*handle*/, const char* /*key*/,
                                              OX_CC_INT_VALUE_EX* value) {
    *value = {640, 4000, 1, 1};
    return 0;
}

template <>
int CLibrary::Run<DOUBLE_OX_CC_GetIntValue>(void* /*handle*/, const char* /*key*/, OX_CC_INT_VALUE* value) {
    *value = {640, 4000, 1, 2, {}};
    return 0;
}

// ---- The exported functions: the arguments as text and as the record that is written ---------------------

template <class Arg>
std::string TextOf(Arg arg) {
    if constexpr (std::is_same_v<Arg, const char*>) {
        return arg != nullptr ? arg : "null";
    } else if constexpr (std::is_arithmetic_v<Arg>) {
        char text[32];
        if constexpr (std::is_floating_point_v<Arg>) {
            snprintf(text, sizeof(text), "%g", static_cast<double>(arg));
        } else {
            const auto number = static_cast<long>(arg);
            snprintf(text, sizeof(text), number >= 0x10000 ? "%#lx" : "%ld", number);
        }
        return text;
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
    if constexpr (std::is_pointer_v<Arg>) {
        using Target = std::remove_pointer_t<Arg>;
        if constexpr (std::is_function_v<Target>) {
            call->m_callback = reinterpret_cast<void (*)()>(arg);
        } else if constexpr (!std::is_const_v<Target>) {
            call->m_output = arg;
        }
    }
}

template <uint32_t Function, class Signature>
struct Entry;

template <uint32_t Function, class Result, class... Args>
struct Entry<Function, Result(Args...)> {
    static Result Call(Args... args) {
        DoubleCall call;
        call.m_function = Function;
        call.m_text = std::string(kNames[Function]) + '(';
        (Capture(&call, args), ...);
        call.m_text += ')';
        using First = std::tuple_element_t<0, std::tuple<Args..., int>>;
        constexpr bool takesHandle = std::is_same_v<First, void*>;
        if constexpr (takesHandle) {
            call.m_handle = std::get<0>(std::tuple(args...));
        }
        std::vector<uint8_t> output;
        const uint32_t status = Library().Judge(&call, takesHandle, &output);
        if (status != 0) { // a truth value fails by being false
            return std::is_same_v<Result, bool> ? Result{} : static_cast<Result>(status);
        }
        const int result = Library().Run<Function>(args...);
        if (result >= 0 && call.m_output != nullptr && !output.empty()) {
            memcpy(call.m_output, output.data(), output.size());
        }
        return static_cast<Result>(result);
    }

private:
    static constexpr const char* kNames[] = {
#define OX_CAM_SYMBOL(result, name, arguments, group, need) #name,
#include "src/CameraModule/CamSymbols.def"
    };
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
    return &ox3d::test::Library();
}

// Double.cpp - the scripted camera-control library's exported functions, all 57 made from the one list. Each
// enters its call into the ledger, obeys the rules and then behaves like a camera without faults.
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "tests/doubles/DoubleState.h"

namespace {

// ---- The arguments of a call, as text and as the record that it writes ---------------------------------

template <class Arg>
std::string TextOf(Arg arg) {
    if constexpr (std::is_same_v<Arg, const char*>) {
        return arg != nullptr ? arg : "null";
    } else if constexpr (std::is_integral_v<Arg>) {
        char text[32];
        const auto number = static_cast<int64_t>(arg);
        snprintf(text, sizeof(text), number >= 0x10000 ? "%#lx" : "%ld", static_cast<long>(number));
        return text;
    } else if constexpr (std::is_floating_point_v<Arg>) {
        char text[32];
        snprintf(text, sizeof(text), "%g", static_cast<double>(arg));
        return text;
    } else if constexpr (std::is_same_v<Arg, OX_CC_FILE_ACCESS*>) {
        return std::string(arg->pUserFileName) + ", " + arg->pDevFileName;
    } else if constexpr (std::is_same_v<Arg, const OX_CC_DEVICE_INFO*>) {
        const bool isUsb = arg->nTLayerType == OX_CC_USB_DEVICE;
        return isUsb ? std::string(arg->stUsb3Info.chSerialNumber, 16).c_str()
                     : std::string(arg->stGigEInfo.chSerialNumber, 16).c_str();
    } else {
        return {};
    }
}

template <class Arg>
void Capture(DoubleCall* call, std::string* text, Arg arg) {
    const std::string own = TextOf(arg);
    *text += own.empty() || text->empty() ? own : ", " + own;
    if constexpr (std::is_pointer_v<Arg>) {
        using Target = std::remove_pointer_t<Arg>;
        if constexpr (std::is_function_v<Target>) {
            call->pfnCallBack = reinterpret_cast<void (*)()>(arg);
        } else if constexpr (!std::is_const_v<Target>) {
            call->pOutput = arg;
        }
    }
}

// ---- What a camera without faults does; by default, nothing --------------------------------------------

template <uint32_t Id>
struct Behaviour {
    template <class... Args>
    static int Run(Args... /*args*/) {
        return 0;
    }
};

#define DOUBLE_BEHAVIOUR(name, parameters, ...)   \
    template <>                                   \
    struct Behaviour<DOUBLE_##name> {             \
        static int Run parameters { __VA_ARGS__ } \
    };

CDoubleState& State() {
    return CDoubleState::Get();
}

using Handle = void*;
DOUBLE_BEHAVIOUR(OX_CC_GetSDKVersion, (), return 0x01020304;)
DOUBLE_BEHAVIOUR(OX_CC_EnumDevices, (uint32_t mask, OX_CC_DEVICE_INFO_LIST* list),
                 return State().Enumerate(mask, list);)
DOUBLE_BEHAVIOUR(OX_CC_IsDeviceAccessible, (OX_CC_DEVICE_INFO*, uint32_t), return 1;)
DOUBLE_BEHAVIOUR(OX_CC_CreateHandle, (Handle * handle, const OX_CC_DEVICE_INFO* device),
                 return State().Create(handle, device);)
DOUBLE_BEHAVIOUR(OX_CC_DestroyHandle, (Handle handle), return State().Destroy(handle);)
DOUBLE_BEHAVIOUR(OX_CC_OpenDevice, (Handle handle, uint32_t, uint16_t), return State().Open(handle);)
DOUBLE_BEHAVIOUR(OX_CC_CloseDevice, (Handle handle), return State().Close(handle);)
DOUBLE_BEHAVIOUR(OX_CC_StartGrabbing, (Handle handle), return State().SetGrabbing(handle, true);)
DOUBLE_BEHAVIOUR(OX_CC_StopGrabbing, (Handle handle), return State().SetGrabbing(handle, false);)
DOUBLE_BEHAVIOUR(OX_CC_GetImageBuffer, (Handle handle, OX_FRAME_OUT* frame, uint32_t timeoutMs),
                 return State().GetFrame(handle, frame, timeoutMs);)
DOUBLE_BEHAVIOUR(OX_CC_FreeImageBuffer, (Handle, OX_FRAME_OUT* frame), return State().FreeFrame(frame);)
DOUBLE_BEHAVIOUR(OX_CC_FileAccessRead, (Handle, OX_CC_FILE_ACCESS* access), return State().ReadFile(access);)
DOUBLE_BEHAVIOUR(OX_CC_GetDeviceInfo, (Handle handle, OX_CC_DEVICE_INFO* device),
                 return State().GetDevice(handle, device);)
DOUBLE_BEHAVIOUR(OX_CC_RegisterImageCallBackEx, (Handle handle, OX_CC_IMAGE_CALLBACK fn, void* user),
                 return State().SetImageCallback(handle, fn, user);)
DOUBLE_BEHAVIOUR(OX_CC_RegisterExceptionCallBack, (Handle handle, OX_CC_EXCEPTION_CALLBACK fn, void* user),
                 return State().SetExceptionCallback(handle, fn, user);)
DOUBLE_BEHAVIOUR(OX_CC_GetOptimalPacketSize, (Handle), return 1500;)
// Every node is an integer, 640 whatever its name, until a rule says otherwise.
DOUBLE_BEHAVIOUR(OX_XML_GetNodeInterfaceType, (Handle, const char*, uint32_t* type), *type = OX_IFT_IInteger;
                 return 0;)
DOUBLE_BEHAVIOUR(OX_CC_GetIntValueEx, (Handle, const char*, OX_CC_INT_VALUE_EX* value),
                 *value = {640, 4000, 1, 1};
                 return 0;)
DOUBLE_BEHAVIOUR(OX_CC_GetIntValue, (Handle, const char*, OX_CC_INT_VALUE* value),
                 *value = {640, 4000, 1, 2, {}};
                 return 0;)

// ---- The exported functions ----------------------------------------------------------------------------

template <uint32_t Id, class Signature>
struct Entry;

template <uint32_t Id, class Result, class... Args>
struct Entry<Id, Result(Args...)> {
    static Result Call(Args... args) {
        DoubleCall call = {};
        call.nFunction = Id;
        std::string text;
        (Capture(&call, &text, args), ...);
        snprintf(call.chArguments, sizeof(call.chArguments), "%s", text.c_str());
        constexpr bool takesHandle = TakesHandle<Args...>();
        if constexpr (takesHandle) {
            call.handle = First(args...);
        }
        const DoubleVerdict verdict = State().Judge(&call, takesHandle);
        if (verdict.m_nStatus != 0) {
            return Failure(verdict.m_nStatus);
        }
        const int result = Behaviour<Id>::Run(args...);
        if (result >= 0 && call.pOutput != nullptr && !verdict.m_output.empty()) {
            memcpy(call.pOutput, verdict.m_output.data(), verdict.m_output.size());
        }
        return static_cast<Result>(result);
    }

private:
    template <class First, class... Rest>
    static constexpr bool TakesHandle() {
        return std::is_same_v<First, void*> && Id != DOUBLE_OX_CC_SaveImageEx;
    }
    template <class... None>
    requires(sizeof...(None) == 0) static constexpr bool TakesHandle() { return false; }
    template <class... Rest>
    static void* First(void* first, Rest... /*rest*/) {
        return first;
    }
    // A truth value fails by being false.
    static Result Failure(uint32_t status) {
        return std::is_same_v<Result, bool> ? Result{} : static_cast<Result>(status);
    }
};

} // namespace

// An indirect function's resolver names the function that callers get: so a list of types without names of
// arguments is enough to define and export all of them.
// NOLINTBEGIN(bugprone-macro-parentheses): types and names cannot stand in parentheses.
#define OX_CAM_SYMBOL(result, name, arguments, group, need)                                                \
    extern "C" __attribute__((visibility("hidden"), used)) auto ResolverOf_##name()->result(*) arguments { \
        return &Entry<DOUBLE_##name, result arguments>::Call;                                              \
    }                                                                                                      \
    extern "C" OX_CC_API result name arguments __attribute__((ifunc("ResolverOf_" #name)));
#include "src/CameraModule/CamSymbols.def"
// NOLINTEND(bugprone-macro-parentheses)

extern "C" OX_CC_API const DoubleControl* Double_GetControl();
extern "C" const DoubleControl* Double_GetControl() {
    return &CDoubleState::kControl;
}

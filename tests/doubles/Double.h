// Double.h - how a test steers the scripted camera-control library and reads what was asked of it.
//
// The library is found and loaded like any other libOxCameraControl.so. A test loads it once more, which gives the
// same instance. Unscripted, every function does what a camera without faults would do. Any thread may call.
#ifndef OX3D_TESTS_DOUBLES_DOUBLE_H
#define OX3D_TESTS_DOUBLES_DOUBLE_H

#include <dlfcn.h>

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <ox3drgbd/OxCameraControl.h>

namespace ox3d::test {

// One number for each function, and kFunctions for how many there are.
enum EDoubleFunction : uint32_t {
#define OX_CAM_SYMBOL(result, name, arguments, group, need) DOUBLE_##name,
#include "src/CameraModule/CamSymbols.def"
    kFunctions
};

struct DoubleCall {
    uint32_t m_function = 0;
    uint32_t m_ordinal = 0;         // from 1, of this function since the reset
    void* m_handle = nullptr;       // null where the function takes none
    void* m_output = nullptr;       // the argument to be written; valid during the call
    void (*m_callback)() = nullptr; // the callback that is registered
    std::string m_text; // "Function(arguments)": texts, numbers and names of records; without the handle
};

// What a call answers. A call obeys every rule that fits it, in the order in which they were added.
struct DoubleRule {
    uint32_t m_function = kFunctions;                // which means all
    uint32_t m_ordinal = 0;                          // which call, from 1; 0: all
    uint32_t m_status = 0;                           // not 0: answered, and nothing is done or written
    std::function<void(const DoubleCall&)> m_work{}; // first, on the caller's thread
    std::vector<uint8_t> m_output{};                 // written over the argument at the end
};

// What is still up, and what went wrong. All 0 once a caller has cleaned up.
struct DoubleLedger {
    uint32_t m_handles = 0;    // created and not destroyed
    uint32_t m_open = 0;       // opened and not closed
    uint32_t m_lentFrames = 0; // got and not freed
    uint32_t m_faults = 0;     // calls with destroyed or unknown handles, frames freed twice, double opens
};

class CDouble {
public:
    // Forgets rules, calls, frames, files and devices. No handle may be live.
    virtual void Reset() = 0;
    virtual void AddRule(const DoubleRule& rule) = 0;
    virtual void SetDevices(const std::vector<OX_CC_DEVICE_INFO>& devices) = 0;
    // A file of the cameras' store; without a text it goes.
    virtual void SetFile(const std::string& name, const std::optional<std::string>& text) = 0;
    // A frame for OX_CC_GetImageBuffer. Its memory stays the test's.
    virtual void QueueFrame(const OX_FRAME_OUT& frame) = 0;
    // Calls the callback that was registered last on a thread of its own, one call of a camera at a time, whatever
    // the arguments and whether the camera grabs or not. isAwaited: returns after the callback.
    virtual void DeliverFrame(uint8_t* data, OX_FRAME_OUT_INFO_EX* info, bool isAwaited = true) = 0;
    virtual void RaiseException(uint32_t message, bool isAwaited = true) = 0;
    // Impatient, stopping and destroying no longer wait for callbacks in flight.
    virtual void SetPatience(bool isPatient) = 0;
    // Every call since the reset, oldest first.
    virtual std::vector<DoubleCall> Calls() = 0;
    virtual uint32_t CallCount(uint32_t function) = 0;
    virtual DoubleLedger Ledger() = 0;

protected:
    ~CDouble() = default;
};

inline CDouble& Double() {
    static CDouble* const s_double = [] {
        void* const library = dlopen("libOxCameraControl.so", RTLD_NOW);
        void* const getter = library != nullptr ? dlsym(library, "OX_GetDouble") : nullptr;
        if (getter == nullptr) {
            throw std::runtime_error("the scripted library is not where LD_LIBRARY_PATH leads");
        }
        return reinterpret_cast<CDouble* (*)()>(getter)();
    }();
    return *s_double;
}

} // namespace ox3d::test

#endif

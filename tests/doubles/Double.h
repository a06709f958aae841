// Double.h - how a test steers the scripted camera-control library and reads what was asked of it.
//
// The library is found and loaded like any other libOxCameraControl.so. A test loads it once more, which gives the
// same instance. Unscripted, every function does what a camera without faults would do. Any thread may call.
#ifndef OX3D_TESTS_DOUBLES_DOUBLE_H
#define OX3D_TESTS_DOUBLES_DOUBLE_H

#include <dlfcn.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
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
    std::string m_text; // "Function(arguments)": texts, numbers and names of records; without the handle
    void* m_output = nullptr;       // the argument to be written; valid during the call
    uint8_t* m_bytes = nullptr;     // the one that takes text or other bytes, in front of their length
    void (*m_callback)() = nullptr; // the callback that is registered
};

// What a call answers. A call obeys every rule that fits it, in the order in which they were added.
struct DoubleRule {
    uint32_t m_function = kFunctions;                // which means all
    uint32_t m_ordinal = 0;                          // which call since the reset, from 1; 0: all
    uint32_t m_status = 0;                           // not 0: answered, and nothing is done or written
    std::function<void(const DoubleCall&)> m_work{}; // first, on the caller's thread
    std::vector<uint8_t> m_output{};                 // written over the argument at the end
};

struct DoubleCamera {
    OX_CC_DEVICE_INFO m_device = {};
    bool m_isOpen = false;
    bool m_isGrabbing = false;
};

// All that a reset forgets.
struct DoubleScript {
    std::vector<DoubleRule> m_rules;
    std::vector<std::string> m_calls; // oldest first
    uint32_t m_counts[kFunctions] = {};
    std::vector<OX_CC_DEVICE_INFO> m_devices;
    std::vector<OX_CC_DEVICE_INFO> m_listed;    // die at the next enumeration
    std::map<std::string, std::string> m_files; // the cameras' store
    std::deque<OX_FRAME_OUT> m_frames;          // for OX_CC_GetImageBuffer; their memory stays the test's
    std::multiset<const uint8_t*> m_lent;       // got and not freed
    uint32_t m_faults = 0;   // calls with destroyed or unknown handles, frames freed twice, double opens
    bool m_isPatient = true; // stopping and destroying wait for callbacks in flight
};

// A camera calls back from two threads: one for frames, one for exceptions.
template <class Callback>
struct DoubleLane {
    void* m_handle = nullptr; // the camera that registered last
    Callback m_callback = nullptr;
    void* m_user = nullptr;
    uint32_t m_inFlight = 0;    // also those that wait for their turn
    std::thread::id m_caller{}; // whose turn it is
    std::mutex m_turn;
};

// One mutex guards it all; it is never held during a rule's work, a callback or a wait.
class CDouble {
public:
    struct Locked {
        std::unique_lock<std::mutex> m_lock;
        DoubleScript* m_script;
        DoubleScript* operator->() const { return m_script; }
    };
    // For one statement, or to look at in peace.
    Locked Script() { return {std::unique_lock(m_mutex), &m_script}; }
    void Reset() { *Script().m_script = {}; } // no handle may be live
    void AddRule(const DoubleRule& rule) { Script()->m_rules.push_back(rule); }
    void SetDevices(const std::vector<OX_CC_DEVICE_INFO>& devices) { Script()->m_devices = devices; }
    void SetFile(const std::string& name, const std::string& text) { Script()->m_files[name] = text; }
    std::vector<std::string> Calls() { return Script()->m_calls; }
    uint32_t CallCount(uint32_t function) { return Script()->m_counts[function]; }
    size_t LentFrames() { return Script()->m_lent.size(); }
    size_t Handles() {
        const Locked lock = Script();
        return m_cameras.size();
    }
    void QueueFrame(const OX_FRAME_OUT& frame) {
        Script()->m_frames.push_back(frame);
        m_changed.notify_all();
    }
    // Calls the callback that was registered last on a thread of its own, one call at a time, whatever the arguments
    // and whether the camera grabs or not. isAwaited: returns after the callback.
    void DeliverFrame(uint8_t* data, OX_FRAME_OUT_INFO_EX* info, bool isAwaited = true) {
        CallBack(m_frames, isAwaited, data, info);
    }
    void RaiseException(uint32_t message, bool isAwaited = true) {
        CallBack(m_exceptions, isAwaited, message);
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    DoubleScript m_script;
    void (*m_onVisit)(bool isBegin) = nullptr; // around each call, on the caller's thread
    std::map<void*, DoubleCamera> m_cameras;   // created and not destroyed
    DoubleLane<OX_CC_IMAGE_CALLBACK> m_frames;
    DoubleLane<OX_CC_EXCEPTION_CALLBACK> m_exceptions;

private:
    template <class Callback, class... Args>
    void CallBack(DoubleLane<Callback>& lane, bool isAwaited, Args... args) {
        std::unique_lock lock(m_mutex);
        ++lane.m_inFlight;
        lock.unlock();
        std::thread caller([=, this, &lane] {
            const std::lock_guard turn(lane.m_turn);
            std::unique_lock own(m_mutex);
            lane.m_caller = std::this_thread::get_id();
            const auto [callback, user] = std::pair(lane.m_callback, lane.m_user);
            own.unlock();
            if (callback != nullptr) {
                callback(args..., user);
            }
            own.lock();
            lane.m_caller = {};
            --lane.m_inFlight;
            m_changed.notify_all();
        });
        isAwaited ? caller.join() : caller.detach();
    }
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

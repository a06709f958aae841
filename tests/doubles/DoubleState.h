// DoubleState.h - the scripted camera-control library's state: rules, ledger, cameras and their threads.
//
// One mutex guards it all; it is never held during a hook, a delay, a callback or a wait.
#ifndef OX3D_DOUBLE_STATE_H
#define OX3D_DOUBLE_STATE_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/doubles/DoubleControl.h"

// A thread that runs tasks in order; it starts with the first. Destroying waits for the task that runs.
class CTaskThread {
public:
    ~CTaskThread();
    void Post(std::function<void()> task, bool bWait);
    // Drops what waits and returns when nothing runs; from inside a task, when nothing waits.
    void Settle();

private:
    void Run();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_tasks;
    uint64_t m_nDone = 0;
    uint64_t m_nPosted = 0;
    bool m_bBusy = false;
    bool m_bEnd = false;
    std::thread m_thread;
};

struct DoubleCamera {
    OX_CC_DEVICE_INFO m_device = {};
    bool m_bOpen = false;
    bool m_bGrabbing = false;
    OX_CC_IMAGE_CALLBACK m_pfnImage = nullptr;
    void* m_pImageUser = nullptr;
    OX_CC_EXCEPTION_CALLBACK m_pfnException = nullptr;
    void* m_pExceptionUser = nullptr;
    CTaskThread m_delivery;
    CTaskThread m_exceptions;
};
using DoubleCameraRef = std::shared_ptr<DoubleCamera>;

// Everything but the cameras; Reset replaces it whole.
struct DoubleScript {
    struct Rule {
        DoubleRule m_rule;
        std::vector<uint8_t> m_output;
    };
    std::vector<Rule> m_rules;
    std::deque<DoubleCall> m_calls;
    uint32_t m_nCounts[DOUBLE_FUNCTIONS] = {};
    std::vector<OX_CC_DEVICE_INFO> m_devices;
    std::map<std::string, std::string> m_files;
    std::deque<OX_FRAME_OUT> m_frames;
    std::multiset<const uint8_t*> m_lent;
    uint32_t m_nFaults = 0;
    bool m_bPatient = true;
};

// What the rules say about one call.
struct DoubleVerdict {
    uint32_t m_nStatus = 0;
    std::vector<uint8_t> m_output;
};

class CDoubleState {
public:
    // Never destroyed: cameras' threads may outlive main.
    static CDoubleState& Get();

    // Enters the call into the ledger and runs delays and hooks. A dead handle is a fault.
    DoubleVerdict Judge(DoubleCall* call, bool takesHandle);

    int Enumerate(uint32_t mask, OX_CC_DEVICE_INFO_LIST* list);
    int Create(void** handle, const OX_CC_DEVICE_INFO* device);
    int Destroy(void* handle);
    int Open(void* handle);
    int Close(void* handle);
    int SetGrabbing(void* handle, bool bGrabbing);
    int GetFrame(void* handle, OX_FRAME_OUT* frame, uint32_t timeoutMs);
    int FreeFrame(const OX_FRAME_OUT* frame);
    int ReadFile(const OX_CC_FILE_ACCESS* access);
    int GetDevice(void* handle, OX_CC_DEVICE_INFO* device);
    int SetImageCallback(void* handle, OX_CC_IMAGE_CALLBACK fn, void* user);
    int SetExceptionCallback(void* handle, OX_CC_EXCEPTION_CALLBACK fn, void* user);

    static const DoubleControl kControl;

private:
    DoubleCameraRef Find(void* handle); // under m_mutex

    std::mutex m_mutex;
    std::condition_variable m_changed;
    DoubleScript m_script;
    std::vector<std::unique_ptr<OX_CC_DEVICE_INFO>> m_listed; // die at the next enumeration
    std::map<void*, DoubleCameraRef> m_cameras;
    std::vector<DoubleCameraRef> m_buried; // destroyed without patience: their threads may still run
    DoubleCameraRef m_imageTarget;
    DoubleCameraRef m_exceptionTarget;
    uintptr_t m_nNextHandle = 0x10001; // never given out twice
};

#endif

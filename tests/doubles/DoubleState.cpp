// DoubleState.cpp - see DoubleState.h.
#include "tests/doubles/DoubleState.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>

namespace {

int Code(uint32_t code) {
    return static_cast<int>(code);
}

} // namespace

CTaskThread::~CTaskThread() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_bEnd = true;
    }
    m_changed.notify_all();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void CTaskThread::Post(std::function<void()> task, bool bWait) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_thread.joinable()) {
        m_thread = std::thread([this] { Run(); });
    }
    m_tasks.push_back(std::move(task));
    const uint64_t nMine = ++m_nPosted;
    m_changed.notify_all();
    if (bWait) {
        m_changed.wait(lock, [&] { return m_nDone >= nMine; });
    }
}

void CTaskThread::Settle() {
    std::unique_lock<std::mutex> lock(m_mutex);
    std::fill(m_tasks.begin(), m_tasks.end(), [] {});
    if (std::this_thread::get_id() != m_thread.get_id()) {
        m_changed.wait(lock, [&] { return !m_bBusy; });
    }
}

void CTaskThread::Run() {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [&] { return m_bEnd || !m_tasks.empty(); });
        if (m_tasks.empty()) {
            return;
        }
        {
            const std::function<void()> task = std::move(m_tasks.front());
            m_tasks.pop_front();
            m_bBusy = true;
            lock.unlock();
            task();
        }
        lock.lock();
        m_bBusy = false;
        ++m_nDone;
        m_changed.notify_all();
    }
}

CDoubleState& CDoubleState::Get() {
    static auto* const state = new CDoubleState;
    return *state;
}

DoubleCameraRef CDoubleState::Find(void* handle) {
    const auto found = m_cameras.find(handle);
    return found != m_cameras.end() ? found->second : nullptr;
}

DoubleVerdict CDoubleState::Judge(DoubleCall* call, bool takesHandle) {
    std::vector<DoubleRule> rules;
    DoubleVerdict verdict;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        call->nOrdinal = ++m_script.m_nCounts[call->nFunction];
        m_script.m_calls.push_back(*call);
        if (m_script.m_calls.size() > DOUBLE_MAX_CALLS) {
            m_script.m_calls.pop_front();
        }
        if (takesHandle && Find(call->handle) == nullptr) {
            ++m_script.m_nFaults;
            verdict.m_nStatus = OX_CC_E_HANDLE;
            return verdict;
        }
        for (const DoubleScript::Rule& entry : m_script.m_rules) {
            const DoubleRule& rule = entry.m_rule;
            if ((rule.nFunction == call->nFunction || rule.nFunction == DOUBLE_FUNCTIONS) &&
                (rule.nOrdinal == call->nOrdinal || rule.nOrdinal == 0)) {
                rules.push_back(rule);
                verdict.m_nStatus = rule.nStatus != 0 ? rule.nStatus : verdict.m_nStatus;
                verdict.m_output = !entry.m_output.empty() ? entry.m_output : verdict.m_output;
            }
        }
    }
    for (const DoubleRule& rule : rules) {
        std::this_thread::sleep_for(std::chrono::milliseconds(rule.nDelayMs));
        if (rule.pfnHook != nullptr) {
            rule.pfnHook(call, rule.pHookUser);
        }
    }
    return verdict;
}

int CDoubleState::Enumerate(uint32_t mask, OX_CC_DEVICE_INFO_LIST* list) {
    const std::lock_guard<std::mutex> lock(m_mutex);
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

int CDoubleState::Create(void** handle, const OX_CC_DEVICE_INFO* device) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto camera = std::make_shared<DoubleCamera>();
    camera->m_device = *device;
    *handle = reinterpret_cast<void*>(m_nNextHandle); // NOLINT(performance-no-int-to-ptr): a mere name
    m_nNextHandle += 2;
    m_cameras[*handle] = camera;
    return 0;
}

int CDoubleState::Destroy(void* handle) {
    DoubleCameraRef camera;
    bool bPatient = true;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        camera = Find(handle);
        m_cameras.erase(handle);
        m_imageTarget = m_imageTarget == camera ? nullptr : m_imageTarget;
        m_exceptionTarget = m_exceptionTarget == camera ? nullptr : m_exceptionTarget;
        camera->m_pfnImage = nullptr;
        camera->m_pfnException = nullptr;
        bPatient = m_script.m_bPatient;
        if (!bPatient) {
            m_buried.push_back(camera);
        }
    }
    if (bPatient) {
        camera->m_delivery.Settle();
        camera->m_exceptions.Settle();
    }
    return 0;
}

int CDoubleState::Open(void* handle) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const DoubleCameraRef camera = Find(handle);
    m_script.m_nFaults += camera->m_bOpen ? 1 : 0;
    camera->m_bOpen = true;
    return 0;
}

int CDoubleState::Close(void* handle) {
    SetGrabbing(handle, false);
    const std::lock_guard<std::mutex> lock(m_mutex);
    const DoubleCameraRef camera = Find(handle);
    const bool wasOpen = camera->m_bOpen;
    camera->m_bOpen = false;
    return wasOpen ? 0 : Code(OX_CC_E_CALL_ORDER);
}

int CDoubleState::SetGrabbing(void* handle, bool bGrabbing) {
    DoubleCameraRef camera;
    bool bSettle = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        camera = Find(handle);
        if (camera->m_bGrabbing == bGrabbing || !camera->m_bOpen) {
            return Code(OX_CC_E_CALL_ORDER);
        }
        camera->m_bGrabbing = bGrabbing;
        bSettle = !bGrabbing && m_script.m_bPatient;
    }
    m_changed.notify_all();
    if (bSettle) {
        camera->m_delivery.Settle();
    }
    return 0;
}

int CDoubleState::GetFrame(void* handle, OX_FRAME_OUT* frame, uint32_t timeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    const DoubleCameraRef camera = Find(handle);
    m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                       [&] { return !camera->m_bGrabbing || !m_script.m_frames.empty(); });
    if (!camera->m_bGrabbing || m_script.m_frames.empty()) {
        return Code(camera->m_bGrabbing ? OX_CC_E_NO_DATA : OX_CC_E_CALL_ORDER);
    }
    *frame = m_script.m_frames.front();
    m_script.m_frames.pop_front();
    m_script.m_lent.insert(frame->pBufAddr);
    return 0;
}

int CDoubleState::FreeFrame(const OX_FRAME_OUT* frame) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto lent = m_script.m_lent.find(frame->pBufAddr);
    if (lent == m_script.m_lent.end()) {
        ++m_script.m_nFaults;
        return Code(OX_CC_E_PARAMETER);
    }
    m_script.m_lent.erase(lent);
    return 0;
}

int CDoubleState::ReadFile(const OX_CC_FILE_ACCESS* access) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto file = m_script.m_files.find(access->pDevFileName);
    if (file == m_script.m_files.end()) {
        return Code(OX_CC_E_PARAMETER);
    }
    std::ofstream(access->pUserFileName, std::ios::binary) << file->second;
    return 0;
}

int CDoubleState::GetDevice(void* handle, OX_CC_DEVICE_INFO* device) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    *device = Find(handle)->m_device;
    return 0;
}

int CDoubleState::SetImageCallback(void* handle, OX_CC_IMAGE_CALLBACK fn, void* user) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_imageTarget = Find(handle);
    m_imageTarget->m_pfnImage = fn;
    m_imageTarget->m_pImageUser = user;
    return 0;
}

int CDoubleState::SetExceptionCallback(void* handle, OX_CC_EXCEPTION_CALLBACK fn, void* user) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_exceptionTarget = Find(handle);
    m_exceptionTarget->m_pfnException = fn;
    m_exceptionTarget->m_pExceptionUser = user;
    return 0;
}

const DoubleControl CDoubleState::kControl = {
    [] {
        CDoubleState& self = Get();
        DoubleScript former;
        std::vector<DoubleCameraRef> buried; // their threads are joined without the lock
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        std::swap(self.m_script, former);
        std::swap(self.m_buried, buried);
    },
    [](const DoubleRule* rule) {
        CDoubleState& self = Get();
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        const auto* bytes = static_cast<const uint8_t*>(rule->pOutput);
        self.m_script.m_rules.push_back({*rule, {bytes, bytes + rule->nOutputBytes}});
    },
    [](const OX_CC_DEVICE_INFO* devices, uint32_t count) {
        CDoubleState& self = Get();
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        self.m_script.m_devices.assign(devices, devices + count);
    },
    [](const char* name, const char* text) {
        CDoubleState& self = Get();
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        if (text != nullptr) {
            self.m_script.m_files[name] = text;
        } else {
            self.m_script.m_files.erase(name);
        }
    },
    [](const OX_FRAME_OUT* frame) {
        CDoubleState& self = Get();
        {
            const std::lock_guard<std::mutex> lock(self.m_mutex);
            self.m_script.m_frames.push_back(*frame);
        }
        self.m_changed.notify_all();
    },
    [](uint8_t* data, OX_FRAME_OUT_INFO_EX* info, uint32_t wait) {
        CDoubleState& self = Get();
        DoubleCameraRef camera;
        {
            const std::lock_guard<std::mutex> lock(self.m_mutex);
            camera = self.m_imageTarget;
        }
        if (camera == nullptr) {
            return;
        }
        const auto task = [&self, target = camera.get(), data, info] {
            std::unique_lock<std::mutex> lock(self.m_mutex);
            const OX_CC_IMAGE_CALLBACK fn = target->m_pfnImage;
            void* const user = target->m_pImageUser;
            lock.unlock();
            if (fn != nullptr) {
                fn(data, info, user);
            }
        };
        camera->m_delivery.Post(task, wait != 0);
    },
    [](uint32_t message, uint32_t wait) {
        CDoubleState& self = Get();
        DoubleCameraRef camera;
        {
            const std::lock_guard<std::mutex> lock(self.m_mutex);
            camera = self.m_exceptionTarget;
        }
        if (camera == nullptr) {
            return;
        }
        const auto task = [&self, target = camera.get(), message] {
            std::unique_lock<std::mutex> lock(self.m_mutex);
            const OX_CC_EXCEPTION_CALLBACK fn = target->m_pfnException;
            void* const user = target->m_pExceptionUser;
            lock.unlock();
            if (fn != nullptr) {
                fn(message, user);
            }
        };
        camera->m_exceptions.Post(task, wait != 0);
    },
    [](uint32_t patient) {
        CDoubleState& self = Get();
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        self.m_script.m_bPatient = patient != 0;
    },
    [](uint32_t function) {
        CDoubleState& self = Get();
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        return self.m_script.m_nCounts[function];
    },
    [](DoubleCall* calls, uint32_t capacity) {
        CDoubleState& self = Get();
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        const auto& all = self.m_script.m_calls;
        const size_t count = std::min<size_t>(all.size(), capacity);
        std::copy(all.end() - static_cast<std::ptrdiff_t>(count), all.end(), calls);
        return static_cast<uint32_t>(count);
    },
    [](DoubleLedger* ledger) {
        CDoubleState& self = Get();
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        *ledger = {};
        ledger->nHandles = static_cast<uint32_t>(self.m_cameras.size());
        for (const auto& [handle, camera] : self.m_cameras) {
            ledger->nOpen += camera->m_bOpen ? 1 : 0;
        }
        ledger->nLentFrames = static_cast<uint32_t>(self.m_script.m_lent.size());
        ledger->nFaults = self.m_script.m_nFaults;
    },
};

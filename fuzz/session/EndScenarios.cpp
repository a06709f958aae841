// EndScenarios.cpp - processes that end, fork and cancel threads with a device streaming. Each happens in a process of its
// own, which this program starts as itself.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "fuzz/session/Checks.h"
#include "fuzz/session/Children.h"
#include "fuzz/session/Steps.h"

namespace ox3d::session {

pid_t StartChild(const std::string& work, unsigned long seed, const std::string& folder, int output) {
    const std::string number = std::to_string(seed);
    const pid_t child = fork();
    if (child == 0) {
        dup2(output, STDOUT_FILENO);
        execl("/proc/self/exe", "soak", "--child", work.c_str(), "--seed", number.c_str(), "--folder",
              folder.c_str(), nullptr);
        _exit(127);
    }
    return child;
}

int StatusOfChild(const std::string& work, unsigned long seed) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const pid_t child = StartChild(work, seed, "", nowhere);
    close(nowhere);
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

namespace {

constexpr unsigned kPatienceSeconds = 60; // for a child, which a call without end would hold for ever

void RunChildOf(Run& run, const std::string& work) {
    const unsigned long seed = run.m_random();
    if (const int status = StatusOfChild(work, seed); status != 0) {
        Complain(work + " with seed " + std::to_string(seed) + " ends with status " + std::to_string(status));
    }
    ++run.m_done;
}

// ---- In the child ------------------------------------------------------------------------------------------

std::atomic<uint32_t> g_frames{0};

void CountFrame(OX3D_RGBD_FRAME_DATA* /*frame*/, void* /*user*/) {
    ++g_frames;
}

void WaitForFrames(uint32_t count) {
    const uint32_t before = g_frames;
    Eventually([&] { return g_frames >= before + count; });
}

// Frames for callbacks and fetches, until the flag is raised.
std::atomic<bool> g_isEnough{false};
std::thread StartCamera() {
    return std::thread([] {
        static auto& s_frame = *new CRawFrame(64, 48);
        while (!g_isEnough) {
            if (Double().Script()->m_frames.size() < 2) {
                Double().QueueFrame(s_frame.Out());
            }
            Double().DeliverFrame(s_frame.m_main.data(), s_frame.Info());
            Double().Script()->m_calls.clear();
        }
    });
}

// The functions of the shared library, which a process may unload.
struct Loaded {
    void* m_library = dlopen(OX3D_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    template <class Function>
    Function* Find(const char* name) const {
        return reinterpret_cast<Function*>(dlsym(m_library, name));
    }
};

// Ends the process with frames coming, and with a thread inside a fetch where there is no callback.
[[noreturn]] void EndStreaming(unsigned long seed, bool isUnloaded) {
    SetUpCamera();
    const Loaded loaded;
    void* handle = nullptr;
    const auto fetch = loaded.Find<decltype(OX3D_RGBD_FetchFrame)>("OX3D_RGBD_FetchFrame");
    const auto open =
        loaded.Find<decltype(OX3D_RGBD_OpenDeviceBySerialNumber)>("OX3D_RGBD_OpenDeviceBySerialNumber");
    const auto start = loaded.Find<decltype(OX3D_RGBD_Start)>("OX3D_RGBD_Start");
    const auto listen =
        loaded.Find<decltype(OX3D_RGBD_RegisterFrameCallBack)>("OX3D_RGBD_RegisterFrameCallBack");
    uint32_t status = open(&handle, "USB1");
    const bool isPushed = seed % 2 == 0;
    status |= isPushed ? listen(handle, CountFrame, nullptr) : 0;
    status |= start(handle);
    if (status != 0) {
        _exit(2);
    }
    StartCamera().detach();
    if (!isPushed) {
        std::thread([=] {
            for (OX3D_RGBD_FRAME_DATA frame;; ++g_frames) {
                fetch(handle, &frame, 1000);
            }
        }).detach();
    }
    WaitForFrames(3);
    if (isUnloaded) {
        dlclose(loaded.m_library);
        WaitForFrames(3);
    }
    exit(0);
}

uint32_t SetParam(void* handle) {
    OX3D_RGBD_PARAM param = IntParam(0);
    return OX3D_RGBD_SetParam(handle, "Width", &param);
}

uint32_t GetParam(void* handle) {
    OX3D_RGBD_PARAM param = {};
    return OX3D_RGBD_GetParam(handle, "Width", &param);
}

// The parent's handle is dead in the child, and its close frees it; a device of its own works.
[[noreturn]] void UseInForkedChild(void* handle) {
    alarm(kPatienceSeconds / 2);
    Double().m_script.m_isPatient = false; // threads that the camera waits for are the parent's
    OX3D_RGBD_FRAME_DATA frame;
    void* inherited = handle;
    Expect("fetch in the child", OX3D_RGBD_FetchFrame(handle, &frame, 5), OX3D_RGBD_E_HANDLE);
    Expect("get in the child", GetParam(handle), OX3D_RGBD_E_HANDLE);
    Expect("set in the child", SetParam(handle), OX3D_RGBD_E_HANDLE);
    Expect("stop in the child", OX3D_RGBD_Stop(handle), OX3D_RGBD_E_HANDLE);
    Expect("close in the child", OX3D_RGBD_CloseDevice(&inherited), OX3D_RGBD_OK);
    if (!kSanitized) { // the thread sanitizer allows the child no thread
        void* own = nullptr;
        Expect("open in the child", OX3D_RGBD_OpenDeviceBySerialNumber(&own, "USB1"), OX3D_RGBD_OK);
        Expect("close of its own", OX3D_RGBD_CloseDevice(&own), OX3D_RGBD_OK);
    }
    _exit(Complaints() == 0 ? 0 : 1);
}

// Only the log is open in the child, and goes with its program.
[[noreturn]] void ExecInForkedChild() {
    for (int file = 3; file < 64; ++file) {
        const int flags = fcntl(file, F_GETFD);
        char name[256] = {};
        const ssize_t length =
            readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), name, sizeof(name) - 1);
        if (flags >= 0 && (flags & FD_CLOEXEC) == 0 && length > 0 && strstr(name, "Ox3dRgbd") != nullptr) {
            _exit(3);
        }
    }
    execl("/bin/true", "true", nullptr);
    _exit(127);
}

int ForkStreaming(unsigned long seed, bool isExec) {
    SetUpCamera();
    void* handle = nullptr;
    Expect("open", OX3D_RGBD_OpenDeviceBySerialNumber(&handle, "USB1"), OX3D_RGBD_OK);
    if (seed % 2 == 0) {
        Expect("register", OX3D_RGBD_RegisterFrameCallBack(handle, CountFrame, nullptr), OX3D_RGBD_OK);
    }
    Expect("start", OX3D_RGBD_Start(handle), OX3D_RGBD_OK);
    std::thread camera = StartCamera();
    std::thread fetching([&] {
        for (OX3D_RGBD_FRAME_DATA frame; !g_isEnough;) {
            g_frames += OX3D_RGBD_FetchFrame(handle, &frame, 5) == OX3D_RGBD_OK ? 1 : 0;
        }
    });
    WaitForFrames(2 + seed % 3);
    pid_t child = -1;
    {
        const CDouble::Locked cameras =
            Double().Script(); // the scripted camera itself cannot be forked at work
        child = fork();
    }
    if (child == 0) {
        // The child has the lock, too; its owner is this thread, which is there.
        isExec ? ExecInForkedChild() : UseInForkedChild(handle);
    }
    int status = -1;
    waitpid(child, &status, 0);
    Expect("the child", static_cast<uint32_t>(status), 0);
    WaitForFrames(3);
    g_isEnough = true;
    fetching.join();
    camera.join();
    Expect("stop", OX3D_RGBD_Stop(handle), OX3D_RGBD_OK);
    Expect("close", OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
    Expect("handles", static_cast<uint32_t>(Double().Handles()), 0);
    return Complaints() == 0 ? 0 : 1;
}

// A thread that makes one kind of call on and on, and is cancelled.
struct Victim {
    void* m_handle = nullptr;
    unsigned long m_kind = 0;
};

void* MakeCalls(void* argument) {
    auto& victim = *static_cast<Victim*>(argument);
    OX3D_RGBD_FRAME_DATA frame;
    OX3D_RGBD_CALIB_INFO calibration;
    uint32_t count = 0;
    for (;; pthread_testcancel()) {
        switch (victim.m_kind % 10) {
        case 0:
            OX3D_RGBD_FetchFrame(victim.m_handle, &frame, 1000);
            break;
        case 1:
            OX3D_RGBD_CloseDevice(&victim.m_handle);
            OX3D_RGBD_OpenDeviceBySerialNumber(&victim.m_handle, "USB1");
            break;
        case 2:
            OX3D_RGBD_Stop(victim.m_handle);
            OX3D_RGBD_Start(victim.m_handle);
            break;
        case 3:
            OX3D_RGBD_RegisterFrameCallBack(victim.m_handle, CountFrame, nullptr);
            OX3D_RGBD_RegisterFrameCallBack(victim.m_handle, nullptr, nullptr);
            break;
        case 4:
            GetParam(victim.m_handle);
            break;
        case 5:
            SetParam(victim.m_handle);
            break;
        case 6:
            OX3D_RGBD_SoftTrigger(victim.m_handle);
            break;
        case 7:
            OX3D_RGBD_GetCalibInfo(victim.m_handle, OX3D_RGBD_CALIB_COLOR, &calibration);
            break;
        case 8:
            OX3D_RGBD_GetDeviceNumber(OX3D_RGBD_DEVICE_ALL, &count);
            break;
        default:
            OX3D_RGBD_FetchFrame(victim.m_handle, &frame, 0);
            break;
        }
    }
    return nullptr;
}

int CancelStreaming(unsigned long seed) {
    SetUpCamera();
    Double().AddRule({.m_work = [](const DoubleCall&) { usleep(100); }}); // a place to be cancelled at
    Victim victim;
    victim.m_kind = seed;
    Expect("open", OX3D_RGBD_OpenDeviceBySerialNumber(&victim.m_handle, "USB1"), OX3D_RGBD_OK);
    Expect("start", OX3D_RGBD_Start(victim.m_handle), OX3D_RGBD_OK);
    std::thread camera = StartCamera();
    pthread_t thread{};
    pthread_create(&thread, nullptr, &MakeCalls, &victim);
    usleep(static_cast<useconds_t>(seed / 10 % 10000));
    pthread_cancel(thread);
    pthread_join(thread, nullptr);
    g_isEnough = true;
    camera.join();
    for (int again = 0; again < 2; ++again) {
        if (victim.m_handle != nullptr) {
            Expect("close", OX3D_RGBD_CloseDevice(&victim.m_handle), OX3D_RGBD_OK);
        }
        Expect("open", OX3D_RGBD_OpenDeviceBySerialNumber(&victim.m_handle, "USB1"), OX3D_RGBD_OK);
    }
    Expect("close", OX3D_RGBD_CloseDevice(&victim.m_handle), OX3D_RGBD_OK);
    Expect("handles", static_cast<uint32_t>(Double().Handles()), 0);
    Expect("frames", static_cast<uint32_t>(Double().LentFrames()), 0);
    return Complaints() == 0 ? 0 : 1;
}

} // namespace

void RunProcessEnds(Run& run) {
    for (uint64_t i = 0; i < run.m_count; ++i) {
        for (const char* const work : {"exit", "unload", "exec", "fork", "cancel"}) {
            RunChildOf(run, work);
        }
    }
}

int RunChild(const char* work, unsigned long seed, const char* folder) {
    alarm(kPatienceSeconds);
    if (*folder != '\0') {
        std::filesystem::current_path(folder);
    }
    const std::string name = work;
    if (name == "exit" || name == "unload") {
        EndStreaming(seed, name == "unload");
    }
    if (name == "exec" || name == "fork") {
        return ForkStreaming(seed, name == "exec");
    }
    if (name == "cancel") {
        return CancelStreaming(seed);
    }
    return RunLogChild(name, seed);
}

} // namespace ox3d::session

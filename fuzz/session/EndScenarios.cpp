// EndScenarios.cpp - processes that end, fork and cancel threads with a device streaming, and logs that are killed or find
// something else in place of their files. Each happens in a process of its own, which this program starts as itself.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "fuzz/session/Checks.h"
#include "fuzz/session/Steps.h"

namespace ox3d::session {
namespace {

constexpr unsigned kPatienceSeconds = 60; // for a child, which a call without end would hold for ever
const char* const kPrimary = "Ox3dRgbdLog/Ox3dRgbd_00.log";
const char* const kBackup = "Ox3dRgbdLog/Ox3dRgbd_01.log";

// Starts this program for one work in a folder; the pipe's end is the child's standard output.
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

void RunChildOf(Run& run, const std::string& work) {
    const unsigned long seed = run.m_random();
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const pid_t child = StartChild(work, seed, "", nowhere);
    close(nowhere);
    int status = -1;
    waitpid(child, &status, 0);
    if (status != 0) {
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

// Logs until it is killed. The first line is in the file when it says so.
[[noreturn]] void LogForEver() {
    SetUpCamera();
    uint32_t count = 0;
    OX3D_RGBD_GetDeviceNumber(OX3D_RGBD_DEVICE_ALL, &count); // from here on there is a log
    if (write(STDOUT_FILENO, "+", 1) == 1) {
        for (;;) {
            OX3D_RGBD_GetSDKVersion(nullptr);
        }
    }
    _exit(2);
}

// ---- Logs that are killed ----------------------------------------------------------------------------------

// Every line is whole but those that a kill has torn: they are followed by the hole that begins the next life.
void LookAtLines(const char* name) {
    std::ifstream file(name, std::ios::binary);
    const int descriptor = open(name, O_RDONLY | O_CLOEXEC);
    off_t data = lseek(descriptor, 0, SEEK_DATA);
    while (data >= 0) {
        const off_t hole = lseek(descriptor, data, SEEK_HOLE);
        std::string text(static_cast<size_t>(hole - data), '\0');
        if (pread(descriptor, text.data(), text.size(), data) < 0) {
            break;
        }
        std::istringstream segments(text);
        for (std::string segment; std::getline(segments, segment, '\0');) {
            std::istringstream lines(segment);
            for (std::string line; std::getline(lines, line) && !lines.eof();) {
                if (!line.starts_with("[20") || !line.ends_with('\r')) {
                    Complain(std::string(name) + " has the line: " + line.substr(0, 200));
                }
            }
        }
        data = lseek(descriptor, hole, SEEK_DATA);
    }
    close(descriptor);
}

void LookAtLogFiles() {
    for (const auto& entry : std::filesystem::directory_iterator("Ox3dRgbdLog")) {
        const bool isKnown = entry.path() == kPrimary || entry.path() == kBackup;
        if (!isKnown || entry.file_size() > (uintmax_t{100} << 20) + 8192) {
            Complain("the log leaves " + entry.path().string() + " of " + std::to_string(entry.file_size()) +
                     " bytes");
        } else {
            LookAtLines(entry.path().c_str());
        }
    }
}

} // namespace

// Kills a process around the rotation of its log, and looks at what is there; the next one goes on with it.
void RunLogKills(Run& run) {
    std::filesystem::create_directory("Ox3dRgbdLog");
    const std::string folder = std::filesystem::current_path();
    for (; run.m_done < run.m_count; ++run.m_done) {
        std::ofstream(kPrimary, std::ios::app).flush();
        if (std::filesystem::file_size(kPrimary) > uintmax_t{100} << 19) { // close to its end already
            std::filesystem::resize_file(kPrimary, 0);
        }
        std::filesystem::resize_file(kPrimary,
                                     (uintmax_t{100} << 20) - (uintmax_t{run.m_random()} % 2000) - 200);
        int ends[2] = {};
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return Complain("no pipe");
        }
        const pid_t child = StartChild("log", run.m_random(), folder, ends[1]);
        close(ends[1]);
        char byte = 0;
        if (read(ends[0], &byte, 1) != 1) {
            Complain("a process cannot log");
        }
        usleep(static_cast<useconds_t>(run.m_random() % 10000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(ends[0]);
        run.m_faults += std::filesystem::exists(kBackup) ? 1 : 0;
        LookAtLogFiles();
        std::filesystem::remove(kBackup);
    }
}

// ---- Logs that find something else -------------------------------------------------------------------------

namespace {

void MakeSocket(const char* name) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "%s", name);
    if (bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        Complain("no socket");
    }
    close(descriptor);
}

void LimitFiles(rlim_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
}

struct Obstacle {
    const char* m_name;
    void (*m_put)();
    void (*m_clear)() = [] {};
    bool m_isFolderLost = false; // so that the camera cannot store its file either
};

void PutFolder() {
    std::filesystem::create_directory("Ox3dRgbdLog");
}

// A log that is about to rotate.
void FillLog() {
    PutFolder();
    std::ofstream(kPrimary).put('\n');
    std::filesystem::resize_file(kPrimary, (uintmax_t{100} << 20) - 50);
}

const Obstacle kObstacles[] = {
    {"fifo", [] { PutFolder(), mkfifo(kPrimary, 0600); }},
    {"socket", [] { PutFolder(), MakeSocket(kPrimary); }},
    {"folder", [] { std::filesystem::create_directories(kPrimary); }},
    {"dangling link", [] { PutFolder(), std::filesystem::create_symlink("nowhere/at-all", kPrimary); }},
    {"link to itself", [] { PutFolder(), std::filesystem::create_symlink("Ox3dRgbd_00.log", kPrimary); }},
    {"full device", [] { PutFolder(), std::filesystem::create_symlink("/dev/full", kPrimary); }},
    {"file instead of the folder", [] { std::ofstream("Ox3dRgbdLog").put('x'); }},
    {"full disk", [] { LimitFiles(2048); }, [] { LimitFiles(RLIM_INFINITY); }},
    {"full disk at rotation", [] { FillLog(), LimitFiles((rlim_t{100} << 20) - 40); },
     [] { LimitFiles(RLIM_INFINITY); }},
    {"folder instead of the backup",
     [] { FillLog(), std::filesystem::create_directories(std::string(kBackup) + "/x"); }},
    {"fifo instead of the backup", [] { FillLog(), mkfifo(kBackup, 0600); }},
    {"read-only folder",
     [] { PutFolder(), std::filesystem::permissions("Ox3dRgbdLog", std::filesystem::perms{0500}); },
     [] { std::filesystem::permissions("Ox3dRgbdLog", std::filesystem::perms{0700}); }},
    {"missing working folder",
     [] {
         std::filesystem::create_directory("gone");
         std::filesystem::current_path("gone");
         std::filesystem::remove("../gone");
     },
     [] { std::filesystem::current_path(g_processFolder.Path()); }, true},
};

void PlaySessions(EStrictness strictness) {
    for (uint32_t i = 0; i < kShortSessions; ++i) {
        CPlayer player({}, strictness);
        player.Play(ShortSession(i));
        player.End();
    }
}

// Sessions with the obstacle there, and without it again: calls keep their statuses, and lines come again.
int MeetObstacle(unsigned long index) {
    const Obstacle& obstacle = kObstacles[index];
    obstacle.m_put();
    PlaySessions(obstacle.m_isFolderLost ? EStrictness::Lenient : EStrictness::Exact);
    obstacle.m_clear();
    std::error_code ignored;
    std::filesystem::remove_all("Ox3dRgbdLog", ignored);
    PlaySessions(EStrictness::Exact);
    if (ReadFile(kPrimary).find("Start call") == std::string::npos) {
        Complain(std::string("no lines after: ") + obstacle.m_name);
    }
    return Complaints() == 0 ? 0 : 1;
}

} // namespace

void RunLogObstacles(Run& run) {
    for (unsigned long i = 0; i < std::size(kObstacles); ++i) {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        const pid_t child = StartChild("obstacle", i, "", nowhere);
        close(nowhere);
        int status = -1;
        waitpid(child, &status, 0);
        if (status != 0) {
            Complain(std::string(kObstacles[i].m_name) + " ends with status " + std::to_string(status));
        }
        ++run.m_done;
        ++run.m_faults;
    }
}

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
    if (name == "obstacle") {
        return MeetObstacle(seed % std::size(kObstacles));
    }
    LogForEver();
}

} // namespace ox3d::session

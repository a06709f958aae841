// LogScenarios.cpp - logs that are killed, and logs that find something else in place of their files.
#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "fuzz/session/Checks.h"
#include "fuzz/session/Children.h"

namespace ox3d::session {
namespace {

const char* const kFolder = "Ox3dRgbdLog";
const char* const kPrimary = "Ox3dRgbdLog/Ox3dRgbd_00.log";
const char* const kBackup = "Ox3dRgbdLog/Ox3dRgbd_01.log";

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

// From here on this thread, and those that it starts, may only what the modes of files say, also as root.
void GiveUpOverrides() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, sets) == 0) {
        constexpr uint32_t kOverrides = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH;
        sets[0].effective &= ~kOverrides;
        sets[0].permitted &= ~kOverrides;
        syscall(SYS_capset, &header, sets);
    }
}

void CloseFolder(const char* name) {
    GiveUpOverrides();
    std::filesystem::permissions(name, std::filesystem::perms{0500});
}

void OpenFolder(const char* name) {
    std::filesystem::permissions(name, std::filesystem::perms{0700});
}

bool IsClosed(const char* folder) {
    return !std::ofstream(std::filesystem::path(folder) / "probe");
}

void PutFolder() {
    std::filesystem::create_directory(kFolder);
}

// A disk of one page, which only this process sees.
void MountSmallDisk() {
    PutFolder();
    if (unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) {
        mount("small", kFolder, "tmpfs", 0, "size=4k");
    }
}

bool IsDiskSmall() {
    std::error_code error;
    return std::filesystem::space(kFolder, error).capacity <= 4096;
}

struct Obstacle {
    const char* m_name;
    void (*m_put)();
    void (*m_clear)() = [] {};
    bool m_isFolderLost = false;               // so that the camera cannot store its file either
    bool (*m_isThere)() = [] { return true; }; // where the machine may not give it
};

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
    {"read-only folder", [] { PutFolder(), CloseFolder(kFolder); }, [] { OpenFolder(kFolder); }, false,
     [] { return IsClosed(kFolder); }},
    {"read-only working folder", [] { CloseFolder("."); }, [] { OpenFolder("."); }, true,
     [] { return IsClosed("."); }},
    {"small disk", MountSmallDisk, [] { umount2(kFolder, MNT_DETACH); }, false, IsDiskSmall},
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

// The calls that the log's files tell of, after what is still on its way.
size_t CallsInLog() {
    constexpr useconds_t kOnTheWay = 200000;
    usleep(kOnTheWay);
    size_t calls = 0;
    std::error_code ignored;
    for (const char* const name : {kPrimary, kBackup}) {
        if (std::filesystem::is_regular_file(std::filesystem::symlink_status(name, ignored))) {
            constexpr std::streamoff kEnd = 1 << 16; // before it there are holes
            const auto size = static_cast<std::streamoff>(std::filesystem::file_size(name));
            const std::string text = ReadFile(name, std::max(size - kEnd, std::streamoff{0}));
            for (size_t at = text.find("Start call"); at != std::string::npos;
                 at = text.find("Start call", at + 1)) {
                ++calls;
            }
        }
    }
    return calls;
}

// Lines that are still queued when a session ends are given up, and on a slow disk that may be all of a short one's.
size_t CallsOfFirstSessionsHeard() {
    constexpr int kRounds = 50;
    size_t calls = 0;
    for (int round = 0; round < kRounds && calls == 0; ++round) {
        PlaySessions(EStrictness::Exact);
        calls = CallsInLog();
    }
    return calls;
}

// What became of an obstacle, as an exit code.
enum class EMeeting : uint8_t { CostLines, Failed, CostNothing, WasNotThere };

// Sessions with the obstacle there, and without it again: calls keep their statuses, and lines come again.
EMeeting MeetObstacle(const Obstacle& obstacle) {
    obstacle.m_put();
    const bool isThere = obstacle.m_isThere();
    PlaySessions(obstacle.m_isFolderLost ? EStrictness::Lenient : EStrictness::Exact);
    const size_t meanwhile = CallsInLog();
    obstacle.m_clear();
    std::error_code ignored;
    std::filesystem::remove_all(kFolder, ignored);
    const size_t afterwards = CallsOfFirstSessionsHeard();
    if (afterwards == 0) {
        Complain(std::string("no lines after: ") + obstacle.m_name);
    }
    if (Complaints() != 0) {
        return EMeeting::Failed;
    }
    if (!isThere) {
        return EMeeting::WasNotThere;
    }
    return meanwhile < afterwards ? EMeeting::CostLines : EMeeting::CostNothing;
}

} // namespace

// Faults are those that cost lines.
void RunLogObstacles(Run& run) {
    for (unsigned long i = 0; i < std::size(kObstacles); ++i) {
        const char* const name = kObstacles[i].m_name;
        const int status = StatusOfChild("obstacle", i);
        const auto meeting =
            WIFEXITED(status) ? static_cast<EMeeting>(WEXITSTATUS(status)) : EMeeting::Failed;
        switch (meeting) {
        case EMeeting::CostLines:
            ++run.m_faults;
            [[fallthrough]];
        case EMeeting::CostNothing:
            ++run.m_done;
            printf("%s: %s\n", name, meeting == EMeeting::CostLines ? "costs lines" : "costs nothing");
            break;
        case EMeeting::WasNotThere:
            LeaveOut(run, name);
            break;
        default:
            Complain(std::string(name) + " ends with status " + std::to_string(status));
        }
    }
}

int RunLogChild(const std::string& work, unsigned long seed) {
    if (work == "obstacle") {
        return static_cast<int>(MeetObstacle(kObstacles[seed % std::size(kObstacles)]));
    }
    LogForEver();
}

} // namespace ox3d::session

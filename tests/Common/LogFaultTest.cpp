// Rotation, and what the log does when files, threads or processes let it down.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "tests/Common/TestFolder.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace {

const std::string kRenames = " change the filename form (Ox3dRgbd_00.log) to (Ox3dRgbd_01.log)!\r\n";

void SignalOthers(int signalNumber) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        const int taskIndex = std::stoi(task.path().filename().string());
        EXPECT_TRUE(taskIndex == getpid() || tgkill(getpid(), taskIndex, signalNumber) == 0);
    }
}

// A logger beside the one of the process, with its standard output caught.
class LogRotation : public CTestFolder {
protected:
    void Start(unsigned int limitMiB) {
        testing::internal::CaptureStdout();
        ASSERT_EQ(m_log.Init(nullptr, limitMiB), OX3D_RGBD_OK);
    }
    std::string StopAndGetOutput() {
        m_log.DeInit();
        return testing::internal::GetCapturedStdout();
    }
    uint32_t Add(const std::string& text) {
        return m_log.AddtoList(TRACE_LEVEL_NULL, text.c_str(), static_cast<unsigned int>(text.size()));
    }
    COxAsyncLog m_log;
};

TEST_F(LogRotation, BeginsWhenTheFileReachesItsLimit) {
    WriteFile(kPrimary, std::string((1U << 20) - 6, '.'));
    Start(1);
    Add("12345");
    ASSERT_TRUE(Eventually([] { return std::filesystem::file_size(kPrimary) == (1U << 20) - 1; }));
    EXPECT_FALSE(std::filesystem::exists(kBackup));
    Add("6");
    Add("7");
    EXPECT_TRUE(Eventually([] { return ReadFile(kPrimary) == "7"; }));
    EXPECT_TRUE(ReadFile(kBackup).ends_with(".123456"));
    EXPECT_EQ(StopAndGetOutput(), "Success" + kRenames);
}

TEST_F(LogRotation, StartsTheFileAnewWhetherTheOldOneIsKeptOrNot) {
    const auto rotate = [&] {
        WriteFile(kPrimary, "old");
        Start(0); // every line reaches a limit of 0
        Add("line");
        EXPECT_TRUE(Eventually([] { return ReadFile(kPrimary).empty(); }));
        return StopAndGetOutput();
    };
    WriteFile(kBackup, "older");
    EXPECT_EQ(rotate(), "succeed to delete the log file(Ox3dRgbd_01.log)!\r\nSuccess" + kRenames);
    EXPECT_EQ(ReadFile(kBackup), "oldline");
    std::filesystem::remove(kBackup);
    std::filesystem::create_directories(std::filesystem::path(kBackup) / "inner");
    EXPECT_EQ(rotate(), "fail to delete the log file(Ox3dRgbd_01.log)!\r\nFailed" + kRenames);
}

TEST_F(LogRotation, WithoutTheFileLosesLinesButConsumesThem) {
    Start(0);
    std::filesystem::remove(kPrimary);
    for (int i = 0; i < 30; ++i) { // more than the queue holds
        EXPECT_TRUE(Eventually([&] { return Add("lost") == OX3D_RGBD_OK; }));
    }
    EXPECT_EQ(
        StopAndGetOutput(),
        "Failed find log file!\r\nFailed renmame logfile name (Ox3dRgbd_00.log) to (Ox3dRgbd_01.log)!\r\n");
    EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(LogRotation, OfOneProcessLosesNothingOfAnother) {
    WriteFile(kPrimary, std::string((1U << 20) - 6, '.'));
    COxAsyncLog other;
    ASSERT_EQ(other.Init(nullptr, 1), OX3D_RGBD_OK);
    Start(1);
    const auto add = [](COxAsyncLog& log, const char* text, const char* file, const std::string& end) {
        log.AddtoList(TRACE_LEVEL_NULL, text, static_cast<unsigned int>(strlen(text)));
        EXPECT_TRUE(Eventually([&] { return ReadFile(file).ends_with(end); })) << text;
    };
    add(other, "123456", kBackup, ".123456");
    add(m_log, "7", kBackup, ".1234567"); // this one finds the file moved
    add(m_log, "8", kPrimary, "8");
    add(other, "9", kPrimary, "89");
    EXPECT_EQ(StopAndGetOutput(), "Success" + kRenames) << "nobody rotates the new file";
    Start(0);
    add(m_log, "a", kBackup, "89a");
    add(m_log, "b", kBackup, "b");
    StopAndGetOutput();
    add(other, "after two rotations", kPrimary, "after two rotations");
}

TEST_F(LogRotation, NeverComesWhereTheNameIsNoFile) {
    const std::function<void()> makers[] = {
        [] { EXPECT_EQ(mkfifo(kPrimary, 0600), 0); },
        [] { EXPECT_EQ(mknod(kPrimary, S_IFSOCK | 0600, 0), 0); },
        [] { std::filesystem::create_directory(kPrimary); },
        [] { std::filesystem::create_symlink("nowhere", kPrimary); },
    };
    for (const auto& make : makers) {
        make();
        testing::internal::CaptureStdout();
        EXPECT_EQ(m_log.Init(nullptr, 1), OX3D_RGBD_E_MEMORY);
        EXPECT_EQ(StopAndGetOutput(), "Failed create log file (Ox3dRgbd_00.log)!\r\n");
        std::filesystem::remove(kPrimary);
    }
    EXPECT_TRUE(std::filesystem::is_empty("."));
    Start(0);
    const size_t files = OpenFiles();
    std::filesystem::remove(kPrimary);
    std::filesystem::create_directory(kPrimary);
    Add("lost");
    EXPECT_TRUE(Eventually([&] { return OpenFiles() == files - 1; })) << "one without its name does not grow";
    StopAndGetOutput();
}

std::atomic<int> g_standing{0};

// The writer's only open signals are those of faults, which the application's handlers get.
TEST_F(LogRotation, NeverComesAndLinesAreLostWhileTheWriterStandsStill) {
    Start(1);
    signal(SIGTRAP, [](int) {
        for (g_standing = 1; g_standing == 1;) {
            usleep(1000);
        }
    });
    SignalOthers(SIGTRAP);
    EXPECT_TRUE(Eventually([] { return g_standing == 1; }));
    EXPECT_EQ(Add(std::string(8193, 'x')), OX3D_RGBD_E_PARAMETER);
    std::string added;
    for (char letter = 'a'; Add(std::string(8192, letter)) == OX3D_RGBD_OK; ++letter) {
        added.append(8192, letter);
    }
    EXPECT_EQ(added.size(), size_t{9} * 8192);
    g_standing = 2;
    EXPECT_TRUE(Eventually([&] { return ReadFile(kPrimary) == added; })) << "whole and in order";
    StopAndGetOutput();
    EXPECT_EQ(Add("late"), OX3D_RGBD_E_STATE);
}

TEST_F(Log, WriterThatCannotReopenItsFileIsTidiedUpByTheNextCaller) {
    DestroyAsyncLog();
    ASSERT_EQ(CreateAsyncLog(nullptr, 0), OX3D_RGBD_OK);
    testing::internal::CaptureStdout();
    const size_t threadsBefore = m_threadsBefore; // the sanitizer's look at an object needs a file descriptor
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    OxWriteLog(TRACE_LEVEL_NULL, "source", 1, "last");
    const bool isEnded = ThreadsSettled(threadsBefore) <= threadsBefore;
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_TRUE(isEnded);
    OxWriteLog(TRACE_LEVEL_NULL, "source", 1, "lost");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Success" + kRenames + "Failed create log file (Ox3dRgbd_00.log)!\r\n");
}

TEST_F(Log, ThatFailedToStartStaysUntilItIsDestroyed) {
    DestroyAsyncLog();
    std::filesystem::remove(kPrimary);
    testing::internal::CaptureStdout();
    EXPECT_EQ(CreateAsyncLog("missing", 1), OX3D_RGBD_E_MEMORY);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Failed create log file (missing/Ox3dRgbd_00.log)!\r\n");
    EXPECT_EQ(CreateAsyncLog(nullptr, 1), OX3D_RGBD_OK) << "only counts";
    EXPECT_FALSE(std::filesystem::exists(kPrimary));
}

TEST_F(Log, WriterLeavesSignalsToTheApplication) {
    SignalOthers(SIGUSR1);
    DestroyAsyncLog(); // a writer that takes the signal ends the process
    sigset_t blocked{};
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGUSR1), 0) << "only the writer's are blocked";
}

TEST_F(Log, NothingHangsInAForkedChild) {
    std::atomic<bool> isStopping{false};
    std::thread other([&isStopping] {
        while (!isStopping) {
            OxWriteLog(TRACE_LEVEL_INFO, "source", 1, "line\r\n");
        }
    });
    for (int i = 0; i < 20; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            OxWriteLog(TRACE_LEVEL_INFO, "source", 1, "from the child\r\n");
            if (kSanitized) { // the thread sanitizer allows the child no thread
                DestroyAsyncLog();
                _exit(0);
            }
            CreateAsyncLog(nullptr, 1); // its own, with a writer
            const std::string own = "child " + std::to_string(getpid());
            OxWriteLog(TRACE_LEVEL_NULL, "source", 1, "%s", own.c_str());
            _exit(Eventually([&] { return ReadFile(kPrimary).find(own) != std::string::npos; }) ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    isStopping = true;
    other.join();
}

using LogDeathTest = CTestFolder;

TEST_F(LogDeathTest, LogMayStillRunWhenTheProcessExits) {
    const auto exitWhileLogging = [] {
        CreateAsyncLog(nullptr, 1);
        std::thread([] {
            while (true) {
                OxWriteLog(TRACE_LEVEL_NULL, "source", 1, "line\r\n");
            }
        }).detach();
        exit(3);
    };
    EXPECT_EXIT(exitWhileLogging(), testing::ExitedWithCode(3), "");
}

} // namespace

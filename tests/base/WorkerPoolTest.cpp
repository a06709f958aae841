// The pool does every part once, by threads that are there only while they are asked for, and does without them.
#include "base/WorkerPool.h"

#include "tests/support/OpenThings.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <thread>
#include <vector>

static std::atomic<bool> g_hasThreads{true};
extern "C" int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
extern "C" int __wrap_pthread_create(pthread_t* id, const pthread_attr_t* how, void* (*run)(void*),
                                     void* own) {
    return g_hasThreads ? __real_pthread_create(id, how, run, own) : EAGAIN;
}

namespace {

using namespace ox3d;
using namespace ox3d::test;

constexpr uint64_t kPixels = kMinSharedPixels;

// Whether each of the numbers has come once.
bool AreAllDoneOnce(uint32_t count) {
    std::vector<std::atomic<uint8_t>> done(count);
    CPoolTurn(kPixels).RunRanges(count, [&](uint64_t first, uint64_t end) {
        for (; first < end; ++first) {
            ++done[first];
        }
    });
    return std::all_of(done.begin(), done.end(), [](uint8_t times) { return times == 1; });
}

uint32_t Granted(uint32_t allowed, uint64_t pixels = kPixels) {
    const CThreadsAllowed threads(allowed);
    return CPoolTurn(pixels).Threads();
}

// Parts that wait for each other are done, so that many threads are at them.
void ExpectSideBySide(uint32_t threads) {
    const CThreadsAllowed allowed(threads);
    CWatched<uint32_t> begun;
    const pthread_t caller = pthread_self();
    CPoolTurn(kPixels).Run(threads, [&](uint32_t) {
        begun.Change([](uint32_t& parts) { ++parts; });
        EXPECT_TRUE(begun.WaitFor([&](uint32_t parts) { return parts == threads; }));
        sigset_t blocked{};
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        const bool isCaller = pthread_equal(pthread_self(), caller) != 0;
        EXPECT_EQ(sigismember(&blocked, SIGUSR1), isCaller ? 0 : 1);
        EXPECT_EQ(sigismember(&blocked, SIGSEGV), 0);
        EXPECT_EQ(Granted(threads), 1U) << "work inside of work";
        EXPECT_TRUE(AreAllDoneOnce(9));
    });
}

TEST(WorkerPool, DoesEveryPartOnceAtAnyNumberOfThreads) {
    CPoolUse use;
    use.Ask(99);
    for (const uint32_t threads : {1U, 2U, 3U, 7U, kMaxThreads, 99U}) {
        const CThreadsAllowed allowed(threads);
        for (const uint32_t count : {0U, 1U, 2U, 1080U}) {
            EXPECT_TRUE(AreAllDoneOnce(count)) << threads << " threads";
        }
        EXPECT_EQ(Granted(threads), std::min(threads, kMaxThreads));
        EXPECT_EQ(Granted(threads, kPixels - 1), 1U);
    }
    EXPECT_EQ(CPoolTurn(kPixels).Threads(), 1U) << "outside of a scope";
}

TEST(WorkerPool, HasTheThreadsOfItsUsersAndNoOthers) {
    const size_t before = Threads();
    for (int round = 0; round < 3; ++round) {
        CPoolUse first;
        CPoolUse second;
        first.Ask(3);
        second.Ask(2);
        EXPECT_EQ(Threads(), before) << "none before there is work";
        ExpectSideBySide(2);
        EXPECT_EQ(Threads(), before + 1);
        EXPECT_EQ(Granted(9), 3U);
        first.Ask(1);
        ExpectSideBySide(2);
        second.Ask(1);
        EXPECT_EQ(ThreadsSettled(before), before);
        EXPECT_EQ(Granted(2), 1U);
    }
}

TEST(WorkerPool, ServesCallersThatComeAndGoAtTheSameTime) {
    std::array<std::thread, 4> callers;
    for (std::thread& caller : callers) {
        caller = std::thread([] {
            for (int round = 0; round < 100; ++round) {
                CPoolUse use;
                use.Ask(2 + round % 3);
                const CThreadsAllowed allowed(4);
                EXPECT_TRUE(AreAllDoneOnce(64));
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
}

TEST(WorkerPool, DoesWithoutThreadsThatCannotBeHad) {
    CPoolUse use;
    use.Ask(4);
    const CThreadsAllowed allowed(4);
    g_hasThreads = false;
    EXPECT_EQ(Granted(4), 1U);
    EXPECT_TRUE(AreAllDoneOnce(64));
    g_hasThreads = true;
    EXPECT_EQ(Granted(4), 1U) << "not tried for every frame";
    use.Ask(4);
    EXPECT_EQ(Granted(4), 4U);
}

TEST(WorkerPool, OfAParentIsNotItsChilds) {
    CPoolUse use;
    use.Ask(2);
    std::atomic<bool> isEnding{false};
    std::thread other([&] {
        const CThreadsAllowed allowed(2);
        while (!isEnding) {
            EXPECT_TRUE(AreAllDoneOnce(64));
        }
    });
    for (int i = 0; i < 20; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            const CThreadsAllowed allowed(2);
            bool isRight = Granted(2) == 1 && AreAllDoneOnce(64);
            if (!kSanitized) { // the thread sanitizer allows the child no thread
                use.Ask(2);
                isRight = isRight && Granted(2) == 2 && AreAllDoneOnce(64) && Threads() == 2;
            }
            use.Ask(1);
            _exit(isRight ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    isEnding = true;
    other.join();
    ExpectSideBySide(2);
}

TEST(WorkerPool, KeepsThreadsForTheRestOfTheProcessOnceAsked) {
    if (kSanitized) {
        GTEST_SKIP() << "needs a process of its own with threads";
    }
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        g_hasThreads = false;
        KeepPoolThreads(3);
        bool isRight = Threads() == 1;
        g_hasThreads = true;
        KeepPoolThreads(3);
        isRight = isRight && Threads() == 3;
        KeepPoolThreads(2);
        CPoolUse use;
        use.Ask(4);
        isRight = isRight && Granted(4) == 4;
        use.Ask(1);
        _exit(isRight && Threads() == 4 && Granted(4) == 4 ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(WorkerPool, IsNoPlaceToCancelAThread) {
    CPoolUse use;
    use.Ask(2);
    bool isWhole = false;
    std::thread cancelled([&] {
        pthread_cancel(pthread_self());
        ExpectSideBySide(2);
        isWhole = true;
        pthread_testcancel();
        isWhole = false;
    });
    cancelled.join();
    EXPECT_TRUE(isWhole);
}

} // namespace

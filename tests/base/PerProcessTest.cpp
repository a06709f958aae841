// PerProcessTest.cpp - objects that a forked child does not share with its parent.
#include "base/PerProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "base/Mutex.h"

using namespace ox3d;

namespace {

struct Counter {
    CMutex m_mutex;
    int m_count OX_GUARDED_BY(m_mutex) = 0;
};

CPerProcess<Counter> g_counter;

int Count() {
    Counter& counter = g_counter.Get();
    const CLock lock(counter.m_mutex);
    return ++counter.m_count;
}

TEST(PerProcess, GivesAForkedChildAnObjectOfItsOwnWhoeverHoldsTheParents) {
    EXPECT_EQ(Count(), 1);
    EXPECT_EQ(Count(), 2);
    pid_t child = -1;
    {
        const CLock lock(g_counter.Get().m_mutex);
        child = fork();
        if (child == 0) {
            alarm(20);
            const int first = Count();
            _exit(first == 1 && Count() == 2 ? 0 : 1);
        }
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Count(), 3);
}

} // namespace

// Recursive mutexes and the node ring; the log's tests have two threads at the ring.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "src/Common/BufCtrl.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace {

// The analysis cannot follow the lock into the lambda.
TEST(Mutex, IsRecursiveAndWaitedForAsLongAsIsTold) OX_NO_THREAD_SAFETY_ANALYSIS {
    COXMutex mutex;
    mutex.Lock();
    EXPECT_TRUE(mutex.LockFor(0)) << "the holder takes it again at once";
    {
        const COXLock again(&mutex);
        const COXLock none(nullptr);
    }
    mutex.Unlock();
    std::atomic<bool> gaveUp{false};
    bool isTaken = false;
    std::thread waiter([&]() OX_NO_THREAD_SAFETY_ANALYSIS {
        gaveUp = !mutex.TryLock() && !mutex.LockFor(0) && !mutex.LockFor(5);
        gaveUp.notify_one();
        isTaken = mutex.LockFor(60999);
        mutex.Unlock();
    });
    gaveUp.wait(false);
    mutex.Unlock();
    waiter.join();
    EXPECT_TRUE(isTaken);
    EXPECT_TRUE(mutex.TryLock());
    mutex.Unlock();
}

struct Ring : testing::Test {
    uint32_t FillCompletely() {
        uint32_t items = 0;
        while (items < 1000 && m_ring.GetSpareNode() != nullptr && m_ring.CommitWrite() == 1) {
            ++items;
        }
        return items;
    }
    CBufList m_ring;
};

TEST_F(Ring, HoldsWhatWasAskedForUpTo119AndNineBeyond) {
    const uint32_t aCases[][2] = {{1, 1}, {5, 5}, {119, 119}, {120, 9}, {300, 9}, {0, 9}};
    for (const auto& [asked, usable] : aCases) {
        ASSERT_EQ(m_ring.InitBufList(asked, 16, 4, 0, 0), OX3D_RGBD_OK);
        EXPECT_EQ(m_ring.AdjustIndex(-1), static_cast<int32_t>(usable)) << "the slot that stays empty";
        EXPECT_EQ(FillCompletely(), usable) << asked;
    }
    EXPECT_EQ(m_ring.CommitRead(), 1);
    m_ring.EmptyDataNode();
    EXPECT_FALSE(m_ring.IsCanRead());
    EXPECT_EQ(FillCompletely(), 9U);
}

TEST_F(Ring, ANodeKeepsItsLengthUntilTheCommitAfterItsOwn) {
    ASSERT_EQ(m_ring.InitBufList(5, 16, 4, 0, 0), OX3D_RGBD_OK);
    DATA_NODE* const first = m_ring.GetSpareNode();
    for (int i = 0; i < 2; ++i) {
        m_ring.GetSpareNode()->m_mainLengthBytes = 7;
        m_ring.CommitWrite();
    }
    EXPECT_EQ(m_ring.CommitRead(), 1);
    EXPECT_EQ(first->m_mainLengthBytes, 7U);
    EXPECT_EQ(m_ring.CommitRead(), 1);
    EXPECT_EQ(first->m_mainLengthBytes, 0U);
    EXPECT_EQ(m_ring.CommitRead(), 1) << "an empty ring says yes as well";
    EXPECT_EQ(first[1].m_mainLengthBytes, 7U) << "and changes nothing";
}

} // namespace

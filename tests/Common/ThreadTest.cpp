// Threads, recursive mutexes and the node ring; the log's tests have two threads at the ring.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "Common/BufCtrl.h"
#include "ox3drgbd/Ox3dRgbdDefine.h"

namespace {

/// Whether another thread could take the mutex now. The analysis cannot follow the lock into the lambda.
bool IsFreeForOthers(COXMutex& mutex) {
    bool bTaken = false;
    std::thread([&]() OX_NO_THREAD_SAFETY_ANALYSIS {
        bTaken = mutex.TryLock();
        if (bTaken) {
            mutex.Unlock();
        }
    }).join();
    return bTaken;
}

void* IncrementAndEnd(void* pArg) {
    ++*static_cast<std::atomic<int>*>(pArg);
    OX_EndThread();
}

TEST(Mutex, IsFreeAgainAfterAsManyUnlocksAsLocks) OX_NO_THREAD_SAFETY_ANALYSIS {
    COXMutex mutex;
    mutex.Lock();
    {
        const COXLock again(&mutex);
        const COXLock none(nullptr);
    }
    EXPECT_FALSE(IsFreeForOthers(mutex));
    mutex.Unlock();
    EXPECT_TRUE(IsFreeForOthers(mutex));
}

TEST(Mutex, WaitsForAHeldLockAsLongAsItIsTold) OX_NO_THREAD_SAFETY_ANALYSIS {
    COXMutex mutex;
    mutex.Lock();
    EXPECT_TRUE(mutex.LockFor(0)) << "the holder takes it again at once";
    mutex.Unlock();
    std::atomic<bool> bGaveUp{false};
    bool bTaken = false;
    std::thread waiter([&]() OX_NO_THREAD_SAFETY_ANALYSIS {
        bGaveUp = !mutex.LockFor(0) && !mutex.LockFor(5);
        bGaveUp.notify_one();
        bTaken = mutex.LockFor(60000);
        mutex.Unlock();
    });
    bGaveUp.wait(false);
    mutex.Unlock();
    waiter.join();
    EXPECT_TRUE(bTaken);
}

TEST(Thread, RunsItsRoutineWhateverTheAttributes) {
    std::atomic<int> nRuns{0};
    OX_THREAD_ATTR stAttr{16, 99};
    for (OX_THREAD_ATTR* const pAttr : {static_cast<OX_THREAD_ATTR*>(nullptr), &stAttr}) {
        const OX_THREAD_HANDLE hThread = OX_CreateThread(pAttr, IncrementAndEnd, &nRuns);
        EXPECT_EQ(OX_WaitForThreadEnd(hThread), 0);
        EXPECT_EQ(OX_DestroyThread(hThread), 0);
    }
    EXPECT_EQ(nRuns, 2);
}

class Ring : public testing::Test {
protected:
    uint32_t FillCompletely() {
        uint32_t nItems = 0;
        while (nItems < 1000 && m_ring.GetSpareNode() != nullptr && m_ring.CommitWrite() == 1) {
            ++nItems;
        }
        return nItems;
    }
    CBufList m_ring;
};

TEST_F(Ring, HoldsWhatWasAskedForUpTo119AndNineBeyond) {
    const uint32_t aCases[][2] = {{1, 1}, {5, 5}, {119, 119}, {120, 9}, {300, 9}, {0, 9}};
    for (const auto& [nAsked, nUsable] : aCases) {
        ASSERT_EQ(m_ring.InitBufList(nAsked, 16, 4, 0, 0), OX3D_RGBD_OK);
        EXPECT_EQ(m_ring.AdjustIndex(-1), static_cast<int32_t>(nUsable)) << "the slot that stays empty";
        EXPECT_EQ(FillCompletely(), nUsable) << nAsked;
    }
    m_ring.EmptyDataNode();
    EXPECT_FALSE(m_ring.IsCanRead());
    EXPECT_EQ(FillCompletely(), 9U);
}

TEST_F(Ring, WithoutNodesAnswersNothing) {
    EXPECT_EQ(m_ring.InitBufList(5, 0, 4, 0, 0), OX3D_RGBD_E_PARAMETER);
    EXPECT_TRUE(m_ring.GetSpareNode() == nullptr && m_ring.GetNodeData() == nullptr);
    EXPECT_EQ(m_ring.CommitWrite() + m_ring.CommitRead(), 0);
}

TEST_F(Ring, MayStartAnywhereAndFindsNodesByAbsoluteIndex) {
    ASSERT_EQ(m_ring.InitBufList(9, 16, 4, 10, UINT32_MAX), OX3D_RGBD_OK);
    EXPECT_EQ(m_ring.GetOffestNodeData(0), nullptr) << "empty: indices past the ring start at its first slot";
    DATA_NODE* const pFirst = m_ring.GetSpareNode();
    m_ring.CommitWrite();
    EXPECT_EQ(m_ring.GetOffestNodeData(9), pFirst + 9);
    EXPECT_EQ(m_ring.GetOffestNodeData(10), pFirst);
    EXPECT_EQ(m_ring.GetOffestNodeData(11), nullptr);
    ASSERT_EQ(m_ring.InitBufList(9, 16, 4, 8, 2), OX3D_RGBD_OK);
    EXPECT_EQ(m_ring.GetDataNodeCount(), 3U) << "one less than are filled, once wrapped";
}

TEST_F(Ring, ANodeKeepsItsLengthUntilTheCommitAfterItsOwn) {
    ASSERT_EQ(m_ring.InitBufList(5, 16, 4, 0, 0), OX3D_RGBD_OK);
    DATA_NODE* const pFirst = m_ring.GetSpareNode();
    for (int i = 0; i < 2; ++i) {
        m_ring.GetSpareNode()->nMainLengthBytes = 7;
        m_ring.CommitWrite();
    }
    EXPECT_EQ(m_ring.CommitRead(), 1);
    EXPECT_EQ(pFirst->nMainLengthBytes, 7U);
    EXPECT_EQ(m_ring.CommitRead(), 1);
    EXPECT_EQ(pFirst->nMainLengthBytes, 0U);
    EXPECT_EQ(m_ring.CommitRead(), 1) << "an empty ring says yes as well";
    EXPECT_EQ(pFirst[1].nMainLengthBytes, 7U) << "and changes nothing";
}

TEST_F(Ring, ReplacesAMainBufferOnlyWithinTheLimits) {
    ASSERT_EQ(m_ring.InitBufList(1, 0x2000001, 0, 0, 0), OX3D_RGBD_OK);
    DATA_NODE* const pNode = m_ring.GetSpareNode();
    EXPECT_EQ(pNode->nMainSizeBytes, 0x2000000U) << "32 MiB is the largest block";
    EXPECT_EQ(CBufList::RellocNodeMainBuf(pNode, 0x2000001), OX3D_RGBD_E_MEMORY);
    EXPECT_EQ(CBufList::RellocNodeMainBuf(pNode, 64), OX3D_RGBD_OK);
    memset(pNode->pMainBuf, 1, pNode->nMainSizeBytes);
    EXPECT_EQ(pNode->nMainSizeBytes, 64U);
    EXPECT_EQ(CBufList::RellocNodeMainBuf(pNode, 0), OX3D_RGBD_E_PARAMETER);
}

} // namespace

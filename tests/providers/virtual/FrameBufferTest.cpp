// FrameBufferTest.cpp - image nodes by themselves: what waits, what is lent, what is lost, what is reused.
#include <gtest/gtest.h>

#include "providers/common/FrameBuffer.h"
#include "providers/common/Status.h"
#include "providers/virtual/VirtualStream.h"

using namespace ox3d;

namespace {

class FrameBuffer : public testing::Test {
protected:
    void SetUp() override { m_acquisition = m_buffer.Open(); }
    FrameNode* Put(uint32_t number, bool isForCallback = false) {
        auto* node = static_cast<VirtualNode*>(m_buffer.TakeEmpty());
        node->m_frame.m_number = number;
        node->m_frame.m_image.assign(4, static_cast<uint8_t>(number));
        node->m_frame.m_imageLengthBytes = 4;
        node->FillInfo();
        m_buffer.Commit(m_acquisition, node, isForCallback);
        return node;
    }
    int Get(FrameNode** node) { return m_buffer.Fetch(0, UINT32_MAX, node); }
    uint32_t GetAndReturn() {
        FrameNode* node = nullptr;
        if (Get(&node) != kOk) {
            return 0;
        }
        const uint32_t number = node->m_info.nFrameNum;
        EXPECT_TRUE(m_buffer.Return(node->m_image));
        return number;
    }
    CFrameBuffer m_buffer{[] { return std::make_unique<VirtualNode>(); }};
    uint32_t m_acquisition = 0;
};

TEST_F(FrameBuffer, CountsOnlyFramesThatNobodySaw) {
    Put(1, true);
    EXPECT_NE(m_buffer.WaitForCallback(m_acquisition), nullptr); // seen by the callback
    for (uint32_t number = 2; number <= 5; ++number) {
        Put(number);
    }
    EXPECT_EQ(m_buffer.LostFrames(), 1u); // 1 was seen, 2 was not
    EXPECT_EQ(GetAndReturn(), 3u);
}

TEST_F(FrameBuffer, RefusesToLendWithoutEnd) {
    FrameNode* node = nullptr;
    int code = kOk;
    uint32_t lent = 0;
    while (code == kOk && lent < 1000) {
        Put(++lent);
        code = Get(&node);
    }
    EXPECT_EQ(code, Code(OX_CC_E_BUFFER_FULL));
    EXPECT_EQ(lent, 17u);
}

TEST_F(FrameBuffer, TakesNoFrameOfAnEarlierAcquisition) {
    FrameNode* late = m_buffer.TakeEmpty();
    m_buffer.Open();
    m_buffer.Commit(m_acquisition, late, true);
    EXPECT_EQ(GetAndReturn(), 0u);
    EXPECT_EQ(m_buffer.WaitForCallback(m_acquisition), nullptr);
    EXPECT_EQ(m_buffer.TakeEmpty(), late); // and the node is free again
}

} // namespace

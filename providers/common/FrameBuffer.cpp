// FrameBuffer.cpp - queues, loans and losses of image nodes.
#include "providers/common/FrameBuffer.h"

#include <algorithm>
#include <chrono>

#include "providers/common/Status.h"

namespace ox3d {

bool CFrameBuffer::SetNodeNum(uint32_t count) {
    if (count == 0 || count > kMaxNodes) {
        return false;
    }
    const CLock lock(m_mutex);
    m_nodeNum = count;
    while (m_forFetch.size() > m_nodeNum) {
        DropOldest(&m_forFetch);
    }
    while (m_forCallback.size() > m_nodeNum) {
        DropOldest(&m_forCallback);
    }
    return true;
}

uint32_t CFrameBuffer::NodeNum() const {
    const CLock lock(m_mutex);
    return m_nodeNum;
}

void CFrameBuffer::DropUser(FrameNode* node) {
    if (--node->m_users == 0 && !node->m_isSeen) {
        ++m_lostFrames;
    }
}

void CFrameBuffer::DropOldest(std::vector<FrameNode*>* queue) {
    DropUser(queue->front());
    queue->erase(queue->begin());
}

void CFrameBuffer::Clear(std::vector<FrameNode*>* queue) {
    for (FrameNode* node : *queue) {
        --node->m_users; // dropped on purpose, not lost
    }
    queue->clear();
}

uint32_t CFrameBuffer::Open() {
    const CLock lock(m_mutex);
    m_forFetch.reserve(kMaxNodes); // frames are queued without asking for memory
    m_forCallback.reserve(kMaxNodes);
    Clear(&m_forFetch);
    Clear(&m_forCallback);
    m_lostFrames = 0;
    m_state = EState::Running;
    return ++m_acquisition;
}

void CFrameBuffer::Finish() {
    const CLock lock(m_mutex);
    if (m_state == EState::Running) {
        m_state = EState::Finished;
    }
    m_changed.NotifyAll();
}

void CFrameBuffer::Shut() {
    const CLock lock(m_mutex);
    Clear(&m_forFetch);
    Clear(&m_forCallback);
    m_state = EState::Shut;
    m_changed.NotifyAll();
}

FrameNode* CFrameBuffer::TakeEmpty() {
    const CLock lock(m_mutex);
    const auto found =
        std::find_if(m_nodes.begin(), m_nodes.end(), [](const auto& node) { return node->m_users == 0; });
    FrameNode* node = found != m_nodes.end() ? found->get() : nullptr;
    if (node == nullptr) {
        m_nodes.push_back(m_maker());
        node = m_nodes.back().get();
    }
    node->m_users = 1;
    node->m_isSeen = true; // until it holds a frame there is nothing to lose
    return node;
}

void CFrameBuffer::Commit(uint32_t acquisition, FrameNode* node, bool isForCallback) {
    const CLock lock(m_mutex);
    if (m_state == EState::Running && acquisition == m_acquisition) {
        node->m_isSeen = false;
        if (m_forFetch.size() >= m_nodeNum) {
            DropOldest(&m_forFetch);
        }
        m_forFetch.push_back(node);
        ++node->m_users;
        if (isForCallback) {
            if (m_forCallback.size() >= m_nodeNum) {
                DropOldest(&m_forCallback);
            }
            m_forCallback.push_back(node);
            ++node->m_users;
        }
        m_changed.NotifyAll();
    }
    --node->m_users;
}

void CFrameBuffer::Release(FrameNode* node) {
    const CLock lock(m_mutex);
    DropUser(node);
}

void CFrameBuffer::CountLost(uint64_t frames) {
    const CLock lock(m_mutex);
    m_lostFrames += frames;
}

int CFrameBuffer::Fetch(uint32_t timeoutMs, uint64_t maxBytes, FrameNode** node) {
    const auto now = std::chrono::steady_clock::now();
    const CLock lock(m_mutex);
    const uint32_t acquisition = m_acquisition;
    // Who fetches from a camera that is gone waits, too: a loop of fetches would do nothing else.
    const bool isGone = m_state == EState::Finished;
    const EState state = isGone ? EState::Finished : EState::Running;
    const uint32_t waitMs = isGone ? std::min(timeoutMs, kMaxWaitWhenGoneMs) : timeoutMs;
    const auto until = now + std::chrono::milliseconds(waitMs);
    for (bool isTimeLeft = true; isTimeLeft && !IsReady(acquisition, state, m_forFetch);) {
        if (waitMs == kForever) {
            m_changed.Wait(m_mutex);
        } else {
            isTimeLeft = m_changed.WaitUntil(m_mutex, until);
        }
    }
    if (acquisition != m_acquisition || m_forFetch.empty()) {
        return Code(OX_CC_E_NO_DATA);
    }
    FrameNode* oldest = m_forFetch.front();
    if (oldest->m_info.nFrameLen > maxBytes) {
        return Code(OX_CC_E_NO_BUFFER_SPACE);
    }
    if (m_lentCount >= std::max<size_t>(kMaxLent, m_nodeNum)) {
        return Code(OX_CC_E_BUFFER_FULL);
    }
    m_forFetch.erase(m_forFetch.begin()); // its place in the queue becomes the loan
    oldest->m_isLent = true;
    oldest->m_isSeen = true;
    ++m_lentCount;
    *node = oldest;
    return kOk;
}

bool CFrameBuffer::Return(const uint8_t* image) {
    const CLock lock(m_mutex);
    for (const auto& node : m_nodes) {
        if (node->m_isLent && node->m_image == image) {
            node->m_isLent = false;
            --m_lentCount;
            DropUser(node.get());
            return true;
        }
    }
    return false;
}

void CFrameBuffer::DropWaiting() {
    const CLock lock(m_mutex);
    Clear(&m_forFetch);
    Clear(&m_forCallback);
}

// The frames of a queue are in order: with one that was seen go those before it.
void CFrameBuffer::DropThroughSeen(std::vector<FrameNode*>* queue) {
    const auto isSeen = [](const FrameNode* node) { return node->m_isSeen; };
    while (std::any_of(queue->begin(), queue->end(), isSeen)) {
        DropOldest(queue);
    }
}

void CFrameBuffer::ChangeReceiver(bool isCallback) {
    const CLock lock(m_mutex);
    DropThroughSeen(&m_forFetch);
    DropThroughSeen(&m_forCallback);
    while (isCallback && !m_forFetch.empty()) {
        DropOldest(&m_forFetch);
    }
}

FrameNode* CFrameBuffer::WaitForCallback(uint32_t acquisition) {
    const CLock lock(m_mutex);
    while (!IsReady(acquisition, EState::Running, m_forCallback)) {
        m_changed.Wait(m_mutex);
    }
    if (acquisition != m_acquisition || m_forCallback.empty()) {
        return nullptr;
    }
    FrameNode* node = m_forCallback.front();
    m_forCallback.erase(m_forCallback.begin());
    node->m_isSeen = true;
    return node;
}

void CFrameBuffer::Trim() {
    const CLock lock(m_mutex);
    std::erase_if(m_nodes, [](const auto& node) { return node->m_users == 0; });
}

void CFrameBuffer::HoldForFork(bool isHeld) OX_NO_THREAD_SAFETY_ANALYSIS {
    isHeld ? m_mutex.Lock() : m_mutex.Unlock();
}

void CFrameBuffer::Abandon() {
    const CLock lock(m_mutex);
    m_forFetch.clear();
    m_forCallback.clear();
    std::erase_if(m_nodes, [](const auto& node) { return !node->m_isLent; });
}

uint64_t CFrameBuffer::LostFrames() const {
    const CLock lock(m_mutex);
    return m_lostFrames;
}

} // namespace ox3d

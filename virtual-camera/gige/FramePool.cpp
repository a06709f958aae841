// FramePool.cpp - frames on their way round: taken, filled, remembered for a while, taken again.
#include "virtual-camera/gige/FramePool.h"

#include <algorithm>

namespace ox3d::gige {

std::shared_ptr<GvspFrame> CFramePool::Take() {
    std::unique_ptr<GvspFrame> frame;
    {
        const CLock lock(m_spare->m_mutex);
        if (!m_spare->m_frames.empty()) {
            frame = std::move(m_spare->m_frames.back());
            m_spare->m_frames.pop_back();
        }
    }
    if (frame == nullptr) {
        frame = std::make_unique<GvspFrame>();
    }
    frame->m_sentPackets = 0;
    frame->m_endPacket = UINT32_MAX;
    const auto giveBack = [spare = m_spare](GvspFrame* done) {
        std::unique_ptr<GvspFrame> owned(done);
        const CLock lock(spare->m_mutex);
        if (spare->m_frames.size() < Spare::kMax) {
            spare->m_frames.push_back(std::move(owned));
        }
    };
    return {frame.release(), giveBack};
}

void CFramePool::Remember(std::shared_ptr<GvspFrame> frame, size_t blocksOfFrame) {
    std::vector<std::shared_ptr<GvspFrame>> oldest; // go without the lock
    const CLock lock(m_mutex);
    while (m_sent.size() >= kMaxSentFrames * blocksOfFrame) {
        oldest.push_back(std::move(m_sent.front()));
        m_sent.pop_front();
    }
    m_sent.push_back(std::move(frame));
}

void CFramePool::Forget() {
    const CLock lock(m_mutex);
    m_sent.clear();
}

std::shared_ptr<GvspFrame> CFramePool::Find(uint64_t blockId) const {
    const CLock lock(m_mutex);
    const auto found = std::find_if(m_sent.rbegin(), m_sent.rend(),
                                    [&](const auto& frame) { return frame->m_blockId == blockId; });
    return found == m_sent.rend() ? nullptr : *found;
}

} // namespace ox3d::gige

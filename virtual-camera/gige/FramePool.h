// FramePool.h - the frames that have lately been sent, for requests to send packets again, and the memory of
// frames that are no longer needed.
//
// All functions may be called by any thread.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_FRAME_POOL_H
#define OX3D_VIRTUAL_CAMERA_GIGE_FRAME_POOL_H

#include <deque>
#include <memory>

#include "base/Mutex.h"
#include "virtual-camera/gige/GvspFrame.h"

namespace ox3d::gige {

class CFramePool {
public:
    static constexpr size_t kMaxSentFrames = 8; // times the blocks of each

    // A frame to fill; its memory comes back when the last reference goes, also after the pool itself.
    std::shared_ptr<GvspFrame> Take();
    // Makes a block known to Find; the oldest known one is forgotten for it.
    void Remember(std::shared_ptr<GvspFrame> frame, size_t blocksOfFrame = 1);
    void Forget();
    std::shared_ptr<GvspFrame> Find(uint64_t blockId) const;

private:
    struct Spare {
        static constexpr size_t kMax = 4;
        Spare() { m_frames.reserve(kMax); } // giving a frame back must not fail

        CMutex m_mutex;
        std::vector<std::unique_ptr<GvspFrame>> m_frames OX_GUARDED_BY(m_mutex);
    };

    const std::shared_ptr<Spare> m_spare = std::make_shared<Spare>();
    mutable CMutex m_mutex;
    std::deque<std::shared_ptr<GvspFrame>> m_sent OX_GUARDED_BY(m_mutex);
};

} // namespace ox3d::gige

#endif

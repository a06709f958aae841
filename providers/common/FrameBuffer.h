// FrameBuffer.h - the image nodes of a handle: frames that wait, frames that are lent, and empty ones.
//
//   empty -> being filled -> waiting for a fetch    -> lent      -> empty
//                        \-> waiting for a callback -> in flight -/
//
// A frame may wait for both at once. Each of the two queues holds as many frames as there are nodes; when one
// is full, its oldest frame leaves it. Nodes are made when they are needed and then reused.
#ifndef OX3D_PROVIDER_FRAME_BUFFER_H
#define OX3D_PROVIDER_FRAME_BUFFER_H

#include <functional>
#include <memory>
#include <vector>

#include "base/Mutex.h"
#include <ox3drgbd/OxCameraControl.h>

namespace ox3d {

// A provider derives its own nodes, which hold the memory that these members point into.
struct FrameNode {
    FrameNode() = default;
    virtual ~FrameNode() = default;
    FrameNode(const FrameNode&) = delete;
    FrameNode& operator=(const FrameNode&) = delete;

    uint8_t* m_image = nullptr;
    OX_FRAME_OUT_INFO_EX m_info{};
    std::vector<OX_CHUNK_DATA_CONTENT> m_chunks;

private:
    friend class CFrameBuffer; // whose mutex guards these
    uint32_t m_users = 0;      // queues and borrowers
    bool m_isLent = false;
    bool m_isSeen = false; // by a fetch or a callback
};

using NodeMaker = std::function<std::unique_ptr<FrameNode>()>;

class CFrameBuffer {
public:
    static constexpr uint32_t kDefaultNodes = 3;
    static constexpr uint32_t kMaxNodes = 256;
    static constexpr uint32_t kForever = UINT32_MAX;
    static constexpr uint32_t kMaxWaitWhenGoneMs = 1000;

    explicit CFrameBuffer(NodeMaker maker) : m_maker(std::move(maker)) {}

    bool SetNodeNum(uint32_t count);
    uint32_t NodeNum() const;

    // ---- The camera's side ----

    // Begins an acquisition and returns its number; frames of earlier ones are refused from now on.
    uint32_t Open();
    void Finish(); // the camera is gone: frames that wait may still be fetched
    void Shut();   // acquisition has been stopped: frames that wait are dropped, threads that wait return
    FrameNode* TakeEmpty();
    void Commit(uint32_t acquisition, FrameNode* node, bool isForCallback);
    void Release(FrameNode* node);
    // Frames that never became a node's: they count as lost.
    void CountLost(uint64_t frames);

    // ---- The application's side ----

    // Lends the oldest frame; OX_CC_E_NO_DATA when there is none in time, OX_CC_E_NO_BUFFER_SPACE when its
    // image is longer than maxBytes (it stays then), OX_CC_E_BUFFER_FULL when too many are lent already. The end
    // of the acquisition ends the wait. On a camera that is gone already it lasts no longer than kMaxWaitWhenGoneMs.
    int Fetch(uint32_t timeoutMs, uint64_t maxBytes, FrameNode** node);
    // False when no frame with this image is lent.
    bool Return(const uint8_t* image);
    void DropWaiting();
    // A callback has been registered or taken away. From what a callback had no fetch goes back, nor from what was
    // fetched a callback; what waited for a fetch before a callback came waits no more. What nobody saw is lost.
    void ChangeReceiver(bool isCallback);
    FrameNode* WaitForCallback(uint32_t acquisition); // null when there is no more

    // Gives the memory of empty nodes back.
    void Trim();
    // In a forked child: that of all nodes but lent ones.
    void Abandon();
    void HoldForFork(bool isHeld);
    uint64_t LostFrames() const;

private:
    enum class EState { Running, Finished, Shut };
    static constexpr size_t kMaxLent = 16; // or the number of nodes, if that is more

    void DropUser(FrameNode* node) OX_REQUIRES(m_mutex);
    void DropOldest(std::vector<FrameNode*>* queue) OX_REQUIRES(m_mutex);
    void DropThroughSeen(std::vector<FrameNode*>* queue) OX_REQUIRES(m_mutex);
    void Clear(std::vector<FrameNode*>* queue) OX_REQUIRES(m_mutex);
    // Whether the acquisition has left the state or the queue has a frame.
    bool IsReady(uint32_t acquisition, EState state, const std::vector<FrameNode*>& queue) const
        OX_REQUIRES(m_mutex) {
        return acquisition != m_acquisition || m_state != state || !queue.empty();
    }

    const NodeMaker m_maker;
    mutable CMutex m_mutex;
    CCondition m_changed;
    std::vector<std::unique_ptr<FrameNode>> m_nodes OX_GUARDED_BY(m_mutex);
    std::vector<FrameNode*> m_forFetch OX_GUARDED_BY(m_mutex); // oldest first
    std::vector<FrameNode*> m_forCallback OX_GUARDED_BY(m_mutex);
    uint32_t m_nodeNum OX_GUARDED_BY(m_mutex) = kDefaultNodes;
    size_t m_lentCount OX_GUARDED_BY(m_mutex) = 0;
    uint64_t m_lostFrames OX_GUARDED_BY(m_mutex) = 0;
    uint32_t m_acquisition OX_GUARDED_BY(m_mutex) = 0;
    EState m_state OX_GUARDED_BY(m_mutex) = EState::Shut;
};

} // namespace ox3d

#endif

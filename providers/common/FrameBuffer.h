// FrameBuffer.h - the image nodes of a handle: frames that wait, frames that are lent, and empty ones.
//
//   empty -> being filled -> waiting for a fetch    -> lent      -> empty
//                        \-> waiting for a callback -> in flight -/
//
// A frame may wait for both at once. Each of the two queues holds as many frames as there are nodes; when one
// is full, its oldest frame leaves it. Nodes are made when they are needed and then reused.
#ifndef OX3D_PROVIDER_FRAME_BUFFER_H
#define OX3D_PROVIDER_FRAME_BUFFER_H

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

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
    friend class CFrameBuffer;
    uint32_t m_users = 0; // queues and borrowers
    bool m_isLent = false;
    bool m_isSeen = false; // by a fetch or a callback
};

using NodeMaker = std::function<std::unique_ptr<FrameNode>()>;

class CFrameBuffer {
public:
    static constexpr uint32_t kDefaultNodes = 3;
    static constexpr uint32_t kMostNodes = 256;
    static constexpr uint32_t kForever = UINT32_MAX;

    explicit CFrameBuffer(NodeMaker maker) : m_maker(std::move(maker)) {}

    bool SetNodeNum(uint32_t count);
    uint32_t NodeNum() const;

    // ---- The camera's side ----

    // Begins an acquisition and returns its number; frames of earlier ones are refused from now on.
    uint32_t Open();
    void Finish(); // the camera is gone: what waits may still be fetched
    void Shut();   // acquisition has been stopped: what waits is dropped, whoever waits returns
    FrameNode* TakeEmpty();
    void Commit(uint32_t acquisition, FrameNode* node, bool isForCallback);
    void Release(FrameNode* node);
    // Frames that never became a node's: they count as lost.
    void CountLost(uint64_t frames);

    // ---- The application's side ----

    // Lends the oldest frame; OX_CC_E_NO_DATA when there is none in time, OX_CC_E_NO_BUFFER_SPACE when its
    // image is longer than mostBytes (it stays then), OX_CC_E_BUFFER_FULL when too many are lent already.
    int Fetch(uint32_t timeoutMs, uint64_t mostBytes, FrameNode** node);
    // False when no frame with this image is lent.
    bool Return(const uint8_t* image);
    void DropWaiting();
    FrameNode* WaitForCallback(uint32_t acquisition); // null when there is no more

    // Gives the memory of empty nodes back.
    void Trim();
    uint64_t LostFrames() const;

private:
    enum class EState { Running, Finished, Shut };
    static constexpr size_t kMostLent = 16; // or the number of nodes, if that is more

    // All of these expect m_mutex to be held.
    void DropUser(FrameNode* node);
    void DropOldest(std::vector<FrameNode*>* queue);
    void Clear(std::vector<FrameNode*>* queue);

    const NodeMaker m_maker;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::unique_ptr<FrameNode>> m_nodes;
    std::vector<FrameNode*> m_forFetch; // oldest first
    std::vector<FrameNode*> m_forCallback;
    uint32_t m_nodeNum = kDefaultNodes;
    size_t m_lentCount = 0;
    uint64_t m_lostFrames = 0;
    uint32_t m_acquisition = 0;
    EState m_state = EState::Shut;
};

} // namespace ox3d

#endif

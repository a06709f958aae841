// BufList.h - a fixed ring of pre-allocated nodes for one producer and one consumer: the queue of the log.
#ifndef OX3D_COMMON_BUF_LIST_H
#define OX3D_COMMON_BUF_LIST_H

#include <atomic>
#include <cstdint>

#include "src/Common/Thread.h"

// One slot. The ring owns both buffers; a node is borrowed between a get and the matching commit.
struct DATA_NODE {
    uint8_t* m_mainBuf;
    uint8_t* m_extraBuf; // null when the ring was created with extra size 0
    uint32_t m_mainSizeBytes;
    uint32_t m_mainLengthBytes; // 0 = empty
    uint32_t m_extraSizeBytes;
    uint32_t m_extraLengthBytes;
};

// Slots run 0 .. ring size - 1 and one of them is always left empty, which tells a full ring from an empty
// one:
//
//     index   0     1     2     3     4     5     6
//           [   ] [ a ] [ b ] [ c ] [   ] [   ] ( spare )     ring size 6, 7 nodes allocated
//                   ^read             ^write
//
// The producer touches only the node at the write index and the consumer only the one at the read index, so
// the contents need no lock; the mutex orders the index updates, and with them the contents. IsCanWrite,
// IsCanRead and GetDataNodeCount take no lock, which is why the indices are atomics.
class CBufList {
public:
    CBufList() noexcept = default;
    ~CBufList();
    CBufList(const CBufList&) = delete;
    CBufList& operator=(const CBufList&) = delete;

    // nodeCount 1 .. 119 gives as many usable nodes; 0 and 120 or more give the default ring of 10 slots.
    uint32_t InitBufList(uint32_t nodeCount, uint32_t mainSizeBytes, uint32_t extraSizeBytes,
                         uint32_t readIndex, uint32_t writeIndex) noexcept;
    void ReleaseBufList() noexcept;

    [[nodiscard]] int IsCanWrite() const noexcept;
    [[nodiscard]] int IsCanRead() const noexcept;
    // The node to fill, or null when the ring is full: nothing is ever overwritten.
    [[nodiscard]] DATA_NODE* GetSpareNode() noexcept;
    int CommitWrite() noexcept;
    // The oldest node, or null when the ring is empty.
    [[nodiscard]] DATA_NODE* GetNodeData() noexcept;
    int CommitRead() noexcept;
    // The node at an absolute index, filled or not; null while the ring is empty.
    [[nodiscard]] DATA_NODE* GetOffestNodeData(uint32_t index) noexcept;
    [[nodiscard]] uint32_t GetDataNodeCount() const noexcept;
    void EmptyDataNode() noexcept;
    // Replaces a node's main buffer. Takes no lock: the caller holds the node.
    static uint32_t RellocNodeMainBuf(DATA_NODE* node, uint32_t sizeBytes) noexcept;
    [[nodiscard]] int32_t AdjustIndex(int32_t index) const noexcept;

private:
    bool AllocateNodes(uint32_t mainSizeBytes, uint32_t extraSizeBytes) noexcept;
    void ResetIndices() noexcept;

    COXMutex m_mutex;
    DATA_NODE* m_nodes = nullptr;
    int32_t m_ringSize = kDefaultRingSize;
    std::atomic<int32_t> m_writeIndex{0};
    std::atomic<int32_t> m_readIndex{0};
    int32_t m_reserved = 0;
    int32_t m_readCommitted = 1; // set by every successful commit-read, never read

    static constexpr int32_t kDefaultRingSize = 10;
};

#endif

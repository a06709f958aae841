// The node ring. Relies on calloc for its zero-filled blocks, so that untouched pages cost nothing.
#include "src/Common/BufList.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace {

constexpr uint32_t kMaxBufferBytes = 0x2000000;

// Kept: the log asks for 300 nodes and gets the default ring, so a burst of lines that the writer cannot
// follow loses everything after the ninth, and memory stays at 11 nodes.
constexpr uint32_t kMaxNodeCount = 119;

uint8_t* AllocateZeroed(uint32_t sizeBytes) {
    return static_cast<uint8_t*>(calloc(sizeBytes, 1));
}

} // namespace

CBufList::~CBufList() {
    ReleaseBufList();
}

uint32_t CBufList::InitBufList(uint32_t nodeCount, uint32_t mainSizeBytes, uint32_t extraSizeBytes,
                               uint32_t readIndex, uint32_t writeIndex) noexcept {
    ReleaseBufList();
    const bool isCountUsable = nodeCount >= 1 && nodeCount <= kMaxNodeCount;
    m_ringSize = isCountUsable ? static_cast<int32_t>(nodeCount) + 1 : kDefaultRingSize;
    // A caller may start the ring at any slot; an index past the ring names none and starts at the first.
    m_readIndex = AdjustIndex(static_cast<int32_t>(std::min<uint32_t>(readIndex, INT32_MAX)));
    m_writeIndex = AdjustIndex(static_cast<int32_t>(std::min<uint32_t>(writeIndex, INT32_MAX)));
    if (mainSizeBytes == 0) {
        m_ringSize = kDefaultRingSize;
        return OX3D_RGBD_E_PARAMETER;
    }
    if (!AllocateNodes(std::min(mainSizeBytes, kMaxBufferBytes), std::min(extraSizeBytes, kMaxBufferBytes))) {
        ReleaseBufList();
        return OX3D_RGBD_E_MEMORY;
    }
    return OX3D_RGBD_OK;
}

// One node more than the ring has slots. Every size is set only beside its block, so that a half-built array
// can be released like a whole one.
bool CBufList::AllocateNodes(uint32_t mainSizeBytes, uint32_t extraSizeBytes) noexcept {
    m_nodes = static_cast<DATA_NODE*>(calloc(static_cast<size_t>(m_ringSize) + 1, sizeof(DATA_NODE)));
    if (m_nodes == nullptr) {
        return false;
    }
    for (int32_t i = 0; i <= m_ringSize; ++i) {
        DATA_NODE& node = m_nodes[i];
        node.mainBuf = AllocateZeroed(mainSizeBytes);
        if (node.mainBuf == nullptr) {
            return false;
        }
        node.mainSizeBytes = mainSizeBytes;
        if (extraSizeBytes == 0) {
            continue;
        }
        node.extraBuf = AllocateZeroed(extraSizeBytes);
        if (node.extraBuf == nullptr) {
            return false;
        }
        node.extraSizeBytes = extraSizeBytes;
    }
    return true;
}

void CBufList::ReleaseBufList() noexcept {
    if (m_nodes != nullptr) {
        for (int32_t i = 0; i <= m_ringSize; ++i) {
            free(m_nodes[i].mainBuf);
            free(m_nodes[i].extraBuf);
        }
        free(m_nodes);
        m_nodes = nullptr;
    }
    ResetIndices();
}

void CBufList::ResetIndices() noexcept {
    m_ringSize = kDefaultRingSize;
    m_writeIndex = 0;
    m_readIndex = 0;
    m_reserved = 0;
}

// Wraps by one step only.
int32_t CBufList::AdjustIndex(int32_t index) const noexcept {
    if (index < 0) {
        return m_ringSize - 1;
    }
    return index < m_ringSize ? index : 0;
}

int CBufList::IsCanWrite() const noexcept {
    return m_nodes != nullptr && (m_writeIndex + 1) % m_ringSize != m_readIndex ? 1 : 0;
}

int CBufList::IsCanRead() const noexcept {
    return m_nodes != nullptr && m_readIndex != m_writeIndex ? 1 : 0;
}

DATA_NODE* CBufList::GetSpareNode() noexcept {
    const COXLock lock(&m_Mutex);
    return IsCanWrite() != 0 ? &m_nodes[m_writeIndex] : nullptr;
}

// Does not look again whether there is room: a commit belongs to a GetSpareNode that found some.
int CBufList::CommitWrite() noexcept {
    if (m_nodes == nullptr || m_nodes[m_writeIndex].mainBuf == nullptr) {
        return 0;
    }
    const COXLock lock(&m_Mutex);
    m_writeIndex = AdjustIndex(m_writeIndex + 1);
    return 1;
}

DATA_NODE* CBufList::GetNodeData() noexcept {
    const COXLock lock(&m_Mutex);
    return IsCanRead() != 0 ? &m_nodes[m_readIndex] : nullptr;
}

// Kept: the length that is cleared is the one of the node before, so the node just consumed keeps its length
// until the next commit. A consumer may look at the last node it has given back. The producer cannot be at
// the node that is cleared: it would be one behind the reader, which is a full ring, and that has no spare
// node.
int CBufList::CommitRead() noexcept {
    if (m_nodes == nullptr) {
        return 0;
    }
    const COXLock lock(&m_Mutex);
    if (IsCanRead() != 0) {
        m_readCommitted = 1;
        m_nodes[AdjustIndex(m_readIndex - 1)].mainLengthBytes = 0;
        m_readIndex = AdjustIndex(m_readIndex + 1);
    }
    return 1;
}

DATA_NODE* CBufList::GetOffestNodeData(uint32_t index) noexcept {
    const COXLock lock(&m_Mutex);
    const auto ringSize = static_cast<uint32_t>(m_ringSize);
    if (index > ringSize || IsCanRead() == 0) {
        return nullptr;
    }
    return &m_nodes[index == ringSize ? 0 : index];
}

// Kept: once wrapped, the count is one less than the number of filled slots.
uint32_t CBufList::GetDataNodeCount() const noexcept {
    const int32_t write = m_writeIndex;
    const int32_t readBytes = m_readIndex;
    return static_cast<uint32_t>(write >= readBytes ? write - readBytes : write + m_ringSize - 1 - readBytes);
}

void CBufList::EmptyDataNode() noexcept {
    const COXLock lock(&m_Mutex);
    m_readIndex = 0;
    m_writeIndex = 0;
}

// Kept: the old block goes first, so that two of the largest never exist at once; after a failure the node
// has no main buffer and CommitWrite refuses it.
uint32_t CBufList::RellocNodeMainBuf(DATA_NODE* node, uint32_t sizeBytes) noexcept {
    if (node == nullptr || sizeBytes == 0) {
        return OX3D_RGBD_E_PARAMETER;
    }
    if (node->mainBuf == nullptr) {
        return OX3D_RGBD_E_STATE;
    }
    if (sizeBytes > kMaxBufferBytes) {
        return OX3D_RGBD_E_MEMORY;
    }
    free(node->mainBuf);
    node->mainBuf = AllocateZeroed(sizeBytes);
    if (node->mainBuf == nullptr) {
        return OX3D_RGBD_E_MEMORY;
    }
    node->mainSizeBytes = sizeBytes;
    node->mainLengthBytes = 0;
    return OX3D_RGBD_OK;
}

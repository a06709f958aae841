// BufList.cpp - see BufList.h. Relies on calloc for its zero-filled blocks, so that untouched pages cost
// nothing.
#include "src/Common/BufList.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace {

constexpr uint32_t kMaxBufferBytes = 0x2000000;

// Preserved for compatibility: the log asks for 300 nodes and gets the default ring, so a burst of lines that
// the writer cannot follow loses everything after the ninth, and memory stays at 11 nodes.
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
    // A caller may start the ring at any slot; an index past the ring starts at the first.
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

// One node more than the ring has slots. A size is set only after its block was allocated, so that a
// half-built array is released like a whole one.
bool CBufList::AllocateNodes(uint32_t mainSizeBytes, uint32_t extraSizeBytes) noexcept {
    m_nodes = static_cast<DATA_NODE*>(calloc(static_cast<size_t>(m_ringSize) + 1, sizeof(DATA_NODE)));
    if (m_nodes == nullptr) {
        return false;
    }
    for (int32_t i = 0; i <= m_ringSize; ++i) {
        DATA_NODE& node = m_nodes[i];
        node.m_mainBuf = AllocateZeroed(mainSizeBytes);
        if (node.m_mainBuf == nullptr) {
            return false;
        }
        node.m_mainSizeBytes = mainSizeBytes;
        if (extraSizeBytes == 0) {
            continue;
        }
        node.m_extraBuf = AllocateZeroed(extraSizeBytes);
        if (node.m_extraBuf == nullptr) {
            return false;
        }
        node.m_extraSizeBytes = extraSizeBytes;
    }
    return true;
}

void CBufList::ReleaseBufList() noexcept {
    if (m_nodes != nullptr) {
        for (int32_t i = 0; i <= m_ringSize; ++i) {
            free(m_nodes[i].m_mainBuf);
            free(m_nodes[i].m_extraBuf);
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
    const COXLock lock(&m_mutex);
    return IsCanWrite() != 0 ? &m_nodes[m_writeIndex] : nullptr;
}

// Does not check for room again: a commit belongs to a GetSpareNode that found some.
int CBufList::CommitWrite() noexcept {
    if (m_nodes == nullptr || m_nodes[m_writeIndex].m_mainBuf == nullptr) {
        return 0;
    }
    const COXLock lock(&m_mutex);
    m_writeIndex = AdjustIndex(m_writeIndex + 1);
    return 1;
}

DATA_NODE* CBufList::GetNodeData() noexcept {
    const COXLock lock(&m_mutex);
    return IsCanRead() != 0 ? &m_nodes[m_readIndex] : nullptr;
}

// Preserved for compatibility: the length that is cleared is that of the node before, so a consumer may look
// at the last node it has committed until the next commit. The producer cannot be at the node that is
// cleared: it would be one behind the reader, which is a full ring, and that has no spare node.
int CBufList::CommitRead() noexcept {
    if (m_nodes == nullptr) {
        return 0;
    }
    const COXLock lock(&m_mutex);
    if (IsCanRead() != 0) {
        m_readCommitted = 1;
        m_nodes[AdjustIndex(m_readIndex - 1)].m_mainLengthBytes = 0;
        m_readIndex = AdjustIndex(m_readIndex + 1);
    }
    return 1;
}

DATA_NODE* CBufList::GetOffestNodeData(uint32_t index) noexcept {
    const COXLock lock(&m_mutex);
    const auto ringSize = static_cast<uint32_t>(m_ringSize);
    if (index > ringSize || IsCanRead() == 0) {
        return nullptr;
    }
    return &m_nodes[index == ringSize ? 0 : index];
}

// Preserved for compatibility: once wrapped, the count is one less than the number of filled slots.
uint32_t CBufList::GetDataNodeCount() const noexcept {
    const int32_t write = m_writeIndex;
    const int32_t read = m_readIndex;
    return static_cast<uint32_t>(write >= read ? write - read : write + m_ringSize - 1 - read);
}

void CBufList::EmptyDataNode() noexcept {
    const COXLock lock(&m_mutex);
    m_readIndex = 0;
    m_writeIndex = 0;
}

// Preserved for compatibility: the old block is freed first, so that two of the largest never exist at once;
// after a failure the node has no main buffer and CommitWrite refuses it.
uint32_t CBufList::RellocNodeMainBuf(DATA_NODE* node, uint32_t sizeBytes) noexcept {
    if (node == nullptr || sizeBytes == 0) {
        return OX3D_RGBD_E_PARAMETER;
    }
    if (node->m_mainBuf == nullptr) {
        return OX3D_RGBD_E_STATE;
    }
    if (sizeBytes > kMaxBufferBytes) {
        return OX3D_RGBD_E_MEMORY;
    }
    free(node->m_mainBuf);
    node->m_mainBuf = AllocateZeroed(sizeBytes);
    if (node->m_mainBuf == nullptr) {
        return OX3D_RGBD_E_MEMORY;
    }
    node->m_mainSizeBytes = sizeBytes;
    node->m_mainLengthBytes = 0;
    return OX3D_RGBD_OK;
}

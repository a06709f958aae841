// The node ring. Relies on calloc for its zero-filled blocks, so that untouched pages cost nothing.
#include "Common/BufList.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "ox3drgbd/Ox3dRgbdDefine.h"

namespace {

constexpr uint32_t kMaxBufferBytes = 0x2000000;

// Kept: the log asks for 300 nodes and gets the default ring, so a burst of lines that the writer cannot
// follow loses everything after the ninth, and memory stays at 11 nodes.
constexpr uint32_t kMaxNodeCount = 119;

uint8_t* AllocateZeroed(uint32_t nSizeBytes) {
    return static_cast<uint8_t*>(calloc(nSizeBytes, 1));
}

} // namespace

CBufList::~CBufList() {
    ReleaseBufList();
}

uint32_t CBufList::InitBufList(uint32_t nNodeCount, uint32_t nMainSizeBytes, uint32_t nExtraSizeBytes,
                               uint32_t nReadIndex, uint32_t nWriteIndex) noexcept {
    ReleaseBufList();
    const bool bCountFits = nNodeCount >= 1 && nNodeCount <= kMaxNodeCount;
    m_nRingSize = bCountFits ? static_cast<int32_t>(nNodeCount) + 1 : kDefaultRingSize;
    // A caller may start the ring at any slot; an index past the ring names none and starts at the first.
    m_nReadIndex = AdjustIndex(static_cast<int32_t>(std::min<uint32_t>(nReadIndex, INT32_MAX)));
    m_nWriteIndex = AdjustIndex(static_cast<int32_t>(std::min<uint32_t>(nWriteIndex, INT32_MAX)));
    if (nMainSizeBytes == 0) {
        m_nRingSize = kDefaultRingSize;
        return OX3D_RGBD_E_PARAMETER;
    }
    if (!AllocateNodes(std::min(nMainSizeBytes, kMaxBufferBytes),
                       std::min(nExtraSizeBytes, kMaxBufferBytes))) {
        ReleaseBufList();
        return OX3D_RGBD_E_MEMORY;
    }
    return OX3D_RGBD_OK;
}

// One node more than the ring has slots. Every size is set only beside its block, so that a half-built array
// can be released like a whole one.
bool CBufList::AllocateNodes(uint32_t nMainSizeBytes, uint32_t nExtraSizeBytes) noexcept {
    m_pNodes = static_cast<DATA_NODE*>(calloc(static_cast<size_t>(m_nRingSize) + 1, sizeof(DATA_NODE)));
    if (m_pNodes == nullptr) {
        return false;
    }
    for (int32_t i = 0; i <= m_nRingSize; ++i) {
        DATA_NODE& stNode = m_pNodes[i];
        stNode.pMainBuf = AllocateZeroed(nMainSizeBytes);
        if (stNode.pMainBuf == nullptr) {
            return false;
        }
        stNode.nMainSizeBytes = nMainSizeBytes;
        if (nExtraSizeBytes == 0) {
            continue;
        }
        stNode.pExtraBuf = AllocateZeroed(nExtraSizeBytes);
        if (stNode.pExtraBuf == nullptr) {
            return false;
        }
        stNode.nExtraSizeBytes = nExtraSizeBytes;
    }
    return true;
}

void CBufList::ReleaseBufList() noexcept {
    if (m_pNodes != nullptr) {
        for (int32_t i = 0; i <= m_nRingSize; ++i) {
            free(m_pNodes[i].pMainBuf);
            free(m_pNodes[i].pExtraBuf);
        }
        free(m_pNodes);
        m_pNodes = nullptr;
    }
    ResetIndices();
}

void CBufList::ResetIndices() noexcept {
    m_nRingSize = kDefaultRingSize;
    m_nWriteIndex = 0;
    m_nReadIndex = 0;
    m_nReserved = 0;
}

// Wraps by one step only.
int32_t CBufList::AdjustIndex(int32_t nIndex) const noexcept {
    if (nIndex < 0) {
        return m_nRingSize - 1;
    }
    return nIndex < m_nRingSize ? nIndex : 0;
}

int CBufList::IsCanWrite() const noexcept {
    return m_pNodes != nullptr && (m_nWriteIndex + 1) % m_nRingSize != m_nReadIndex ? 1 : 0;
}

int CBufList::IsCanRead() const noexcept {
    return m_pNodes != nullptr && m_nReadIndex != m_nWriteIndex ? 1 : 0;
}

DATA_NODE* CBufList::GetSpareNode() noexcept {
    const COXLock lock(&m_Mutex);
    return IsCanWrite() != 0 ? &m_pNodes[m_nWriteIndex] : nullptr;
}

// Does not look again whether there is room: a commit belongs to a GetSpareNode that found some.
int CBufList::CommitWrite() noexcept {
    if (m_pNodes == nullptr || m_pNodes[m_nWriteIndex].pMainBuf == nullptr) {
        return 0;
    }
    const COXLock lock(&m_Mutex);
    m_nWriteIndex = AdjustIndex(m_nWriteIndex + 1);
    return 1;
}

DATA_NODE* CBufList::GetNodeData() noexcept {
    const COXLock lock(&m_Mutex);
    return IsCanRead() != 0 ? &m_pNodes[m_nReadIndex] : nullptr;
}

// Kept: the length that is cleared is the one of the node before, so the node just consumed keeps its length
// until the next commit. A consumer may look at the last node it has given back. The producer cannot be at
// the node that is cleared: it would be one behind the reader, which is a full ring, and that has no spare
// node.
int CBufList::CommitRead() noexcept {
    if (m_pNodes == nullptr) {
        return 0;
    }
    const COXLock lock(&m_Mutex);
    if (IsCanRead() != 0) {
        m_nReadCommitted = 1;
        m_pNodes[AdjustIndex(m_nReadIndex - 1)].nMainLengthBytes = 0;
        m_nReadIndex = AdjustIndex(m_nReadIndex + 1);
    }
    return 1;
}

DATA_NODE* CBufList::GetOffestNodeData(uint32_t nIndex) noexcept {
    const COXLock lock(&m_Mutex);
    const auto nRingSize = static_cast<uint32_t>(m_nRingSize);
    if (nIndex > nRingSize || IsCanRead() == 0) {
        return nullptr;
    }
    return &m_pNodes[nIndex == nRingSize ? 0 : nIndex];
}

// Kept: once wrapped, the count is one less than the number of filled slots.
uint32_t CBufList::GetDataNodeCount() const noexcept {
    const int32_t nWrite = m_nWriteIndex;
    const int32_t nRead = m_nReadIndex;
    return static_cast<uint32_t>(nWrite >= nRead ? nWrite - nRead : nWrite + m_nRingSize - 1 - nRead);
}

void CBufList::EmptyDataNode() noexcept {
    const COXLock lock(&m_Mutex);
    m_nReadIndex = 0;
    m_nWriteIndex = 0;
}

// Kept: the old block goes first, so that two of the largest never exist at once; after a failure the node
// has no main buffer and CommitWrite refuses it.
uint32_t CBufList::RellocNodeMainBuf(DATA_NODE* pNode, uint32_t nSizeBytes) noexcept {
    if (pNode == nullptr || nSizeBytes == 0) {
        return OX3D_RGBD_E_PARAMETER;
    }
    if (pNode->pMainBuf == nullptr) {
        return OX3D_RGBD_E_STATE;
    }
    if (nSizeBytes > kMaxBufferBytes) {
        return OX3D_RGBD_E_MEMORY;
    }
    free(pNode->pMainBuf);
    pNode->pMainBuf = AllocateZeroed(nSizeBytes);
    if (pNode->pMainBuf == nullptr) {
        return OX3D_RGBD_E_MEMORY;
    }
    pNode->nMainSizeBytes = nSizeBytes;
    pNode->nMainLengthBytes = 0;
    return OX3D_RGBD_OK;
}

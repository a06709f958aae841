// The owner of a node ring. Relies on BufList.h.
#include "Common/BufCtrl.h"

#include <new>

#include "ox3drgbd/Ox3dRgbdDefine.h"

CBufCtrl::~CBufCtrl() {
    delete m_pList;
}

uint32_t CBufCtrl::Init(uint32_t nNodeCount, uint32_t nMainSizeBytes, uint32_t nExtraSizeBytes,
                        uint32_t nReadIndex, uint32_t nWriteIndex) noexcept {
    delete m_pList;
    m_pList = new (std::nothrow) CBufList;
    if (m_pList == nullptr) {
        return OX3D_RGBD_E_MEMORY;
    }
    m_nNodeCount = nNodeCount;
    m_nMainSizeBytes = nMainSizeBytes;
    return m_pList->InitBufList(nNodeCount, nMainSizeBytes, nExtraSizeBytes, nReadIndex, nWriteIndex);
}

DATA_NODE* CBufCtrl::GetSpareNode() noexcept {
    return m_pList != nullptr ? m_pList->GetSpareNode() : nullptr;
}

int CBufCtrl::CommitWrite() noexcept {
    return m_pList != nullptr ? m_pList->CommitWrite() : 0;
}

DATA_NODE* CBufCtrl::GetDataNode() noexcept {
    return m_pList != nullptr ? m_pList->GetNodeData() : nullptr;
}

int CBufCtrl::CommitRead() noexcept {
    return m_pList != nullptr ? m_pList->CommitRead() : 0;
}

DATA_NODE* CBufCtrl::GetOffsetDataNode(uint32_t nIndex) noexcept {
    return m_pList != nullptr ? m_pList->GetOffestNodeData(nIndex) : nullptr;
}

uint32_t CBufCtrl::GetDataNodeCount() const noexcept {
    return m_pList != nullptr ? m_pList->GetDataNodeCount() : 0;
}

void CBufCtrl::EmptyDataNode() noexcept {
    if (m_pList != nullptr) {
        m_pList->EmptyDataNode();
    }
}

uint32_t CBufCtrl::RellocNodeMainBuf(DATA_NODE* pNode, uint32_t nSizeBytes) noexcept {
    return m_pList != nullptr ? CBufList::RellocNodeMainBuf(pNode, nSizeBytes) : OX3D_RGBD_E_STATE;
}

// BufCtrl.cpp - see BufCtrl.h.
#include "src/Common/BufCtrl.h"

#include <new>

#include <ox3drgbd/Ox3dRgbdDefine.h>

CBufCtrl::~CBufCtrl() {
    delete m_list;
}

uint32_t CBufCtrl::Init(uint32_t nodeCount, uint32_t mainSizeBytes, uint32_t extraSizeBytes,
                        uint32_t readIndex, uint32_t writeIndex) noexcept {
    delete m_list;
    m_list = new (std::nothrow) CBufList;
    if (m_list == nullptr) {
        return OX3D_RGBD_E_MEMORY;
    }
    m_nodeCount = nodeCount;
    m_mainSizeBytes = mainSizeBytes;
    return m_list->InitBufList(nodeCount, mainSizeBytes, extraSizeBytes, readIndex, writeIndex);
}

DATA_NODE* CBufCtrl::GetSpareNode() noexcept {
    return m_list != nullptr ? m_list->GetSpareNode() : nullptr;
}

int CBufCtrl::CommitWrite() noexcept {
    return m_list != nullptr ? m_list->CommitWrite() : 0;
}

DATA_NODE* CBufCtrl::GetDataNode() noexcept {
    return m_list != nullptr ? m_list->GetNodeData() : nullptr;
}

int CBufCtrl::CommitRead() noexcept {
    return m_list != nullptr ? m_list->CommitRead() : 0;
}

DATA_NODE* CBufCtrl::GetOffsetDataNode(uint32_t index) noexcept {
    return m_list != nullptr ? m_list->GetOffestNodeData(index) : nullptr;
}

uint32_t CBufCtrl::GetDataNodeCount() const noexcept {
    return m_list != nullptr ? m_list->GetDataNodeCount() : 0;
}

void CBufCtrl::EmptyDataNode() noexcept {
    if (m_list != nullptr) {
        m_list->EmptyDataNode();
    }
}

uint32_t CBufCtrl::RellocNodeMainBuf(DATA_NODE* node, uint32_t sizeBytes) noexcept {
    return m_list != nullptr ? CBufList::RellocNodeMainBuf(node, sizeBytes) : OX3D_RGBD_E_STATE;
}

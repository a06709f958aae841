// BufCtrl.h - the owner of a node ring: creates it on Init, frees it, and forwards everything else.
#ifndef OX3D_COMMON_BUF_CTRL_H
#define OX3D_COMMON_BUF_CTRL_H

#include "src/Common/BufList.h"

// Without a ring every operation returns null or 0, but RellocNodeMainBuf returns OX3D_RGBD_E_STATE.
class CBufCtrl {
public:
    CBufCtrl() noexcept = default;
    ~CBufCtrl();
    CBufCtrl(const CBufCtrl&) = delete;
    CBufCtrl& operator=(const CBufCtrl&) = delete;

    // May be called again: the old ring and all nodes borrowed from it are gone.
    uint32_t Init(uint32_t nodeCount, uint32_t mainSizeBytes, uint32_t extraSizeBytes, uint32_t readIndex,
                  uint32_t writeIndex) noexcept;

    [[nodiscard]] DATA_NODE* GetSpareNode() noexcept;
    int CommitWrite() noexcept;
    [[nodiscard]] DATA_NODE* GetDataNode() noexcept;
    int CommitRead() noexcept;
    [[nodiscard]] DATA_NODE* GetOffsetDataNode(uint32_t index) noexcept;
    [[nodiscard]] uint32_t GetDataNodeCount() const noexcept;
    void EmptyDataNode() noexcept;
    uint32_t RellocNodeMainBuf(DATA_NODE* node, uint32_t sizeBytes) noexcept;

private:
    CBufList* m_list = nullptr;
    uint32_t m_nodeCount = 0;     // as requested, not as the ring uses it
    uint32_t m_mainSizeBytes = 0; // as requested
};

#endif

// SpareBlocks.h - memory of frames that the application has given back, kept for its next ones: pages that are new to the
// process cost several times what copying an image into them does.
#ifndef OX3D_SPARE_BLOCKS_H
#define OX3D_SPARE_BLOCKS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/ImageMemory.h"
#include "src/Common/Thread.h"

// Of the whole process. Any thread.
class CSpareBlocks {
public:
    static CSpareBlocks& Shared();

    // At least so many bytes, from what was kept or new; null when memory is short.
    ox3d::ImageBlock Take(uint64_t bytes) OX_EXCLUDES(m_mutex);
    // Keeps a block while there is a user, a few of the newest; else it is freed.
    void Keep(ox3d::ImageBlock block) OX_EXCLUDES(m_mutex);
    // In a forked child: no thread is inside.
    void Renew() { m_mutex.Renew(); }

private:
    friend class CSpareUse;
    static constexpr uint64_t kSmallestBytes = uint64_t{128} << 10; // smaller ones the allocator keeps
    static constexpr uint64_t kMostBytes = uint64_t{64} << 20;
    static constexpr size_t kBlocks = 8;

    void Count(int users) OX_EXCLUDES(m_mutex);
    ox3d::ImageBlock Remove(size_t index) OX_REQUIRES(m_mutex);

    COXMutex m_mutex; // leaf
    int m_users OX_GUARDED_BY(m_mutex) = 0;
    size_t m_count OX_GUARDED_BY(m_mutex) = 0;
    uint64_t m_bytes OX_GUARDED_BY(m_mutex) = 0;
    std::array<ox3d::ImageBlock, kBlocks> m_blocks OX_GUARDED_BY(m_mutex); // the oldest first
};

// A device from the first frame on that its application keeps.
class CSpareUse {
public:
    CSpareUse() = default;
    ~CSpareUse();
    CSpareUse(const CSpareUse&) = delete;
    CSpareUse& operator=(const CSpareUse&) = delete;

    void Begin();

private:
    std::atomic<bool> m_isUser{false};
};

#endif

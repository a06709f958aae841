// SpareBlocks.cpp - see SpareBlocks.h. Relies on malloc_usable_size for the sizes of blocks.
#include "src/Manager/SpareBlocks.h"

#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <utility>

#include "base/NeverDestroyed.h"

#if __has_include(<sanitizer/asan_interface.h>)
#    include <sanitizer/asan_interface.h> // a block that nobody has is as forbidden as one that was freed
#else
#    define ASAN_POISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#    define ASAN_UNPOISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#endif

namespace {

// At load and not at the first use: a fork during the construction would leave the child waiting for its end for ever.
ox3d::CNeverDestroyed<CSpareBlocks> g_spare;

[[maybe_unused]] const int g_forkWatch = pthread_atfork(nullptr, nullptr, [] { g_spare.Get().Renew(); });

uint64_t BytesOf(const ox3d::ImageBlock& block) {
    return malloc_usable_size(block.get());
}

// In large pages where the system gives them: a frame is copied into thousands of small ones.
ox3d::ImageBlock NewBlock(uint64_t bytes) {
    constexpr uint64_t kPageBytes = uint64_t{2} << 20;
    if (bytes < kPageBytes / 2 || bytes > UINT64_MAX - kPageBytes) {
        return ox3d::ImageBlock(static_cast<uint8_t*>(ox3d::AllocateImageMemory(bytes)));
    }
    const uint64_t rounded = (bytes + kPageBytes - 1) / kPageBytes * kPageBytes;
    ox3d::ImageBlock block(static_cast<uint8_t*>(aligned_alloc(kPageBytes, rounded)));
    if (block != nullptr) {
        madvise(block.get(), rounded, MADV_HUGEPAGE); // advice: a refusal changes nothing
    }
    return block;
}

} // namespace

CSpareBlocks& CSpareBlocks::Shared() {
    return g_spare.Get();
}

ox3d::ImageBlock CSpareBlocks::Remove(size_t index) {
    ox3d::ImageBlock block = std::move(m_blocks[index]);
    std::move(m_blocks.begin() + static_cast<std::ptrdiff_t>(index) + 1,
              m_blocks.begin() + static_cast<std::ptrdiff_t>(m_count),
              m_blocks.begin() + static_cast<std::ptrdiff_t>(index));
    --m_count;
    m_bytes -= BytesOf(block);
    ASAN_UNPOISON_MEMORY_REGION(block.get(), BytesOf(block));
    return block;
}

// Of those that fit the newest, which is the likeliest to be in the cache, and none that wastes more than it gives.
ox3d::ImageBlock CSpareBlocks::Take(uint64_t bytes) {
    if (bytes >= kSmallestBytes) {
        const COXLock lock(&m_mutex);
        for (size_t i = m_count; i-- > 0;) {
            const uint64_t has = BytesOf(m_blocks[i]);
            if (has >= bytes && has / 2 <= bytes) {
                return Remove(i);
            }
        }
    }
    return NewBlock(bytes);
}

void CSpareBlocks::Keep(ox3d::ImageBlock block) {
    const uint64_t bytes = block != nullptr ? BytesOf(block) : 0;
    if (bytes < kSmallestBytes || bytes > kMostBytes) {
        return;
    }
    const COXLock lock(&m_mutex);
    if (m_users == 0) {
        return;
    }
    while (m_count == kBlocks || m_bytes > kMostBytes - bytes) {
        Remove(0);
    }
    ASAN_POISON_MEMORY_REGION(block.get(), bytes);
    m_bytes += bytes;
    m_blocks[m_count++] = std::move(block);
}

void CSpareBlocks::Count(int users) {
    const COXLock lock(&m_mutex);
    m_users += users;
    while (m_users == 0 && m_count != 0) {
        Remove(m_count - 1);
    }
}

CSpareUse::~CSpareUse() {
    if (m_isUser) {
        g_spare.Get().Count(-1);
    }
}

void CSpareUse::Begin() {
    if (!m_isUser.exchange(true)) {
        g_spare.Get().Count(1);
    }
}

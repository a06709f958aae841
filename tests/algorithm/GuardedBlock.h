// Memory between pages that nothing may touch. Relies on mmap and on pages of 4 KiB.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sys/mman.h>
#include <vector>

namespace ox3d::test {

enum class EAgainst { End, Start };

constexpr uint8_t kGarbage = 0xA7;

// A block that ends right before, or starts right after, an inaccessible page. Filled with garbage.
class CGuardedBlock {
public:
    explicit CGuardedBlock(size_t bytes, EAgainst against = EAgainst::End)
        : m_mapped((bytes + kPage - 1) / kPage * kPage + 2 * kPage) {
        void* mapping = mmap(nullptr, m_mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(mapping, MAP_FAILED);
        m_mapping = static_cast<uint8_t*>(mapping);
        EXPECT_EQ(mprotect(m_mapping, kPage, PROT_NONE), 0);
        EXPECT_EQ(mprotect(m_mapping + m_mapped - kPage, kPage, PROT_NONE), 0);
        m_data = against == EAgainst::End ? m_mapping + m_mapped - kPage - bytes : m_mapping + kPage;
        std::memset(m_data, kGarbage, bytes);
    }
    ~CGuardedBlock() { munmap(m_mapping, m_mapped); }
    CGuardedBlock(const CGuardedBlock&) = delete;
    CGuardedBlock& operator=(const CGuardedBlock&) = delete;

    template <typename T = void>
    T* Data() const {
        return static_cast<T*>(static_cast<void*>(m_data));
    }

private:
    static constexpr size_t kPage = 4096;
    size_t m_mapped;
    uint8_t* m_mapping = nullptr;
    uint8_t* m_data = nullptr;
};

// Samples that end right before an inaccessible page, so that their address is any that their count makes it, with
// guard bytes in front.
template <typename T>
class CPlane {
public:
    explicit CPlane(size_t count) : m_count(count), m_block(kGuard + count * sizeof(T)) {}
    explicit CPlane(const std::vector<T>& samples) : CPlane(samples.size()) {
        std::copy(samples.begin(), samples.end(), Data());
    }
    T* Data() const { return reinterpret_cast<T*>(m_block.Data<uint8_t>() + kGuard); }
    T* End() const { return Data() + m_count; }
    const uint8_t* Guard() const { return m_block.Data<uint8_t>(); }

private:
    static constexpr size_t kGuard = 64;
    size_t m_count;
    CGuardedBlock m_block;
};

} // namespace ox3d::test

// Memory between pages that nothing may touch, and algorithm objects in such memory of exactly the asked size.
// Relies on mmap, on pages of 4 KiB, and on the 128-byte block size dividing a page.
#pragma once

#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <gtest/gtest.h>
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
        uint8_t* const last = m_mapping + m_mapped - kPage;
        EXPECT_EQ(mprotect(m_mapping, kPage, PROT_NONE) | mprotect(last, kPage, PROT_NONE), 0);
        m_data = against == EAgainst::End ? last - bytes : m_mapping + kPage;
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

// Samples that end right before an inaccessible page, so at any address, with guard bytes in front.
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

inline OXB3D_BINOSTEREO_ABILITY Ability(uint32_t flags, int32_t width = 640, int32_t height = 480,
                                        uint32_t threads = 1) {
    return {width, height, flags, threads, 2, 2, 5, 0};
}

// Sized tables and the blocks they point to; creates nothing yet.
class CMemory {
public:
    explicit CMemory(const OXB3D_BINOSTEREO_ABILITY& ability, EAgainst against = EAgainst::End) {
        EXPECT_EQ(OXB3D_BINOSTEREO_GetMemSize(&ability, m_tab), OXB3D_BINOSTEREO_OK);
        for (const size_t entry : {0U, 1U}) {
            m_tab[entry].base = m_blocks.emplace_back(m_tab[entry].size, against).Data();
        }
    }
    OXB3D_BINOSTEREO_MEM_TAB* Tab() { return m_tab; }

private:
    OXB3D_BINOSTEREO_MEM_TAB m_tab[OXB3D_BINOSTEREO_MEM_TAB_COUNT] = {};
    std::deque<CGuardedBlock> m_blocks;
};

class CTestObject : public CMemory {
public:
    explicit CTestObject(uint32_t flags, int32_t width = 640, int32_t height = 480,
                         EAgainst against = EAgainst::End, uint32_t threads = 1)
        : CMemory(Ability(flags, width, height, threads), against) {
        const OXB3D_BINOSTEREO_ABILITY ability = Ability(flags, width, height, threads);
        EXPECT_EQ(OXB3D_BINOSTEREO_Create(&ability, Tab(), &m_handle), OXB3D_BINOSTEREO_OK);
    }
    void* Handle() const { return m_handle; }

    int32_t SetParam(uint32_t id, int32_t value) {
        OXB3D_BINOSTEREO_PARAM param{id, value};
        return OXB3D_BINOSTEREO_SetConfig(m_handle, 1, &param, sizeof param);
    }

    template <typename TIn, typename TOut>
    int32_t Process(int32_t type, TIn in, TOut& out) {
        return OXB3D_BINOSTEREO_Process(m_handle, type, &in, sizeof in, &out, sizeof out);
    }

private:
    void* m_handle = nullptr;
};

// Offset of a pixel in an image without padding.
inline size_t At(int32_t x, int32_t y, int32_t width) {
    return static_cast<size_t>(int64_t{y} * width + x);
}

// A one-plane image without padding.
inline ZQA_IMAGE Image(int32_t format, const void* data, int32_t width = 640, int32_t height = 480) {
    return {format, width, height, {width}, {const_cast<void*>(data)}};
}

} // namespace ox3d::test

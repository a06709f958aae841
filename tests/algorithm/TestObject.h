// An algorithm object in memory of exactly the asked size, with pages on both sides that no one may touch.
// Relies on mmap and 4 KiB pages, of which the 128-byte block size is a divisor.
#pragma once

#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sys/mman.h>

namespace algorithm_test {

enum class Against { End, Start };

// A block that ends right before, or starts right after, an inaccessible page. Filled with garbage.
class CGuardedBlock {
public:
    explicit CGuardedBlock(size_t bytes, Against against = Against::End)
        : m_mapped((bytes + kPage - 1) / kPage * kPage + 2 * kPage) {
        void* mapping = mmap(nullptr, m_mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(mapping, MAP_FAILED);
        m_mapping = static_cast<uint8_t*>(mapping);
        EXPECT_EQ(mprotect(m_mapping, kPage, PROT_NONE), 0);
        EXPECT_EQ(mprotect(m_mapping + m_mapped - kPage, kPage, PROT_NONE), 0);
        m_data = against == Against::End ? m_mapping + m_mapped - kPage - bytes : m_mapping + kPage;
        std::memset(m_data, 0xA7, bytes);
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

inline OXB3D_BINOSTEREO_ABILITY Ability(uint32_t flags, int32_t width = 640, int32_t height = 480) {
    return {width, height, flags, 1, 2, 2, 5, 0};
}

// Sized tables and the blocks they point to; creates nothing yet.
class CMemory {
public:
    explicit CMemory(const OXB3D_BINOSTEREO_ABILITY& ability, Against against = Against::End)
        : m_nStatus(OXB3D_BINOSTEREO_GetMemSize(&ability, m_tab)), m_Persistent(m_tab[0].size, against),
          m_Scratch(m_tab[1].size, against) {
        EXPECT_EQ(m_nStatus, OXB3D_BINOSTEREO_OK);
        m_tab[0].base = m_Persistent.Data();
        m_tab[1].base = m_Scratch.Data();
    }
    OXB3D_BINOSTEREO_MEM_TAB* Tab() { return m_tab; }

private:
    OXB3D_BINOSTEREO_MEM_TAB m_tab[OXB3D_BINOSTEREO_MEM_TAB_COUNT] = {};
    int32_t m_nStatus;
    CGuardedBlock m_Persistent;
    CGuardedBlock m_Scratch;
};

class CTestObject {
public:
    explicit CTestObject(uint32_t flags, int32_t width = 640, int32_t height = 480,
                         Against against = Against::End)
        : m_ability(Ability(flags, width, height)), m_Memory(m_ability, against) {
        EXPECT_EQ(OXB3D_BINOSTEREO_Create(&m_ability, m_Memory.Tab(), &m_handle), OXB3D_BINOSTEREO_OK);
    }
    void* Handle() const { return m_handle; }
    CMemory& Memory() { return m_Memory; }

    void SetParam(uint32_t id, int32_t value) {
        OXB3D_BINOSTEREO_PARAM param{id, value};
        ASSERT_EQ(OXB3D_BINOSTEREO_SetConfig(m_handle, 1, &param, sizeof param), OXB3D_BINOSTEREO_OK) << id;
    }

    template <typename TIn, typename TOut>
    int32_t Process(int32_t type, TIn in, TOut& out) {
        return OXB3D_BINOSTEREO_Process(m_handle, type, &in, sizeof in, &out, sizeof out);
    }

private:
    OXB3D_BINOSTEREO_ABILITY m_ability;
    CMemory m_Memory;
    void* m_handle = nullptr;
};

// Offset of a pixel in an image without padding.
inline size_t At(int32_t x, int32_t y, int32_t width) {
    return static_cast<size_t>(int64_t{y} * width + x);
}

// A one-plane image without padding.
inline ZQA_IMAGE Image(int32_t format, int32_t width, int32_t height, const void* data) {
    ZQA_IMAGE image{};
    image.format = format;
    image.width = width;
    image.height = height;
    image.step[0] = width;
    image.data[0] = const_cast<void*>(data);
    return image;
}

} // namespace algorithm_test

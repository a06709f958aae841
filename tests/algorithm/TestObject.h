// An algorithm object in memory of exactly the asked size, with pages on both sides that nothing may touch.
// Relies on the 128-byte block size dividing a page.
#pragma once

#include "tests/algorithm/GuardedBlock.h"
#include <ox3drgbd/Oxb3dBinoStereo.h>

namespace ox3d::test {

inline OXB3D_BINOSTEREO_ABILITY Ability(uint32_t flags, int32_t width = 640, int32_t height = 480) {
    return {width, height, flags, 1, 2, 2, 5, 0};
}

// Sized tables and the blocks they point to; creates nothing yet.
class CMemory {
public:
    explicit CMemory(const OXB3D_BINOSTEREO_ABILITY& ability, EAgainst against = EAgainst::End)
        : m_status(OXB3D_BINOSTEREO_GetMemSize(&ability, m_tab)), m_persistent(m_tab[0].size, against),
          m_scratch(m_tab[1].size, against) {
        EXPECT_EQ(m_status, OXB3D_BINOSTEREO_OK);
        m_tab[0].base = m_persistent.Data();
        m_tab[1].base = m_scratch.Data();
    }
    OXB3D_BINOSTEREO_MEM_TAB* Tab() { return m_tab; }

private:
    OXB3D_BINOSTEREO_MEM_TAB m_tab[OXB3D_BINOSTEREO_MEM_TAB_COUNT] = {};
    int32_t m_status;
    CGuardedBlock m_persistent;
    CGuardedBlock m_scratch;
};

class CTestObject {
public:
    explicit CTestObject(uint32_t flags, int32_t width = 640, int32_t height = 480,
                         EAgainst against = EAgainst::End)
        : m_ability(Ability(flags, width, height)), m_memory(m_ability, against) {
        EXPECT_EQ(OXB3D_BINOSTEREO_Create(&m_ability, m_memory.Tab(), &m_handle), OXB3D_BINOSTEREO_OK);
    }
    void* Handle() const { return m_handle; }
    CMemory& Memory() { return m_memory; }

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
    CMemory m_memory;
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

} // namespace ox3d::test

// RetiringBuffer.h - a buffer that grows while somebody may still read what it held: the old block is retired
// and freed only when its owner says that no reader is left.
#ifndef OX3D_RETIRING_BUFFER_H
#define OX3D_RETIRING_BUFFER_H

#include <cstdint>
#include <cstdlib>

#include "Common/FrameMemory.h"

class CRetiringBuffer {
public:
    CRetiringBuffer() = default;
    ~CRetiringBuffer() { FreeAll(); }
    CRetiringBuffer(const CRetiringBuffer&) = delete;
    CRetiringBuffer& operator=(const CRetiringBuffer&) = delete;

    // A new block of at least `bytes`; the former one is retired. False leaves everything as it was.
    bool Replace(uint64_t bytes) {
        auto* block = bytes > UINT64_MAX - sizeof(Block)
                          ? nullptr
                          : static_cast<Block*>(AllocateFrameMemory(sizeof(Block) + bytes));
        if (block == nullptr) {
            return false;
        }
        block->m_older = m_newest;
        m_newest = block;
        return true;
    }

    // Frees all blocks but the one in use.
    void FreeRetired() {
        if (m_newest != nullptr) {
            FreeFrom(m_newest->m_older);
            m_newest->m_older = nullptr;
        }
    }

    void FreeAll() {
        FreeFrom(m_newest);
        m_newest = nullptr;
    }

    // Null before the first block.
    uint8_t* Data() const { return m_newest != nullptr ? reinterpret_cast<uint8_t*>(m_newest + 1) : nullptr; }

private:
    // In front of the bytes; padded so that they are aligned like the block.
    struct alignas(kFrameAlignmentBytes) Block {
        Block* m_older;
    };

    static void FreeFrom(Block* block) {
        while (block != nullptr) {
            Block* older = block->m_older;
            free(block);
            block = older;
        }
    }

    Block* m_newest = nullptr;
};

#endif

// RetiringBuffer.h - a buffer that grows while the application may still read its former block: a block that
// was lent is retired when a larger one replaces it, and freed only when its owner says that no reader is
// left.
#ifndef OX3D_RETIRING_BUFFER_H
#define OX3D_RETIRING_BUFFER_H

#include <cstdint>
#include <cstdlib>

#include "base/ImageMemory.h"

class CRetiringBuffer {
public:
    CRetiringBuffer() = default;
    ~CRetiringBuffer() { FreeAll(); }
    CRetiringBuffer(const CRetiringBuffer&) = delete;
    CRetiringBuffer& operator=(const CRetiringBuffer&) = delete;

    // A new block of at least `bytes`; the former one is retired if it was lent, else freed. False leaves
    // everything as it was.
    bool Replace(uint64_t bytes) {
        auto* block = bytes > UINT64_MAX - sizeof(Block)
                          ? nullptr
                          : static_cast<Block*>(ox3d::AllocateImageMemory(sizeof(Block) + bytes));
        if (block == nullptr) {
            return false;
        }
        Block* former = m_newest;
        if (former != nullptr && !former->m_isLent) {
            m_newest = former->m_older;
            free(former);
        }
        block->m_older = m_newest;
        block->m_isLent = false;
        m_newest = block;
        return true;
    }

    // The block in use, for a reader that may use it until TakeBack; there must be one.
    uint8_t* Lend() {
        m_newest->m_isLent = true;
        return Data();
    }

    // No reader is left: frees all blocks but the one in use.
    void TakeBack() {
        if (m_newest != nullptr) {
            FreeFrom(m_newest->m_older);
            m_newest->m_older = nullptr;
            m_newest->m_isLent = false;
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
    struct alignas(ox3d::kImageAlignmentBytes) Block {
        Block* m_older;
        bool m_isLent;
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

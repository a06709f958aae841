// GrowBuffer.h - a byte buffer that only grows. The new block is allocated before the old one goes, so a
// failure leaves contents, size and pointer as they were.
#ifndef OX3D_GROW_BUFFER_H
#define OX3D_GROW_BUFFER_H

#include <cstdint>
#include <cstdlib>

#include "base/ImageMemory.h"
#include "src/Manager/SpareBlocks.h"

class CGrowBuffer {
public:
    // Nothing is allocated before the first need.
    explicit CGrowBuffer(uint64_t initialBytes) : m_capacity(initialBytes), m_initial(initialBytes) {}
    ~CGrowBuffer() { free(m_block); }
    CGrowBuffer(const CGrowBuffer&) = delete;
    CGrowBuffer& operator=(const CGrowBuffer&) = delete;

    // The block of the initial size, zero-filled; true when it exists afterwards. Zeros that the system hands out cost
    // nothing before they are touched, and most devices that are opened fill few of their buffers.
    bool EnsureExists() {
        if (m_data == nullptr && m_isHandedOver) {
            return Grow(m_capacity);
        }
        if (m_data == nullptr) {
            m_block = calloc(1, m_capacity + ox3d::kImageAlignmentBytes);
            if (m_block != nullptr) {
                // The last aligned place, so that nothing is left behind its end where blocks are aligned anyway.
                const uint64_t into = reinterpret_cast<uintptr_t>(m_block) % ox3d::kImageAlignmentBytes;
                m_data = static_cast<uint8_t*>(m_block) + (ox3d::kImageAlignmentBytes - into);
            }
        }
        return m_data != nullptr;
    }

    // Exactly `bytes` when the capacity is below that. The contents are lost.
    bool Grow(uint64_t bytes) {
        if (m_data != nullptr && bytes <= m_capacity) {
            return true;
        }
        void* const block =
            m_isHandedOver ? CSpareBlocks::Shared().Take(bytes).release() : ox3d::AllocateImageMemory(bytes);
        if (block == nullptr) {
            return false;
        }
        free(m_block);
        m_block = block;
        m_data = static_cast<uint8_t*>(block);
        m_capacity = bytes;
        return true;
    }

    // The block goes over to the caller with the bytes in it. The buffer is empty until its next need, and then has a block
    // of its size that nobody has filled: zeros are for the first one.
    ox3d::ImageBlock HandOver() {
        ox3d::ImageBlock block(static_cast<uint8_t*>(m_block));
        m_block = nullptr;
        m_data = nullptr;
        m_isHandedOver = true;
        return block;
    }

    void Free() {
        free(m_block);
        m_isHandedOver = false;
        m_block = nullptr;
        m_data = nullptr;
        m_capacity = m_initial;
    }

    uint8_t* Data() const { return m_data; }
    uint64_t Capacity() const { return m_capacity; }

private:
    void* m_block = nullptr;
    uint8_t* m_data = nullptr; // in the block
    uint64_t m_capacity;
    uint64_t m_initial;
    bool m_isHandedOver = false;
};

#endif

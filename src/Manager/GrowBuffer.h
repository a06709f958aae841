// GrowBuffer.h - a byte buffer that only grows. The new block is allocated before the old one goes, so a
// failure leaves contents, size and pointer as they were.
#ifndef OX3D_GROW_BUFFER_H
#define OX3D_GROW_BUFFER_H

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/ImageMemory.h"

class CGrowBuffer {
public:
    // Nothing is allocated before the first need.
    explicit CGrowBuffer(uint64_t initialBytes) : m_capacity(initialBytes), m_initial(initialBytes) {}
    ~CGrowBuffer() { free(m_data); }
    CGrowBuffer(const CGrowBuffer&) = delete;
    CGrowBuffer& operator=(const CGrowBuffer&) = delete;

    // The block of the initial size, zero-filled; true when it exists afterwards.
    bool EnsureExists() {
        if (m_data == nullptr) {
            m_data = static_cast<uint8_t*>(ox3d::AllocateImageMemory(m_capacity));
            if (m_data != nullptr) {
                memset(m_data, 0, m_capacity);
            }
        }
        return m_data != nullptr;
    }

    // Exactly `bytes` when the capacity is below that. The contents are lost.
    bool Grow(uint64_t bytes) {
        if (m_data != nullptr && bytes <= m_capacity) {
            return true;
        }
        auto* block = static_cast<uint8_t*>(ox3d::AllocateImageMemory(bytes));
        if (block == nullptr) {
            return false;
        }
        free(m_data);
        m_data = block;
        m_capacity = bytes;
        return true;
    }

    void Free() {
        free(m_data);
        m_data = nullptr;
        m_capacity = m_initial;
    }

    uint8_t* Data() const { return m_data; }
    uint64_t Capacity() const { return m_capacity; }

private:
    uint8_t* m_data = nullptr;
    uint64_t m_capacity;
    uint64_t m_initial;
};

#endif

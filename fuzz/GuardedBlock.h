// GuardedBlock.h - memory between two pages that nobody may touch. A range of any size ends at the second of them:
// reading or writing one byte behind it ends the process, whatever instruction does it. What the sanitizer sees
// of accesses it sees in the rest of the block as well.
#ifndef OX3D_FUZZ_GUARDED_BLOCK_H
#define OX3D_FUZZ_GUARDED_BLOCK_H

#include <sanitizer/asan_interface.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <span>

#include "fuzz/Input.h"

namespace ox3d::fuzz {

class CGuardedBlock {
public:
    explicit CGuardedBlock(size_t maxBytes)
        : m_page(static_cast<size_t>(sysconf(_SC_PAGESIZE))),
          m_bytes((maxBytes + m_page - 1) / m_page * m_page) {
        void* const memory =
            mmap(nullptr, m_bytes + 2 * m_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        OX3D_FUZZ_EXPECT(memory != MAP_FAILED);
        m_begin = static_cast<uint8_t*>(memory) + m_page;
        OX3D_FUZZ_EXPECT(mprotect(m_begin, m_bytes, PROT_READ | PROT_WRITE) == 0);
        ASAN_POISON_MEMORY_REGION(m_begin, m_bytes);
    }
    ~CGuardedBlock() {
        ASAN_UNPOISON_MEMORY_REGION(m_begin, m_bytes);
        munmap(m_begin - m_page, m_bytes + 2 * m_page);
    }
    CGuardedBlock(const CGuardedBlock&) = delete;
    CGuardedBlock& operator=(const CGuardedBlock&) = delete;

    // The range, on a boundary of that many bytes; where its size is a multiple of that it ends at the guard page.
    // The content is what the range before left there.
    uint8_t* Place(size_t lengthBytes, size_t boundary = 1) {
        OX3D_FUZZ_EXPECT(lengthBytes <= m_bytes);
        const size_t fromEnd = (lengthBytes + boundary - 1) / boundary * boundary;
        uint8_t* const place = m_begin + m_bytes - fromEnd;
        ASAN_POISON_MEMORY_REGION(m_used.data(), m_used.size());
        ASAN_UNPOISON_MEMORY_REGION(place, lengthBytes);
        m_used = {place, lengthBytes};
        return place;
    }
    template <class Value>
    Value* PlaceArray(size_t count, size_t boundary = alignof(Value)) {
        return reinterpret_cast<Value*>(Place(count * sizeof(Value), boundary));
    }
    // The range filled by repeating the bytes, or zeros where there are none.
    uint8_t* PlaceFilled(size_t lengthBytes, std::span<const uint8_t> pattern, size_t boundary = 1) {
        uint8_t* const place = Place(lengthBytes, boundary);
        size_t done = std::min(lengthBytes, pattern.size());
        std::copy_n(pattern.begin(), done, place);
        if (done == 0) {
            memset(place, 0, lengthBytes);
            return place;
        }
        while (done < lengthBytes) {
            const size_t more = std::min(done, lengthBytes - done);
            memcpy(place + done, place, more);
            done += more;
        }
        return place;
    }

private:
    const size_t m_page;
    const size_t m_bytes;
    uint8_t* m_begin = nullptr;
    std::span<uint8_t> m_used;
};

} // namespace ox3d::fuzz

#endif

// LargeBlocks.cpp - where a target's large blocks come from. The sanitizer's heap takes each from the system and gives
// it back, and its own books on it as well: with images of megabytes that is most of what an input costs. Here a block
// ends before a page that nobody may touch, all of it may be touched by nobody once it is freed, and memory that was
// touched is used again. Relies on the sanitizer's functions of the heap giving way to others of their name.
#include <sys/mman.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/Input.h"

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizer's names
void* __interceptor_calloc(size_t count, size_t size);
void* __interceptor_aligned_alloc(size_t alignment, size_t size);
void __interceptor_free(void* block);
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

constexpr size_t kPage = 4096;
constexpr size_t kSmallestBytes = size_t{128} << 10;
constexpr size_t kLargestBytes = size_t{15} << 20;
constexpr size_t kSlotBytes = size_t{16} << 20; // the last page of each stays closed
constexpr size_t kSlots = 24;

struct Slot {
    size_t m_lengthBytes = 0; // of the block that is there, or was
    bool m_isZeroed = false;
    bool m_isTaken = false;
};

class CSlots {
public:
    // Null where there is no room: the heap has some.
    uint8_t* Take(size_t lengthBytes, bool isZeroed) {
        const CTurn turn(m_isBusy);
        const size_t number = Find(lengthBytes, isZeroed);
        if (number == kSlots || !Exists()) {
            return nullptr;
        }
        uint8_t* const end = EndOf(number);
        const Slot former = m_slots[number];
        if (isZeroed && former.m_lengthBytes != 0) {
            OX3D_FUZZ_EXPECT(
                madvise(end - Pages(former.m_lengthBytes), Pages(former.m_lengthBytes), MADV_DONTNEED) == 0);
        }
        Protect(end, lengthBytes, PROT_READ | PROT_WRITE);
        m_slots[number] = {lengthBytes, isZeroed, true};
        return end - lengthBytes;
    }
    // False for a block of the heap.
    bool GiveBack(void* block) {
        auto* const place = static_cast<uint8_t*>(block);
        uint8_t* const begin = m_begin;
        if (begin == nullptr || place < begin || place >= begin + kSlots * kSlotBytes) {
            return false;
        }
        const CTurn turn(m_isBusy);
        const size_t number = static_cast<size_t>(place - begin) / kSlotBytes;
        Slot& slot = m_slots[number];
        OX3D_FUZZ_EXPECT(slot.m_isTaken &&
                         place == EndOf(number) - slot.m_lengthBytes); // freed twice, or no block
        Protect(EndOf(number), slot.m_lengthBytes, PROT_NONE);
        slot.m_isTaken = false;
        return true;
    }

private:
    class CTurn {
    public:
        explicit CTurn(std::atomic_flag& isBusy) : m_isBusy(isBusy) {
            while (m_isBusy.test_and_set(std::memory_order_acquire)) {
            }
        }
        ~CTurn() { m_isBusy.clear(std::memory_order_release); }
        CTurn(const CTurn&) = delete;
        CTurn& operator=(const CTurn&) = delete;

    private:
        std::atomic_flag& m_isBusy;
    };

    static size_t Pages(size_t lengthBytes) { return (lengthBytes + kPage - 1) / kPage * kPage; }
    static void Protect(uint8_t* end, size_t lengthBytes, int access) {
        OX3D_FUZZ_EXPECT(mprotect(end - Pages(lengthBytes), Pages(lengthBytes), access) == 0);
    }
    uint8_t* EndOf(size_t number) { return m_begin + (number + 1) * kSlotBytes - kPage; }

    // One whose last block was such a block, else one that was never used, else any that is free.
    size_t Find(size_t lengthBytes, bool isZeroed) const {
        size_t found = kSlots;
        bool isUnused = false;
        for (size_t i = 0; i < kSlots; ++i) {
            const Slot& slot = m_slots[i];
            if (slot.m_isTaken) {
                continue;
            }
            if (slot.m_lengthBytes == lengthBytes && slot.m_isZeroed == isZeroed) {
                return i;
            }
            if (found == kSlots || (!isUnused && slot.m_lengthBytes == 0)) {
                found = i;
                isUnused = slot.m_lengthBytes == 0;
            }
        }
        return found;
    }
    bool Exists() {
        if (m_begin == nullptr) {
            void* const memory = mmap(nullptr, kSlots * kSlotBytes, PROT_NONE,
                                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
            m_begin = memory != MAP_FAILED ? static_cast<uint8_t*>(memory) : nullptr;
        }
        return m_begin != nullptr;
    }

    std::atomic_flag m_isBusy;
    std::atomic<uint8_t*> m_begin{nullptr};
    std::array<Slot, kSlots> m_slots{};
};

constinit CSlots g_slots; // the first block is asked for before anything is constructed

bool IsLarge(size_t lengthBytes) {
    return lengthBytes >= kSmallestBytes && lengthBytes <= kLargestBytes;
}

} // namespace

extern "C" [[gnu::visibility("default")]] void* calloc(size_t count, size_t size) {
    size_t lengthBytes = 0;
    if (!__builtin_mul_overflow(count, size, &lengthBytes) && IsLarge(lengthBytes) && lengthBytes % 16 == 0) {
        if (void* const block = g_slots.Take(lengthBytes, true); block != nullptr) {
            return block;
        }
    }
    return __interceptor_calloc(count, size);
}

extern "C" [[gnu::visibility("default")]] void* aligned_alloc(size_t alignment, size_t size) {
    if (IsLarge(size) && size % alignment == 0 && alignment <= kPage) {
        if (void* const block = g_slots.Take(size, false); block != nullptr) {
            return block;
        }
    }
    return __interceptor_aligned_alloc(alignment, size);
}

extern "C" [[gnu::visibility("default")]] void free(void* block) {
    const int reason = errno;
    if (!g_slots.GiveBack(block)) {
        errno = reason;
        __interceptor_free(block);
    }
    errno = reason;
}

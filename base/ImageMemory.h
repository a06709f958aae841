// ImageMemory.h - memory for images: begins on a cache line, which is also the widest vector.
#ifndef OX3D_BASE_IMAGE_MEMORY_H
#define OX3D_BASE_IMAGE_MEMORY_H

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

namespace ox3d {

constexpr uint64_t kImageAlignmentBytes = 64;

// Freed by free(). Null when there is no such memory; a size of 0 gives a block like any other.
inline void* AllocateImageMemory(uint64_t bytes) noexcept {
    if (bytes > UINT64_MAX - kImageAlignmentBytes) {
        return nullptr;
    }
    const uint64_t blocks = (bytes + kImageAlignmentBytes - 1) / kImageAlignmentBytes;
    return aligned_alloc(kImageAlignmentBytes, (blocks == 0 ? 1 : blocks) * kImageAlignmentBytes);
}

struct FreeImageMemory {
    void operator()(void* block) const noexcept { free(block); }
};
using ImageBlock = std::unique_ptr<uint8_t, FreeImageMemory>;

// For containers of samples.
template <class Sample>
class CImageAllocator {
public:
    using value_type = Sample;

    CImageAllocator() = default;
    template <class Other>
    CImageAllocator(const CImageAllocator<Other>&) noexcept {}
    Sample* allocate(size_t count) {
        void* block =
            count > SIZE_MAX / sizeof(Sample) ? nullptr : AllocateImageMemory(count * sizeof(Sample));
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        return static_cast<Sample*>(block);
    }
    void deallocate(Sample* samples, size_t) noexcept { free(samples); }
    bool operator==(const CImageAllocator&) const = default;
};
using ImageBytes = std::vector<uint8_t, CImageAllocator<uint8_t>>;

} // namespace ox3d

#endif

// Allocations.h - counts what is taken from the heap, and refuses some of it. Included by one unit of a program, which
// then counts by itself and defines MustCount: whether a block counts that the code at the address asked for. Relies
// on the C library's own names for its functions or, with OX3D_WRAPPED_ALLOCATIONS, on the linker wrapping them for
// whatever is linked statically, which works with the sanitizers' heap as well.
#ifndef OX3D_FUZZ_SESSION_ALLOCATIONS_H
#define OX3D_FUZZ_SESSION_ALLOCATIONS_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace ox3d::test {

inline std::atomic<uint64_t> g_allocations{0};

bool MustCount(const void* caller);

// Where there is one, it is asked for every block that counts; false refuses the block.
inline std::atomic<bool (*)()> g_grant{nullptr};

inline bool IsGranted(const void* caller) {
    if (!MustCount(caller)) {
        return true;
    }
    ++g_allocations;
    bool (*const grant)() = g_grant;
    return grant == nullptr || grant();
}

} // namespace ox3d::test

#ifdef OX3D_WRAPPED_ALLOCATIONS
#    define OX3D_ALLOCATOR(name) __wrap_##name
#    define OX3D_REAL_ALLOCATOR(name) __real_##name
#else
#    define OX3D_ALLOCATOR(name) name
#    define OX3D_REAL_ALLOCATOR(name) __libc_##name
#endif
// NOLINTBEGIN(bugprone-macro-parentheses): lists of parameters and of arguments bring their own
#define OX3D_COUNTED(name, original, parameters, arguments)                                                 \
    extern "C" void* OX3D_REAL_ALLOCATOR(original)                                                          \
    parameters noexcept;                                                                                    \
    extern "C" void* OX3D_ALLOCATOR(name)                                                                   \
    parameters noexcept;                                                                                    \
    void* OX3D_ALLOCATOR(name)                                                                              \
    parameters noexcept {                                                                                   \
        return ox3d::test::IsGranted(__builtin_return_address(0)) ? OX3D_REAL_ALLOCATOR(original) arguments \
                                                                  : nullptr;                                \
    }
// NOLINTEND(bugprone-macro-parentheses)
OX3D_COUNTED(malloc, malloc, (size_t size), (size))
OX3D_COUNTED(calloc, calloc, (size_t count, size_t size), (count, size))
OX3D_COUNTED(realloc, realloc, (void* block, size_t size), (block, size))
#ifdef OX3D_WRAPPED_ALLOCATIONS
OX3D_COUNTED(aligned_alloc, aligned_alloc, (size_t alignment, size_t size), (alignment, size))
#else
OX3D_COUNTED(memalign, memalign, (size_t alignment, size_t size), (alignment, size))
OX3D_COUNTED(aligned_alloc, memalign, (size_t alignment, size_t size), (alignment, size))
#endif

// Not inlined, or the compiler compares new with free.
[[gnu::noinline]] void* operator new(size_t size) {
    void* const block =
        ox3d::test::IsGranted(__builtin_return_address(0)) ? OX3D_REAL_ALLOCATOR(malloc)(size) : nullptr;
    return block != nullptr ? block : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return ox3d::test::IsGranted(__builtin_return_address(0)) ? OX3D_REAL_ALLOCATOR(malloc)(size) : nullptr;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, size_t /*size*/) noexcept {
    std::free(block);
}

#endif

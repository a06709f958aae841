// SessionsFuzz.cpp - sessions from bytes. Whatever does not fit the model ends the process.
#include <sanitizer/allocator_interface.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/session/Player.h"

using namespace ox3d::session;

namespace {

// The library clears large images for every device, and in small pages that takes most of a session's time.
void AskForLargePages(const volatile void* block, size_t size) {
    constexpr uintptr_t kPage = 4096;
    if (size >= size_t{1} << 21) {
        char* const first = static_cast<char*>(const_cast<void*>(block));
        const uintptr_t intoPage = reinterpret_cast<uintptr_t>(first) % kPage;
        madvise(first + (kPage - intoPage) % kPage, size - kPage, MADV_HUGEPAGE);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    __sanitizer_install_malloc_and_free_hooks(AskForLargePages, [](const volatile void*) {});
    OnComplaint(&abort);
    // From here on the log stays open, and closing a device need not wait for its writer.
    CPlayer player({});
    player.Play(Step{KindOf("count devices"), 0});
    player.End();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PlayBytes(data, size);
    return 0;
}

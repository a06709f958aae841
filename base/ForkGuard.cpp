// ForkGuard.cpp - the count of forks, raised in every child.
#include "base/ForkGuard.h"

#include <pthread.h>

namespace ox3d {
namespace {

constinit std::atomic<uint32_t> g_generation{0};

// At load and not at the first use, so that no fork can come in between. A failure for want of memory is ignored.
[[maybe_unused]] const int g_watch =
    pthread_atfork(nullptr, nullptr, [] { g_generation.fetch_add(1, std::memory_order_relaxed); });

} // namespace

uint32_t ForkGeneration() noexcept {
    return g_generation.load(std::memory_order_relaxed);
}

} // namespace ox3d

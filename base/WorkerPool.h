// WorkerPool.h - the library's own threads for work on large images: one pool for all devices of the process.
//
// Work is cut into parts that any thread can do. The calling thread does them, too, and waits for no thread that has
// not begun: so the work is done with and without threads, and an idle processor is all that they need. The threads
// are there while a CPoolUse asks for them; a child of fork() has none of its parent's.
#ifndef OX3D_BASE_WORKER_POOL_H
#define OX3D_BASE_WORKER_POOL_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/ForkGuard.h"

namespace ox3d {

constexpr uint32_t kMaxThreads = 16;
// Smaller images are done before another thread has woken up.
constexpr uint64_t kMinSharedPixels = uint64_t{640} * 480;

// What one user, a device, asks of the pool. Threads are started when there is work for them, as many as the largest
// number asked for needs, and have ended when the last user has gone.
class CPoolUse {
public:
    CPoolUse() = default;
    ~CPoolUse() { Ask(1); }
    CPoolUse(const CPoolUse&) = delete;
    CPoolUse& operator=(const CPoolUse&) = delete;

    // The calling thread included: 1 asks for none, and waits for the threads' end when it was the last to ask for
    // more. Never from a part of work. One thread at a time.
    void Ask(uint32_t threads) noexcept;

private:
    bool m_isUser = false;
    CForkMark m_process;
};

// For work without a user of which the end is known: as many threads as this number asks for, the calling one included,
// are started at once and stay for the rest of the process. Of those that cannot be had there are fewer.
void KeepPoolThreads(uint32_t threads) noexcept;

// How many threads the calling thread's work may take, itself included, for a scope. Outside of all: one.
class CThreadsAllowed {
public:
    explicit CThreadsAllowed(uint32_t threads) noexcept;
    ~CThreadsAllowed();
    CThreadsAllowed(const CThreadsAllowed&) = delete;
    CThreadsAllowed& operator=(const CThreadsAllowed&) = delete;

private:
    const uint32_t m_before;
};

// The pool for one piece of work on an image, or the calling thread alone: where no more are allowed, for small
// images, inside a part of other work, and while another thread has the pool. Nothing waits for the pool.
class CPoolTurn {
public:
    explicit CPoolTurn(uint64_t pixels) noexcept;
    ~CPoolTurn();
    CPoolTurn(const CPoolTurn&) = delete;
    CPoolTurn& operator=(const CPoolTurn&) = delete;

    // At most so many do the work. One: the parts run one after the other.
    [[nodiscard]] uint32_t Threads() const noexcept { return m_threads; }

    // So much memory for the turn, or null. It stays for later turns; none without threads that share.
    [[nodiscard]] void* Scratch(size_t bytes) const noexcept;

    // Calls body(part) for each of the parts, in any order and side by side, and returns when all are done. The body
    // throws nothing.
    template <typename TBody>
    void Run(uint32_t parts, const TBody& body) const noexcept {
        if (m_threads > 1) {
            Share(
                parts, [](const void* own, uint32_t part) { (*static_cast<const TBody*>(own))(part); },
                &body);
            return;
        }
        for (uint32_t part = 0; part < parts; ++part) {
            body(part);
        }
    }

    // Calls body(first, end) for ranges that together are [0, count).
    template <typename TBody>
    void RunRanges(uint64_t count, const TBody& body) const noexcept {
        // Several to each thread: one that comes late or is held up leaves its share to the others.
        constexpr uint64_t kRangesOfAThread = 4;
        const uint64_t ranges = m_threads > 1 ? std::min(count, kRangesOfAThread * m_threads) : 1;
        Run(static_cast<uint32_t>(ranges),
            [&](uint32_t range) { body(count * range / ranges, count * (range + 1) / ranges); });
    }

private:
    using PartFunction = void (*)(const void* context, uint32_t part);
    void Share(uint32_t parts, PartFunction run, const void* context) const noexcept;

    uint32_t m_threads = 1;
};

} // namespace ox3d

#endif

// ForkGuard.h - tells a forked child which of its objects it has from its parent. Relies on pthread_atfork.
//
// A child has one thread, the one that forked. Those that served an inherited object are gone, with whatever they
// held: its mutexes may never be left, its threads never end, and its sockets are the parent's. Such an object is
// asked nothing more; its memory may go.
#ifndef OX3D_BASE_FORK_GUARD_H
#define OX3D_BASE_FORK_GUARD_H

#include <atomic>
#include <cstdint>

namespace ox3d {

// How many forks lie between this process and the one that loaded the code. A process made without the C library's
// fork() is not noticed.
uint32_t ForkGeneration() noexcept;

// The process that made it. Costs a load and a comparison; any thread may ask.
class CForkMark {
public:
    CForkMark() noexcept : m_generation(ForkGeneration()) {}
    CForkMark(const CForkMark&) = delete;
    CForkMark& operator=(const CForkMark&) = delete;

    [[nodiscard]] bool IsInherited() const noexcept {
        return m_generation.load(std::memory_order_relaxed) != ForkGeneration();
    }
    // From here on the object is this process's.
    void Renew() noexcept { m_generation.store(ForkGeneration(), std::memory_order_relaxed); }

private:
    std::atomic<uint32_t> m_generation;
};

} // namespace ox3d

#endif

// PerProcess.h - an object of which each process has its own. Relies on ForkGuard.h.
//
// A forked child begins with a new one: its parent's may be half changed, and a thread that the child does not have may
// hold its mutex. None is ever destroyed: threads may use it while the process exits, and a child has no say in what
// its parent's owns.
#ifndef OX3D_BASE_PER_PROCESS_H
#define OX3D_BASE_PER_PROCESS_H

#include <atomic>
#include <memory>

#include "base/ForkGuard.h"

namespace ox3d {

// Use as a function-local static: `static CPerProcess<T> s_object; return s_object.Get();`
template <typename T>
class CPerProcess {
public:
    constexpr CPerProcess() noexcept = default;
    CPerProcess(const CPerProcess&) = delete;
    CPerProcess& operator=(const CPerProcess&) = delete;

    // Any thread; throws what making a T throws. Of two that come first at once one makes a T in vain.
    T& Get() {
        Held* held = m_held.load(std::memory_order_acquire);
        while (held == nullptr || held->m_process.IsInherited()) {
            auto made = std::make_unique<Held>();
            made->m_parents = held;
            if (m_held.compare_exchange_strong(held, made.get(), std::memory_order_acq_rel)) {
                held = made.release();
            }
        }
        return held->m_object;
    }

private:
    struct Held {
        CForkMark m_process;
        Held* m_parents = nullptr; // what is out of use is no leak
        T m_object;
    };

    std::atomic<Held*> m_held{nullptr};
};

} // namespace ox3d

#endif

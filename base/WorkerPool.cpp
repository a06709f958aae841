// WorkerPool.cpp - see WorkerPool.h. Relies on pthread_atfork, and on a library that stays in memory (-z nodelete).
#include "base/WorkerPool.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

#include "base/Cancellation.h"
#include "base/ImageMemory.h"
#include "base/Mutex.h"
#include "base/NeverDestroyed.h"
#include "base/SignalMask.h"

namespace ox3d {
namespace {

constinit thread_local uint32_t t_threadsAllowed = 1;

// Lives on the stack of the thread whose work it is, which waits for those that have joined in.
struct Work {
    void (*m_run)(const void* context, uint32_t part);
    const void* m_context;
    uint32_t m_parts;
    std::atomic<uint32_t> m_next{0};

    void DoParts() noexcept {
        for (uint32_t part = Take(); part < m_parts; part = Take()) {
            m_run(m_context, part);
        }
    }

private:
    // What the parts write becomes visible by the pool's mutex.
    uint32_t Take() noexcept { return m_next.fetch_add(1, std::memory_order_relaxed); }
};

class CWorkerPool {
public:
    void AddUser(uint32_t threads, bool isNew) noexcept {
        const CLock order(m_userMutex);
        m_users += isNew ? 1 : 0;
        const CLock lock(m_mutex);
        Admit(threads);
    }

    void Keep(uint32_t threads) noexcept {
        const CLock order(m_userMutex);
        m_users += m_isKept ? 0 : 1; // one that never goes
        m_isKept = true;
        const CLock lock(m_mutex);
        Admit(threads);
        StartThreads(std::min(threads, m_largest));
    }

    void RemoveUser() noexcept {
        const CLock order(m_userMutex);
        if (--m_users == 0) {
            EndThreads();
        }
    }

    // How many threads have the turn; 1 when there is none to be had.
    uint32_t BeginTurn(uint32_t wanted) noexcept {
        const CLock lock(m_mutex);
        if (m_isTaken) {
            return 1;
        }
        const uint32_t threads = std::min(wanted, m_largest);
        StartThreads(threads);
        const uint32_t granted = std::min(threads, m_started + 1);
        m_isTaken = granted > 1;
        return m_isTaken ? granted : 1;
    }

    void EndTurn() noexcept {
        const CLock lock(m_mutex);
        m_isTaken = false;
        FreeUnused();
    }

    // For the thread that has the turn. The larger block is there before the smaller one goes.
    void* Scratch(size_t bytes) noexcept {
        const CLock lock(m_mutex);
        if (bytes > m_scratchBytes) {
            void* const larger = AllocateImageMemory(bytes);
            if (larger == nullptr) {
                return nullptr;
            }
            free(std::exchange(m_scratch, larger));
            m_scratchBytes = bytes;
        }
        return m_scratch;
    }

    void Do(uint32_t threads, Work& work) noexcept {
        Offer(&work, threads - 1);
        work.DoParts();
        const CLock lock(m_mutex);
        m_work = nullptr;
        while (m_inside > 0) {
            m_left.Wait(m_mutex);
        }
    }

private:
    void Offer(Work* work, uint32_t places) noexcept {
        {
            const CLock lock(m_mutex);
            m_work = work;
            m_places = places;
        }
        for (uint32_t i = 0; i < places; ++i) {
            m_offered.NotifyOne();
        }
    }

    void Admit(uint32_t threads) noexcept OX_REQUIRES(m_mutex) {
        m_largest = std::max(m_largest, std::min(threads, kMaxThreads));
        m_isStartRefused = false;
    }

    // As many as there are to be had; after a failure no more until somebody asks anew.
    void StartThreads(uint32_t threads) noexcept OX_REQUIRES(m_mutex) {
        if (m_started + 1 >= threads) {
            return; // as at every turn but the first, without a call of the system for the signals
        }
        const CSignalsBlocked blocked;
        while (m_started + 1 < threads && !m_isStartRefused) {
            m_isStartRefused = pthread_create(&m_threads[m_started], nullptr, Serve, this) != 0;
            m_started += m_isStartRefused ? 0 : 1;
        }
    }

    void EndThreads() noexcept OX_REQUIRES(m_userMutex) {
        CLock lock(m_mutex);
        const uint32_t started = m_started;
        m_isEnding = true;
        m_largest = 1; // none is started meanwhile
        m_offered.NotifyAll();
        lock.Unlock();
        for (uint32_t i = 0; i < started; ++i) {
            pthread_join(m_threads[i], nullptr);
        }
        lock.Lock();
        m_started = 0;
        m_isEnding = false;
        FreeUnused();
    }

    void FreeUnused() noexcept OX_REQUIRES(m_mutex) {
        if (m_largest == 1 && !m_isTaken) {
            free(std::exchange(m_scratch, nullptr));
            m_scratchBytes = 0;
        }
    }

    static void* Serve(void* self) noexcept {
        static_cast<CWorkerPool*>(self)->ServeWork();
        return nullptr;
    }

    void ServeWork() noexcept {
        CLock lock(m_mutex);
        while (!m_isEnding) {
            if (m_work == nullptr || m_places == 0) {
                m_offered.Wait(m_mutex);
                continue;
            }
            Work* const work = m_work;
            --m_places;
            ++m_inside;
            lock.Unlock();
            work->DoParts();
            lock.Lock();
            if (--m_inside == 0) {
                m_left.NotifyOne();
            }
        }
    }

    CMutex m_userMutex; // users come and go one after the other; before m_mutex
    uint32_t m_users OX_GUARDED_BY(m_userMutex) = 0;
    bool m_isKept OX_GUARDED_BY(m_userMutex) = false;

    CMutex m_mutex; // never held while a part runs
    CCondition m_offered;
    CCondition m_left;
    Work* m_work OX_GUARDED_BY(m_mutex) = nullptr;
    uint32_t m_places OX_GUARDED_BY(m_mutex) = 0; // for threads that have not joined in yet
    uint32_t m_inside OX_GUARDED_BY(m_mutex) = 0;
    uint32_t m_largest OX_GUARDED_BY(m_mutex) = 1;
    uint32_t m_started OX_GUARDED_BY(m_mutex) = 0;
    void* m_scratch OX_GUARDED_BY(m_mutex) = nullptr; // what it points to is the turn's
    size_t m_scratchBytes OX_GUARDED_BY(m_mutex) = 0;
    bool m_isTaken OX_GUARDED_BY(m_mutex) = false;
    bool m_isEnding OX_GUARDED_BY(m_mutex) = false;
    bool m_isStartRefused OX_GUARDED_BY(m_mutex) = false;
    // The first m_started of them; they change under the mutex, and not while they are joined.
    std::array<pthread_t, kMaxThreads - 1> m_threads{};
};

// At load and not at the first use, so that no fork can come in between. Never destroyed: threads may still work
// while the process exits.
CNeverDestroyed<CWorkerPool> g_pool;

// A child has neither the threads nor those that held the mutexes: it begins with a pool anew. The parent's scratch
// memory is left to it unused, since a thread of the parent may have been about to free it. A failure for want of
// memory is ignored.
[[maybe_unused]] const int g_forkWatch =
    pthread_atfork(nullptr, nullptr, [] { ::new (&g_pool) CNeverDestroyed<CWorkerPool>; });

} // namespace

void CPoolUse::Ask(uint32_t threads) noexcept {
    const CCancellationOff off;
    if (m_process.IsInherited()) { // the child's pool does not know this user
        m_isUser = false;
        m_process.Renew();
    }
    const bool wasUser = m_isUser;
    m_isUser = threads > 1;
    if (m_isUser) {
        g_pool.Get().AddUser(threads, !wasUser);
    } else if (wasUser) {
        g_pool.Get().RemoveUser();
    }
}

void KeepPoolThreads(uint32_t threads) noexcept {
    const CCancellationOff off;
    g_pool.Get().Keep(threads);
}

CThreadsAllowed::CThreadsAllowed(uint32_t threads) noexcept : m_before(t_threadsAllowed) {
    t_threadsAllowed = threads;
}

CThreadsAllowed::~CThreadsAllowed() {
    t_threadsAllowed = m_before;
}

CPoolTurn::CPoolTurn(uint64_t pixels) noexcept {
    if (t_threadsAllowed > 1 && pixels >= kMinSharedPixels) {
        m_threads = g_pool.Get().BeginTurn(t_threadsAllowed);
    }
}

CPoolTurn::~CPoolTurn() {
    if (m_threads > 1) {
        g_pool.Get().EndTurn();
    }
}

void* CPoolTurn::Scratch(size_t bytes) const noexcept {
    return m_threads > 1 ? g_pool.Get().Scratch(bytes) : nullptr;
}

void CPoolTurn::Share(uint32_t parts, PartFunction run, const void* context) const noexcept {
    const CCancellationOff off; // a callback may have cancelled its thread
    Work work{run, context, parts};
    g_pool.Get().Do(m_threads, work);
}

} // namespace ox3d

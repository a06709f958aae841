// Threads and recursive mutexes over POSIX threads. Relies on glibc for the monotonic timed lock.
#include "Common/Thread.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

void LINUX_InitializeCriticalSection(pthread_mutex_t* pMutex) noexcept {
    if (pMutex == nullptr) {
        return;
    }
    pthread_mutexattr_t stAttr;
    pthread_mutexattr_init(&stAttr);
    pthread_mutexattr_settype(&stAttr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(pMutex, &stAttr);
    pthread_mutexattr_destroy(&stAttr);
}

void LINUX_EnterCriticalSection(pthread_mutex_t* pMutex) noexcept {
    if (pMutex != nullptr) {
        pthread_mutex_lock(pMutex);
    }
}

void LINUX_LeaveCriticalSection(pthread_mutex_t* pMutex) noexcept {
    if (pMutex != nullptr) {
        pthread_mutex_unlock(pMutex);
    }
}

void LINUX_DeleteCriticalSection(pthread_mutex_t* pMutex) noexcept {
    if (pMutex != nullptr) {
        pthread_mutex_destroy(pMutex);
    }
}

OX_THREAD_HANDLE LINUX_CreateThread(OX_THREAD_ATTR* /*pAttr*/, OX_THREAD_ROUTINE pRoutine,
                                    void* pArg) noexcept {
    if (pRoutine == nullptr) {
        return nullptr;
    }
    auto* pThread = static_cast<pthread_t*>(malloc(sizeof(pthread_t)));
    if (pThread == nullptr) {
        return nullptr;
    }
    if (pthread_create(pThread, nullptr, pRoutine, pArg) != 0) {
        free(pThread);
        printf("*******************pthread_create fail \n");
        return nullptr;
    }
    return pThread;
}

int LINUX_WaitForThreadEnd(OX_THREAD_HANDLE hThread) noexcept {
    if (hThread != nullptr && pthread_join(*static_cast<pthread_t*>(hThread), nullptr) != 0) {
        printf("*******************thread join fail \n");
    }
    return 0;
}

int LINUX_DestroyThread(OX_THREAD_HANDLE hThread) noexcept {
    if (hThread == nullptr) {
        return 1;
    }
    free(hThread);
    return 0;
}

void LINUX_EndThread() {
    pthread_exit(nullptr);
}

void OX_InitializeMutex(pthread_mutex_t* pMutex) noexcept {
    LINUX_InitializeCriticalSection(pMutex);
}
void OX_EnterMutex(pthread_mutex_t* pMutex) noexcept {
    LINUX_EnterCriticalSection(pMutex);
}
void OX_LeaveMutex(pthread_mutex_t* pMutex) noexcept {
    LINUX_LeaveCriticalSection(pMutex);
}
void OX_DeleteMutex(pthread_mutex_t* pMutex) noexcept {
    LINUX_DeleteCriticalSection(pMutex);
}

OX_THREAD_HANDLE OX_CreateThread(OX_THREAD_ATTR* pAttr, OX_THREAD_ROUTINE pRoutine, void* pArg) noexcept {
    return LINUX_CreateThread(pAttr, pRoutine, pArg);
}
int OX_WaitForThreadEnd(OX_THREAD_HANDLE hThread) noexcept {
    return LINUX_WaitForThreadEnd(hThread);
}
int OX_DestroyThread(OX_THREAD_HANDLE hThread) noexcept {
    return LINUX_DestroyThread(hThread);
}
void OX_EndThread() {
    LINUX_EndThread();
}

// The analysis cannot see that a pthread call is what takes or gives back the capability, so the bodies of
// the wrapper are the one place where it is off.
COXMutex::COXMutex() noexcept {
    OX_InitializeMutex(&m_stMutex);
}
COXMutex::~COXMutex() {
    OX_DeleteMutex(&m_stMutex);
}
void COXMutex::Lock() noexcept OX_NO_THREAD_SAFETY_ANALYSIS {
    OX_EnterMutex(&m_stMutex);
}
void COXMutex::Unlock() noexcept OX_NO_THREAD_SAFETY_ANALYSIS {
    OX_LeaveMutex(&m_stMutex);
}
bool COXMutex::TryLock() noexcept OX_NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_trylock(&m_stMutex) == 0;
}

// The thread sanitizer does not know pthread_mutex_clocklock and would report every access under such a lock
// as a race; the realtime clock, which can be set back, is good enough for it.
#if defined(__SANITIZE_THREAD__)
#    define OX_TIMED_LOCK_ON_REALTIME 1
#elif defined(__has_feature)
#    if __has_feature(thread_sanitizer)
#        define OX_TIMED_LOCK_ON_REALTIME 1
#    endif
#endif

bool COXMutex::LockFor(uint32_t timeoutMs) noexcept OX_NO_THREAD_SAFETY_ANALYSIS {
    constexpr long kNsPerSecond = 1000000000L;
#ifdef OX_TIMED_LOCK_ON_REALTIME
    constexpr clockid_t kClock = CLOCK_REALTIME;
#else
    constexpr clockid_t kClock = CLOCK_MONOTONIC;
#endif
    timespec stDeadline{};
    clock_gettime(kClock, &stDeadline);
    stDeadline.tv_sec += timeoutMs / 1000;
    stDeadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1000000L;
    if (stDeadline.tv_nsec >= kNsPerSecond) {
        stDeadline.tv_nsec -= kNsPerSecond;
        ++stDeadline.tv_sec;
    }
#ifdef OX_TIMED_LOCK_ON_REALTIME
    return pthread_mutex_timedlock(&m_stMutex, &stDeadline) == 0;
#else
    return pthread_mutex_clocklock(&m_stMutex, kClock, &stDeadline) == 0;
#endif
}

COXLock::COXLock(COXMutex* pMutex) noexcept OX_NO_THREAD_SAFETY_ANALYSIS : m_pMutex(pMutex) {
    if (m_pMutex != nullptr) {
        m_pMutex->Lock();
    }
}

COXLock::~COXLock() OX_NO_THREAD_SAFETY_ANALYSIS {
    if (m_pMutex != nullptr) {
        m_pMutex->Unlock();
    }
}

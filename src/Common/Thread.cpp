// Thread.cpp - see Thread.h. Relies on glibc for the monotonic timed lock.
#include "src/Common/Thread.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

void LINUX_InitializeCriticalSection(pthread_mutex_t* mutex) noexcept {
    if (mutex == nullptr) {
        return;
    }
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(mutex, &attr);
    pthread_mutexattr_destroy(&attr);
}

void LINUX_EnterCriticalSection(pthread_mutex_t* mutex) noexcept {
    if (mutex != nullptr) {
        pthread_mutex_lock(mutex);
    }
}

void LINUX_LeaveCriticalSection(pthread_mutex_t* mutex) noexcept {
    if (mutex != nullptr) {
        pthread_mutex_unlock(mutex);
    }
}

void LINUX_DeleteCriticalSection(pthread_mutex_t* mutex) noexcept {
    if (mutex != nullptr) {
        pthread_mutex_destroy(mutex);
    }
}

OX_THREAD_HANDLE LINUX_CreateThread(OX_THREAD_ATTR* /*attr*/, OX_THREAD_ROUTINE routine, void* arg) noexcept {
    if (routine == nullptr) {
        return nullptr;
    }
    auto* thread = static_cast<pthread_t*>(malloc(sizeof(pthread_t)));
    if (thread == nullptr) {
        return nullptr;
    }
    if (pthread_create(thread, nullptr, routine, arg) != 0) {
        free(thread);
        printf("*******************pthread_create fail \n");
        return nullptr;
    }
    return thread;
}

int LINUX_WaitForThreadEnd(OX_THREAD_HANDLE thread) noexcept {
    if (thread != nullptr && pthread_join(*static_cast<pthread_t*>(thread), nullptr) != 0) {
        printf("*******************thread join fail \n");
    }
    return 0;
}

int LINUX_DestroyThread(OX_THREAD_HANDLE thread) noexcept {
    if (thread == nullptr) {
        return 1;
    }
    free(thread);
    return 0;
}

void LINUX_EndThread() {
    pthread_exit(nullptr);
}

void OX_InitializeMutex(pthread_mutex_t* mutex) noexcept {
    LINUX_InitializeCriticalSection(mutex);
}
void OX_EnterMutex(pthread_mutex_t* mutex) noexcept {
    LINUX_EnterCriticalSection(mutex);
}
void OX_LeaveMutex(pthread_mutex_t* mutex) noexcept {
    LINUX_LeaveCriticalSection(mutex);
}
void OX_DeleteMutex(pthread_mutex_t* mutex) noexcept {
    LINUX_DeleteCriticalSection(mutex);
}

OX_THREAD_HANDLE OX_CreateThread(OX_THREAD_ATTR* attr, OX_THREAD_ROUTINE routine, void* arg) noexcept {
    return LINUX_CreateThread(attr, routine, arg);
}
int OX_WaitForThreadEnd(OX_THREAD_HANDLE thread) noexcept {
    return LINUX_WaitForThreadEnd(thread);
}
int OX_DestroyThread(OX_THREAD_HANDLE thread) noexcept {
    return LINUX_DestroyThread(thread);
}
void OX_EndThread() {
    LINUX_EndThread();
}

// The analysis cannot see that a pthread call acquires or releases the capability, so it is off in the bodies
// of the wrapper.
COXMutex::COXMutex() noexcept {
    OX_InitializeMutex(&m_mutex);
}
COXMutex::~COXMutex() {
    OX_DeleteMutex(&m_mutex);
}
void COXMutex::Lock() noexcept OX_NO_THREAD_SAFETY_ANALYSIS {
    OX_EnterMutex(&m_mutex);
}
void COXMutex::Unlock() noexcept OX_NO_THREAD_SAFETY_ANALYSIS {
    OX_LeaveMutex(&m_mutex);
}
bool COXMutex::TryLock() noexcept OX_NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_trylock(&m_mutex) == 0;
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
    timespec deadline{};
    clock_gettime(kClock, &deadline);
    deadline.tv_sec += timeoutMs / 1000;
    deadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1000000L;
    if (deadline.tv_nsec >= kNsPerSecond) {
        deadline.tv_nsec -= kNsPerSecond;
        ++deadline.tv_sec;
    }
#ifdef OX_TIMED_LOCK_ON_REALTIME
    return pthread_mutex_timedlock(&m_mutex, &deadline) == 0;
#else
    return pthread_mutex_clocklock(&m_mutex, kClock, &deadline) == 0;
#endif
}

COXLock::COXLock(COXMutex* mutex) noexcept OX_NO_THREAD_SAFETY_ANALYSIS : m_mutex(mutex) {
    if (m_mutex != nullptr) {
        m_mutex->Lock();
    }
}

COXLock::~COXLock() OX_NO_THREAD_SAFETY_ANALYSIS {
    if (m_mutex != nullptr) {
        m_mutex->Unlock();
    }
}

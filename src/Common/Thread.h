// Thread.h - threads and recursive mutexes, over POSIX threads. Every lock of src/ that may be taken twice by
// a thread is of this kind.
#ifndef OX3D_COMMON_THREAD_H
#define OX3D_COMMON_THREAD_H

#include <pthread.h>

#include <cstdint>

#include "base/ThreadSafety.h"

// Accepted by OX_CreateThread and ignored: every thread is joinable and has the default stack.
struct OX_THREAD_ATTR {
    uint32_t m_stackSizeBytes;
    uint32_t m_priority;
};

// A heap-allocated pthread_t, opaque to its holder. Join it, then destroy it.
using OX_THREAD_HANDLE = void*;
using OX_THREAD_ROUTINE = void* (*)(void*);

// A null mutex is ignored by all eight. Mutexes are always created recursive.
void LINUX_InitializeCriticalSection(pthread_mutex_t* mutex) noexcept;
void LINUX_EnterCriticalSection(pthread_mutex_t* mutex) noexcept;
void LINUX_LeaveCriticalSection(pthread_mutex_t* mutex) noexcept;
void LINUX_DeleteCriticalSection(pthread_mutex_t* mutex) noexcept;
void OX_InitializeMutex(pthread_mutex_t* mutex) noexcept;
void OX_EnterMutex(pthread_mutex_t* mutex) noexcept;
void OX_LeaveMutex(pthread_mutex_t* mutex) noexcept;
void OX_DeleteMutex(pthread_mutex_t* mutex) noexcept;

// Null when the handle cannot be allocated, the routine is null or the thread cannot be created.
OX_THREAD_HANDLE LINUX_CreateThread(OX_THREAD_ATTR* attr, OX_THREAD_ROUTINE routine, void* arg) noexcept;
// Joins; 0 in every case, a null handle included.
int LINUX_WaitForThreadEnd(OX_THREAD_HANDLE thread) noexcept;
// Frees the handle and leaves the thread alone. 0, or 1 for a null handle.
int LINUX_DestroyThread(OX_THREAD_HANDLE thread) noexcept;
// Not noexcept: ending a thread unwinds its stack.
[[noreturn]] void LINUX_EndThread();
OX_THREAD_HANDLE OX_CreateThread(OX_THREAD_ATTR* attr, OX_THREAD_ROUTINE routine, void* arg) noexcept;
int OX_WaitForThreadEnd(OX_THREAD_HANDLE thread) noexcept;
int OX_DestroyThread(OX_THREAD_HANDLE thread) noexcept;
[[noreturn]] void OX_EndThread();

// A recursive mutex. The object is the storage of the pthread_mutex_t and nothing else.
class OX_CAPABILITY("mutex") COXMutex {
public:
    COXMutex() noexcept;
    ~COXMutex();
    COXMutex(const COXMutex&) = delete;
    COXMutex& operator=(const COXMutex&) = delete;

    void Lock() noexcept OX_ACQUIRE();
    void Unlock() noexcept OX_RELEASE();
    [[nodiscard]] bool TryLock() noexcept OX_TRY_ACQUIRE(true);
    // Waits at most timeoutMs; true when the lock was taken. 0 tries once.
    [[nodiscard]] bool LockFor(uint32_t timeoutMs) noexcept OX_TRY_ACQUIRE(true);

    // In a forked child, of a mutex that a thread of the parent may hold: free again.
    void Renew() noexcept { OX_InitializeMutex(&m_mutex); }

private:
    pthread_mutex_t m_mutex;
};
static_assert(sizeof(COXMutex) == sizeof(pthread_mutex_t));

// Locks for the length of a scope. A null mutex is ignored.
class OX_SCOPED_CAPABILITY COXLock {
public:
    explicit COXLock(COXMutex* mutex) noexcept OX_ACQUIRE(mutex);
    ~COXLock() OX_RELEASE();
    COXLock(const COXLock&) = delete;
    COXLock& operator=(const COXLock&) = delete;

private:
    COXMutex* m_mutex;
};

#endif

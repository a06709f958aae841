// Clang's thread-safety attributes behind macros that vanish under other compilers.
// Relies on nothing.
//
// COXMutex is recursive. The analysis knows only plain locks, but it looks at one function at a time: taking
// such a lock again in a callee is fine as long as the callee is not marked OX_EXCLUDES, and no function locks
// the same mutex twice itself.
#ifndef OX3D_BASE_THREAD_SAFETY_H
#define OX3D_BASE_THREAD_SAFETY_H

#if defined(__clang__)
#    define OX_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#    define OX_THREAD_ATTRIBUTE(x)
#endif

#define OX_CAPABILITY(x) OX_THREAD_ATTRIBUTE(capability(x))
#define OX_SCOPED_CAPABILITY OX_THREAD_ATTRIBUTE(scoped_lockable)
#define OX_GUARDED_BY(x) OX_THREAD_ATTRIBUTE(guarded_by(x))
#define OX_ACQUIRE(...) OX_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define OX_RELEASE(...) OX_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define OX_TRY_ACQUIRE(...) OX_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define OX_REQUIRES(...) OX_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define OX_EXCLUDES(...) OX_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define OX_ASSERT_CAPABILITY(...) OX_THREAD_ATTRIBUTE(assert_capability(__VA_ARGS__))
#define OX_NO_THREAD_SAFETY_ANALYSIS OX_THREAD_ATTRIBUTE(no_thread_safety_analysis)

#endif

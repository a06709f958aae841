// Interpose.cpp - see Interpose.h. Relies on the linker wrapping the functions below for whatever is linked statically,
// which the library under test is.
#include "fuzz/session/Interpose.h"

#define OX3D_WRAPPED_ALLOCATIONS
#include "fuzz/session/Allocations.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace ox3d::session {
namespace {

thread_local bool t_isInside = false;

struct Plan {
    std::atomic<uint64_t> m_requests{0};
    std::atomic<uint64_t> m_refusals{0};
    std::atomic<uint64_t> m_from{0};
    std::atomic<bool> m_isForEver{false};
};
Plan g_plans[kResources];
std::atomic<bool (*)(const char*)> g_isHidden{nullptr};

bool Grant(EResource resource) {
    if (!t_isInside) {
        return true;
    }
    Plan& plan = g_plans[static_cast<uint32_t>(resource)];
    const uint64_t number = ++plan.m_requests;
    const uint64_t from = plan.m_from;
    const bool isRefused = from != 0 && (plan.m_isForEver ? number >= from : number == from);
    plan.m_refusals += isRefused ? 1 : 0;
    return !isRefused;
}

bool GrantMemory() {
    return Grant(EResource::Memory);
}

// A thread that the library starts is inside the library.
struct Start {
    void* (*m_routine)(void*);
    void* m_argument;
};

void* RunInside(void* argument) {
    const Start start = *static_cast<Start*>(argument);
    delete static_cast<Start*>(argument);
    t_isInside = true;
    return start.m_routine(start.m_argument);
}

} // namespace

const char* const kResourceNames[kResources] = {"memory", "open",        "adopt",     "write",
                                                "flush",  "rename",      "remove",    "mkdir",
                                                "thread", "loadLibrary", "findSymbol"};

void Refuse(EResource resource, uint64_t from, bool isForEver) {
    test::g_grant = &GrantMemory;
    Plan& plan = g_plans[static_cast<uint32_t>(resource)];
    plan.m_from = 0;
    plan.m_requests = 0;
    plan.m_refusals = 0;
    plan.m_isForEver = isForEver;
    plan.m_from = from;
}

void RefuseNothing() {
    for (Plan& plan : g_plans) {
        plan.m_from = 0;
    }
}

uint64_t Requests(EResource resource) {
    return g_plans[static_cast<uint32_t>(resource)].m_requests;
}

uint64_t Refusals(EResource resource) {
    return g_plans[static_cast<uint32_t>(resource)].m_refusals;
}

void HideSymbols(bool (*isHidden)(const char* name)) {
    g_isHidden = isHidden;
}

bool SetInside(bool isInside) {
    return std::exchange(t_isInside, isInside);
}

} // namespace ox3d::session

bool ox3d::test::MustCount(const void* /*caller*/) {
    return ox3d::session::t_isInside;
}

using ox3d::session::EResource;
using ox3d::session::Grant;

namespace {

// What a refused function returns, with the reason in errno.
template <class Result>
Result Refused(int reason, Result result) {
    errno = reason;
    return result;
}

} // namespace

// NOLINTBEGIN(bugprone-macro-parentheses): lists of parameters and of arguments bring their own
#define OX3D_REFUSABLE(result, name, parameters, arguments, resource, reason, failure)                  \
    extern "C" result __real_##name parameters;                                                         \
    extern "C" result __wrap_##name parameters;                                                         \
    result __wrap_##name parameters {                                                                   \
        return Grant(EResource::resource) ? __real_##name arguments : Refused<result>(reason, failure); \
    }
// NOLINTEND(bugprone-macro-parentheses)
OX3D_REFUSABLE(FILE*, fopen, (const char* name, const char* mode), (name, mode), Open, EMFILE, nullptr)
// The C library's open takes a list without end; a third integer argument is passed in the same place.
OX3D_REFUSABLE(int, open, (const char* name, int flags, mode_t mode), (name, flags, mode), Open, EMFILE, -1)
OX3D_REFUSABLE(FILE*, fdopen, (int file, const char* mode), (file, mode), Adopt, ENOMEM, nullptr)
OX3D_REFUSABLE(ssize_t, write, (int file, const void* bytes, size_t size), (file, bytes, size), Write, ENOSPC,
               -1)
OX3D_REFUSABLE(size_t, fwrite, (const void* bytes, size_t size, size_t count, FILE* file),
               (bytes, size, count, file), Write, ENOSPC, 0)
OX3D_REFUSABLE(int, fflush, (FILE * file), (file), Flush, ENOSPC, EOF)
OX3D_REFUSABLE(int, rename, (const char* from, const char* to), (from, to), Rename, EACCES, -1)
OX3D_REFUSABLE(int, remove, (const char* name), (name), Remove, EACCES, -1)
OX3D_REFUSABLE(int, unlink, (const char* name), (name), Remove, EACCES, -1)
OX3D_REFUSABLE(int, mkdir, (const char* name, mode_t mode), (name, mode), MakeFolder, EACCES, -1)
OX3D_REFUSABLE(void*, dlopen, (const char* name, int flags), (name, flags), LoadLibrary, ENOMEM, nullptr)

extern "C" void* __real_dlsym(void* library, const char* name);
extern "C" void* __wrap_dlsym(void* library, const char* name);
void* __wrap_dlsym(void* library, const char* name) {
    bool (*const isHidden)(const char*) = ox3d::session::g_isHidden;
    const bool isRefused =
        !Grant(EResource::FindSymbol) || (ox3d::session::t_isInside && isHidden != nullptr && isHidden(name));
    return isRefused ? nullptr : __real_dlsym(library, name);
}

extern "C" int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*routine)(void*), void* argument);
extern "C" int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*routine)(void*), void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument) {
    if (!ox3d::session::t_isInside) {
        return __real_pthread_create(thread, attributes, routine, argument);
    }
    if (!Grant(EResource::Thread)) {
        return EAGAIN;
    }
    const ox3d::session::CInside outside(false);
    auto* start = new ox3d::session::Start{routine, argument};
    const int error = __real_pthread_create(thread, attributes, &ox3d::session::RunInside, start);
    if (error != 0) {
        delete start;
    }
    return error;
}

// ExceptionBarrier.h - the place where exceptions end: around exported functions, threads and the application's
// callbacks. Relies on nothing.
#ifndef OX3D_BASE_EXCEPTION_BARRIER_H
#define OX3D_BASE_EXCEPTION_BARRIER_H

#include <exception>
#include <new>

namespace ox3d {

// What `call` returns, or what `onException` makes of the exception that left it: it gets a std::exception, or null
// for anything else. Only the unwinding of a thread that is being cancelled passes: to stop that would abort the
// process.
template <class Call, class OnException>
auto ExceptionBarrier(Call&& call, OnException&& onException) -> decltype(call()) {
    try {
        return call();
    } catch (const std::exception& error) {
        return onException(&error);
    } catch (...) {
        if (std::current_exception() == nullptr) { // no exception of C++
            throw;
        }
        return onException(nullptr);
    }
}

// What `call` returns, or one of two statuses: for want of memory, and for anything else.
template <class Status, class Call>
Status StatusBarrier(Status onMemory, Status onOther, Call&& call) {
    return ExceptionBarrier(call, [&](const std::exception* error) {
        return dynamic_cast<const std::bad_alloc*>(error) != nullptr ? onMemory : onOther;
    });
}

} // namespace ox3d

#endif

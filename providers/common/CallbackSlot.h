// CallbackSlot.h - a callback of the application with its user pointer, published together.
#ifndef OX3D_PROVIDER_CALLBACK_SLOT_H
#define OX3D_PROVIDER_CALLBACK_SLOT_H

#include <cstdio>
#include <exception>
#include <mutex>
#include <utility>

namespace ox3d {

template <typename... Args>
class CCallbackSlot {
public:
    using Function = void (*)(Args..., void* user);

    // Waits for no call in flight: who registers may hold a lock that the callback wants.
    void Set(Function function, void* user) {
        const std::lock_guard lock(m_mutex);
        m_function = function;
        m_user = user;
    }

    bool IsSet() const {
        const std::lock_guard lock(m_mutex);
        return m_function != nullptr;
    }

    void Call(Args... args) {
        const auto [function, user] = Get();
        if (function == nullptr) {
            return;
        }
        try {
            function(args..., user);
        } catch (...) {
            if (std::current_exception() == nullptr) { // no exception of C++: the callback ends its thread
                throw;
            }
            // An application's exception ends here, the camera goes on.
            std::fputs("camera control: an exception left a callback\n", stderr);
        }
    }

private:
    std::pair<Function, void*> Get() const {
        const std::lock_guard lock(m_mutex);
        return {m_function, m_user};
    }

    mutable std::mutex m_mutex;
    Function m_function = nullptr;
    void* m_user = nullptr;
};

} // namespace ox3d

#endif

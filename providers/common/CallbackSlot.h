// CallbackSlot.h - a callback of the application with its user pointer, published together.
#ifndef OX3D_PROVIDER_CALLBACK_SLOT_H
#define OX3D_PROVIDER_CALLBACK_SLOT_H

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

namespace ox3d {

template <typename... Args>
class CCallbackSlot {
public:
    using Function = void (*)(Args..., void* user);

    // Replacing a callback returns after calls of the old one have ended, except on a thread that is inside
    // one. Setting what is set already waits for nothing.
    void Set(Function function, void* user) {
        std::unique_lock lock(m_mutex);
        if (m_function == function && m_user == user) {
            return;
        }
        m_function = function;
        m_user = user;
        const auto isSelf = [](const Inside& call) { return call.m_thread == std::this_thread::get_id(); };
        if (std::any_of(m_inside.begin(), m_inside.end(), isSelf)) {
            return;
        }
        const uint64_t last = m_calls; // later calls are of the new callback already
        m_ended.wait(lock, [&] {
            return std::none_of(m_inside.begin(), m_inside.end(),
                                [&](const Inside& call) { return call.m_number <= last; });
        });
    }

    bool IsSet() const {
        const std::lock_guard lock(m_mutex);
        return m_function != nullptr;
    }

    void Call(Args... args) {
        std::unique_lock lock(m_mutex);
        if (m_function == nullptr) {
            return;
        }
        const Function function = m_function;
        void* const user = m_user;
        const uint64_t number = ++m_calls;
        m_inside.push_back({std::this_thread::get_id(), number});
        lock.unlock();
        try {
            function(args..., user);
        } catch (...) {
            // An application's exception ends here, the camera goes on.
            std::fputs("camera control: an exception left a callback\n", stderr);
        }
        lock.lock();
        std::erase_if(m_inside, [&](const Inside& call) { return call.m_number == number; });
        m_ended.notify_all();
    }

private:
    struct Inside {
        std::thread::id m_thread;
        uint64_t m_number;
    };

    mutable std::mutex m_mutex;
    std::condition_variable m_ended;
    Function m_function = nullptr;
    void* m_user = nullptr;
    std::vector<Inside> m_inside; // calls under way
    uint64_t m_calls = 0;
};

} // namespace ox3d

#endif

// CallbackThread.h - which handle's callbacks the current thread is there for.
//
// Threads that run callbacks of one handle must not all wait for one another. A thread of the image callback
// waits for no other; a thread of exceptions and events waits for image callbacks only.
#ifndef OX3D_PROVIDER_CALLBACK_THREAD_H
#define OX3D_PROVIDER_CALLBACK_THREAD_H

namespace ox3d {

enum class ECallbackRole { None, Notices, Images };

struct CallbackThread {
    const void* m_handleKey = nullptr;
    ECallbackRole m_role = ECallbackRole::None;

    static CallbackThread& Current() {
        static thread_local CallbackThread t_current;
        return t_current;
    }
    static ECallbackRole RoleFor(const void* handleKey) {
        return Current().m_handleKey == handleKey ? Current().m_role : ECallbackRole::None;
    }
};

} // namespace ox3d

#endif

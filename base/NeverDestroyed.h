// Storage for an object that is constructed once and never destroyed.
// Relies on nothing. For statics that other threads may still use while the process exits.
#ifndef OX3D_BASE_NEVER_DESTROYED_H
#define OX3D_BASE_NEVER_DESTROYED_H

#include <new>
#include <utility>

namespace ox3d {

// Use as a function-local static: `static CNeverDestroyed<T> s_object; return s_object.Get();`
template <typename T>
class CNeverDestroyed {
public:
    template <typename... TArgs>
    explicit CNeverDestroyed(TArgs&&... args) {
        ::new (static_cast<void*>(m_storage)) T(std::forward<TArgs>(args)...);
    }
    CNeverDestroyed(const CNeverDestroyed&) = delete;
    CNeverDestroyed& operator=(const CNeverDestroyed&) = delete;

    T& Get() noexcept { return *std::launder(reinterpret_cast<T*>(m_storage)); }

private:
    alignas(T) unsigned char m_storage[sizeof(T)];
};

} // namespace ox3d

#endif

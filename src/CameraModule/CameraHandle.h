// CameraHandle.h - a handle of the camera-control library, and the calls that use it: it can be taken away while
// other threads call, and destroyed once they have left. Relies on nothing.
#ifndef OX3D_CAMERA_HANDLE_H
#define OX3D_CAMERA_HANDLE_H

#include <time.h>

#include <atomic>
#include <cstdint>

class CCameraHandle {
public:
    // Keeps the handle from being destroyed for a scope. Uses nest.
    class CUse {
    public:
        explicit CUse(CCameraHandle& owner) : m_owner(owner) {
            ++owner.m_uses; // before the look at the handle: Take() looks in the other order
            m_handle = owner.m_handle;
        }
        ~CUse() { --m_owner.m_uses; }
        CUse(const CUse&) = delete;
        CUse& operator=(const CUse&) = delete;

        void* Handle() const { return m_handle; }

    private:
        CCameraHandle& m_owner;
        void* m_handle;
    };

    void Set(void* handle) { m_handle = handle; }
    bool IsSet() const { return m_handle != nullptr; }
    // Uses that begin from here on have no handle.
    void* Take() { return m_handle.exchange(nullptr); }
    // Returns when no use is left of what was taken. A pause is little beside the time that a camera takes to close.
    void WaitUnused() const {
        constexpr timespec kPause = {0, 1000000};
        while (m_uses != 0) {
            nanosleep(&kPause, nullptr);
        }
    }

private:
    std::atomic<void*> m_handle{nullptr};
    std::atomic<uint32_t> m_uses{0};
};

#endif

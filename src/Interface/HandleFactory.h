// HandleFactory.h - the registry of live device handles. A handle is the address of its CManager, valid while
// it stands in the registry; for each there is one mutex (the device lock) and one signal record.
//
// Look-ups take no lock: the lists only grow, entries are reused and never freed while the library is loaded,
// and an entry's handle changes only under the registry lock. So a look-up with any value is safe, and a
// thread may wait for a mutex whose device is closed meanwhile.
#ifndef OX3D_HANDLE_FACTORY_H
#define OX3D_HANDLE_FACTORY_H

#include <atomic>
#include <cstdint>

#include "base/ForkGuard.h"
#include "src/Common/Thread.h"

class CManager;

enum class EHandleState : uint32_t {
    Live,
    Stopping, // the thread that holds the device lock waits for callbacks to end
    Closing,  // new calls are refused; also the state before the opener holds the device lock
};

// What the threads inside a device tell each other beside its mutex.
struct OX_HANDLE_SIGNAL {
    std::atomic<uint32_t> m_inside{0};  // calls inside that do not hold the device lock
    std::atomic<uint32_t> m_waiting{0}; // callbacks that wait for another callback of the device to end
    std::atomic<EHandleState> m_state{EHandleState::Closing};

    // In a forked child: none of the threads is there.
    void Renew() {
        m_inside = 0;
        m_waiting = 0;
    }
};

class CHandleFactory {
public:
    CHandleFactory() = default;
    CHandleFactory(const CHandleFactory&) = delete;
    CHandleFactory& operator=(const CHandleFactory&) = delete;

    // False when memory is short; the handle is then in neither list.
    bool MapHandleMutex(void* handle);
    void UnmapHandleMutex(void* handle);
    COXMutex* GetHandleMutex(void* handle) const;
    void* GetMutexHandle(const COXMutex* mutex) const;
    OX_HANDLE_SIGNAL* GetHandleSignal(void* handle) const;
    void* GetSignalHandle(const OX_HANDLE_SIGNAL* signal) const;
    // Whether a forked child has the handle from its parent: its device lock may be held for ever.
    bool IsInherited(void* handle) const;

    // The registry lock.
    static COXMutex& RegistryLock();

protected:
    // Never run: threads may look handles up while the process exits.
    ~CHandleFactory() = default;

private:
    template <class Object>
    struct Entry {
        std::atomic<void*> m_handle{nullptr}; // null: free
        Object m_object;
        ox3d::CForkMark m_process; // that of the handle
        Entry* m_next = nullptr;   // set before the entry is published
    };
    template <class Object>
    struct List {
        std::atomic<Entry<Object>*> m_head{nullptr};
        uint32_t m_count = 0;

        Entry<Object>* Occupy(void* handle);
        void Vacate(void* handle);
        Entry<Object>* Find(void* handle) const;
        void* HandleOf(const Object* object) const;
    };

    List<COXMutex> m_mutexes;
    List<OX_HANDLE_SIGNAL> m_signals;
};

class CMyHandleFactory : public CHandleFactory {
public:
    // The singleton, created first if absent; null when memory is short.
    static CMyHandleFactory* CreateFactory();
    // The singleton, or null before the first CreateFactory. No lock.
    static CMyHandleFactory* GetFactory();

    // A new registered manager, or null when memory is short.
    CManager* CreateHandle();
    // Unregisters and destroys.
    void DestroyHandle(CManager* manager);
    // The same of an inherited handle, whose camera goes on with the parent. False when it is none.
    bool DropInherited(void* handle);

private:
    CMyHandleFactory() = default;
    static std::atomic<CMyHandleFactory*> m_pcHandleFactory;
};

#endif

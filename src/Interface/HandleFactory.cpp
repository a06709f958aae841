// HandleFactory.cpp - see HandleFactory.h.
#include "src/Interface/HandleFactory.h"

#include <pthread.h>

#include <memory>
#include <new>

#include "base/CallbackSlot.h"
#include "base/NeverDestroyed.h"
#include "src/Manager/Manager.h"

std::atomic<CMyHandleFactory*> CMyHandleFactory::m_pcHandleFactory{nullptr};

namespace {

// A child may open devices of its own, whichever of these a thread of the parent holds.
[[maybe_unused]] const int g_forkWatch = pthread_atfork(nullptr, nullptr, [] {
    CHandleFactory::RegistryLock().Renew();
    CManager::EnumerationLock().Renew();
});

} // namespace

// The first free entry, or a new one at the head. Under the registry lock.
template <class Object>
CHandleFactory::Entry<Object>* CHandleFactory::List<Object>::Occupy(void* handle) {
    for (Entry<Object>* entry = m_head; entry != nullptr; entry = entry->m_next) {
        if (entry->m_handle != nullptr) {
            continue;
        }
        if (entry->m_process.IsInherited()) {
            entry->m_object.Renew();
            entry->m_process.Renew();
        }
        entry->m_handle = handle;
        return entry;
    }
    auto* entry = new (std::nothrow) Entry<Object>;
    if (entry == nullptr) {
        return nullptr;
    }
    entry->m_handle = handle;
    entry->m_next = m_head;
    m_head = entry;
    ++m_count;
    return entry;
}

template <class Object>
void CHandleFactory::List<Object>::Vacate(void* handle) {
    if (Entry<Object>* const entry = Find(handle)) {
        entry->m_handle = nullptr;
    }
}

template <class Object>
CHandleFactory::Entry<Object>* CHandleFactory::List<Object>::Find(void* handle) const {
    for (Entry<Object>* entry = m_head; handle != nullptr && entry != nullptr; entry = entry->m_next) {
        if (entry->m_handle == handle) {
            return entry;
        }
    }
    return nullptr;
}

template <class Object>
void* CHandleFactory::List<Object>::HandleOf(const Object* object) const {
    for (const Entry<Object>* entry = m_head; entry != nullptr; entry = entry->m_next) {
        if (&entry->m_object == object) {
            return entry->m_handle;
        }
    }
    return nullptr;
}

COXMutex& CHandleFactory::RegistryLock() {
    static ox3d::CNeverDestroyed<COXMutex> lock;
    return lock.Get();
}

bool CHandleFactory::MapHandleMutex(void* handle) {
    Entry<OX_HANDLE_SIGNAL>* signal = m_signals.Occupy(handle);
    if (signal == nullptr) {
        return false;
    }
    // The opener makes the state live once it has the lock. The counts stay as they are: a late look-up may
    // be counting itself in and out of the record at this moment, and both steps must find the same number.
    signal->m_object.m_state = EHandleState::Closing;
    if (m_mutexes.Occupy(handle) == nullptr) {
        m_signals.Vacate(handle);
        return false;
    }
    return true;
}

void CHandleFactory::UnmapHandleMutex(void* handle) {
    m_mutexes.Vacate(handle);
    m_signals.Vacate(handle);
}

COXMutex* CHandleFactory::GetHandleMutex(void* handle) const {
    auto* const entry = m_mutexes.Find(handle);
    return entry != nullptr ? &entry->m_object : nullptr;
}

void* CHandleFactory::GetMutexHandle(const COXMutex* mutex) const {
    return m_mutexes.HandleOf(mutex);
}

OX_HANDLE_SIGNAL* CHandleFactory::GetHandleSignal(void* handle) const {
    auto* const entry = m_signals.Find(handle);
    return entry != nullptr ? &entry->m_object : nullptr;
}

void* CHandleFactory::GetSignalHandle(const OX_HANDLE_SIGNAL* signal) const {
    return m_signals.HandleOf(signal);
}

bool CHandleFactory::IsInherited(void* handle) const {
    const auto* const entry = m_signals.Find(handle);
    return entry != nullptr && entry->m_process.IsInherited();
}

CMyHandleFactory* CMyHandleFactory::CreateFactory() {
    const COXLock lock(&RegistryLock());
    if (m_pcHandleFactory == nullptr) {
        m_pcHandleFactory = new (std::nothrow) CMyHandleFactory;
    }
    return m_pcHandleFactory;
}

CMyHandleFactory* CMyHandleFactory::GetFactory() {
    return m_pcHandleFactory;
}

CManager* CMyHandleFactory::CreateHandle() {
    const COXLock lock(&RegistryLock());
    std::unique_ptr<CManager> manager(new (std::nothrow) CManager);
    if (manager == nullptr || !MapHandleMutex(manager.get())) {
        return nullptr;
    }
    return manager.release();
}

void CMyHandleFactory::DestroyHandle(CManager* manager) {
    if (manager == nullptr) {
        return;
    }
    const COXLock lock(&RegistryLock());
    UnmapHandleMutex(manager);
    delete manager;
}

bool CMyHandleFactory::DropInherited(void* handle) {
    if (!IsInherited(handle)) { // without the lock, which has nothing to do with the closing of a device
        return false;
    }
    const COXLock lock(&RegistryLock());
    if (!IsInherited(handle)) {
        return false;
    }
    UnmapHandleMutex(handle);
    if (!ox3d::CCallbackScope::IsInsideOwner(
            handle)) { // a child that was born in a callback may return from it
        auto* const manager = static_cast<CManager*>(handle);
        manager->Abandon();
        delete manager;
    }
    return true;
}

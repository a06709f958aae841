// HandleTable.cpp - numbers for sessions.
#include "providers/common/HandleTable.h"

#include <pthread.h>

namespace ox3d {

void CHandleTable::HoldForFork(bool isHeld) OX_NO_THREAD_SAFETY_ANALYSIS {
    if (isHeld) {
        m_mutex.Lock();
    }
    for (const auto& [handle, session] : m_sessions) {
        session->Frames().HoldForFork(isHeld);
    }
    if (!isHeld) {
        m_mutex.Unlock();
    }
}

CHandleTable* CHandleTable::Make() {
    const auto leave = [] { Instance().HoldForFork(false); };
    pthread_atfork([] { Instance().HoldForFork(true); }, leave, leave);
    return new CHandleTable;
}

CHandleTable& CHandleTable::Instance() {
    static auto* const s_table = Make();
    return *s_table;
}

void* CHandleTable::Add(std::shared_ptr<CSession> session) {
    const CLock lock(m_mutex);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a number that travels as void* and is never followed
    void* handle = reinterpret_cast<void*>(m_next);
    m_sessions.emplace(handle, std::move(session));
    m_next += 0x10;
    return handle;
}

std::shared_ptr<CSession> CHandleTable::Find(void* handle) const {
    const CLock lock(m_mutex);
    const auto found = m_sessions.find(handle);
    return found == m_sessions.end() ? nullptr : found->second;
}

std::shared_ptr<CSession> CHandleTable::Remove(void* handle) {
    const CLock lock(m_mutex);
    const auto found = m_sessions.find(handle);
    if (found == m_sessions.end()) {
        return nullptr;
    }
    if (found->second->IsInherited()) {
        m_inherited.push_back(found->second); // first: without memory the handle stays what it was
    }
    std::shared_ptr<CSession> session = std::move(found->second);
    m_sessions.erase(found);
    return session;
}

} // namespace ox3d

// HandleTable.cpp - numbers for sessions.
#include "providers/common/HandleTable.h"

namespace ox3d {

CHandleTable& CHandleTable::Instance() {
    static auto* const s_table = new CHandleTable;
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
    std::shared_ptr<CSession> session = std::move(found->second);
    m_sessions.erase(found);
    return session;
}

} // namespace ox3d

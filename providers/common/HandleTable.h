// HandleTable.h - the handles that exist. A handle is a number, not an address: an unknown one is looked up
// and refused, never followed, and none is given out twice.
#ifndef OX3D_PROVIDER_HANDLE_TABLE_H
#define OX3D_PROVIDER_HANDLE_TABLE_H

#include <map>
#include <memory>
#include <vector>

#include "base/Mutex.h"
#include "providers/common/Session.h"

namespace ox3d {

class CHandleTable {
public:
    // Never destroyed: threads of an application may still be inside the provider when statics go. While a thread is
    // in here or among the image nodes no process is forked: a child finds them whole.
    static CHandleTable& Instance();

    void* Add(std::shared_ptr<CSession> session);
    std::shared_ptr<CSession> Find(void* handle) const;
    std::shared_ptr<CSession> Remove(void* handle);

private:
    static CHandleTable* Make();
    void HoldForFork(bool isHeld);

    mutable CMutex m_mutex;
    std::map<void*, std::shared_ptr<CSession>> m_sessions OX_GUARDED_BY(m_mutex);
    // Of a forked child. They go never: what they own would let go of the parent's cameras.
    std::vector<std::shared_ptr<CSession>> m_inherited OX_GUARDED_BY(m_mutex);
    uintptr_t m_next OX_GUARDED_BY(m_mutex) = 0x10;
};

} // namespace ox3d

#endif

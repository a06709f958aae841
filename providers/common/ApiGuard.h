// ApiGuard.h - the one shape of an exported function: look the handle up, check the arguments, do it; no
// exception leaves.
#ifndef OX3D_PROVIDER_API_GUARD_H
#define OX3D_PROVIDER_API_GUARD_H

#include "base/ExceptionBarrier.h"
#include "providers/common/HandleTable.h"
#include "providers/common/Status.h"

namespace ox3d {

template <typename Body>
int Guarded(Body body) {
    return StatusBarrier(Code(OX_CC_E_RESOURCE), Code(OX_CC_E_UNKNOWN), body);
}

// The body gets the session. Arguments are good when isCallable says so; the handle is checked first. In a forked
// child the cameras of its parent are gone.
template <typename Body>
int OnHandle(void* handle, bool isCallable, Body body) {
    return Guarded([&] {
        const std::shared_ptr<CSession> session = CHandleTable::Instance().Find(handle);
        if (session == nullptr) {
            return Code(OX_CC_E_HANDLE);
        }
        if (session->IsInherited()) {
            return kDeviceGone;
        }
        return isCallable ? body(*session) : Code(OX_CC_E_PARAMETER);
    });
}

enum class EIntent { Read, Write };

// The body gets the connection of an open camera.
template <typename Body>
int OnCamera(void* handle, bool isCallable, EIntent intent, Body body) {
    return OnHandle(handle, isCallable, [&](CSession& session) {
        std::shared_ptr<CConnection> connection;
        if (const int code = session.Connected(intent == EIntent::Write, &connection); code != kOk) {
            return code;
        }
        const int code = body(*connection);
        connection->IsAlive(); // a call can take the camera away: say so at once
        return code;
    });
}

} // namespace ox3d

#endif

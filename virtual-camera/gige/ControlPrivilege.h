// ControlPrivilege.h - which application holds control of a camera, and whether it still lives.
//
// It holds no thread and reads no clock: times come from its caller, which also guards it.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_CONTROL_PRIVILEGE_H
#define OX3D_VIRTUAL_CAMERA_GIGE_CONTROL_PRIVILEGE_H

#include <chrono>
#include <optional>

#include "base/Ipv4.h"
#include "gigevision/Registers.h"

namespace ox3d::gige {

using Time = std::chrono::steady_clock::time_point;

class CControlPrivilege {
public:
    // False when another application has control. Giving control back is asking for open access.
    bool Ask(const Endpoint& from, uint32_t access, Time now) {
        if (m_holder && *m_holder != from) {
            return false;
        }
        // Exclusive wins when both bits are set.
        m_access = (access & kExclusiveAccess) != 0 ? kExclusiveAccess : access & kControlAccess;
        m_holder = m_access == kOpenAccess ? std::nullopt : std::optional(from);
        m_lastHeard = now;
        return true;
    }
    void Release() {
        m_holder.reset();
        m_access = kOpenAccess;
    }
    // Every command of the holder is a heartbeat.
    void Heard(const Endpoint& from, Time now) {
        if (IsHolder(from)) {
            m_lastHeard = now;
        }
    }
    bool HasExpired(Time now, std::chrono::milliseconds timeout) const {
        return m_holder.has_value() && now - m_lastHeard > timeout;
    }

    bool IsHeld() const { return m_holder.has_value(); }
    bool IsHolder(const Endpoint& from) const { return m_holder == from; }
    bool IsHolderAddress(uint32_t ip) const { return m_holder && m_holder->m_ip == ip; }
    bool MayRead(const Endpoint& from) const { return m_access != kExclusiveAccess || IsHolder(from); }
    uint32_t Access() const { return m_access; }

private:
    std::optional<Endpoint> m_holder;
    uint32_t m_access = kOpenAccess;
    Time m_lastHeard;
};

} // namespace ox3d::gige

#endif

// NetworkFaults.h - when a camera falls silent or restarts, and which stream packets its network loses.
//
// The dice are seeded: the same run loses the same packets.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_NETWORK_FAULTS_H
#define OX3D_VIRTUAL_CAMERA_GIGE_NETWORK_FAULTS_H

#include <random>

#include "virtual-camera/Faults.h"
#include "virtual-camera/gige/ControlPrivilege.h"

namespace ox3d::gige {

// Each fault happens once, so many milliseconds after control was first taken.
class CFaultTimer {
public:
    explicit CFaultTimer(const FaultSet& faults) : m_faults(faults) {}

    void ControlTaken(Time now) {
        if (!m_start) {
            m_start = now;
        }
    }
    bool IsSilent(Time now) const {
        if (!m_start || m_faults.m_silentAfterMs == kNoFault ||
            now < *m_start + Ms(m_faults.m_silentAfterMs)) {
            return false;
        }
        const Time silentFrom = *m_start + Ms(m_faults.m_silentAfterMs);
        return m_faults.m_silentForMs == kNoFault || now < silentFrom + Ms(m_faults.m_silentForMs);
    }
    bool TakeReboot(Time now) {
        const bool isDue = m_start && !m_hasRebooted && m_faults.m_rebootAfterMs != kNoFault &&
                           now >= *m_start + Ms(m_faults.m_rebootAfterMs);
        m_hasRebooted = m_hasRebooted || isDue;
        return isDue;
    }

private:
    using Ms = std::chrono::milliseconds;

    const FaultSet m_faults;
    std::optional<Time> m_start;
    bool m_hasRebooted = false;
};

class CPacketDice {
public:
    explicit CPacketDice(const FaultSet& faults)
        : m_dropPerMille(faults.m_dropPerMille), m_reorderPerMille(faults.m_reorderPerMille) {}

    bool IsDropped() { return Roll(m_dropPerMille); }
    bool IsReordered() { return Roll(m_reorderPerMille); }

private:
    bool Roll(uint32_t perMille) { return perMille != 0 && m_dice() % 1000 < perMille; }

    const uint32_t m_dropPerMille;
    const uint32_t m_reorderPerMille;
    std::minstd_rand m_dice{1};
};

} // namespace ox3d::gige

#endif

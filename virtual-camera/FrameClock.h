// FrameClock.h - when a camera takes its next frame: free running or by triggers, at most one every period.
//
// It holds no thread and reads no clock; times come from its caller, which also guards it.
#ifndef OX3D_VIRTUAL_CAMERA_FRAME_CLOCK_H
#define OX3D_VIRTUAL_CAMERA_FRAME_CLOCK_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>

namespace ox3d {

class CFrameClock {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::nanoseconds;
    static constexpr uint32_t kMaxPendingTriggers = 1000;

    // The first frame is due one period after the start: a camera exposes first.
    void Start(Time now) {
        m_last = now;
        m_pendingTriggers = 0;
    }
    // False when too many triggers wait already.
    bool Trigger(Time now) {
        if (m_pendingTriggers >= kMaxPendingTriggers) {
            return false;
        }
        if (m_pendingTriggers++ == 0) {
            m_firstTrigger = now;
        }
        return true;
    }
    void DropTriggers() { m_pendingTriggers = 0; }

    // When the next frame is complete; nothing when only a trigger can make one.
    std::optional<Time> Due(bool isTriggered, Duration period, Duration exposure) const {
        if (!isTriggered) {
            return m_last + period;
        }
        if (m_pendingTriggers == 0) {
            return std::nullopt;
        }
        return std::max(m_firstTrigger + exposure, m_last + period);
    }

    // Notes that the frame due at `due` is taken. A camera that comes late by more than a period goes on from
    // now, it does not hurry to make up for lost time.
    void Taken(bool isTriggered, Time due, Time now, Duration period) {
        m_last = now - due < period ? due : now;
        if (isTriggered && m_pendingTriggers > 0) {
            --m_pendingTriggers;
            m_firstTrigger = m_last;
        }
    }

private:
    Time m_last;
    Time m_firstTrigger;
    uint32_t m_pendingTriggers = 0;
};

} // namespace ox3d

#endif

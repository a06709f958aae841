// SendPlan.h - how the packets of a frame are spread over time.
//
// A burst overruns the receive buffers on its way, so packets go out evenly over most of the frame period. A
// timer is too coarse for single packets, hence small groups.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_SEND_PLAN_H
#define OX3D_VIRTUAL_CAMERA_GIGE_SEND_PLAN_H

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace ox3d::gige {

struct SendPlan {
    uint32_t m_groupPackets = 1;
    std::chrono::nanoseconds m_groupInterval{0};
};

constexpr uint32_t kMaxGroupPackets = 64;

// The packet delay that the application has set is respected also when the frame then takes longer than its period.
inline SendPlan PlanSending(uint32_t packets, std::chrono::nanoseconds period,
                            std::chrono::nanoseconds delay) {
    constexpr std::chrono::nanoseconds kGroupInterval{250000};
    const std::chrono::nanoseconds spread = period * 3 / 4 / std::max<uint32_t>(packets, 1);
    const std::chrono::nanoseconds interval = std::max({spread, delay, std::chrono::nanoseconds(1)});
    SendPlan plan;
    plan.m_groupPackets =
        static_cast<uint32_t>(std::clamp<int64_t>(kGroupInterval / interval, 1, kMaxGroupPackets));
    plan.m_groupInterval = interval * plan.m_groupPackets;
    return plan;
}

} // namespace ox3d::gige

#endif

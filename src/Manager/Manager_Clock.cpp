// Manager_Clock.cpp - when frames came and when they were taken.
#include "src/Common/AsyncLog.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";

} // namespace

uint32_t CManager::GetFrameTimes(const OX3D_RGBD_FRAME_DATA& frame, OX3D_RGBD_FRAME_TIMES* out) {
    KnownFrame known;
    const uint32_t status = FindFrame(frame, &known);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[GetFrameTimes] the frame is not known.\r\n");
        return status;
    }
    const FrameNote& note = known.m_note;
    OX3D_RGBD_FRAME_TIMES times = {};
    times.nTimeStamp = note.m_timeStamp;
    times.nArrivalUtcNs = note.m_arrival.m_utcNs;
    times.nArrivalHostNs = note.m_arrival.m_monotonicNs;
    times.nFrameNum = note.m_frameNum;
    *out = times;
    return OX3D_RGBD_OK;
}

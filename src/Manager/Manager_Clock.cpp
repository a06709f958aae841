// Manager_Clock.cpp - when frames came and when they were taken.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "src/Common/AsyncLog.h"
#include "src/Manager/HostTimes.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr double kFarthestNs = 1e18; // thirty years: what is farther is not known

constexpr int kLatchTries = 3; // the shortest way of them counts

// The features that tell a device's time, by the standard names and by those of older Ethernet devices.
struct LatchRow {
    const char* m_command;
    const char* m_value;
};

constexpr LatchRow kLatches[] = {
    {"TimestampLatch", "TimestampLatchValue"},
    {"GevTimestampControlLatch", "GevTimestampValue"},
};

uint64_t ToNs(double ns) {
    return static_cast<uint64_t>(ToWhole(std::clamp(std::ceil(ns), 0.0, kFarthestNs)));
}

uint32_t SourceOf(const ClockLine& line) {
    return line.m_isLatched ? OX3D_RGBD_CLOCK_LATCH : OX3D_RGBD_CLOCK_ARRIVALS;
}

} // namespace

// Asks the device for its time, where it can tell it. Another thread, or the application, may do the same at that moment: then
// the value is of their command, which lies between the two readings of the host's clock as well.
void CManager::LatchClock() {
    CCameraModule* camera = m_pcCamera;
    OX3D_RGBD_INTPARAM value = {};
    const LatchRow* row = std::find_if(std::begin(kLatches), std::end(kLatches), [&](const LatchRow& each) {
        return camera->GetIntValue(each.m_value, &value) == 0;
    });
    if (camera->GetIntValue("GevTimestampTickFrequency", &value) == 0 && value.nCurValue > 0) {
        m_clock.SetTickHz(static_cast<uint64_t>(value.nCurValue));
    }
    if (row == std::end(kLatches)) {
        return;
    }
    const uint32_t run = m_clock.Run();
    std::optional<ClockLatch> best;
    for (int i = 0; i < kLatchTries; ++i) {
        const uint64_t askedNs = ReadClockNs(CLOCK_MONOTONIC);
        if (camera->SetCommandValue(row->m_command) != OX3D_RGBD_OK ||
            camera->GetIntValue(row->m_value, &value) != 0 || value.nCurValue < 0) {
            return;
        }
        const uint64_t halfNs = (ReadClockNs(CLOCK_MONOTONIC) - askedNs + 1) / 2;
        if (!best || halfNs < best->m_halfNs) {
            best = {static_cast<uint64_t>(value.nCurValue), askedNs + halfNs, halfNs};
        }
    }
    m_clock.AddLatch(run, *best);
}

uint32_t CManager::GetFrameClock(OX3D_RGBD_FRAME_CLOCK* out) {
    const uint32_t status = CheckOpened();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    LatchClock();
    const std::optional<ClockLine> line = m_clock.Fit(m_clock.Run());
    if (!line) {
        OX_LOG_ERROR("[GetFrameClock] the device's clock is not known.\r\n");
        return OX3D_RGBD_E_NO_DATA;
    }
    const HostTimes now = ReadHostTimes();
    OX3D_RGBD_FRAME_CLOCK clock = {};
    clock.nReferenceTicks = line->m_ticks;
    clock.nReferenceHostNs = static_cast<uint64_t>(line->m_hostNs);
    clock.nReferenceUtcNs = clock.nReferenceHostNs + (now.m_utcNs - now.m_monotonicNs);
    clock.dNsPerTick = line->m_nsPerTick;
    clock.dNominalNsPerTick = line->m_nominalNsPerTick;
    if (line->m_nominalNsPerTick > 0 && line->m_nsPerTick > 0) {
        clock.dDriftPpm = (line->m_nominalNsPerTick / line->m_nsPerTick - 1) * 1e6;
    }
    clock.dRateErrorPpm = line->m_rateError * 1e6;
    clock.nErrorNs = ToNs(line->ErrorNs(line->m_ticks));
    clock.nDelayNs = ToNs(line->m_delayNs);
    clock.nSamples = line->m_samples;
    clock.nSource = SourceOf(*line);
    *out = clock;
    return OX3D_RGBD_OK;
}

// The times of a frame, as far as they are known at present. A copy has had its own since it was made.
void CManager::TellTimes(KnownFrame* known) {
    if (known->m_isCopy) {
        return;
    }
    const FrameNote& note = known->m_note;
    OX3D_RGBD_FRAME_TIMES& times = known->m_times;
    times.nTimeStamp = note.m_timeStamp;
    times.nArrivalUtcNs = note.m_arrival.m_utcNs;
    times.nArrivalHostNs = note.m_arrival.m_monotonicNs;
    times.nFrameNum = note.m_frameNum;
    const std::optional<ClockLine> line = m_clock.Fit(note.m_clockRun);
    if (!line || !(std::abs(line->DistanceNs(note.m_timeStamp)) <= kFarthestNs)) {
        return;
    }
    const auto arrivalNs = static_cast<int64_t>(note.m_arrival.m_monotonicNs);
    const int64_t captureNs = line->m_hostNs + ToWhole(line->DistanceNs(note.m_timeStamp));
    // A frame is taken before it comes, and, unless it is of a stream before, after the stream began.
    const int64_t streamedNs = arrivalNs - static_cast<int64_t>(m_clock.BeginNs());
    const int64_t mostNs = streamedNs > 0 ? streamedNs : INT64_MAX;
    const int64_t agoNs = std::clamp<int64_t>(arrivalNs - captureNs, 0, mostNs);
    times.nCaptureUtcNs = times.nArrivalUtcNs - static_cast<uint64_t>(agoNs);
    times.nCaptureErrorNs = std::min(ToNs(line->ErrorNs(note.m_timeStamp)), static_cast<uint64_t>(mostNs));
    times.nCaptureDelayNs = std::min(ToNs(line->m_delayNs), times.nCaptureErrorNs);
    times.nSource = SourceOf(*line);
}

uint32_t CManager::GetFrameTimes(const OX3D_RGBD_FRAME_DATA& frame, OX3D_RGBD_FRAME_TIMES* out) {
    KnownFrame known;
    const uint32_t status = FindFrame(frame, &known);
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[GetFrameTimes] the frame is not known.\r\n");
        return status;
    }
    TellTimes(&known);
    *out = known.m_times;
    return OX3D_RGBD_OK;
}

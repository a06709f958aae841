// CameraModel_Frames.cpp - acquisition: when a frame is taken, which number it gets and what it holds.
#include <algorithm>

#include "virtual-camera/CameraModel.h"

namespace ox3d {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int64_t kSoftware = 7; // of TriggerSource

CFrameClock::Duration FromSeconds(double seconds) {
    return std::chrono::duration_cast<CFrameClock::Duration>(std::chrono::duration<double>(seconds));
}

} // namespace

CFrameClock::Duration CCameraModel::ExposureTime() const {
    return FromSeconds(static_cast<double>(Float(EFeature::ExposureTime)) * 1e-6);
}

CFrameClock::Duration CCameraModel::Period() const {
    const bool isRateSet = Value(EFeature::AcquisitionFrameRateEnable) != 0;
    const double rateHz =
        isRateSet ? static_cast<double>(Float(EFeature::AcquisitionFrameRate)) : m_config.m_fps;
    return std::max(FromSeconds(1 / rateHz), ExposureTime());
}

// Free running, a recording is played as it was taken.
CFrameClock::Duration CCameraModel::NextPeriod(bool isTriggered) const {
    const bool isAsRecorded = !isTriggered && m_sizes != nullptr;
    return (isAsRecorded ? m_sizes->TimeBefore(m_frameNumber) : std::nullopt).value_or(Period());
}

CFrameClock::Duration CCameraModel::FramePeriod() const {
    const CLock lock(m_mutex);
    return Period();
}

bool CCameraModel::IsEventOn(ECameraEvent event) const {
    const CLock lock(m_mutex);
    return IsNotified(event);
}

bool CCameraModel::IsNotified(ECameraEvent event) const {
    return Raw(*m_features.Find(EFeature::EventNotification), static_cast<uint32_t>(event)) != 0;
}

uint64_t CCameraModel::TimestampNs() const {
    const CLock lock(m_mutex);
    return static_cast<uint64_t>((Clock::now() - m_clockStart).count());
}

EModelStatus CCameraModel::StartAcquisition() {
    if (m_config.m_faults.m_isStartDenied != 0) {
        return EModelStatus::Access;
    }
    if (m_isAcquiring) {
        return EModelStatus::Ok;
    }
    constexpr int64_t kSingleFrame = 1;
    constexpr int64_t kMultiFrame = 2;
    const int64_t mode = Value(EFeature::AcquisitionMode);
    m_framesLeft = 0;
    if (mode == kSingleFrame) {
        m_framesLeft = 1;
    } else if (mode == kMultiFrame) {
        m_framesLeft = static_cast<uint32_t>(Value(EFeature::AcquisitionFrameCount));
    }
    m_isAcquiring = true;
    ++m_acquisition;
    m_hasSourceEnded = false;
    m_frameNumber = 0;
    m_clock.Start(Clock::now());
    m_changed.NotifyAll();
    return EModelStatus::Ok;
}

void CCameraModel::EndAcquisition() {
    m_isAcquiring = false;
    ++m_acquisition;
    m_changed.NotifyAll();
}

uint32_t CCameraModel::Acquisition() const {
    const CLock lock(m_mutex);
    return m_acquisition;
}

EModelStatus CCameraModel::Trigger() {
    if (Value(EFeature::TriggerMode) == 0 || Value(EFeature::TriggerSource) != kSoftware) {
        return EModelStatus::Access;
    }
    // Without acquisition the camera is not armed: the trigger is taken and nothing comes of it.
    if (m_isAcquiring && !m_clock.Trigger(Clock::now())) {
        return EModelStatus::Access;
    }
    m_changed.NotifyAll();
    return EModelStatus::Ok;
}

std::optional<CCameraModel::Time> CCameraModel::NextDue(bool isTriggered) const {
    if (!m_isAcquiring || m_hasSourceEnded) {
        return std::nullopt;
    }
    std::optional<Time> due = m_clock.Due(isTriggered, NextPeriod(isTriggered), ExposureTime());
    const FaultSet& faults = m_config.m_faults;
    if (due && m_frameNumber + 1 == faults.m_stallAtFrame) {
        *due += std::chrono::milliseconds(faults.m_stallForMs);
    }
    return due;
}

bool CCameraModel::IsDropped(uint32_t number) const {
    const uint32_t every = m_config.m_faults.m_dropEvery;
    return every != kNoFault && number % every == 0;
}

void CCameraModel::Expose(bool isTriggered, Time due, Time now, CameraFrame* frame, Exposure* exposure) {
    m_clock.Taken(isTriggered, due, now, std::max(NextPeriod(isTriggered), Period()));
    ++m_frameNumber;
    if (m_framesLeft > 0 && --m_framesLeft == 0) {
        m_isAcquiring = false;
    }
    frame->m_number = m_frameNumber;
    frame->m_acquisition = m_acquisition;
    frame->m_timestampNs = static_cast<uint64_t>(std::max<int64_t>((due - m_clockStart).count(), 0));
    frame->m_isExposureEventWanted = IsNotified(ECameraEvent::ExposureEnd);
    if (IsScan3d()) {
        exposure->m_scan3d = Scan3dNow();
    } else {
        exposure->m_content = Content();
    }
    exposure->m_sourceIndex = m_frameNumber - 1;
}

// A frame of a recording has the number that it had then.
void CCameraModel::Number(CameraFrame* frame) {
    if (m_numbered != frame->m_acquisition) {
        m_numbered = frame->m_acquisition;
        m_numbers = {};
    }
    frame->m_number = m_numbers.Next(m_images.m_number.value_or(frame->m_number));
    m_numbers.Played(frame->m_number);
}

bool CCameraModel::Render(const Exposure& exposure, CameraFrame* frame) {
    const CLock lock(m_renderMutex);
    const FrameContent& content = exposure.m_content;
    if (IsScan3d()) {
        return RenderScan3d(exposure, frame);
    }
    if (m_source == nullptr ||
        !m_source->Render(exposure.m_sourceIndex, content.m_hasColor, content.NeedsGreyPair(), &m_images) ||
        !PackFrame(m_images, content, frame)) {
        return false;
    }
    frame->m_timestampNs = m_images.m_ticks.value_or(frame->m_timestampNs);
    Number(frame);
    ApplyFrameFaults(m_config.m_faults, frame);
    return true;
}

bool CCameraModel::HasSourceEnded(const Exposure& exposure) {
    const CLock lock(m_renderMutex);
    return m_source == nullptr || m_source->HasEnded(exposure.m_sourceIndex);
}

// A frame of a recording has the time stamp that it had then: whoever asks the clock is told the time of that clock.
void CCameraModel::ShiftClock(uint64_t ownNs, uint64_t recordedNs) {
    constexpr uint64_t kMaxNs = uint64_t{1} << 61U; // no clock runs for 70 years
    if (ownNs < kMaxNs && recordedNs < kMaxNs) {
        m_clockStart -=
            std::chrono::nanoseconds(static_cast<int64_t>(recordedNs) - static_cast<int64_t>(ownNs));
    }
}

ENextFrame CCameraModel::NextFrame(uint32_t plugCount, const std::stop_token& stop, CameraFrame* frame) {
    const std::stop_callback wake(stop, [this] {
        const CLock lock(m_mutex);
        m_changed.NotifyAll();
    });
    CLock lock(m_mutex);
    const FaultSet& faults = m_config.m_faults;
    while (!stop.stop_requested()) {
        if (plugCount != m_plugCount) {
            return ENextFrame::Gone;
        }
        const bool isTriggered = Value(EFeature::TriggerMode) != 0;
        const std::optional<Time> due = NextDue(isTriggered);
        const Time now = Clock::now();
        if (!due || now < *due) {
            // Every change ends the wait, and all is looked at anew.
            m_changed.WaitUntil(m_mutex, due.value_or(now + std::chrono::hours(1)));
            continue;
        }
        const bool isWorn = faults.m_unplugTimes != 0 && m_unplugFaults >= faults.m_unplugTimes;
        if (m_frameNumber == faults.m_unplugAfterFrames && !isWorn) {
            ++m_unplugFaults;
            Unplug();
            return ENextFrame::Gone;
        }
        Exposure exposure;
        Expose(isTriggered, *due, now, frame, &exposure);
        if (IsDropped(frame->m_number)) {
            continue;
        }
        const uint64_t ownNs = frame->m_timestampNs;
        lock.Unlock();
        if (Render(exposure, frame)) {
            if (frame->m_timestampNs != ownNs) {
                lock.Lock();
                ShiftClock(ownNs, frame->m_timestampNs);
            }
            return ENextFrame::Frame;
        }
        // A frame that cannot be had is a lost one: its number is missing, the next has its chance.
        const bool hasEnded = HasSourceEnded(exposure);
        lock.Lock();
        m_hasSourceEnded = hasEnded;
    }
    return ENextFrame::Stopped;
}

} // namespace ox3d

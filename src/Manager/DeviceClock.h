// DeviceClock.h - what is known of the clock of a device: time stamps and arrivals of its last frames, and its answers when
// it was asked for its time. Adding a frame takes a few stores; what follows from them is worked out when somebody asks.
#ifndef OX3D_DEVICE_CLOCK_H
#define OX3D_DEVICE_CLOCK_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "src/Common/Thread.h"
#include "src/Manager/ClockFit.h"

class CDeviceClock {
public:
    static constexpr size_t kSamples = 512;
    static constexpr size_t kLatches = 16;
    static constexpr uint64_t kWindowNs = 10000000000; // older frames do not count

    // A stream is going to begin: none of its frames is stamped before.
    void Begin(uint64_t hostNs) OX_EXCLUDES(m_mutex);
    // A frame came. Time stamps that go back are those of a clock that began anew, and what was known is dropped; equal ones are
    // no news. Returns the number of the clock's present run, for frames of which nothing else tells it.
    uint32_t Add(const ClockSample& sample) OX_EXCLUDES(m_mutex);
    // The device answered during the run that is given.
    void AddLatch(uint32_t run, const ClockLatch& latch) OX_EXCLUDES(m_mutex);
    // What the device says of its ticks.
    void SetTickHz(uint64_t tickHz) OX_EXCLUDES(m_mutex);

    uint32_t Run() OX_EXCLUDES(m_mutex);
    uint64_t BeginNs() OX_EXCLUDES(m_mutex);
    // None before two frames with different time stamps, or when the present run is another.
    std::optional<ClockLine> Fit(uint32_t run) OX_EXCLUDES(m_mutex);
    // In a forked child: no thread is inside.
    void Renew() { m_mutex.Renew(); }

private:
    COXMutex m_mutex; // leaf
    std::array<ClockSample, kSamples> m_samples OX_GUARDED_BY(m_mutex) = {};
    std::array<ClockLatch, kLatches> m_latches OX_GUARDED_BY(m_mutex) = {};
    size_t m_added OX_GUARDED_BY(m_mutex) = 0; // samples of this run
    size_t m_latched OX_GUARDED_BY(m_mutex) = 0;
    uint32_t m_run OX_GUARDED_BY(m_mutex) = 1;
    uint64_t m_tickHz OX_GUARDED_BY(m_mutex) = 0;
    uint64_t m_beginNs OX_GUARDED_BY(m_mutex) = 0;
    uint64_t m_delayNs OX_GUARDED_BY(m_mutex) = 0; // at most, of the stream's first frame
    bool m_isFirst OX_GUARDED_BY(m_mutex) = true;  // the next frame is the stream's first
};

#endif

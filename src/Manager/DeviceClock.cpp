// DeviceClock.cpp - see DeviceClock.h.
#include "src/Manager/DeviceClock.h"

#include <algorithm>

void CDeviceClock::Begin(uint64_t hostNs) {
    const COXLock lock(&m_mutex);
    m_beginNs = hostNs;
    m_isFirst = true;
}

uint32_t CDeviceClock::Add(const ClockSample& sample) {
    const COXLock lock(&m_mutex);
    if (m_isFirst) {
        m_isFirst = false;
        m_delayNs = sample.m_hostNs - m_beginNs;
    }
    if (m_added > 0) {
        const uint64_t last = m_samples[(m_added - 1) % kSamples].m_ticks;
        if (sample.m_ticks == last) {
            return m_run;
        }
        if (sample.m_ticks < last) {
            m_added = 0;
            m_latched = 0;
            ++m_run;
        }
    }
    m_samples[m_added % kSamples] = sample;
    ++m_added;
    return m_run;
}

void CDeviceClock::AddLatch(uint32_t run, const ClockLatch& latch) {
    const COXLock lock(&m_mutex);
    if (run == m_run) {
        m_latches[m_latched % kLatches] = latch;
        ++m_latched;
    }
}

void CDeviceClock::SetTickHz(uint64_t tickHz) {
    const COXLock lock(&m_mutex);
    m_tickHz = tickHz;
}

uint32_t CDeviceClock::Run() {
    const COXLock lock(&m_mutex);
    return m_run;
}

uint64_t CDeviceClock::BeginNs() {
    const COXLock lock(&m_mutex);
    return m_beginNs;
}

std::optional<ClockLine> CDeviceClock::Fit(uint32_t run) {
    // Copies: frames go on coming meanwhile.
    std::array<ClockSample, kSamples> samples;
    std::array<ClockLatch, kLatches> latches;
    size_t count = 0;
    size_t latched = 0;
    uint64_t tickHz = 0;
    double delayNs = 0;
    {
        const COXLock lock(&m_mutex);
        if (run != m_run || m_added == 0) {
            return std::nullopt;
        }
        const uint64_t newestNs = m_samples[(m_added - 1) % kSamples].m_hostNs;
        for (size_t i = m_added - std::min(m_added, kSamples); i < m_added; ++i) {
            const ClockSample& sample = m_samples[i % kSamples];
            if (sample.m_hostNs + kWindowNs >= newestNs) {
                samples[count++] = sample;
            }
        }
        for (size_t i = m_latched - std::min(m_latched, kLatches); i < m_latched; ++i) {
            latches[latched++] = m_latches[i % kLatches];
        }
        tickHz = m_tickHz;
        delayNs = static_cast<double>(m_delayNs);
    }
    return FitClock({samples.data(), count}, {latches.data(), latched}, delayNs, tickHz);
}

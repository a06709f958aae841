// HostTimes.h - the moment at which a frame came to the library, by the two clocks of the host that matter: the one of UTC,
// which may be set, and the monotonic one, by which intervals are right.
#ifndef OX3D_HOST_TIMES_H
#define OX3D_HOST_TIMES_H

#include <cstdint>
#include <ctime>

struct HostTimes {
    uint64_t m_utcNs = 0;       // since 1970
    uint64_t m_monotonicNs = 0; // since the host was started
};

inline uint64_t ReadClockNs(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time); // does not fail for the two clocks
    return static_cast<uint64_t>(time.tv_sec) * 1000000000u + static_cast<uint64_t>(time.tv_nsec);
}

// Both clocks at one moment. A thread that the system put aside between the two looks once more.
inline HostTimes ReadHostTimes() {
    constexpr uint64_t kAtOnceNs = 20000;
    HostTimes times;
    times.m_monotonicNs = ReadClockNs(CLOCK_MONOTONIC);
    times.m_utcNs = ReadClockNs(CLOCK_REALTIME);
    if (ReadClockNs(CLOCK_MONOTONIC) - times.m_monotonicNs > kAtOnceNs) {
        const uint64_t agoNs = ReadClockNs(CLOCK_MONOTONIC) - times.m_monotonicNs;
        times.m_utcNs = ReadClockNs(CLOCK_REALTIME) - agoNs;
    }
    return times;
}

// Nanoseconds or ticks as a whole number, for every value: NaN is 0, and what is farther than 2^62 is 2^62.
inline int64_t ToWhole(double value) {
    constexpr double kMost = 4611686018427387904.0;
    if (value != value) {
        return 0;
    }
    return static_cast<int64_t>(value > kMost ? kMost : value < -kMost ? -kMost : value);
}

#endif

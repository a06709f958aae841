// ClockFit.h - the line from a device's ticks to the host's monotonic clock: fitted to the moments at which frames came, and to
// moments at which the device was asked for its time.
//
// A frame arrives after it was stamped, never before, and by how much later changes from frame to frame: what is
// late is no error to be averaged but one to be passed by. So the line lies under all arrivals, as near to them as it
// can: of those, the one of the smallest sum of distances is the edge of their lower convex hull over the mean of
// the ticks. (S. Moon, P. Skelly, D. Towsley: Estimation and removal of clock skew from network delay measurements,
// INFOCOM 1999; by the hull: L. Zhang, Z. Liu, C. H. Xia: Clock synchronization algorithms for network
// measurements, INFOCOM 2002.) Bursts do not move it. What all frames take at least is in it, and cannot be seen.
#ifndef OX3D_CLOCK_FIT_H
#define OX3D_CLOCK_FIT_H

#include <cstdint>
#include <optional>
#include <span>

// A frame: when the device stamped it, when it came.
struct ClockSample {
    uint64_t m_ticks;
    uint64_t m_hostNs;
};

// What the device answered when it was asked for its time: at m_hostNs, or at most m_halfNs before or after.
struct ClockLatch {
    uint64_t m_value;
    uint64_t m_hostNs;
    uint64_t m_halfNs;
};

struct ClockLine {
    uint64_t m_ticks = 0; // reference
    int64_t m_hostNs = 0; // there
    double m_nsPerTick = 0;
    double m_nominalNsPerTick = 0; // 0: not known
    double m_errorNs = 0;          // at the reference, the delay not included
    double m_rateError = 0;        // what a nanosecond of distance from it adds, nanoseconds
    double m_delayNs = 0;          // by how much the line may be late at every place
    uint32_t m_samples = 0;
    bool m_isLatched = false;

    // Before the reference or after it.
    double DistanceNs(uint64_t ticks) const;
    double ErrorNs(uint64_t ticks) const;
};

// `samples` in the order of their ticks, no two alike. `delayNs`: what the first frame can have taken at most. `tickHz`: what the
// device says of its ticks, 0 for nothing. No line where the rate cannot be told yet.
std::optional<ClockLine> FitClock(std::span<const ClockSample> samples, std::span<const ClockLatch> latches,
                                  double delayNs, uint64_t tickHz);

#endif

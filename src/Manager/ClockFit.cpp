// ClockFit.cpp - see ClockFit.h. Distances in ticks and in time are taken from the first sample, so that doubles hold them.
#include "src/Manager/ClockFit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "src/Manager/DeviceClock.h"
#include "src/Manager/HostTimes.h"

namespace {

constexpr double kSecondNs = 1e9;
// The oscillators of devices and hosts keep to 100 ppm; a host whose clock is being set right adds up to 500 ppm.
constexpr double kNominalError = 600e-6;
constexpr double kNearNominal = 1.2; // times, or divided by
constexpr double kFewNearNominal =
    2.5;                         // the same of few frames, whose jitter is large beside the time between them
constexpr double kReadNs = 1000; // between a moment and the reading of the host's clock
constexpr size_t kLeastSamples = 8; // for a rate of their own
constexpr size_t kParts = 8;
constexpr double kOtherClockNs = kSecondNs; // a latch that is off by more belongs to another clock
constexpr auto kMostTicks = static_cast<uint64_t>(1) << 62;

// A sample: the device's time since the first one, at the rate of the samples, and how much later it came than at that rate.
struct Point {
    double m_deviceNs;
    double m_lateNs;
};

struct Points {
    std::array<Point, CDeviceClock::kSamples> m_points;
    size_t m_count;
    double m_nsPerTick; // of m_deviceNs
    ClockSample m_first;

    std::span<const Point> All() const { return {m_points.data(), m_count}; }
    double SpanNs() const { return m_points[m_count - 1].m_deviceNs; }
};

double Ahead(uint64_t to, uint64_t from) {
    return to >= from ? static_cast<double>(to - from) : -static_cast<double>(from - to);
}

// The median of the rates from sample to sample: neither a burst nor a leap of one clock moves it.
double MedianRate(std::span<const ClockSample> samples) {
    std::array<double, CDeviceClock::kSamples> rates;
    size_t count = 0;
    for (size_t i = 1; i < samples.size(); ++i) {
        rates[count++] = Ahead(samples[i].m_hostNs, samples[i - 1].m_hostNs) /
                         Ahead(samples[i].m_ticks, samples[i - 1].m_ticks);
    }
    auto* const middle = rates.data() + count / 2;
    std::nth_element(rates.data(), middle, rates.data() + count);
    return *middle;
}

// Those after the last leap: between two frames the device counted a second more than the host did. (Frames that come late
// look like a leap, too, when they end: that costs the samples before.)
std::span<const ClockSample> AfterLeap(std::span<const ClockSample> samples, double nsPerTick) {
    for (size_t i = samples.size() - 1; i > 0; --i) {
        const double deviceNs = Ahead(samples[i].m_ticks, samples[i - 1].m_ticks) * nsPerTick;
        if (deviceNs - Ahead(samples[i].m_hostNs, samples[i - 1].m_hostNs) > kSecondNs) {
            return samples.subspan(i);
        }
    }
    return samples;
}

void Place(std::span<const ClockSample> samples, double nsPerTick, Points* out) {
    out->m_count = samples.size();
    out->m_nsPerTick = nsPerTick;
    out->m_first = samples[0];
    for (size_t i = 0; i < samples.size(); ++i) {
        const double deviceNs = Ahead(samples[i].m_ticks, samples[0].m_ticks) * nsPerTick;
        out->m_points[i] = {deviceNs, Ahead(samples[i].m_hostNs, samples[0].m_hostNs) - deviceNs};
    }
}

// The line through a place of the points, by `slope` steeper than their rate.
ClockLine LineAt(const Points& points, const Point& at, double slope) {
    ClockLine line;
    const double ticks = std::nearbyint(at.m_deviceNs / points.m_nsPerTick);
    const double offNs = ticks * points.m_nsPerTick - at.m_deviceNs;
    const double hostNs = at.m_deviceNs + at.m_lateNs + offNs * (1 + slope);
    line.m_ticks = points.m_first.m_ticks + static_cast<uint64_t>(ToWhole(ticks)); // 0 to the last sample's
    line.m_hostNs = static_cast<int64_t>(points.m_first.m_hostNs) + ToWhole(hostNs);
    line.m_nsPerTick = points.m_nsPerTick * (1 + slope);
    line.m_errorNs = kReadNs + line.m_nsPerTick;
    line.m_samples = static_cast<uint32_t>(points.m_count);
    return line;
}

// Whether b lies on or above the line from a to c.
bool IsAbove(const Point& a, const Point& b, const Point& c) {
    return (b.m_lateNs - a.m_lateNs) * (c.m_deviceNs - a.m_deviceNs) >=
           (c.m_lateNs - a.m_lateNs) * (b.m_deviceNs - a.m_deviceNs);
}

// How far the points stay from the line at best, in that eighth of them where this is most: 0 for a line that every
// part of the time comes down to.
double WorstPartNs(const Points& points, const Point& at, double slope) {
    std::array<double, kParts> least;
    least.fill(-1);
    for (const Point& point : points.All()) {
        const auto part = static_cast<size_t>(point.m_deviceNs / points.SpanNs() * (kParts - 0.001));
        const double aboveNs = point.m_lateNs - at.m_lateNs - (point.m_deviceNs - at.m_deviceNs) * slope;
        double& mine = least[std::min(part, kParts - 1)];
        mine = mine < 0 ? std::max(aboveNs, 0.0) : std::min(mine, std::max(aboveNs, 0.0));
    }
    return *std::max_element(least.begin(), least.end());
}

// The edge of the lower hull over the mean.
ClockLine FitHull(const Points& points) {
    std::array<Point, CDeviceClock::kSamples> hull;
    size_t count = 0;
    double mean = 0;
    for (const Point& point : points.All()) {
        while (count >= 2 && IsAbove(hull[count - 2], hull[count - 1], point)) {
            --count;
        }
        hull[count++] = point;
        mean += point.m_deviceNs / static_cast<double>(points.m_count);
    }
    size_t right = 1;
    while (right + 1 < count && hull[right].m_deviceNs < mean) {
        ++right;
    }
    const Point& left = hull[right - 1];
    const double widthNs = hull[right].m_deviceNs - left.m_deviceNs;
    const double slope = (hull[right].m_lateNs - left.m_lateNs) / widthNs;
    const Point at = {mean, left.m_lateNs + (mean - left.m_deviceNs) * slope};
    ClockLine line = LineAt(points, at, slope);
    line.m_errorNs += WorstPartNs(points, at, slope);
    line.m_rateError = line.m_errorNs / widthNs;
    return line;
}

// The rate is the nominal one, and the earliest sample tells where the line lies.
ClockLine FitNominal(const Points& points, double nominal) {
    const double slope = nominal / points.m_nsPerTick - 1;
    const auto all = points.All();
    const auto lowest = std::min_element(all.begin(), all.end(), [slope](const Point& a, const Point& b) {
        return a.m_lateNs - slope * a.m_deviceNs < b.m_lateNs - slope * b.m_deviceNs;
    });
    ClockLine line = LineAt(points, *lowest, slope);
    line.m_errorNs += WorstPartNs(points, *lowest, slope);
    line.m_rateError = kNominalError;
    return line;
}

bool IsRateKnown(std::span<const ClockSample> samples) {
    return samples.size() >= kLeastSamples &&
           Ahead(samples.back().m_hostNs, samples.front().m_hostNs) >= kSecondNs;
}

// What a tick is meant to be: a nanosecond, or what the device says. 0 where the samples fit neither.
double NominalNsPerTick(std::span<const ClockSample> samples, double nsPerTick, uint64_t tickHz) {
    double near = kNearNominal;
    if (!IsRateKnown(samples)) {
        near = kFewNearNominal;
        nsPerTick = Ahead(samples.back().m_hostNs, samples.front().m_hostNs) /
                    Ahead(samples.back().m_ticks, samples.front().m_ticks);
    }
    for (const double nominal : {tickHz != 0 ? kSecondNs / static_cast<double>(tickHz) : 1.0, 1.0}) {
        if (nsPerTick < nominal * near && nsPerTick * near > nominal) {
            return nominal;
        }
    }
    return 0;
}

// Whether the line's rate may be the nominal one.
bool MayBeNominal(const ClockLine& line, double nominal) {
    return std::abs(line.m_nsPerTick / nominal - 1) <= line.m_rateError + kNominalError;
}

std::optional<ClockLine> FitArrivals(const Points& points, bool isRateKnown, double nominal,
                                     uint64_t newest) {
    std::optional<ClockLine> line;
    if (isRateKnown) {
        line = FitHull(points);
    }
    if (nominal > 0) {
        const ClockLine guess = FitNominal(points, nominal);
        if (!line || (MayBeNominal(*line, nominal) && guess.ErrorNs(newest) < line->ErrorNs(newest))) {
            line = guess;
        }
    }
    return line;
}

struct LatchPoint {
    ClockSample m_at; // in the ticks of the frames
    double m_halfNs;
};

// Whether no frame came before it was taken, by that latch and the rate of the line.
bool IsBeforeArrivals(const LatchPoint& latch, const ClockLine& line, std::span<const ClockSample> samples) {
    return std::all_of(samples.begin(), samples.end(), [&](const ClockSample& sample) {
        const double sinceNs = Ahead(sample.m_ticks, latch.m_at.m_ticks) * line.m_nsPerTick;
        const double errorNs = latch.m_halfNs + line.m_nsPerTick + std::abs(sinceNs) * line.m_rateError;
        return sinceNs - errorNs <= Ahead(sample.m_hostNs, latch.m_at.m_hostNs);
    });
}

// The value of a latch in the ticks of the frames, if it is of the same clock. Each of the two may be in nanoseconds or as the
// device counts, and a camera-control library may have converted one of them: what comes nearest to the frames holds.
std::optional<LatchPoint> PlaceLatch(const ClockLatch& latch, const ClockLine& line, uint64_t tickHz,
                                     std::span<const ClockSample> samples) {
    const double unit = line.m_nominalNsPerTick;
    const double deviceUnit = tickHz != 0 ? kSecondNs / static_cast<double>(tickHz) : 1;
    const auto halfNs = static_cast<double>(latch.m_halfNs);
    std::optional<LatchPoint> best;
    double bestNs = 0;
    for (const double factor : {1.0, 1 / unit, deviceUnit / unit}) {
        const long double scaled = static_cast<long double>(latch.m_value) * static_cast<long double>(factor);
        if (!(scaled < kMostTicks)) {
            continue;
        }
        const auto ticks = static_cast<uint64_t>(scaled);
        const double lateNs =
            std::abs(static_cast<double>(line.m_hostNs - static_cast<int64_t>(latch.m_hostNs)) +
                     line.DistanceNs(ticks));
        if (lateNs < line.ErrorNs(ticks) + halfNs + kOtherClockNs && (!best || lateNs < bestNs)) {
            best = {{ticks, latch.m_hostNs}, halfNs + kReadNs};
            bestNs = lateNs;
        }
    }
    return best && IsBeforeArrivals(*best, line, samples) ? best : std::nullopt;
}

// The line through the latch `at`: with the rate of the arrivals, the nominal one, or that to the latch before it that tells it best.
ClockLine LineThrough(const LatchPoint& at, std::span<const LatchPoint> before, const ClockLine& arrivals) {
    ClockLine line = arrivals;
    line.m_isLatched = true;
    line.m_delayNs = 0;
    line.m_ticks = at.m_at.m_ticks;
    line.m_hostNs = static_cast<int64_t>(at.m_at.m_hostNs);
    line.m_errorNs = at.m_halfNs + line.m_nsPerTick;
    if (line.m_rateError > kNominalError && MayBeNominal(line, line.m_nominalNsPerTick)) {
        line.m_nsPerTick = line.m_nominalNsPerTick;
        line.m_rateError = kNominalError;
    }
    for (const LatchPoint& each : before) {
        const double apartNs = Ahead(at.m_at.m_hostNs, each.m_at.m_hostNs);
        const double errorNs = at.m_halfNs + each.m_halfNs;
        if (at.m_at.m_ticks > each.m_at.m_ticks && errorNs < line.m_rateError * apartNs) {
            line.m_nsPerTick = apartNs / Ahead(at.m_at.m_ticks, each.m_at.m_ticks);
            line.m_rateError = errorNs / apartNs;
        }
    }
    return line;
}

// The line through a latch that knows the newest time stamp best.
std::optional<ClockLine> FitLatches(std::span<const ClockLatch> latches, const ClockLine& arrivals,
                                    uint64_t tickHz, std::span<const ClockSample> samples) {
    const uint64_t newest = samples.back().m_ticks;
    std::array<LatchPoint, CDeviceClock::kLatches> points;
    size_t count = 0;
    std::optional<ClockLine> best;
    for (const ClockLatch& latch : latches) {
        const std::optional<LatchPoint> point = PlaceLatch(latch, arrivals, tickHz, samples);
        if (!point) {
            continue;
        }
        const ClockLine line = LineThrough(*point, {points.data(), count}, arrivals);
        if (!best || line.ErrorNs(newest) < best->ErrorNs(newest)) {
            best = line;
        }
        points[count++] = *point;
    }
    return best;
}

} // namespace

double ClockLine::DistanceNs(uint64_t ticks) const {
    return Ahead(ticks, m_ticks) * m_nsPerTick;
}

double ClockLine::ErrorNs(uint64_t ticks) const {
    return m_errorNs + m_delayNs + std::abs(DistanceNs(ticks)) * m_rateError;
}

std::optional<ClockLine> FitClock(std::span<const ClockSample> samples, std::span<const ClockLatch> latches,
                                  double delayNs, uint64_t tickHz) {
    if (samples.size() < 2) {
        return std::nullopt;
    }
    const double nsPerTick = MedianRate(samples);
    const std::span<const ClockSample> whole = AfterLeap(samples, nsPerTick);
    if (!(nsPerTick > 0) || whole.size() < 2 || whole.back().m_ticks - whole.front().m_ticks > kMostTicks) {
        return std::nullopt;
    }
    const uint64_t newest = samples.back().m_ticks;
    const double nominal = NominalNsPerTick(whole, nsPerTick, tickHz);
    Points points;
    Place(whole, nominal > 0 ? nominal : nsPerTick, &points);
    std::optional<ClockLine> line = FitArrivals(points, IsRateKnown(whole), nominal, newest);
    if (!line) {
        return std::nullopt;
    }
    line->m_delayNs = delayNs;
    line->m_nominalNsPerTick = nominal;
    if (nominal > 0 && !latches.empty()) {
        const std::optional<ClockLine> asked = FitLatches(latches, *line, tickHz, whole);
        if (asked && asked->ErrorNs(newest) < line->ErrorNs(newest)) {
            line = asked;
        }
    }
    return line;
}

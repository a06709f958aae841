// The clock of a device, found from frames whose arrivals jitter: held against the moments at which they were taken.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "src/Manager/DeviceClock.h"

namespace {

constexpr double kMs = 1e6;
constexpr uint64_t kBootNs = 5'000'000'000'000; // the host's clock at the start

struct Device {
    const char* m_name;
    double m_nsPerTick; // nominal
    double m_ppm;       // faster than that
    uint64_t m_firstTicks;
    double m_delayNs;                        // of every frame
    std::function<double(int)> m_jitterNs{}; // beside it, of frame i
    uint64_t m_tickHz = 0;
    double m_rate = 30;
    double m_goodNs = 0; // an error that is promised at the end, the constant delay not included
};

// Deterministic: 0 to 1.
double Noise(int i) {
    uint64_t x = static_cast<uint64_t>(i) * 0x9E3779B97F4A7C15u;
    x = (x ^ x >> 31) * 0xBF58476D1CE4E5B9u;
    return static_cast<double>(x >> 40) / static_cast<double>(1 << 24);
}

class CSimulation {
public:
    explicit CSimulation(const Device& device) : m_device(device) {
        m_clock.Begin(kBootNs);
        m_clock.SetTickHz(device.m_tickHz);
    }
    // Taken 50 ms after the start and at the rate.
    double TakenNs(int i) const { return 0.05e9 + i * 1e9 / m_device.m_rate; }
    uint64_t TicksAt(double ns) const {
        const double ticks = ns / m_device.m_nsPerTick * (1 + m_device.m_ppm / 1e6);
        return m_device.m_firstTicks + static_cast<uint64_t>(ticks);
    }
    void Come(int i) {
        const double lateNs = m_device.m_delayNs + (m_device.m_jitterNs ? m_device.m_jitterNs(i) : 0);
        const double hostNs = std::max(TakenNs(i) + lateNs, m_lastNs); // frames do not overtake
        m_lastNs = hostNs;
        m_run = m_clock.Add({TicksAt(TakenNs(i)), kBootNs + static_cast<uint64_t>(hostNs)});
    }
    // The device is asked; the way there and back takes times of their own, and it answers in units of its own.
    void Ask(double ns, double thereNs, double backNs, double unitsPerTick = 1) {
        const auto half = static_cast<uint64_t>((thereNs + backNs) / 2);
        const auto sent = kBootNs + static_cast<uint64_t>(ns - thereNs);
        m_clock.AddLatch(m_run, {static_cast<uint64_t>(static_cast<double>(TicksAt(ns)) * unitsPerTick),
                                 sent + half, half});
    }
    std::optional<ClockLine> Fit() { return m_clock.Fit(m_run); }
    // How far the line is off at frame i.
    double OffNs(const ClockLine& line, int i) const {
        return static_cast<double>(line.m_hostNs - static_cast<int64_t>(kBootNs)) +
               line.DistanceNs(TicksAt(TakenNs(i))) - TakenNs(i);
    }
    // Frames from..to come; at each, the last 64 have to be where the line says, within its error.
    void Expect(int from, int to) {
        for (int i = from; i < to; ++i) {
            Come(i);
            const std::optional<ClockLine> line = Fit();
            if (!line || i % 7 != 0) {
                continue;
            }
            for (int back = std::max(from, i - 63); back <= i; back += 9) {
                const double errorNs = line->ErrorNs(TicksAt(TakenNs(back)));
                const double offNs = OffNs(*line, back);
                ASSERT_LE(std::abs(offNs), errorNs) << "frame " << back << " seen at " << i;
                // When there are some frames, it is right even without what cannot be seen.
                ASSERT_LE(i < 2 * m_device.m_rate || line->m_isLatched ? 0
                                                                       : std::abs(offNs - m_device.m_delayNs),
                          errorNs - line->m_delayNs)
                    << "frame " << back << " seen at " << i;
            }
        }
    }
    CDeviceClock m_clock;
    uint32_t m_run = 0;

private:
    const Device& m_device;
    double m_lastNs = 0;
};

const Device kDevices[] = {
    {"even", 1, 50, 1000, 5 * kMs, {}, 0, 30, 0.01 * kMs},
    {"jitter", 1, 50, 1000, 5 * kMs, [](int i) { return 8 * kMs * Noise(i); }, 0, 30, 3 * kMs},
    {"slow and rarely on time", 1, -50, 1000, 40 * kMs,
     [](int i) { return Noise(i) < 0.15 ? 0 : 30 * kMs * Noise(i + 999); }, 0, 30, 3 * kMs},
    {"bursts of two seconds", 1, 50, 1000, 5 * kMs,
     [](int i) { return (i % 150 < 60 ? 60 * kMs : 0) + kMs * Noise(i); }, 0, 30, 100 * kMs},
    {"ticks of 8 ns that the device tells", 8, 50, 77, 5 * kMs, [](int i) { return kMs * Noise(i); },
     125000000, 30, kMs},
    {"ticks of 8 ns untold", 8, 50, 77, 5 * kMs, [](int i) { return kMs * Noise(i); }, 0, 30, kMs},
    {"a microsecond", 1000, 90, 3, 5 * kMs, [](int i) { return kMs * Noise(i); }, 1000000, 30, kMs},
    {"many frames, high numbers", 1, 20, 9'000'000'000'000'000'000u, kMs,
     [](int i) { return kMs * Noise(i); }, 0, 400, kMs},
};

TEST(DeviceClock, IsWithinTheErrorThatItStates) {
    for (const Device& device : kDevices) {
        SCOPED_TRACE(device.m_name);
        CSimulation simulation(device);
        simulation.Expect(0, static_cast<int>(device.m_rate * 25));
        const std::optional<ClockLine> line = simulation.Fit();
        ASSERT_TRUE(line);
        const uint64_t newest =
            simulation.TicksAt(simulation.TakenNs(static_cast<int>(device.m_rate * 25) - 1));
        EXPECT_LE(line->ErrorNs(newest) - line->m_delayNs, device.m_goodNs);
        EXPECT_NEAR((device.m_nsPerTick / line->m_nsPerTick - 1) * 1e6, device.m_ppm,
                    line->m_rateError * 1e6);
        EXPECT_EQ(line->m_nominalNsPerTick > 0, device.m_nsPerTick == 1 || device.m_tickHz != 0);
        EXPECT_FALSE(line->m_isLatched);
    }
}

// Frames that jitter by 8 ms, and a device that is asked every 3 s, by a way of which one direction takes nearly all.
double AskedErrorNs(const Device& device, double unitsPerTick) {
    CSimulation simulation(device);
    double worstNs = 0;
    for (int i = 0; i < 300; ++i) {
        simulation.Expect(i, i + 1);
        const std::optional<ClockLine> line = simulation.Fit();
        if (i > 100) {
            EXPECT_TRUE(line && line->m_isLatched && line->m_delayNs == 0) << i;
            worstNs = std::max(worstNs, line->ErrorNs(simulation.TicksAt(simulation.TakenNs(i))));
            EXPECT_LE(std::abs(simulation.OffNs(*line, i)), worstNs);
        }
        if (i % 90 == 30) {
            simulation.Ask(simulation.TakenNs(i) + 20 * kMs, 0.35 * kMs, 0.05 * kMs, unitsPerTick);
        }
    }
    return worstNs;
}

TEST(DeviceClock, OfADeviceThatIsAskedHasTheErrorOfTheWayToIt) {
    const auto jitter = [](int i) { return 8 * kMs * Noise(i); };
    const Device row = {"asked", 1, 50, 1000, 30 * kMs, jitter};
    EXPECT_LT(AskedErrorNs(row, 1), 2.1 * kMs) << "frames 30 ms late and more";
    const Device raw = {"frames in ticks, answers in nanoseconds", 8, 50, 77, 30 * kMs, jitter, 125000000};
    EXPECT_LT(AskedErrorNs(raw, 8), 2.1 * kMs);
    const Device converted = {
        "frames in nanoseconds, answers in ticks", 1, 50, 77, 30 * kMs, jitter, 125000000};
    EXPECT_LT(AskedErrorNs(converted, 1.0 / 8), 2.1 * kMs);
}

TEST(DeviceClock, TakesNoAnswerOfAnotherClock) {
    const Device device = {"another", 1, 50, 1000, 5 * kMs, [](int i) { return i % 60 < 30 ? 40 * kMs : 0; }};
    CSimulation simulation(device);
    simulation.Expect(0, 100);
    simulation.m_clock.AddLatch(simulation.m_run, {1234567, kBootNs + 3'000'000'000, 1000});
    EXPECT_FALSE(simulation.Fit()->m_isLatched);
    // By this one frames would have come before they were taken.
    const double nowNs = simulation.TakenNs(99) + 20 * kMs;
    const auto answer = [&](double lateNs) {
        return ClockLatch{simulation.TicksAt(nowNs), kBootNs + static_cast<uint64_t>(nowNs + lateNs), 1000};
    };
    simulation.m_clock.AddLatch(simulation.m_run, answer(15 * kMs));
    EXPECT_FALSE(simulation.Fit()->m_isLatched);
    simulation.m_clock.AddLatch(simulation.m_run, answer(0));
    EXPECT_TRUE(simulation.Fit()->m_isLatched);
}

TEST(DeviceClock, BeginsAnewWhereTheDevicesClockDoes) {
    const Device device = {"before", 1, 50, 1'000'000'000'000, 5 * kMs};
    CSimulation simulation(device);
    simulation.Expect(0, 100);
    const uint32_t former = simulation.m_run;
    simulation.m_clock.Add({5, kBootNs + 20'000'000'000});
    const uint32_t run = simulation.m_clock.Add({33'000'005, kBootNs + 20'033'000'000});
    EXPECT_NE(run, former);
    EXPECT_FALSE(simulation.m_clock.Fit(former)) << "nothing is known of its frames any more";
    simulation.m_clock.AddLatch(former, {5, kBootNs + 20'000'000'000, 0});
    const std::optional<ClockLine> line = simulation.m_clock.Fit(run);
    ASSERT_TRUE(line);
    EXPECT_FALSE(line->m_isLatched) << "an answer of before";
    EXPECT_NEAR(static_cast<double>(line->m_hostNs) + line->DistanceNs(33'000'005),
                static_cast<double>(kBootNs + 20'033'000'000), kMs);
}

TEST(DeviceClock, ForgetsWhatWasBeforeALeapOfTheDevicesClock) {
    const Device before = {"before", 1, 50, 1000, 5 * kMs};
    CSimulation simulation(before);
    simulation.Expect(0, 150);
    const Device after = {"after", 1, 50, 7'000'000'000, 5 * kMs};
    CSimulation later(after);
    std::optional<ClockLine> line;
    for (int i = 150; i < 153; ++i) {
        const ClockSample sample = {later.TicksAt(later.TakenNs(i)),
                                    kBootNs + static_cast<uint64_t>(later.TakenNs(i) + 5 * kMs)};
        line = simulation.m_clock.Fit(simulation.m_clock.Add(sample));
        EXPECT_EQ(line.has_value(), i > 150) << "one frame tells nothing";
    }
    EXPECT_LT(std::abs(later.OffNs(*line, 152) - 5 * kMs), 0.1 * kMs);
}

TEST(DeviceClock, IsNoneOfADeviceWhoseTimeStandsStill) {
    CDeviceClock clock;
    for (uint64_t i = 0; i < 100; ++i) {
        EXPECT_FALSE(clock.Fit(clock.Add({0, kBootNs + i * 33'000'000})));
    }
}

// Numbers of no device's: nothing here may be undefined.
TEST(DeviceClock, BearsTimeStampsOfEverySize) {
    for (const uint64_t step : {uint64_t{1}, uint64_t{1} << 40, uint64_t{1} << 61, ~uint64_t{0} / 2}) {
        CDeviceClock clock;
        clock.SetTickHz(step);
        for (uint64_t i = 0; i < 600; ++i) {
            const uint32_t run = clock.Add({i * step, kBootNs + i * (step % 3 == 1 ? 0 : 33'000'000)});
            clock.AddLatch(run, {~i, kBootNs, ~uint64_t{0} >> 2});
            clock.Fit(run);
        }
    }
}

} // namespace

// StereoMain.cpp - the program ox3d_stereo: how good disparities are against a pair's truth, and what they cost
// in processor time, beside OpenCV in the same run; of threads, in time by the clock. Argument: a folder as StereoQuality.h reads it.
#include "algorithm/binostereo/Matcher.h"
#include "bench/StereoQuality.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using namespace ox3d;
using namespace ox3d::stereo;
using namespace ox3dbench;

namespace {

constexpr int32_t kRounds = 7;
constexpr double kNoise = 8;

// The defaults of the depth parameters.
MatchSettings Defaults(const StereoPair& pair, int32_t disparities) {
    MatchSettings settings{};
    settings.m_width = pair.m_width;
    settings.m_height = pair.m_height;
    settings.m_window = 11;
    settings.m_disparities = disparities;
    settings.m_scansBothWays = true;
    settings.m_toleranceSixteenths = 30;
    settings.m_hasMedian = true;
    settings.m_dropsIslands = true;
    settings.m_islandPixels = 49;
    settings.m_islandStepSixteenths = 15;
    SetPenalties(4, 50, 20, 40, &settings);
    return settings;
}

class CMatched {
public:
    CMatched(const StereoPair& pair, const MatchSettings& settings, uint32_t threads)
        : m_pair(pair), m_settings(settings), m_threads(threads) {
        const auto laidOut = [this](uint8_t* base) {
            return LayOutMatch({m_pair.m_width, m_pair.m_height, m_settings.m_disparities, m_threads}, base,
                               &m_buffers);
        };
        m_memory.resize(laidOut(nullptr).Bytes() + kVectorBytes);
        void* base = m_memory.data();
        size_t room = m_memory.size();
        laidOut(static_cast<uint8_t*>(std::align(kVectorBytes, room - kVectorBytes, base, room)));
    }

    std::vector<int16_t> Run(EKernelTier tier) {
        const int32_t width = m_pair.m_width;
        const int32_t height = m_pair.m_height;
        UseMatchKernelTier(tier);
        FillView(m_pair.m_left.data(), width, width, height, false, m_buffers.m_left);
        FillView(m_pair.m_right.data(), width, width, height, true, m_buffers.m_right);
        const CThreadsAllowed allowed(m_threads);
        const DisparityMap& disparities = Match(m_settings, m_buffers, CPoolTurn(kMinSharedPixels));
        std::vector<int16_t> found;
        for (int32_t y = 0; y < height; ++y) {
            found.insert(found.end(), disparities.Row(y), disparities.Row(y) + width);
        }
        return found;
    }

private:
    const StereoPair& m_pair;
    const MatchSettings m_settings;
    const uint32_t m_threads;
    MatchBuffers m_buffers{};
    std::vector<uint8_t> m_memory;
};

struct Times {
    double m_processorMs;
    double m_clockMs;
};

Times Now() {
    const auto msOf = [](clockid_t clock) {
        timespec now{};
        clock_gettime(clock, &now);
        return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
    };
    return {msOf(CLOCK_PROCESS_CPUTIME_ID), msOf(CLOCK_MONOTONIC)};
}

// One way to disparities.
struct Way {
    std::string m_name;
    const StereoPair* m_pair;
    std::function<std::vector<int16_t>()> m_run;
    size_t m_against;                                // the row whose time its ratio is to
    double Times::*m_counts = &Times::m_processorMs; // in that ratio
    std::vector<int16_t> m_found{};
    std::vector<Times> m_times{};
};

double MedianOfAll(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void Print(const std::vector<Way>& ways) {
    std::printf("%-40s %6s %6s %6s %7s %7s %9s %8s  %s\n", "", "bad-1", "bad-2", "to 1/4", "error", "median",
                "complete", "ms", "ratio of times");
    for (const Way& way : ways) {
        const Way& other = ways[way.m_against];
        std::vector<double> ratios;
        std::vector<double> times;
        for (size_t i = 0; i < way.m_times.size(); ++i) {
            times.push_back(way.m_times[i].*way.m_counts);
            ratios.push_back(times.back() / (other.m_times[i].*way.m_counts));
        }
        std::printf("%-40s ", way.m_name.c_str());
        if (way.m_pair->m_truth.m_samples.empty()) {
            std::printf("%46s ", "");
        } else {
            const PairQuality q = QualityOf(*way.m_pair, way.m_found);
            std::printf("%6.2f %6.2f %6.1f %7.3f %7.3f %7.1f %% ", q.m_bad1, q.m_bad2, q.m_quarter, q.m_mean,
                        q.m_median, q.m_complete);
        }
        std::printf("%8.1f  %.2f of %s\n", MedianOfAll(times), MedianOfAll(ratios), other.m_name.c_str());
    }
}

// One of ours.
struct Own {
    std::string m_name;
    const StereoPair& m_pair;
    int32_t m_disparities;
    EKernelTier m_tier;
    int32_t m_window = 11;
    bool m_scansBothWays = true;
    uint32_t m_threads = 1;
};

class CWays {
public:
    // The row that it is.
    size_t Add(const Own& own, size_t against, double Times::*counts = &Times::m_processorMs) {
        MatchSettings settings = Defaults(own.m_pair, own.m_disparities);
        settings.m_window = own.m_window;
        settings.m_scansBothWays = own.m_scansBothWays;
        SetPenalties(4, 50, 20, 40, &settings);
        const auto matched = std::make_shared<CMatched>(own.m_pair, settings, own.m_threads);
        m_ways.push_back({own.m_name, &own.m_pair,
                          [matched, tier = own.m_tier] { return matched->Run(tier); }, against, counts});
        return m_ways.size() - 1;
    }
    size_t Add(const Own& own) { return Add(own, m_ways.size()); }

    // OpenCV's eight paths, and ours against them; the row of ours.
    size_t AddBeside(const Own& own, [[maybe_unused]] int32_t block) {
#ifdef OX3D_BENCH_OPENCV
        const size_t peer = m_ways.size();
        AddPeer("SGBM, 8 paths, " + own.m_name, own, EOpenCv::EightPaths, block, peer);
        return Add(own, peer);
#else
        return Add(own);
#endif
    }

#ifdef OX3D_BENCH_OPENCV
    void AddPeer(const std::string& name, const Own& own, EOpenCv how, int32_t block, size_t against) {
        m_ways.push_back({"OpenCV " + name, &own.m_pair,
                          [&pair = own.m_pair, disparities = own.m_disparities, how, block] {
                              return MatchedByOpenCv(pair, how, disparities, block);
                          },
                          against});
    }
#endif

    // Where the pixels are lost that one of the measured rows has not within a quarter of a pixel.
    void PrintLosses(size_t row) const {
        const Way& way = m_ways[row];
        std::printf("\n%-40s %6s %6s %6s %6s\n", (way.m_name + ": percent of the pixels").c_str(), "all",
                    "none", "> 1", "> 1/4");
        for (const PairLoss& loss : LossesOf(*way.m_pair, way.m_found)) {
            std::printf("%-40s %6.2f %6.2f %6.2f %6.2f\n", loss.m_where, loss.m_share, loss.m_none,
                        loss.m_far, loss.m_quarter);
        }
    }

    void Measure() {
        for (int32_t round = 0; round < kRounds; ++round) {
            for (Way& way : m_ways) {
                const Times begin = Now();
                way.m_found = way.m_run();
                const Times end = Now();
                way.m_times.push_back(
                    {end.m_processorMs - begin.m_processorMs, end.m_clockMs - begin.m_clockMs});
            }
        }
        Print(m_ways);
    }

private:
    std::vector<Way> m_ways;
};

} // namespace

int main(int argc, char** argv) {
    StereoPair pair;
    std::string error;
    if (argc != 2 || !ReadStereoPair(argv[1], &pair, &error)) {
        std::fprintf(stderr, "usage: ox3d_stereo FOLDER\n%s\n", error.c_str());
        return 2;
    }
    const StereoPair noisy = Noisy(pair, kNoise);
    const StereoPair scene = ScenePair();
    const StereoPair small = Repeated(pair, 640, 480);
    const StereoPair large = Repeated(pair, 1280, 1024);
    const EKernelTier best = BestKernelTier();
    const EKernelTier avx2 = std::min(EKernelTier::Avx2, best);
    CPoolUse pool;
    pool.Ask(kMaxMatchThreads);
    CWays ways;
    const size_t first = ways.AddBeside({"80", pair, 80, avx2}, 3);
#ifdef OX3D_BENCH_OPENCV
    const Own eighty{"80", pair, 80, avx2};
    ways.AddPeer("SGBM, 5 paths, 80", eighty, EOpenCv::FivePaths, 3, 0);
    ways.AddPeer("SGBM, 3 paths, 80", eighty, EOpenCv::ThreePaths, 5, 0);
    ways.AddPeer("BM, 80", eighty, EOpenCv::Blocks, 15, 0);
#endif
    const size_t wide = ways.AddBeside({"240", pair, 240, avx2}, 3);
    ways.AddBeside({"noise, 80", noisy, 80, avx2}, 5);
    const size_t plain = ways.AddBeside({"scene, 128", scene, 128, avx2}, 3);
    ways.Add({"80, window 7", pair, 80, avx2, 7}, first);
    ways.Add({"80, five paths", pair, 80, avx2, 11, false}, first);
    ways.Add({"80, two threads, by the clock", pair, 80, avx2, 11, true, 2}, first, &Times::m_clockMs);
    ways.Add({"240, two threads, by the clock", pair, 240, avx2, 11, true, 2}, wide, &Times::m_clockMs);
    ways.Add({"80, best processor", pair, 80, best}, first);
    ways.Add({"240, best processor", pair, 240, best}, wide);
    ways.Add({"640 x 480, 64", small, 64, avx2});
    const size_t most = ways.AddBeside({"1280 x 1024, 288", large, 288, avx2}, 3);
    ways.Add({"1280 x 1024, 288, best processor", large, 288, best}, most);
    ways.Measure();
#ifdef OX3D_BENCH_OPENCV
    ways.PrintLosses(plain - 1); // the peer's
#endif
    ways.PrintLosses(plain);
    return 0;
}

// StereoMain.cpp - the program ox3d_stereo: how good disparities are against a pair's truth, and what they cost
// in processor time, beside OpenCV in the same run. Argument: a folder as StereoQuality.h reads it.
#include "algorithm/binostereo/Matcher.h"
#include "bench/StereoQuality.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>

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
    CMatched(const StereoPair& pair, const MatchSettings& settings) : m_pair(pair), m_settings(settings) {
        const auto laidOut = [this](uint8_t* base) {
            return LayOutMatch(m_pair.m_width, m_pair.m_height, m_settings.m_disparities, base, &m_buffers);
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
        Match(m_settings, m_buffers);
        std::vector<int16_t> found;
        for (int32_t y = 0; y < height; ++y) {
            found.insert(found.end(), m_buffers.m_cleaned.Row(y), m_buffers.m_cleaned.Row(y) + width);
        }
        return found;
    }

private:
    const StereoPair& m_pair;
    const MatchSettings m_settings;
    MatchBuffers m_buffers{};
    std::vector<uint8_t> m_memory;
};

// One way to disparities.
struct Way {
    const char* m_name;
    const StereoPair* m_pair;
    std::function<std::vector<int16_t>()> m_run;
    std::vector<int16_t> m_found;
    std::vector<double> m_ms;
    size_t m_against; // the row whose time its ratio is to
};

double ProcessorMs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double MedianOfAll(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void Print(const std::vector<Way>& ways) {
    std::printf("%-34s %6s %6s %7s %9s %8s  %s\n", "", "bad-1", "bad-2", "error", "complete", "ms",
                "ratio of times");
    for (const Way& way : ways) {
        const StereoQuality q = QualityOf(*way.m_pair, way.m_found);
        const Way& other = ways[way.m_against];
        std::vector<double> ratios(way.m_ms.size());
        std::transform(way.m_ms.begin(), way.m_ms.end(), other.m_ms.begin(), ratios.begin(),
                       std::divides<>());
        std::printf("%-34s %6.2f %6.2f %7.3f %7.1f %% %8.1f  %.2f of %s\n", way.m_name, q.m_bad1, q.m_bad2,
                    q.m_mean, q.m_complete, MedianOfAll(way.m_ms), MedianOfAll(ratios), other.m_name);
    }
}

} // namespace

int main(int argc, char** argv) {
    StereoPair pair;
    std::string error;
    if (argc != 2 || !ReadStereoPair(argv[1], &pair, &error)) {
        std::fprintf(stderr, "usage: ox3d_stereo FOLDER\n%s\n", error.c_str());
        return 2;
    }
    const StereoPair noisy = Noisy(pair, kNoise);
    const EKernelTier avx2 = std::min(EKernelTier::Avx2, BestKernelTier());
    std::vector<Way> ways;
    const auto addOwn = [&](const char* name, const StereoPair& views, int32_t disparities, int32_t window,
                            bool scansBothWays, EKernelTier tier, size_t against) {
        MatchSettings settings = Defaults(views, disparities);
        settings.m_window = window;
        settings.m_scansBothWays = scansBothWays;
        SetPenalties(4, 50, 20, 40, &settings);
        const auto matched = std::make_shared<CMatched>(views, settings);
        ways.push_back({name, &views, [matched, tier] { return matched->Run(tier); }, {}, {}, against});
    };
    size_t first = 0;
#ifdef OX3D_BENCH_OPENCV
    const auto addPeer = [&](const char* name, const StereoPair& views, int32_t disparities, int32_t block) {
        ways.push_back({name,
                        &views,
                        [&views, disparities, block] { return MatchedByOpenCv(views, disparities, block); },
                        {},
                        {},
                        ways.size()});
    };
    addPeer("OpenCV, 80", pair, 80, 3);
    addPeer("OpenCV, 240", pair, 240, 3);
    addPeer("OpenCV, noise, 80", noisy, 80, 5);
    first = ways.size();
#endif
    const auto against = [first](size_t row, size_t own) { return first == 0 ? own : row; };
    addOwn("80", pair, 80, 11, true, avx2, against(0, 0));
    addOwn("240", pair, 240, 11, true, avx2, against(1, 1));
    addOwn("noise, 80", noisy, 80, 11, true, avx2, against(2, 2));
    addOwn("80, window 7", pair, 80, 7, true, avx2, first);
    addOwn("80, five paths", pair, 80, 11, false, avx2, first);
    addOwn("80, best processor", pair, 80, 11, true, BestKernelTier(), first);
    addOwn("240, best processor", pair, 240, 11, true, BestKernelTier(), first + 1);
    for (int32_t round = 0; round < kRounds; ++round) {
        for (Way& way : ways) {
            const double begin = ProcessorMs();
            way.m_found = way.m_run();
            way.m_ms.push_back(ProcessorMs() - begin);
        }
    }
    Print(ways);
    return 0;
}

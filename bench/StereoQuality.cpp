// StereoQuality.cpp - see StereoQuality.h.
#include "bench/StereoQuality.h"

#include "base/PngFile.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace ox3dbench {
namespace {

std::vector<uint8_t> Grey(const std::vector<uint8_t>& planes) {
    const size_t pixels = planes.size() / 3;
    std::vector<uint8_t> grey(pixels);
    for (size_t i = 0; i < pixels; ++i) {
        const int32_t sum = 4899 * planes[i] + 9617 * planes[pixels + i] + 1868 * planes[2 * pixels + i];
        grey[i] = static_cast<uint8_t>((sum + 8192) >> 14);
    }
    return grey;
}

// Keeps the truth of pixels that nothing nearer hides from the right view.
void DropHidden(StereoPair* pair) {
    std::vector<double> nearest(static_cast<size_t>(pair->m_width));
    for (int32_t y = 0; y < pair->m_height; ++y) {
        uint16_t* const truth = pair->m_truth.data() + int64_t{y} * pair->m_width;
        std::fill(nearest.begin(), nearest.end(), 0);
        const auto seenAt = [&](int32_t x) { return std::lround(x - truth[x] / 256.0); };
        for (int32_t x = 0; x < pair->m_width; ++x) {
            if (truth[x] != 0 && seenAt(x) >= 0) {
                double& there = nearest[static_cast<size_t>(seenAt(x))];
                there = std::max(there, truth[x] / 256.0);
            }
        }
        for (int32_t x = 0; x < pair->m_width; ++x) {
            const bool isSeen = truth[x] != 0 && seenAt(x) >= 0 &&
                                nearest[static_cast<size_t>(seenAt(x))] - truth[x] / 256.0 <= 1;
            truth[x] = isSeen ? truth[x] : uint16_t{0};
        }
    }
}

} // namespace

bool ReadStereoPair(const std::string& folder, StereoPair* pair, std::string* error) {
    ox3d::PngSize left{};
    ox3d::PngSize right{};
    ox3d::PngSize truth{};
    std::vector<uint8_t> leftPlanes;
    std::vector<uint8_t> rightPlanes;
    if (!ox3d::ReadColorPng(folder + "/left.png", &left, &leftPlanes, error) ||
        !ox3d::ReadColorPng(folder + "/right.png", &right, &rightPlanes, error) ||
        !ox3d::ReadDepthPng(folder + "/disparity_x256.png", &truth, &pair->m_truth, error)) {
        return false;
    }
    if (leftPlanes.size() != rightPlanes.size() || leftPlanes.size() != 3 * pair->m_truth.size() ||
        left.m_width != right.m_width || left.m_width != truth.m_width) {
        *error = folder + ": the images differ in size";
        return false;
    }
    pair->m_width = static_cast<int32_t>(left.m_width);
    pair->m_height = static_cast<int32_t>(left.m_height);
    pair->m_left = Grey(leftPlanes);
    pair->m_right = Grey(rightPlanes);
    DropHidden(pair);
    return true;
}

StereoPair Noisy(const StereoPair& pair, double deviation) {
    StereoPair noisy = pair;
    std::mt19937 random(1);
    std::normal_distribution<double> sensor(0, deviation);
    for (std::vector<uint8_t>* view : {&noisy.m_left, &noisy.m_right}) {
        for (uint8_t& sample : *view) {
            sample = static_cast<uint8_t>(std::clamp(std::lround(sample + sensor(random)), 0L, 255L));
        }
    }
    return noisy;
}

StereoQuality QualityOf(const StereoPair& pair, const std::vector<int16_t>& sixteenths) {
    double known = 0;
    double found = 0;
    double off1 = 0;
    double off2 = 0;
    double sum = 0;
    for (size_t i = 0; i < pair.m_truth.size(); ++i) {
        if (pair.m_truth[i] == 0) {
            continue;
        }
        ++known;
        const bool isThere = sixteenths[i] > 0;
        const double error = std::abs(sixteenths[i] / 16.0 - pair.m_truth[i] / 256.0);
        found += isThere ? 1 : 0;
        sum += isThere ? error : 0;
        off1 += !isThere || error > 1 ? 1 : 0;
        off2 += !isThere || error > 2 ? 1 : 0;
    }
    return {100 * off1 / known, 100 * off2 / known, sum / found, 100 * found / known};
}

} // namespace ox3dbench

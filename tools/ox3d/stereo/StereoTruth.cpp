// The true disparities of a stereo pair, and how far found ones are from them.
#include "tools/ox3d/stereo/StereoTruth.h"

#include "base/LocalFile.h"
#include "base/PngFile.h"
#include "tools/ox3d/ExitCode.h"

#include <algorithm>
#include <cmath>

namespace ox3d::tool {
namespace {

constexpr uint64_t kMaxPfmBytes = kMaxPngPixels * sizeof(float) + 4096;
constexpr float kLargestDisparity = 32768; // of a picture of the largest size

bool IsKnown(float truth) {
    return truth > 0 && truth < kLargestDisparity; // infinite, and no number: not known
}

} // namespace

FloatImage ReadTruth(const std::string& file) {
    FloatImage truth;
    std::string head;
    if (ReadLocalFile(file, 2, &head, ELongFile::Cut) && IsPfm(head)) {
        std::string bytes;
        if (!ReadLocalFile(file, kMaxPfmBytes, &bytes) || !ReadPfm(bytes, &truth)) {
            throw CToolError(EExitCode::File,
                             "cannot read " + file + ": no PFM file with one number a pixel");
        }
        std::replace_if(
            truth.m_samples.begin(), truth.m_samples.end(), [](float value) { return !IsKnown(value); },
            0.0F);
        return truth;
    }
    PngSize size;
    std::vector<uint16_t> samples;
    std::string error;
    if (!ReadDepthPng(file, &size, &samples, &error)) {
        throw CToolError(EExitCode::File, "cannot read " + error);
    }
    truth = FloatImage(size.m_width, size.m_height);
    std::transform(samples.begin(), samples.end(), truth.m_samples.begin(),
                   [](uint16_t value) { return static_cast<float>(value) / 256.0F; });
    return truth;
}

void DropHidden(FloatImage* truth) {
    constexpr float kSameSurface = 1; // pixel
    std::vector<float> nearest(truth->m_width);
    for (uint32_t y = 0; y < truth->m_height; ++y) {
        std::fill(nearest.begin(), nearest.end(), 0.0F);
        const auto seenAt = [&](uint32_t x) { return std::lround(x - double{truth->At(x, y)}); };
        for (uint32_t x = 0; x < truth->m_width; ++x) {
            if (truth->At(x, y) > 0 && seenAt(x) >= 0) {
                float& there = nearest[static_cast<size_t>(seenAt(x))];
                there = std::max(there, truth->At(x, y));
            }
        }
        for (uint32_t x = 0; x < truth->m_width; ++x) {
            float& here = truth->At(x, y);
            const bool isSeen =
                here > 0 && seenAt(x) >= 0 && nearest[static_cast<size_t>(seenAt(x))] - here <= kSameSurface;
            here = isSeen ? here : 0.0F;
        }
    }
}

StereoQuality QualityOf(const FloatImage& truth, const DisparityImage& found) {
    StereoQuality quality;
    uint64_t complete = 0;
    uint64_t off1 = 0;
    uint64_t off2 = 0;
    double sum = 0;
    for (size_t i = 0; i < truth.m_samples.size(); ++i) {
        if (!(truth.m_samples[i] > 0)) {
            continue;
        }
        ++quality.m_known;
        const bool isThere = found.m_samples[i] > 0;
        const double error = std::abs(found.m_samples[i] / 16.0 - double{truth.m_samples[i]});
        complete += isThere ? 1 : 0;
        sum += isThere ? error : 0;
        off1 += !isThere || error > 1 ? 1 : 0;
        off2 += !isThere || error > 2 ? 1 : 0;
    }
    const auto percent = [&](uint64_t pixels) {
        return quality.m_known == 0
                   ? 0
                   : 100 * static_cast<double>(pixels) / static_cast<double>(quality.m_known);
    };
    quality.m_bad1 = percent(off1);
    quality.m_bad2 = percent(off2);
    quality.m_complete = percent(complete);
    quality.m_mean = complete == 0 ? 0 : sum / static_cast<double>(complete);
    return quality;
}

} // namespace ox3d::tool

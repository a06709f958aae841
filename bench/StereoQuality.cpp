// StereoQuality.cpp - see StereoQuality.h.
#include "bench/StereoQuality.h"

#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/stereo/StereoPicture.h"
#include "virtual-camera/frames/FrameSource.h"
#include "virtual-camera/frames/SceneModel.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <stdexcept>

namespace ox3dbench {

using namespace ox3d::tool;

namespace {

constexpr int32_t kHalfWindow = 5; // of the default window, 11 x 11
constexpr int32_t kNearEdge = kHalfWindow + 1;
constexpr int32_t kPlainNearEdge = 40;
constexpr double kFirstColumns = 16; // of the right view

// How many pixels it is to where the truth steps by more than a pixel, or is not known.
std::vector<int32_t> EdgeDistances(const FloatImage& truth) {
    const auto width = static_cast<int32_t>(truth.m_width);
    const auto height = static_cast<int32_t>(truth.m_height);
    std::vector<int32_t> distances(truth.m_samples.size(), width + height);
    const auto visit = [&](int32_t x, int32_t y, int32_t dx, int32_t dy) {
        const int32_t u = x + dx;
        const int32_t v = y + dy;
        if (u < 0 || u >= width || v < 0 || v >= height) {
            return;
        }
        const auto here = static_cast<size_t>(y) * truth.m_width + static_cast<size_t>(x);
        const auto there = static_cast<size_t>(v) * truth.m_width + static_cast<size_t>(u);
        const float mine = truth.m_samples[here];
        const float other = truth.m_samples[there];
        const bool isEdge = !(mine > 0) || !(other > 0) || std::abs(mine - other) > 1;
        distances[here] = std::min(distances[here], isEdge ? 0 : distances[there] + 1);
    };
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            for (const int32_t dx : {-1, 0, 1}) {
                visit(x, y, dx, -1);
            }
            visit(x, y, -1, 0);
        }
    }
    for (int32_t y = height - 1; y >= 0; --y) {
        for (int32_t x = width - 1; x >= 0; --x) {
            for (const int32_t dx : {-1, 0, 1}) {
                visit(x, y, dx, 1);
            }
            visit(x, y, 1, 0);
        }
    }
    return distances;
}

// Whether grey values within the window rise by at most one from a column to the next.
bool IsPlain(const StereoPair& pair, int32_t x, int32_t y) {
    for (int32_t v = std::max(y - kHalfWindow, 0); v <= std::min(y + kHalfWindow, pair.m_height - 1); ++v) {
        const uint8_t* const row = pair.m_left.data() + static_cast<ptrdiff_t>(v) * pair.m_width;
        for (int32_t u = std::max(x - kHalfWindow, 1); u <= std::min(x + kHalfWindow, pair.m_width - 1);
             ++u) {
            if (std::abs(row[u] - row[u - 1]) > 1) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

bool ReadStereoPair(const std::string& folder, StereoPair* pair, std::string* error) {
    try {
        const GreyImage left = ReadStereoPicture(folder + "/left.png").m_grey;
        const GreyImage right = ReadStereoPicture(folder + "/right.png").m_grey;
        pair->m_truth = ReadTruth(folder + "/disparity_x256.png");
        const auto hasSizeOfLeft = [&](const auto& image) {
            return image.m_width == left.m_width && image.m_height == left.m_height;
        };
        if (!hasSizeOfLeft(right) || !hasSizeOfLeft(pair->m_truth)) {
            *error = folder + ": the images differ in size";
            return false;
        }
        pair->m_width = static_cast<int32_t>(left.m_width);
        pair->m_height = static_cast<int32_t>(left.m_height);
        pair->m_left = left.m_samples;
        pair->m_right = right.m_samples;
        DropHidden(&pair->m_truth);
        return true;
    } catch (const CToolError& failure) {
        *error = failure.what();
        return false;
    }
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

StereoPair Repeated(const StereoPair& pair, int32_t width, int32_t height) {
    StereoPair repeated{width, height, {}, {}, {}};
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const auto at = static_cast<size_t>(y % pair.m_height) * static_cast<size_t>(pair.m_width) +
                            static_cast<size_t>(x % pair.m_width);
            repeated.m_left.push_back(pair.m_left[at]);
            repeated.m_right.push_back(pair.m_right[at]);
        }
    }
    return repeated;
}

StereoPair ScenePair() {
    ox3d::FrameSourceConfig config;
    config.m_noise = false;
    config.m_colorWidth = config.m_colorHeight = 0;
    StereoPair pair;
    pair.m_width = static_cast<int32_t>(config.m_depthWidth);
    pair.m_height = static_cast<int32_t>(config.m_depthHeight);
    std::string error;
    const auto scene = ox3d::CreateFrameSource(config, &error);
    ox3d::FrameImages images;
    if (scene == nullptr || !scene->Render(0, false, true, &images)) {
        throw std::runtime_error("no scene: " + error);
    }
    const auto right = images.m_greyPair.begin() + static_cast<ptrdiff_t>(images.m_depth.size());
    pair.m_left.assign(images.m_greyPair.begin(), right);
    pair.m_right.assign(right, images.m_greyPair.end());
    pair.m_truth = FloatImage(config.m_depthWidth, config.m_depthHeight);
    const double focal = ox3d::CSceneModel::Get().DepthCamera(config.m_depthWidth, config.m_depthHeight).m_fx;
    std::transform(images.m_depth.begin(), images.m_depth.end(), pair.m_truth.m_samples.begin(),
                   [focal](uint16_t mm) {
                       return mm == 0 ? 0.0F : static_cast<float>(focal * ox3d::kSceneBaselineMm / mm);
                   });
    DropHidden(&pair.m_truth);
    return pair;
}

PairQuality QualityOf(const StereoPair& pair, const std::vector<int16_t>& sixteenths) {
    DisparityImage found(pair.m_truth.m_width, pair.m_truth.m_height);
    found.m_samples = sixteenths;
    PairQuality quality{ox3d::tool::QualityOf(pair.m_truth, found)};
    std::vector<double> errors;
    for (size_t i = 0; i < sixteenths.size(); ++i) {
        const double truth = static_cast<double>(pair.m_truth.m_samples[i]);
        if (truth > 0 && sixteenths[i] > 0) {
            errors.push_back(std::abs(sixteenths[i] / 16.0 - truth));
        }
    }
    std::sort(errors.begin(), errors.end());
    if (!errors.empty()) {
        const auto close = std::upper_bound(errors.begin(), errors.end(), 0.25) - errors.begin();
        quality.m_quarter = 100.0 * static_cast<double>(close) / static_cast<double>(quality.m_known);
        quality.m_median = errors[errors.size() / 2];
    }
    return quality;
}

std::vector<PairLoss> LossesOf(const StereoPair& pair, const std::vector<int16_t>& sixteenths) {
    std::vector<PairLoss> losses{{"the right view's first 16 columns"},
                                 {"within 6 pixels of an edge"},
                                 {"plain, within 40 pixels of an edge"},
                                 {"plain elsewhere"},
                                 {"with texture"}};
    const std::vector<int32_t> distances = EdgeDistances(pair.m_truth);
    double known = 0;
    for (int32_t y = 0; y < pair.m_height; ++y) {
        for (int32_t x = 0; x < pair.m_width; ++x) {
            const size_t at = static_cast<size_t>(y) * pair.m_truth.m_width + static_cast<size_t>(x);
            const double truth = static_cast<double>(pair.m_truth.m_samples[at]);
            if (!(truth > 0)) {
                continue;
            }
            ++known;
            size_t kind = 4;
            if (x - truth < kFirstColumns) {
                kind = 0;
            } else if (distances[at] <= kNearEdge) {
                kind = 1;
            } else if (IsPlain(pair, x, y)) {
                kind = distances[at] <= kPlainNearEdge ? 2 : 3;
            }
            PairLoss& loss = losses[kind];
            const double error = std::abs(sixteenths[at] / 16.0 - truth);
            ++loss.m_share;
            if (sixteenths[at] <= 0) {
                ++loss.m_none;
            } else if (error > 1) {
                ++loss.m_far;
            } else if (error > 0.25) {
                ++loss.m_quarter;
            }
        }
    }
    for (PairLoss& loss : losses) {
        for (double PairLoss::*const count :
             {&PairLoss::m_share, &PairLoss::m_none, &PairLoss::m_far, &PairLoss::m_quarter}) {
            loss.*count *= known == 0 ? 0 : 100 / known;
        }
    }
    return losses;
}

} // namespace ox3dbench

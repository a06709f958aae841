// Depth edges: gaps are closed, then smoothed gradients are thinned and followed as contours usually are.
// All of it in inverse depth, where every plane is an even ramp and the noise of a stereo camera is the same
// near and far.
#include "tools/ox3d/pictures/DepthEdges.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace ox3d::tool {
namespace {

using FloatImage = Image<float>;

constexpr uint32_t kMaxGapPixels = 32; // wider gaps are unknown ground: no edge is claimed across them
constexpr std::array<float, 6> kKernel = {0.1995F, 0.1760F, 0.1210F, 0.0648F, 0.0270F, 0.0088F}; // sigma 2 px
constexpr int kSlopeDistance = 10; // pixels: where the surfaces beside an edge are asked for their slope
constexpr float kStrong = 0.0075F; // relative change of depth a pixel that starts a line
constexpr float kWeak = 0.0028F;   // and that continues one
constexpr size_t kMinLinePixels = 20;

// Closes single gaps with the median of their neighbours, which invents no depth between two things.
FloatImage InverseWithoutRaster(const DepthImage& depth) {
    FloatImage result(depth.m_width, depth.m_height);
    for (uint32_t y = 0; y < depth.m_height; ++y) {
        for (uint32_t x = 0; x < depth.m_width; ++x) {
            std::array<uint16_t, 9> around{};
            ptrdiff_t count = 0;
            for (uint32_t i = 0; i < 9 && depth.At(x, y) == 0; ++i) {
                const uint32_t u = x + i % 3 - 1; // below 0 wraps and fails the comparison
                const uint32_t v = y + i / 3 - 1;
                if (u < depth.m_width && v < depth.m_height && depth.At(u, v) != 0) {
                    around[count++] = depth.At(u, v);
                }
            }
            std::nth_element(around.begin(), around.begin() + count / 2, around.begin() + count);
            const uint16_t sample = count >= 2 ? around[count / 2] : depth.At(x, y);
            result.At(x, y) = sample == 0 ? 0.0F : 1.0F / static_cast<float>(sample);
        }
    }
    return result;
}

// Fills the gaps of one row or column with the farther of their ends: ground that a stereo camera cannot
// see beside a thing lies behind it, so the edge stays at the thing.
void CloseGaps(FloatImage& inverse, size_t first, size_t step, uint32_t count) {
    uint32_t next = 0; // behind the last known sample; 0: none yet
    for (uint32_t i = 0; i < count; ++i) {
        const float here = inverse.m_samples[first + i * step];
        if (here == 0.0F) {
            continue;
        }
        if (next != 0 && i - next <= kMaxGapPixels) {
            const float fill = std::min(here, inverse.m_samples[first + (next - 1) * step]);
            for (uint32_t gap = next; gap < i; ++gap) {
                inverse.m_samples[first + gap * step] = fill;
            }
        }
        next = i + 1;
    }
}

// Smooths along one direction over the known samples only.
FloatImage Smooth(const FloatImage& image, int dx, int dy) {
    FloatImage result(image.m_width, image.m_height);
    for (uint32_t y = 0; y < image.m_height; ++y) {
        for (uint32_t x = 0; x < image.m_width; ++x) {
            float sum = 0.0F;
            float weights = 0.0F;
            for (int k = 1 - static_cast<int>(kKernel.size()); k < static_cast<int>(kKernel.size()); ++k) {
                const auto u = static_cast<uint32_t>(static_cast<int>(x) + k * dx);
                const auto v = static_cast<uint32_t>(static_cast<int>(y) + k * dy);
                if (u < image.m_width && v < image.m_height && image.At(u, v) != 0.0F) {
                    const float weight = kKernel[static_cast<size_t>(std::abs(k))];
                    sum += weight * image.At(u, v);
                    weights += weight;
                }
            }
            result.At(x, y) = image.At(x, y) == 0.0F ? 0.0F : sum / weights;
        }
    }
    return result;
}

// Whether a sample was measured within two pixels: farther into a closed gap an edge would be made up.
bool IsMeasuredNear(const DepthImage& depth, uint32_t x, uint32_t y) {
    for (uint32_t v = y < 2 ? 0 : y - 2; v <= y + 2 && v < depth.m_height; ++v) {
        for (uint32_t u = x < 2 ? 0 : x - 2; u <= x + 2 && u < depth.m_width; ++u) {
            if (depth.At(u, v) != 0) {
                return true;
            }
        }
    }
    return false;
}

FloatImage PrepareInverse(const DepthImage& depth) {
    FloatImage inverse = InverseWithoutRaster(depth);
    for (uint32_t y = 0; y < depth.m_height; ++y) {
        CloseGaps(inverse, size_t{y} * depth.m_width, 1, depth.m_width);
    }
    for (uint32_t x = 0; x < depth.m_width; ++x) {
        CloseGaps(inverse, x, depth.m_width, depth.m_height);
    }
    return Smooth(Smooth(inverse, 1, 0), 0, 1);
}

// Relative change of depth a pixel, to the right and downwards; 0 beside unknown samples.
class CGradient {
public:
    explicit CGradient(const FloatImage& inverse)
        : m_x(inverse.m_width, inverse.m_height), m_y(inverse.m_width, inverse.m_height) {
        for (uint32_t y = 1; y + 1 < inverse.m_height; ++y) {
            for (uint32_t x = 1; x + 1 < inverse.m_width; ++x) {
                const float left = inverse.At(x - 1, y);
                const float right = inverse.At(x + 1, y);
                const float up = inverse.At(x, y - 1);
                const float down = inverse.At(x, y + 1);
                if (std::min({left, right, up, down}) > 0.0F) {
                    const float scale = 0.5F / std::max({left, right, up, down});
                    m_x.At(x, y) = (right - left) * scale;
                    m_y.At(x, y) = (down - up) * scale;
                }
            }
        }
    }

    // How strongly the depth steps here beyond the slope of the surfaces on both sides; 0 where the gradient
    // has no ridge.
    float EdgeStrength(uint32_t x, uint32_t y) const {
        const float gx = m_x.At(x, y);
        const float gy = m_y.At(x, y);
        const float length = std::hypot(gx, gy);
        if (length < kWeak) {
            return 0.0F;
        }
        const std::pair<float, float> unit = {gx / length, gy / length};
        if (Along(x, y, unit, 1) > length || Along(x, y, unit, -1) >= length) {
            return 0.0F;
        }
        const float slope =
            std::max({0.0F, Along(x, y, unit, kSlopeDistance), Along(x, y, unit, -kSlopeDistance)});
        return length - slope;
    }

private:
    // The gradient's part in the direction `unit`, `distance` pixels away in that direction.
    float Along(uint32_t x, uint32_t y, std::pair<float, float> unit, int distance) const {
        const auto u = static_cast<uint32_t>(
            std::lround(static_cast<float>(x) + unit.first * static_cast<float>(distance)));
        const auto v = static_cast<uint32_t>(
            std::lround(static_cast<float>(y) + unit.second * static_cast<float>(distance)));
        if (u >= m_x.m_width || v >= m_x.m_height) {
            return 0.0F;
        }
        return m_x.At(u, v) * unit.first + m_y.At(u, v) * unit.second;
    }

    FloatImage m_x;
    FloatImage m_y;
};

// Collects the line that runs through `start` and takes it out of `strengths`.
std::vector<size_t> TakeLine(FloatImage& strengths, size_t start, float* strongest) {
    std::vector<size_t> line = {start};
    *strongest = std::exchange(strengths.m_samples[start], 0.0F);
    for (size_t i = 0; i < line.size(); ++i) {
        const auto x = static_cast<uint32_t>(line[i] % strengths.m_width);
        const auto y = static_cast<uint32_t>(line[i] / strengths.m_width);
        for (uint32_t k = 0; k < 9; ++k) {
            const uint32_t u = x + k % 3 - 1;
            const uint32_t v = y + k / 3 - 1;
            if (u < strengths.m_width && v < strengths.m_height && strengths.At(u, v) >= kWeak) {
                *strongest = std::max(*strongest, std::exchange(strengths.At(u, v), 0.0F));
                line.push_back(size_t{v} * strengths.m_width + u);
            }
        }
    }
    return line;
}

} // namespace

MaskImage FindDepthEdges(const DepthImage& depth) {
    const CGradient gradient(PrepareInverse(depth));
    FloatImage strengths(depth.m_width, depth.m_height);
    for (uint32_t y = 0; y < depth.m_height; ++y) {
        for (uint32_t x = 0; x < depth.m_width; ++x) {
            strengths.At(x, y) = IsMeasuredNear(depth, x, y) ? gradient.EdgeStrength(x, y) : 0.0F;
        }
    }
    MaskImage edges(depth.m_width, depth.m_height);
    for (size_t i = 0; i < strengths.m_samples.size(); ++i) {
        if (strengths.m_samples[i] < kWeak) {
            continue;
        }
        float strongest = 0.0F;
        const std::vector<size_t> line = TakeLine(strengths, i, &strongest);
        if (strongest >= kStrong && line.size() >= kMinLinePixels) {
            for (const size_t index : line) {
                edges.m_samples[index] = 1;
            }
        }
    }
    return edges;
}

} // namespace ox3d::tool

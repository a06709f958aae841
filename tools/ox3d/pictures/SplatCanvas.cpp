// Drawing points. The shading darkens a pixel by how far its neighbours stand in front of it, which makes
// shapes readable without knowing any normals.
#include "tools/ox3d/pictures/SplatCanvas.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ox3d::tool {
namespace {

constexpr uint32_t kFine = 2; // fine pixels for each pixel of the picture, in both directions
constexpr float kMaxRadius = 12.0F;
constexpr float kNothing = std::numeric_limits<float>::infinity();
constexpr Rgb kGroundTop = {44, 48, 56};
constexpr Rgb kGroundBottom = {18, 19, 23};

uint8_t Mix(uint8_t a, uint8_t b, float t) {
    return static_cast<uint8_t>(
        std::lround(static_cast<float>(a) + (static_cast<float>(b) - static_cast<float>(a)) * t));
}

Rgb Mix(Rgb a, Rgb b, float t) {
    return {Mix(a.r, b.r, t), Mix(a.g, b.g, t), Mix(a.b, b.b, t)};
}

} // namespace

CSplatCanvas::CSplatCanvas(uint32_t width, uint32_t height)
    : m_colors(width * kFine, height * kFine), m_distances(width * kFine, height * kFine, kNothing) {}

void CSplatCanvas::Splat(float x, float y, float radius, float distance, Rgb color) {
    const float r = std::clamp(radius * kFine, 0.5F, kMaxRadius);
    const float cx = x * kFine;
    const float cy = y * kFine;
    // Also false for a NaN.
    if (!(cx >= -r && cy >= -r && cx <= static_cast<float>(m_colors.m_width) + r &&
          cy <= static_cast<float>(m_colors.m_height) + r)) {
        return;
    }
    const auto left = static_cast<uint32_t>(std::max(0.0F, std::floor(cx - r + 0.5F)));
    const auto top = static_cast<uint32_t>(std::max(0.0F, std::floor(cy - r + 0.5F)));
    for (uint32_t v = top; v < m_colors.m_height && static_cast<float>(v) + 0.5F <= cy + r; ++v) {
        for (uint32_t u = left; u < m_colors.m_width && static_cast<float>(u) + 0.5F <= cx + r; ++u) {
            const float dx = static_cast<float>(u) + 0.5F - cx;
            const float dy = static_cast<float>(v) + 0.5F - cy;
            if (dx * dx + dy * dy <= r * r + 0.25F && distance < m_distances.At(u, v)) {
                m_distances.At(u, v) = distance;
                m_colors.At(u, v) = color;
            }
        }
    }
}

float CSplatCanvas::MeanDistance() const {
    double sum = 0.0;
    double count = 0.0;
    for (const float distance : m_distances.m_samples) {
        if (distance != kNothing) {
            sum += static_cast<double>(distance);
            count += 1.0;
        }
    }
    return count == 0.0 ? 0.0F : static_cast<float>(sum / count);
}

float CSplatCanvas::ShadeAt(uint32_t x, uint32_t y, float unit) const {
    constexpr uint32_t kAround = 2 * kFine;
    if (x < kAround || y < kAround || x + kAround >= m_colors.m_width || y + kAround >= m_colors.m_height) {
        return 1.0F;
    }
    const float here = m_distances.At(x, y);
    const float neighbours[] = {m_distances.At(x - kAround, y), m_distances.At(x + kAround, y),
                                m_distances.At(x, y - kAround), m_distances.At(x, y + kAround)};
    float inFront = 0.0F;
    for (const float neighbour : neighbours) {
        inFront += std::clamp((here - neighbour) / unit, 0.0F, 1.0F);
    }
    return 1.0F - 0.16F * inFront;
}

RgbImage CSplatCanvas::Finish(float unit) const {
    RgbImage picture(m_colors.m_width / kFine, m_colors.m_height / kFine);
    for (uint32_t y = 0; y < picture.m_height; ++y) {
        const Rgb ground =
            Mix(kGroundTop, kGroundBottom, static_cast<float>(y) / static_cast<float>(picture.m_height));
        for (uint32_t x = 0; x < picture.m_width; ++x) {
            float sum[3] = {};
            for (uint32_t i = 0; i < kFine * kFine; ++i) {
                const uint32_t u = x * kFine + i % kFine;
                const uint32_t v = y * kFine + i / kFine;
                const bool isPoint = m_distances.At(u, v) != kNothing;
                const Rgb color = isPoint ? m_colors.At(u, v) : ground;
                const float shade = isPoint ? ShadeAt(u, v, unit) : 1.0F;
                sum[0] += shade * static_cast<float>(color.r);
                sum[1] += shade * static_cast<float>(color.g);
                sum[2] += shade * static_cast<float>(color.b);
            }
            const auto channel = [](float s) {
                return static_cast<uint8_t>(std::lround(s / (kFine * kFine)));
            };
            picture.At(x, y) = {channel(sum[0]), channel(sum[1]), channel(sum[2])};
        }
    }
    return picture;
}

void DrawLine(RgbImage& picture, float x0, float y0, float x1, float y1, Rgb color, float opacity) {
    const float length = std::max(std::abs(x1 - x0), std::abs(y1 - y0));
    if (!(length < 1.0e5F)) { // also true for a NaN
        return;
    }
    const int steps = std::max(1, static_cast<int>(std::ceil(length)));
    for (int i = 0; i <= steps; ++i) {
        const float t = static_cast<float>(i) / static_cast<float>(steps);
        const float x = x0 + (x1 - x0) * t;
        const float y = y0 + (y1 - y0) * t;
        if (x >= 0.0F && y >= 0.0F && x < static_cast<float>(picture.m_width) &&
            y < static_cast<float>(picture.m_height)) {
            Rgb& pixel = picture.At(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
            pixel = Mix(pixel, color, opacity);
        }
    }
}

} // namespace ox3d::tool

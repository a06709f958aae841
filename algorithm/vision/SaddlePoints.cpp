// Smooths, takes the determinant of second derivatives, and looks around its peaks along a ring for two bright and two dark
// sectors. The determinant is the same whichever way the corner is turned, which spares prototypes of several turns.
#include "algorithm/vision/SaddlePoints.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace ox3d::vision {

namespace {

constexpr int32_t kReach = 2;      // of the differences, pixels
constexpr float kMinStrength = 24; // of a corner with a contrast of 12
constexpr float kShareOfStrongest = 1.0F / 64;
constexpr int32_t kBorder = 7; // the widest ring, two pixels of moving, one for the interpolation
constexpr size_t kRingSamples = 32;
constexpr float kMinContrast = 8;
constexpr float kPi = 3.14159265F;
constexpr float kMaxBend = 0.6F; // by which an edge may turn at the corner, radians

// 1 4 6 4 1 both ways, the border repeated. The strengths serve as memory for the sums of columns.
void Smooth(const GreyView& image, const SaddlePlanes& planes) {
    const int32_t width = image.m_width;
    auto* const sums = reinterpret_cast<uint16_t*>(planes.m_strength);
    for (int32_t y = 0; y < image.m_height; ++y) {
        const auto row = [&](int32_t at) {
            return image.m_pixels + std::clamp(at, 0, image.m_height - 1) * image.m_pitch;
        };
        const uint8_t* const a = row(y - 2);
        const uint8_t* const b = row(y - 1);
        const uint8_t* const c = row(y);
        const uint8_t* const d = row(y + 1);
        const uint8_t* const e = row(y + 2);
        for (int32_t x = 0; x < width; ++x) {
            sums[x + 2] = static_cast<uint16_t>(a[x] + e[x] + 4 * (b[x] + d[x]) + 6 * c[x]);
        }
        sums[0] = sums[1] = sums[2];
        sums[width + 2] = sums[width + 3] = sums[width + 1];
        uint8_t* const out = planes.m_smooth + ptrdiff_t{y} * width;
        for (int32_t x = 0; x < width; ++x) {
            const int32_t sum = sums[x] + sums[x + 4] + 4 * (sums[x + 1] + sums[x + 3]) + 6 * sums[x + 2];
            out[x] = static_cast<uint8_t>((sum + 128) >> 8);
        }
    }
}

// Returns the strongest one.
float FillStrengths(const GreyView& smooth, float* strengths) {
    const int32_t width = smooth.m_width;
    float strongest = 0;
    for (int32_t y = kReach; y < smooth.m_height - kReach; ++y) {
        const uint8_t* const middle = smooth.m_pixels + ptrdiff_t{y} * width;
        const uint8_t* const above = middle - ptrdiff_t{kReach} * width;
        const uint8_t* const below = middle + ptrdiff_t{kReach} * width;
        float* const out = strengths + ptrdiff_t{y} * width;
        for (int32_t x = kReach; x < width - kReach; ++x) {
            const auto xx = static_cast<float>(middle[x - kReach] + middle[x + kReach] - 2 * middle[x]);
            const auto yy = static_cast<float>(above[x] + below[x] - 2 * middle[x]);
            const auto xy = static_cast<float>(above[x - kReach] + below[x + kReach] - above[x + kReach] -
                                               below[x - kReach]);
            out[x] = xy * xy * (1.0F / 16) - xx * yy;
        }
        for (int32_t x = kReach; x < width - kReach; ++x) {
            strongest = std::max(strongest, out[x]);
        }
    }
    return strongest;
}

bool IsPeak(const float* at, ptrdiff_t width) {
    for (ptrdiff_t y = -2; y <= 2; ++y) {
        for (ptrdiff_t x = -2; x <= 2; ++x) {
            const float other = at[y * width + x];
            // Of equal ones the first.
            const bool isBefore = y < 0 || (y == 0 && x < 0);
            if (isBefore ? other >= *at : other > *at) {
                return false;
            }
        }
    }
    return true;
}

// To the place where the slope is 0, by at most a pixel and a half.
bool MoveToSaddle(const GreyView& s, int32_t x, int32_t y, SaddlePoint* point) {
    const auto at = [&](int32_t dx, int32_t dy) { return static_cast<float>(s.At(x + dx, y + dy)); };
    const float gx = (at(2, 0) - at(-2, 0)) / 4;
    const float gy = (at(0, 2) - at(0, -2)) / 4;
    const float xx = (at(2, 0) + at(-2, 0) - 2 * at(0, 0)) / 4;
    const float yy = (at(0, 2) + at(0, -2) - 2 * at(0, 0)) / 4;
    const float xy = (at(-2, -2) + at(2, 2) - at(2, -2) - at(-2, 2)) / 16;
    const float determinant = xx * yy - xy * xy;
    if (!(determinant < 0)) {
        return false;
    }
    const float dx = (xy * gy - yy * gx) / determinant;
    const float dy = (xy * gx - xx * gy) / determinant;
    point->m_x = static_cast<float>(x) + dx;
    point->m_y = static_cast<float>(y) + dy;
    return std::fabs(dx) <= 1.5F && std::fabs(dy) <= 1.5F;
}

struct Ring {
    std::array<float, kRingSamples> m_x, m_y;

    explicit Ring(float radius) : m_x(), m_y() {
        for (size_t i = 0; i < kRingSamples; ++i) {
            const float angle = 2 * kPi * static_cast<float>(i) / kRingSamples;
            m_x[i] = radius * std::cos(angle);
            m_y[i] = radius * std::sin(angle);
        }
    }
};

// Two bright and two dark sectors, opposite each other: sets the edges between them, and the contrast.
bool LookAround(const GreyView& smooth, const Ring& ring, SaddlePoint* point) {
    std::array<float, kRingSamples> seen{};
    float low = 255;
    float high = 0;
    for (size_t i = 0; i < kRingSamples; ++i) {
        seen[i] = Between(smooth, point->m_x + ring.m_x[i], point->m_y + ring.m_y[i]);
        low = std::min(low, seen[i]);
        high = std::max(high, seen[i]);
    }
    point->m_contrast = high - low;
    if (point->m_contrast < kMinContrast) {
        return false;
    }
    const float middle = (low + high) / 2;
    std::array<float, 4> turns{}; // where it turns bright, dark, bright, dark
    size_t count = 0;
    bool startsBright = false;
    for (size_t i = 0; i < kRingSamples; ++i) {
        const float here = seen[i] - middle;
        const float next = seen[(i + 1) % kRingSamples] - middle;
        if ((here > 0) == (next > 0)) {
            continue;
        }
        if (count == turns.size()) {
            return false;
        }
        startsBright = count == 0 ? next > 0 : startsBright;
        turns[count++] = 2 * kPi * (static_cast<float>(i) + here / (here - next)) / kRingSamples;
    }
    const float first = turns[2] - turns[0] - kPi;
    const float second = turns[3] - turns[1] - kPi;
    if (count != turns.size() || std::fabs(first) > kMaxBend || std::fabs(second) > kMaxBend) {
        return false;
    }
    float a = turns[0] + first / 2;
    float b = turns[1] + second / 2;
    if (!startsBright) {
        std::swap(a, b);
        b += kPi; // angles grow from edge 0 to edge 1, and by less than half a turn
    }
    point->m_edgeX[0] = std::cos(a);
    point->m_edgeY[0] = std::sin(a);
    point->m_edgeX[1] = std::cos(b);
    point->m_edgeY[1] = std::sin(b);
    return true;
}

} // namespace

int32_t FindSaddlePoints(const GreyView& image, float radius, const SaddlePlanes& planes, int32_t room,
                         SaddlePoint* points) {
    if (image.m_width <= 2 * kBorder || image.m_height <= 2 * kBorder || room < 2) {
        return 0;
    }
    Smooth(image, planes);
    const GreyView smooth = SmoothView(planes, image);
    float least = std::max(kMinStrength, kShareOfStrongest * FillStrengths(smooth, planes.m_strength));
    const Ring ring(radius);
    int32_t count = 0;
    for (int32_t y = kBorder; y < image.m_height - kBorder; ++y) {
        const float* const row = planes.m_strength + ptrdiff_t{y} * image.m_width;
        for (int32_t x = kBorder; x < image.m_width - kBorder; ++x) {
            if (row[x] < least || !IsPeak(row + x, image.m_width)) {
                continue;
            }
            if (count == room) { // half of them have to go, and others no stronger come no more
                std::nth_element(
                    points, points + count / 2, points + count,
                    [](const SaddlePoint& a, const SaddlePoint& b) { return a.m_strength > b.m_strength; });
                count /= 2;
                least = std::max(least, points[count].m_strength);
            }
            SaddlePoint& point = points[count];
            point.m_strength = row[x];
            count += MoveToSaddle(smooth, x, y, &point) && LookAround(smooth, ring, &point) ? 1 : 0;
        }
    }
    return count;
}

} // namespace ox3d::vision

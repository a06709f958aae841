// The two views of a cloud. Bounds are percentiles throughout, so that stray points do not shrink the rest.
#include "tools/ox3d/pictures/CloudView.h"

#include "tools/ox3d/pictures/ColorMap.h"
#include "tools/ox3d/pictures/PixelFont.h"
#include "tools/ox3d/pictures/SplatCanvas.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace ox3d::tool {
namespace {

constexpr uint32_t kObliqueWidth = 900;
constexpr uint32_t kSideWidth = 620;
constexpr uint32_t kHeight = 700;
constexpr float kMargin = 36.0F; // pixels around the cloud
constexpr uint32_t kRulerHeight = 44;
constexpr float kYawRadians = 0.60F;   // how far the oblique viewer stands beside the camera
constexpr float kPitchRadians = 0.38F; // and above
constexpr Rgb kInk = {225, 228, 232};

struct Vec {
    float x = 0.0F;
    float y = 0.0F;
    float z = 0.0F;
};

Vec operator-(Vec a, Vec b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

float Dot(Vec a, Vec b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

struct Span {
    float m_low = 0.0F;
    float m_high = 1.0F;
    float Middle() const { return (m_low + m_high) / 2; }
    float Length() const { return std::max(m_high - m_low, 1.0e-6F); }
};

// From the `cut` quantile to the one as far from the other end.
Span SpanOf(std::vector<float> values, double cut) {
    if (values.empty()) {
        return {};
    }
    const auto at = [&](double quantile) {
        const auto nth =
            values.begin() + static_cast<ptrdiff_t>(quantile * static_cast<double>(values.size() - 1));
        std::nth_element(values.begin(), nth, values.end());
        return *nth;
    };
    const float low = at(cut);
    return {low, at(1.0 - cut)};
}

template <typename Function>
Span SpanOver(const PointCloud& cloud, double cut, Function&& value) {
    std::vector<float> values;
    values.reserve(cloud.m_points.size());
    for (const CloudPoint& point : cloud.m_points) {
        values.push_back(value(point));
    }
    return SpanOf(std::move(values), cut);
}

// Where a viewer stands, how they look, and how that maps to pixels.
struct View {
    Vec m_eye;
    Vec m_right;
    Vec m_down;
    Vec m_forward;
    bool m_isPerspective = true;
    float m_scale = 1.0F; // pixels a unit of the image plane
    float m_x = 0.0F;     // pixels: where the image plane's origin lies
    float m_y = 0.0F;

    // x, y on the image plane, z the distance along the view.
    Vec Project(Vec point) const {
        const Vec p = point - m_eye;
        const float distance = Dot(p, m_forward);
        const float divisor = m_isPerspective ? std::max(distance, 1.0e-3F) : 1.0F;
        return {Dot(p, m_right) / divisor, Dot(p, m_down) / divisor, distance};
    }
    Vec ToPixels(Vec point) const {
        const Vec p = Project(point);
        return {m_x + p.x * m_scale, m_y + p.y * m_scale, p.z};
    }
    // Chooses scale and position so that the given part of the image plane fills the rectangle.
    void Fit(Span x, Span y, float width, float height) {
        m_scale = std::min((width - 2 * kMargin) / x.Length(), (height - 2 * kMargin) / y.Length());
        m_x = width / 2 - x.Middle() * m_scale;
        m_y = height / 2 - y.Middle() * m_scale;
    }
};

Vec PositionOf(const CloudPoint& point) {
    return {point.m_x, point.m_y, point.m_z};
}

// On which side of the camera the oblique viewer stands, 1 = right: where things are farther away, so that
// near things on the other side show their faces instead of hiding the rest.
float BetterSide(const PointCloud& cloud) {
    double sum[2] = {};
    double count[2] = {1.0e-9, 1.0e-9};
    for (const CloudPoint& point : cloud.m_points) {
        const size_t side = point.m_x > 0.0F ? 1 : 0;
        sum[side] += static_cast<double>(point.m_z);
        count[side] += 1.0;
    }
    return sum[1] / count[1] > sum[0] / count[0] ? 1.0F : -1.0F;
}

// The camera turned about the cloud's middle: to the side first, then up.
View ObliqueView(const PointCloud& cloud) {
    const Vec middle = {SpanOver(cloud, 0.5, [](const CloudPoint& p) { return p.m_x; }).m_low,
                        SpanOver(cloud, 0.5, [](const CloudPoint& p) { return p.m_y; }).m_low,
                        SpanOver(cloud, 0.5, [](const CloudPoint& p) { return p.m_z; }).m_low};
    const float sinYaw = std::sin(kYawRadians) * BetterSide(cloud);
    const float cosYaw = std::cos(kYawRadians);
    const float sinPitch = std::sin(kPitchRadians);
    const float cosPitch = std::cos(kPitchRadians);
    View view;
    view.m_right = {cosYaw, 0.0F, sinYaw};
    view.m_forward = {-sinYaw * cosPitch, sinPitch, cosYaw * cosPitch};
    view.m_down = {sinYaw * sinPitch, cosPitch, -cosYaw * sinPitch};
    const float distance = 1.25F * middle.z;
    view.m_eye =
        middle - Vec{view.m_forward.x * distance, view.m_forward.y * distance, view.m_forward.z * distance};
    const Span x = SpanOver(cloud, 0.001, [&](const CloudPoint& p) { return view.Project(PositionOf(p)).x; });
    const Span y = SpanOver(cloud, 0.001, [&](const CloudPoint& p) { return view.Project(PositionOf(p)).y; });
    view.Fit(x, y, kObliqueWidth, kHeight);
    return view;
}

// From the camera's right (side = 1, Z runs to the right) or left (side = -1, Z runs to the left), Y down.
// The camera itself, at 0, belongs to the picture.
View SideView(const PointCloud& cloud, float side) {
    View view;
    view.m_right = {0.0F, 0.0F, side};
    view.m_down = {0.0F, 1.0F, 0.0F};
    view.m_forward = {-side, 0.0F, 0.0F};
    view.m_isPerspective = false;
    const float far = SpanOver(cloud, 0.005, [](const CloudPoint& p) { return p.m_z; }).m_high;
    const Span y = SpanOver(cloud, 0.005, [](const CloudPoint& p) { return p.m_y; });
    view.Fit({std::min(0.0F, side * far), std::max(0.0F, side * far)},
             {std::min(y.m_low, 0.0F), std::max(y.m_high, 0.0F)}, kSideWidth, kHeight - kRulerHeight);
    return view;
}

CSplatCanvas Render(const PointCloud& cloud, const View& view, uint32_t width, uint32_t height,
                    Span distances) {
    CSplatCanvas canvas(width, height);
    for (const CloudPoint& point : cloud.m_points) {
        const Vec p = view.ToPixels(PositionOf(point));
        if (view.m_isPerspective && p.z <= 0.0F) {
            continue;
        }
        const float radius = point.m_gap * view.m_scale * 0.7F; // discs overlap along the diagonal
        const Rgb color =
            cloud.m_hasColor ? point.m_color : MapColor((point.m_z - distances.m_low) / distances.Length());
        canvas.Splat(p.x, p.y, view.m_isPerspective ? radius / p.z : radius, p.z, color);
    }
    return canvas;
}

// From which side one looks further into the cloud: the other side would show a wall from behind.
View OpenSideView(const PointCloud& cloud, Span distances) {
    const auto insight = [&](const View& view) {
        const Span own =
            SpanOver(cloud, 0.005, [&](const CloudPoint& p) { return view.Project(PositionOf(p)).z; });
        return Render(cloud, view, kSideWidth, kHeight, distances).MeanDistance() - own.m_low;
    };
    const View right = SideView(cloud, 1.0F);
    const View left = SideView(cloud, -1.0F);
    return insight(left) > insight(right) ? left : right;
}

// The camera's field of view, as far as the cloud fills it, as a pyramid with its tip at the camera.
void DrawCamera(RgbImage& picture, const PointCloud& cloud, const View& view, float depth) {
    const Span x = SpanOver(cloud, 0.001, [](const CloudPoint& p) { return p.m_x / p.m_z; });
    const Span y = SpanOver(cloud, 0.001, [](const CloudPoint& p) { return p.m_y / p.m_z; });
    const std::array<Vec, 4> corners = {{{x.m_low * depth, y.m_low * depth, depth},
                                         {x.m_high * depth, y.m_low * depth, depth},
                                         {x.m_high * depth, y.m_high * depth, depth},
                                         {x.m_low * depth, y.m_high * depth, depth}}};
    const Vec tip = view.ToPixels({});
    if (tip.x < 0.0F || tip.y < 0.0F || tip.x >= static_cast<float>(picture.m_width) ||
        tip.y >= static_cast<float>(picture.m_height)) {
        return;
    }
    for (size_t i = 0; i < corners.size(); ++i) {
        const Vec a = view.ToPixels(corners[i]);
        const Vec b = view.ToPixels(corners[(i + 1) % corners.size()]);
        if (view.m_isPerspective && std::min({tip.z, a.z, b.z}) <= 0.0F) {
            return;
        }
        DrawLine(picture, a.x, a.y, b.x, b.y, kInk, 0.8F);
        DrawLine(picture, tip.x, tip.y, a.x, a.y, kInk, 0.8F);
    }
}

void DrawRuler(RgbImage& picture, const View& view, float farMetres) {
    const float y = static_cast<float>(kHeight - kRulerHeight);
    const float step = farMetres > 8.0F ? 2.0F : farMetres > 2.0F ? 1.0F : farMetres > 0.8F ? 0.5F : 0.1F;
    DrawLine(picture, view.ToPixels({}).x, y, view.ToPixels({0.0F, 0.0F, farMetres}).x, y, kInk, 0.6F);
    for (int tick = 0; static_cast<float>(tick) * step <= farMetres && tick < 100; ++tick) {
        const float metres = static_cast<float>(tick) * step;
        const float x = view.ToPixels({0.0F, 0.0F, metres}).x;
        DrawLine(picture, x, y, x, y + 7, kInk, 0.9F);
        char label[24];
        std::snprintf(label, sizeof(label), step < 1.0F ? "%.1fm" : "%.0fm", static_cast<double>(metres));
        const uint32_t width = TextWidth(label, 2);
        DrawText(picture, static_cast<int>(x) - static_cast<int>(width / 2), static_cast<int>(y) + 13, label,
                 kInk, 2);
    }
}

void Paste(RgbImage& picture, const RgbImage& part, uint32_t left) {
    for (uint32_t y = 0; y < part.m_height; ++y) {
        std::copy_n(&part.At(0, y), part.m_width, &picture.At(left, y));
    }
}

} // namespace

RgbImage CloudPicture(const PointCloud& cloud) {
    const Span distances = SpanOver(cloud, 0.01, [](const CloudPoint& p) { return p.m_z; });
    const float pyramid = distances.m_low * 0.3F;

    const View oblique = ObliqueView(cloud);
    const float step = distances.Length() * 0.03F;
    RgbImage left = Render(cloud, oblique, kObliqueWidth, kHeight, distances).Finish(step);
    DrawCamera(left, cloud, oblique, pyramid);

    const View side = OpenSideView(cloud, distances);
    RgbImage right = Render(cloud, side, kSideWidth, kHeight, distances).Finish(step);
    DrawCamera(right, cloud, side, pyramid);
    DrawRuler(right, side, distances.m_high);

    RgbImage picture(kObliqueWidth + 2 + kSideWidth, kHeight, {90, 94, 102});
    Paste(picture, left, 0);
    Paste(picture, right, kObliqueWidth + 2);
    return picture;
}

} // namespace ox3d::tool

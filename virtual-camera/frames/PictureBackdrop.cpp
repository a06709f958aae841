// PictureBackdrop.cpp - the still picture with its anti-aliased edges, and the ball and its shadow on top.
#include "virtual-camera/frames/SceneBackdrop.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace ox3d {
namespace {

constexpr uint32_t kTile = 16;
constexpr int kEdgeContrast = 14; // display values; beyond it a pixel is sampled several times
constexpr float kNoPoint = 0.0F;

uint8_t Luma(uint8_t red, uint8_t green, uint8_t blue) {
    return static_cast<uint8_t>((77U * red + 150U * green + 29U * blue + 128U) >> 8U);
}

constexpr size_t kMaxPlanes = 3;

// Display values of one pixel in the planes of a picture.
struct PixelBytes {
    uint8_t m_value[kMaxPlanes];
};

struct EdgePixel {
    uint32_t m_column;
    uint32_t m_row;
};

PixelBytes Encode(const LinearColor& color, size_t planes) {
    const uint8_t red = EncodeLight(color.x);
    const uint8_t green = EncodeLight(color.y);
    const uint8_t blue = EncodeLight(color.z);
    return planes == 1 ? PixelBytes{{Luma(red, green, blue), 0, 0}} : PixelBytes{{red, green, blue}};
}

uint8_t Blend(double under, double over, double share) {
    const double rounded = under + (over - under) * share + 0.5;
    return static_cast<uint8_t>(rounded);
}

} // namespace

// The cone behind the ball in which part of the key light is missing.
struct CPictureBackdrop::Shadow {
    Shadow(const SceneLight& light, const Sphere& ball)
        : m_apex(light.m_center), m_axis(Normalized(ball.m_center - light.m_center)),
          m_ballDistance(Length(ball.m_center - light.m_center)), m_ball(ball),
          m_growth((ball.m_radius + light.m_radiusMm) / m_ballDistance) {}
    Vec3 m_apex;
    Vec3 m_axis;
    double m_ballDistance;
    Sphere m_ball;
    double m_growth; // of the cone's radius per length
};

CPictureBackdrop::CPictureBackdrop(const PinholeCamera& camera, uint32_t width, uint32_t height, bool isGrey)
    : m_model(CSceneModel::Get()), m_camera(camera), m_width(width), m_height(height),
      m_planes(isGrey ? 1 : 3), m_lit(static_cast<size_t>(width) * height * m_planes), m_shaded(m_lit.size()),
      m_depth(static_cast<size_t>(width) * height), m_object(m_depth.size()) {
    PaintPixels();
    SmoothEdges();
    MeasureTiles();
}

size_t CPictureBackdrop::Bytes() const {
    return m_lit.size() + m_shaded.size() + m_depth.size() * sizeof(float) + m_object.size() +
           m_tiles.size() * sizeof(Tile);
}

Ray CPictureBackdrop::RayOf(uint32_t column, uint32_t row) const {
    return m_camera.RayAt(column, row);
}

void CPictureBackdrop::Store(const LinearColor& lit, const LinearColor& shaded, size_t pixel) {
    const PixelBytes litBytes = Encode(lit, m_planes);
    const PixelBytes shadedBytes = Encode(shaded, m_planes);
    for (size_t plane = 0; plane < std::min(m_planes, kMaxPlanes); ++plane) {
        m_lit[plane * m_depth.size() + pixel] = litBytes.m_value[plane];
        m_shaded[plane * m_depth.size() + pixel] = shadedBytes.m_value[plane];
    }
}

void CPictureBackdrop::PaintPixels() {
    size_t pixel = 0;
    for (uint32_t row = 0; row < m_height; ++row) {
        for (uint32_t column = 0; column < m_width; ++column, ++pixel) {
            const Ray ray = RayOf(column, row);
            const SceneHit hit = m_model.CastStatic(ray);
            const ScenePaint paint = PaintStatic(m_model, hit, ray.At(hit.m_depth));
            m_depth[pixel] = hit.m_object == kSceneNothing ? kNoPoint : static_cast<float>(hit.m_depth);
            m_object[pixel] = hit.m_object;
            Store(paint.m_direct + paint.m_ambient, paint.m_ambient, pixel);
        }
    }
}

bool CPictureBackdrop::IsEdge(uint32_t column, uint32_t row) const {
    const size_t pixel = static_cast<size_t>(row) * m_width + column;
    const size_t right = column + 1 < m_width ? pixel + 1 : pixel;
    const size_t below = row + 1 < m_height ? pixel + m_width : pixel;
    const size_t left = column > 0 ? pixel - 1 : pixel;
    const size_t above = row > 0 ? pixel - m_width : pixel;
    const size_t plane = m_planes == 1 ? 0 : m_depth.size(); // green stands for brightness
    for (const size_t other : {right, below, left, above}) {
        if (m_object[other] != m_object[pixel] ||
            std::abs(m_lit[plane + other] - m_lit[plane + pixel]) > kEdgeContrast) {
            return true;
        }
    }
    return false;
}

// Takes the mean of several rays where neighbours differ. Edges are looked for in the picture as it was, so
// what has been smoothed already does not hide the next edge.
void CPictureBackdrop::SmoothEdges() {
    constexpr double kOffsets[4][2] = {{-0.125, -0.375}, {0.375, -0.125}, {0.125, 0.375}, {-0.375, 0.125}};
    std::vector<EdgePixel> edges;
    for (uint32_t row = 0; row < m_height; ++row) {
        for (uint32_t column = 0; column < m_width; ++column) {
            if (IsEdge(column, row)) {
                edges.push_back({column, row});
            }
        }
    }
    for (const EdgePixel& edge : edges) {
        LinearColor lit;
        LinearColor shaded;
        for (const auto& offset : kOffsets) {
            const Ray ray = m_camera.RayAt(edge.m_column + offset[0], edge.m_row + offset[1]);
            const SceneHit hit = m_model.CastStatic(ray);
            const ScenePaint paint = PaintStatic(m_model, hit, ray.At(hit.m_depth));
            lit = lit + (paint.m_direct + paint.m_ambient) * 0.25;
            shaded = shaded + paint.m_ambient * 0.25;
        }
        Store(lit, shaded, static_cast<size_t>(edge.m_row) * m_width + edge.m_column);
    }
}

CPictureBackdrop::Tile CPictureBackdrop::MeasureTile(uint32_t left, uint32_t top) const {
    constexpr double kFar = 1e9;
    Vec3 low{kFar, kFar, kFar};
    Vec3 high{-kFar, -kFar, -kFar};
    const uint32_t right = std::min(left + kTile, m_width);
    const uint32_t bottom = std::min(top + kTile, m_height);
    for (uint32_t row = top; row < bottom; ++row) {
        for (uint32_t column = left; column < right; ++column) {
            const float depth = m_depth[static_cast<size_t>(row) * m_width + column];
            if (depth == kNoPoint) {
                continue;
            }
            const Vec3 p = RayOf(column, row).At(depth);
            low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
            high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
        }
    }
    return low.x > high.x ? Tile{} : Tile{(low + high) * 0.5, Length(high - low) * 0.5};
}

void CPictureBackdrop::MeasureTiles() {
    m_tilesAcross = (m_width + kTile - 1) / kTile;
    const uint32_t tilesDown = (m_height + kTile - 1) / kTile;
    m_tiles.reserve(static_cast<size_t>(m_tilesAcross) * tilesDown);
    for (uint32_t row = 0; row < tilesDown; ++row) {
        for (uint32_t column = 0; column < m_tilesAcross; ++column) {
            m_tiles.push_back(MeasureTile(column * kTile, row * kTile));
        }
    }
}

// Errs on the safe side: a tile that is only near a shadow is looked at as well.
bool CPictureBackdrop::Reaches(const Shadow& shadow, const Tile& tile) const {
    if (tile.m_radiusMm < 0.0) {
        return false;
    }
    const double toBall = Length(tile.m_center - shadow.m_ball.m_center) - tile.m_radiusMm;
    if (toBall < kBallContactReach * shadow.m_ball.m_radius) {
        return true;
    }
    const Vec3 fromLight = tile.m_center - shadow.m_apex;
    const double along = Dot(fromLight, shadow.m_axis) + tile.m_radiusMm;
    if (along < shadow.m_ballDistance - shadow.m_ball.m_radius) {
        return false;
    }
    const double aside = Length(Cross(fromLight, shadow.m_axis)) - tile.m_radiusMm;
    const double behind = std::max(0.0, along - shadow.m_ballDistance);
    return aside < (shadow.m_ball.m_radius + behind * shadow.m_growth) * 1.1;
}

void CPictureBackdrop::ShadeTile(const SceneBall& ball, uint32_t left, uint32_t top, uint8_t* planes) const {
    constexpr double kVisible = 0.003; // less than one display value
    const uint32_t right = std::min(left + kTile, m_width);
    const uint32_t bottom = std::min(top + kTile, m_height);
    for (uint32_t row = top; row < bottom; ++row) {
        for (uint32_t column = left; column < right; ++column) {
            const size_t pixel = static_cast<size_t>(row) * m_width + column;
            if (m_depth[pixel] == kNoPoint) {
                continue;
            }
            const Vec3 point = RayOf(column, row).At(m_depth[pixel]);
            const double missing = BallShadow(m_model.Light(), ball, point);
            const double contact = m_object[pixel] == kSceneFloor ? BallContact(ball, point) : 0.0;
            if (missing < kVisible && contact < kVisible) {
                continue;
            }
            for (size_t at = pixel; at < m_lit.size(); at += m_depth.size()) {
                planes[at] = Blend(Blend(m_lit[at], m_shaded[at], missing), 0.0, contact);
            }
        }
    }
}

void CPictureBackdrop::BlendBall(const SceneBall& ball, const Ray& ray, size_t pixel, uint8_t* planes) const {
    const Vec3 toCenter = ball.m_sphere.m_center - ray.m_origin;
    const double lengthOfDirection = Length(ray.m_direction);
    const Vec3 unit = ray.m_direction * (1.0 / lengthOfDirection);
    const double along = Dot(toCenter, unit);
    const double aside = std::sqrt(std::max(0.0, Dot(toCenter, toCenter) - along * along));
    // How much of the pixel the ball covers, from the distance between its ray and the ball's rim.
    const double pixelMm = along / lengthOfDirection / m_camera.m_fx;
    const double cover = std::clamp((ball.m_sphere.m_radius - aside) / pixelMm + 0.5, 0.0, 1.0);
    if (cover <= 0.0) {
        return;
    }
    const double radius = ball.m_sphere.m_radius;
    const double depthIntoBall = std::sqrt(std::max(0.0, radius * radius - aside * aside));
    const double depth = (along - depthIntoBall) / lengthOfDirection;
    if (m_depth[pixel] != kNoPoint && m_depth[pixel] < depth) {
        return;
    }
    const Vec3 normal = Normalized(unit * (along - depthIntoBall) - toCenter);
    const ScenePaint paint = PaintBall(m_model, ball, normal, ray.m_origin);
    const PixelBytes bytes = Encode(paint.m_direct + paint.m_ambient, m_planes);
    for (size_t plane = 0; plane < m_planes; ++plane) {
        uint8_t* target = planes + plane * m_depth.size() + pixel;
        *target = Blend(*target, bytes.m_value[plane], cover);
    }
}

void CPictureBackdrop::DrawBall(const SceneBall& ball, uint8_t* planes) const {
    const PixelRect rect = RectAround(m_camera, ball.m_sphere, m_width, m_height);
    for (uint32_t row = rect.m_top; row < rect.m_bottom; ++row) {
        for (uint32_t column = rect.m_left; column < rect.m_right; ++column) {
            BlendBall(ball, RayOf(column, row), static_cast<size_t>(row) * m_width + column, planes);
        }
    }
}

void CPictureBackdrop::Render(const SceneBall& ball, uint8_t* planes) const {
    std::memcpy(planes, m_lit.data(), m_lit.size());
    const Shadow shadow(m_model.Light(), ball.m_sphere);
    for (size_t i = 0; i < m_tiles.size(); ++i) {
        if (Reaches(shadow, m_tiles[i])) {
            const uint32_t index = static_cast<uint32_t>(i);
            ShadeTile(ball, index % m_tilesAcross * kTile, index / m_tilesAcross * kTile, planes);
        }
    }
    DrawBall(ball, planes);
}

} // namespace ox3d

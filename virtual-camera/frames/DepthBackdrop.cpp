// DepthBackdrop.cpp - exact depths and the holes of a stereo camera, which come from its second imager.
#include "virtual-camera/frames/SceneBackdrop.h"

#include <algorithm>
#include <limits>

namespace ox3d {
namespace {

// Line of sight against surface: 1 when looked at straight on.
double ViewCosine(const Ray& ray, const Vec3& normal) {
    return -Dot(ray.m_direction, normal) / Length(ray.m_direction);
}

uint32_t ToPixel(double value, uint32_t limit) {
    return static_cast<uint32_t>(std::clamp(value, 0.0, static_cast<double>(limit)));
}

} // namespace

PixelRect RectAround(const PinholeCamera& camera, const Sphere& sphere, uint32_t width, uint32_t height) {
    // The cube around the sphere is convex, so the picture of its corners encloses the sphere's.
    const Vec3 center = camera.ToCamera(sphere.m_center);
    const double r = sphere.m_radius;
    if (center.z - r < 1.0) {
        return {0, 0, width, height};
    }
    double left = std::numeric_limits<double>::max();
    double top = left;
    double right = -left;
    double bottom = -left;
    for (int corner = 0; corner < 8; ++corner) {
        const double z = center.z + ((corner & 4) != 0 ? r : -r);
        const double u = camera.m_fx * (center.x + ((corner & 1) != 0 ? r : -r)) / z + camera.m_cx;
        const double v = camera.m_fy * (center.y + ((corner & 2) != 0 ? r : -r)) / z + camera.m_cy;
        left = std::min(left, u);
        right = std::max(right, u);
        top = std::min(top, v);
        bottom = std::max(bottom, v);
    }
    return {ToPixel(left - 2.0, width), ToPixel(top - 2.0, height), ToPixel(right + 3.0, width),
            ToPixel(bottom + 3.0, height)};
}

CDepthBackdrop::CDepthBackdrop(uint32_t width, uint32_t height)
    : m_model(CSceneModel::Get()), m_camera(m_model.DepthCamera(width, height)),
      m_second(m_model.SecondImager(width, height)), m_width(width), m_height(height),
      m_depth(static_cast<size_t>(width) * height), m_matched(m_depth.size()) {
    size_t pixel = 0;
    for (uint32_t v = 0; v < height; ++v) {
        for (uint32_t u = 0; u < width; ++u, ++pixel) {
            const Ray ray = m_camera.RayAt(u, v);
            const SceneHit hit = m_model.CastStatic(ray);
            m_depth[pixel] = static_cast<float>(hit.m_depth);
            m_matched[pixel] = IsMatched(ray, hit) ? m_depth[pixel] : 0.0F;
        }
    }
}

bool CDepthBackdrop::IsMatched(const Ray& ray, const SceneHit& hit) const {
    return hit.m_object != kSceneNothing && hit.m_depth >= kSceneNearMm && hit.m_depth <= kSceneFarMm &&
           ViewCosine(ray, hit.m_normal) >= kSceneMinCosine &&
           SecondImagerSees(m_model, m_second, ray.At(hit.m_depth));
}

// The depth of a pixel on which the ball may be seen, or in whose way to the second imager it may stand.
float CDepthBackdrop::DepthWithBall(const Ray& ray, size_t pixel, const SceneBall& ball,
                                    bool withHoles) const {
    const float still = m_depth[pixel];
    const double limit = still > 0.0F ? still : std::numeric_limits<double>::max();
    SurfaceHit surface;
    if (Intersect(ray, ball.m_sphere, 1.0, limit, &surface)) {
        const SceneHit hit{surface.m_t, kSceneBall, surface.m_normal};
        const bool isSeen = IsMatched(ray, hit) &&
                            !Blocks(ball.m_sphere, m_second.m_origin, ray.At(hit.m_depth), kSceneMarginMm);
        return withHoles && !isSeen ? 0.0F : static_cast<float>(hit.m_depth);
    }
    if (!withHoles) {
        return still;
    }
    const float matched = m_matched[pixel];
    const bool isHidden =
        matched > 0.0F && Blocks(ball.m_sphere, m_second.m_origin, ray.At(matched), kSceneMarginMm);
    return isHidden ? 0.0F : matched;
}

void CDepthBackdrop::Render(const SceneBall& ball, bool withHoles, std::vector<float>* depth) const {
    const std::vector<float>& still = withHoles ? m_matched : m_depth;
    depth->assign(still.begin(), still.end());
    PixelRect rect = RectAround(m_camera, ball.m_sphere, m_width, m_height);
    // What the ball hides from the second imager lies to its left, at most by the ball's own disparity.
    const double nearest = m_camera.ToCamera(ball.m_sphere.m_center).z - ball.m_sphere.m_radius;
    const double disparity = m_camera.m_fx * kSceneBaselineMm / std::max(nearest, 1.0);
    rect.m_left = ToPixel(rect.m_left - disparity - 1.0, m_width);
    for (uint32_t v = rect.m_top; v < rect.m_bottom; ++v) {
        for (uint32_t u = rect.m_left; u < rect.m_right; ++u) {
            const size_t pixel = static_cast<size_t>(v) * m_width + u;
            (*depth)[pixel] = DepthWithBall(m_camera.RayAt(u, v), pixel, ball, withHoles);
        }
    }
}

} // namespace ox3d

// SceneModel.cpp - the scene's measures. Changing them changes pictures and depths, never the geometry that a
// reader of the calibration relies on.
#include "virtual-camera/frames/SceneModel.h"

#include <limits>
#include <type_traits>

namespace ox3d {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kNearestHit = 1.0; // nothing of the scene is nearer to a camera than this, in mm

// The camera looks down a little and slightly to the right.
constexpr double kPitchDegrees = 9.0;
constexpr double kYawDegrees = 3.0;

// Focal lengths as a share of the image width. The color camera's view is a little wider than the depth
// camera's, so that registering depth leaves no gaps between neighbouring pixels.
constexpr double kDepthFocal = 0.72;
constexpr double kColorFocal = 0.69;

constexpr double kBallRadiusMm = 150.0;
constexpr double kBallTravelMm = 420.0;
constexpr double kBallZ = 1390.0;
constexpr double kBallX = 20.0;
constexpr double kBallPathDegrees = 8.0;

// A box on the floor (or on `restY`), turned about the vertical.
OrientedBox StandingBox(double x, double z, double restY, const Vec3& size, double degrees) {
    return {{x, restY - size.y / 2.0, z}, size * 0.5, RotationY(-degrees)};
}

static_assert(std::is_trivially_destructible_v<CSceneModel>, "the scene outlives every thread");

} // namespace

const CSceneModel& CSceneModel::Get() {
    static const CSceneModel scene;
    return scene;
}

CSceneModel::CSceneModel()
    : m_light{{-560.0, -1230.0, 620.0}, 140.0},
      m_depthToRoom(RotationY(kYawDegrees) * RotationX(-kPitchDegrees)),
      m_depthToColor(RotationZ(0.25) * RotationY(-0.6) * RotationX(0.35)), m_colorInDepth{30.0, -1.5, 2.0} {
    m_boxes[kBoxCrate] = StandingBox(560.0, 1700.0, m_floorY, {500.0, 350.0, 380.0}, 22.0);
    m_boxes[kBoxParcel] = StandingBox(595.0, 1710.0, m_floorY - 350.0, {240.0, 170.0, 220.0}, -24.0);
    m_boxes[kBoxCabinet] = StandingBox(-840.0, 1790.0, m_floorY, {340.0, 1000.0, 330.0}, 12.0);
    m_boxes[kBoxCube] = StandingBox(-700.0, 1400.0, m_floorY, {190.0, 190.0, 190.0}, -31.0);
    m_boxes[kBoxPicture] = {{210.0, -190.0, m_backZ - 14.0}, {330.0, 230.0, 14.0}, {}};
    // The board stands on the floor and leans back against the wall.
    const double leanDegrees = 32.0;
    const Vec3 half{240.0, 300.0, 9.0};
    const Mat3 toRoom = RotationY(7.0) * RotationX(-leanDegrees);
    const double rise =
        half.y * std::cos(leanDegrees * kPi / 180.0) + half.z * std::sin(leanDegrees * kPi / 180.0);
    m_boxes[kBoxBoard] = {{-170.0, m_floorY - rise, 1830.0}, half, Transposed(toRoom)};
}

SceneBall CSceneModel::BallAt(uint64_t index) const {
    const double phase = 2.0 * kPi * static_cast<double>(index % kSceneBallPeriod) / kSceneBallPeriod;
    const double travel = kBallTravelMm * std::sin(phase);
    const Mat3 path = RotationY(kBallPathDegrees); // turns the path's own x axis into the room
    const Vec3 start{kBallX, m_floorY - kBallRadiusMm, kBallZ};
    // Rolling to the right turns the upper side to the right; y points down.
    const double rolledDegrees = travel / kBallRadiusMm * 180.0 / kPi;
    const Mat3 toRoom = path * RotationZ(rolledDegrees) * RotationX(28.0) * RotationZ(20.0);
    return {{start + path * Vec3{travel, 0.0, 0.0}, kBallRadiusMm}, Transposed(toRoom)};
}

SceneHit CSceneModel::CastShell(const Ray& ray) const {
    const Vec3& o = ray.m_origin;
    const Vec3& d = ray.m_direction;
    SceneHit hit;
    double nearest = std::numeric_limits<double>::max();
    const auto consider = [&](double t, uint8_t object, const Vec3& normal) {
        if (t > kNearestHit && t < nearest) {
            nearest = t;
            hit = {t, object, normal};
        }
    };
    if (d.y > 0.0) {
        consider((m_floorY - o.y) / d.y, kSceneFloor, {0.0, -1.0, 0.0});
    } else if (d.y < 0.0) {
        consider((m_ceilingY - o.y) / d.y, kSceneCeiling, {0.0, 1.0, 0.0});
    }
    if (d.x > 0.0) {
        consider((m_rightX - o.x) / d.x, kSceneRightWall, {-1.0, 0.0, 0.0});
    } else if (d.x < 0.0) {
        consider((m_leftX - o.x) / d.x, kSceneLeftWall, {1.0, 0.0, 0.0});
    }
    if (d.z > 0.0) {
        consider((m_backZ - o.z) / d.z, kSceneBackWall, {0.0, 0.0, -1.0});
    }
    return hit;
}

SceneHit CSceneModel::CastStatic(const Ray& ray) const {
    SceneHit hit = CastShell(ray);
    double nearest = hit.m_object == kSceneNothing ? std::numeric_limits<double>::max() : hit.m_depth;
    for (size_t i = 0; i < m_boxes.size(); ++i) {
        SurfaceHit surface;
        if (Intersect(ray, m_boxes[i], kNearestHit, nearest, &surface)) {
            nearest = surface.m_t;
            hit = {surface.m_t, static_cast<uint8_t>(kSceneFirstBox + i), surface.m_normal};
        }
    }
    return hit;
}

SceneHit CSceneModel::Cast(const Ray& ray, const SceneBall& ball) const {
    SceneHit hit = CastStatic(ray);
    SurfaceHit surface;
    const double limit = hit.m_object == kSceneNothing ? std::numeric_limits<double>::max() : hit.m_depth;
    if (Intersect(ray, ball.m_sphere, kNearestHit, limit, &surface)) {
        hit = {surface.m_t, kSceneBall, surface.m_normal};
    }
    return hit;
}

bool CSceneModel::BoxBetween(const Vec3& from, const Vec3& to) const {
    for (const OrientedBox& box : m_boxes) {
        if (Blocks(box, from, to, kSceneMarginMm)) {
            return true;
        }
    }
    return false;
}

PinholeCamera CSceneModel::DepthCamera(uint32_t width, uint32_t height) const {
    const double focal = kDepthFocal * width;
    return {{}, m_depthToRoom, focal, focal, 0.503 * width - 0.5, 0.496 * height - 0.5};
}

PinholeCamera CSceneModel::SecondImager(uint32_t width, uint32_t height) const {
    PinholeCamera camera = DepthCamera(width, height);
    camera.m_origin = m_depthToRoom * Vec3{kSceneBaselineMm, 0.0, 0.0};
    return camera;
}

PinholeCamera CSceneModel::ColorCamera(uint32_t colorWidth, uint32_t colorHeight, uint32_t width,
                                       uint32_t height) const {
    const double focal = kColorFocal * colorWidth;
    PinholeCamera camera;
    camera.m_origin = m_depthToRoom * m_colorInDepth;
    camera.m_toRoom = m_depthToRoom * Transposed(m_depthToColor);
    camera.m_fx = focal * width / colorWidth;
    camera.m_fy = focal * height / colorHeight;
    camera.m_cx = 0.4965 * width - 0.5;
    camera.m_cy = 0.5045 * height - 0.5;
    return camera;
}

Vec3 CSceneModel::DepthToColorTranslation() const {
    return (m_depthToColor * m_colorInDepth) * -1.0;
}

bool SecondImagerSees(const CSceneModel& model, const PinholeCamera& second, const Vec3& roomPoint) {
    const Vec3 seen = second.ToCamera(roomPoint);
    // The twin's rows are the depth image's rows; only its left border can lose a point.
    if (seen.z <= 0.0 || seen.x * second.m_fx + second.m_cx * seen.z < 0.0) {
        return false;
    }
    return !model.BoxBetween(second.m_origin, roomPoint);
}

} // namespace ox3d

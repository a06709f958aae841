// SceneShading.cpp - lighting; the surfaces' patterns are in ScenePatterns.cpp.
#include "virtual-camera/frames/SceneShading.h"

#include "virtual-camera/frames/ScenePatterns.h"

#include <algorithm>
#include <array>

namespace ox3d {
namespace {

const LinearColor kKeyLight{2.05, 1.93, 1.72};
const LinearColor kSkyLight{0.40, 0.43, 0.48};    // from above
const LinearColor kGroundLight{0.26, 0.23, 0.19}; // thrown back by the floor

constexpr double kPi = 3.14159265358979323846;
constexpr double kGolden = 2.39996322972865332; // radians between two points of a sunflower pattern
constexpr int kProbeSamples = 5;                // enough to find out whether a point is in half shadow
constexpr int kShadowSamples = 32;

LinearColor Times(const LinearColor& a, const LinearColor& b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}

double SmoothStep(double low, double high, double value) {
    const double t = std::clamp((value - low) / (high - low), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

// Points spread evenly over a disc of radius 1.
struct DiscPoint {
    double m_x;
    double m_y;
};

template <int Count>
std::array<DiscPoint, Count> SpreadOverDisc() {
    std::array<DiscPoint, Count> points{};
    for (int i = 0; i < Count; ++i) {
        const double radius = std::sqrt((i + 0.5) / Count);
        points[static_cast<size_t>(i)] = {radius * std::cos(kGolden * i), radius * std::sin(kGolden * i)};
    }
    return points;
}

template <int Count>
std::array<DiscPoint, Count> SpreadOverRim() {
    std::array<DiscPoint, Count> points{};
    for (int i = 0; i < Count; ++i) {
        points[static_cast<size_t>(i)] = {std::cos(2.0 * kPi * i / Count), std::sin(2.0 * kPi * i / Count)};
    }
    return points;
}

// The way from a point to the key light's disc, which faces the point, in the axes of a box that may stand in
// it.
struct BlockedWay {
    Vec3 m_half;
    Vec3 m_from;
    Vec3 m_center;
    Vec3 m_right;
    Vec3 m_up;
};

// The boxes that may stand between a point and some part of the key light, one bit for each.
uint32_t BoxesNearTheWay(const CSceneModel& model, const Vec3& point) {
    const SceneLight& light = model.Light();
    const Vec3 toLight = light.m_center - point;
    const double perSquare = 1.0 / Dot(toLight, toLight);
    uint32_t near = 0;
    for (size_t i = 0; i < model.Boxes().size(); ++i) {
        const OrientedBox& box = model.Boxes()[i];
        const Vec3 toBox = box.m_center - point;
        const double along = std::clamp(Dot(toBox, toLight) * perSquare, 0.0, 1.0);
        const Vec3 aside = toBox - toLight * along;
        const double reach = Length(box.m_half) + light.m_radiusMm * along;
        near |= Dot(aside, aside) < reach * reach ? 1U << i : 0U;
    }
    return near;
}

// A point's ways to the key light past the given boxes.
class CWaysToLight {
public:
    CWaysToLight(const CSceneModel& model, const Vec3& point, uint32_t boxes) {
        const Vec3 forward = Normalized(model.Light().m_center - point);
        for (size_t i = 0; i < model.Boxes().size(); ++i) {
            if ((boxes >> i & 1U) != 0) {
                Add(model.Boxes()[i], model.Light(), point, forward);
            }
        }
    }
    // The number of points of the light's disc (of radius 1 in `points`) that are hidden.
    template <size_t Count>
    int CountHidden(const std::array<DiscPoint, Count>& points) const {
        int hidden = 0;
        for (const DiscPoint& p : points) {
            hidden += IsHidden(p) ? 1 : 0;
        }
        return hidden;
    }

private:
    void Add(const OrientedBox& box, const SceneLight& light, const Vec3& point, const Vec3& forward) {
        const Vec3 side = std::fabs(forward.y) < 0.9 ? Vec3{0.0, 1.0, 0.0} : Vec3{1.0, 0.0, 0.0};
        const Vec3 right = Normalized(Cross(side, forward)) * light.m_radiusMm;
        const Vec3 from = point + forward * kSceneMarginMm - box.m_center;
        m_ways[m_count++] = {box.m_half, box.m_toBox * from, box.m_toBox * (light.m_center - box.m_center),
                             box.m_toBox * right, box.m_toBox * Cross(forward, right)};
    }
    bool IsHidden(const DiscPoint& p) const {
        for (size_t i = 0; i < m_count; ++i) {
            const BlockedWay& way = m_ways[i];
            if (CrossesBox(way.m_half, way.m_from, way.m_center + way.m_right * p.m_x + way.m_up * p.m_y)) {
                return true;
            }
        }
        return false;
    }

    std::array<BlockedWay, kBoxCount> m_ways;
    size_t m_count = 0;
};

// The share of the key light that reaches a point past the boxes. A few probes decide for most points; only
// the half shadows are worth many.
double LightPastBoxes(const CSceneModel& model, const Vec3& point) {
    static const std::array<DiscPoint, kShadowSamples> samples = SpreadOverDisc<kShadowSamples>();
    static const std::array<DiscPoint, kProbeSamples> probes = SpreadOverRim<kProbeSamples>();
    const uint32_t boxes = BoxesNearTheWay(model, point);
    if (boxes == 0) {
        return 1.0;
    }
    const CWaysToLight ways(model, point, boxes);
    const int hidden = ways.CountHidden(probes);
    if (hidden == 0 || hidden == kProbeSamples) {
        return hidden == 0 ? 1.0 : 0.0;
    }
    return 1.0 - static_cast<double>(ways.CountHidden(samples)) / kShadowSamples;
}

// The key light's strength on a surface, before anything stands in its way.
double KeyStrength(const SceneLight& light, const Vec3& point, const Vec3& normal) {
    const Vec3 toLight = light.m_center - point;
    const double distance = Length(toLight);
    const double cosine = std::max(0.0, Dot(normal, toLight) / distance);
    const double relative = distance / 2000.0;
    return cosine / (0.35 + 0.65 * relative * relative);
}

LinearColor AmbientFrom(const Vec3& normal) {
    const double up = 0.5 - 0.5 * normal.y;
    return kSkyLight * up + kGroundLight * (1.0 - up);
}

double DistanceToBox(const OrientedBox& box, const Vec3& point) {
    const Vec3 local = box.m_toBox * (point - box.m_center);
    const Vec3 outside{std::max(0.0, std::fabs(local.x) - box.m_half.x),
                       std::max(0.0, std::fabs(local.y) - box.m_half.y),
                       std::max(0.0, std::fabs(local.z) - box.m_half.z)};
    return Length(outside);
}

// Corners and the feet of things get less ambient light: a smooth stand-in for counting blocked directions.
double AmbientOpenness(const CSceneModel& model, const SceneHit& hit, const Vec3& point) {
    constexpr double kReachMm = 170.0;
    double open = 1.0;
    const auto darken = [&open](double distanceMm, double strength, double reachMm) {
        if (distanceMm < 6.0 * reachMm) { // farther away it is less than a display value
            open *= 1.0 - strength * std::exp(-distanceMm / reachMm);
        }
    };
    const double walls[4] = {model.FloorY() - point.y, point.x - model.LeftWallX(),
                             model.RightWallX() - point.x, model.BackWallZ() - point.z};
    const uint8_t owners[4] = {kSceneFloor, kSceneLeftWall, kSceneRightWall, kSceneBackWall};
    for (int i = 0; i < 4; ++i) {
        if (hit.m_object != owners[i]) {
            darken(std::max(0.0, walls[i]), 0.38, kReachMm);
        }
    }
    for (size_t i = 0; i < model.Boxes().size(); ++i) {
        if (hit.m_object == kSceneFirstBox + i) {
            continue;
        }
        darken(DistanceToBox(model.Boxes()[i], point), 0.45, 45.0);
    }
    return open;
}

// The 48th power: how tightly a highlight is bound to the mirror's direction.
double Gloss(double cosine) {
    const double third = cosine * cosine * cosine;
    const double sixth = third * third;
    const double twelfth = sixth * sixth;
    const double half = twelfth * twelfth;
    return half * half;
}

// A display curve with a soft shoulder, then the display's own exponent.
double DisplayCurve(double linear) {
    const double x = linear * 0.56;
    const double shaped = (x * (2.51 * x + 0.03)) / (x * (2.43 * x + 0.59) + 0.14);
    return std::pow(std::clamp(shaped, 0.0, 1.0), 1.0 / 2.2);
}

constexpr size_t kCurveSteps = 4096;
constexpr double kCurveEnd = 4.0;

std::array<uint8_t, kCurveSteps> MakeCurve() {
    std::array<uint8_t, kCurveSteps> curve{};
    for (size_t i = 0; i < kCurveSteps; ++i) {
        const double linear = (static_cast<double>(i) + 0.5) * kCurveEnd / kCurveSteps;
        curve[i] = static_cast<uint8_t>(std::lround(255.0 * DisplayCurve(linear)));
    }
    return curve;
}

} // namespace

ScenePaint PaintStatic(const CSceneModel& model, const SceneHit& hit, const Vec3& point) {
    const LinearColor albedo = StaticAlbedo(model, hit, point);
    ScenePaint paint;
    paint.m_ambient = Times(albedo, AmbientFrom(hit.m_normal)) * AmbientOpenness(model, hit, point);
    const double strength = KeyStrength(model.Light(), point, hit.m_normal);
    if (strength > 0.0) {
        paint.m_direct = Times(albedo, kKeyLight) * (strength * LightPastBoxes(model, point));
    }
    return paint;
}

ScenePaint PaintBall(const CSceneModel& model, const SceneBall& ball, const Vec3& normal,
                     const Vec3& viewer) {
    const Vec3 point = ball.m_sphere.m_center + normal * ball.m_sphere.m_radius;
    const LinearColor albedo = BallAlbedo(ball.m_toBall * normal);
    ScenePaint paint;
    const double heightMm = std::max(0.0, model.FloorY() - point.y);
    paint.m_ambient = Times(albedo, AmbientFrom(normal)) * (1.0 - 0.55 * std::exp(-heightMm / 70.0));
    const double strength = KeyStrength(model.Light(), point, normal);
    if (strength > 0.0) {
        const double light = strength * LightPastBoxes(model, point);
        const Vec3 toLight = Normalized(model.Light().m_center - point);
        const Vec3 halfway = Normalized(toLight + Normalized(viewer - point));
        const double gloss = 0.30 * Gloss(std::max(0.0, Dot(normal, halfway)));
        paint.m_direct = (Times(albedo, kKeyLight) + kKeyLight * gloss) * light;
    }
    return paint;
}

double BallShadow(const SceneLight& light, const SceneBall& ball, const Vec3& point) {
    const Vec3 toLight = light.m_center - point;
    const Vec3 toBall = ball.m_sphere.m_center - point;
    const double along = Dot(toLight, toBall);
    if (along <= 0.0) {
        return 0.0;
    }
    const double lightSquared = Dot(toLight, toLight);
    // Most points are far aside of the line from the light through the ball, which costs no root to find out.
    const double asideSquared = Dot(toBall, toBall) - along * along / lightSquared;
    const double reach = 1.1 * (ball.m_sphere.m_radius + light.m_radiusMm * along / lightSquared);
    if (asideSquared > reach * reach) {
        return 0.0;
    }
    const double ballDistance = std::max(Length(toBall), ball.m_sphere.m_radius);
    // Sines stand for angles: both discs look small from where shadows fall.
    const double ballSize = ball.m_sphere.m_radius / ballDistance;
    const double lightSize = light.m_radiusMm / std::sqrt(lightSquared);
    const double cosine = along / (std::sqrt(lightSquared) * ballDistance);
    const double apart = std::sqrt(std::max(0.0, 1.0 - cosine * cosine));
    if (apart >= ballSize + lightSize || ballDistance * ballDistance > lightSquared) {
        return 0.0;
    }
    const double covered = std::min(1.0, (ballSize * ballSize) / (lightSize * lightSize));
    return covered * (1.0 - SmoothStep(std::fabs(ballSize - lightSize), ballSize + lightSize, apart));
}

double BallContact(const SceneBall& ball, const Vec3& floorPoint) {
    const Vec3 toBall = ball.m_sphere.m_center - floorPoint;
    const double squared = Dot(toBall, toBall);
    const double radius = ball.m_sphere.m_radius;
    const double up = -toBall.y / std::sqrt(squared);
    // Fades out at the reach, so that no rim is seen there.
    const double reach = kBallContactReach * radius;
    const double fade = std::max(0.0, 1.0 - squared / (reach * reach));
    return std::clamp(0.6 * up * radius * radius / squared * fade, 0.0, 1.0);
}

uint8_t EncodeLight(double linear) {
    static const std::array<uint8_t, kCurveSteps> curve = MakeCurve();
    const double step = linear * (kCurveSteps / kCurveEnd);
    if (!(step > 0.0)) {
        return curve.front();
    }
    return step >= kCurveSteps ? curve.back() : curve[static_cast<size_t>(step)];
}

} // namespace ox3d

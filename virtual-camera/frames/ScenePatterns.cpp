// ScenePatterns.cpp - tiles, planks and the like as functions of a surface point. Edges are sharp here;
// sampling into pixels smooths them.
#include "virtual-camera/frames/ScenePatterns.h"

#include <algorithm>

namespace ox3d {
namespace {

using Color = Vec3;

Color Mix(const Color& a, const Color& b, double share) {
    return a * (1.0 - share) + b * share;
}

// A reproducible number in 0..1 for a cell of a pattern.
double CellNoise(double a, double b) {
    const double s = std::sin(a * 127.1 + b * 311.7) * 43758.5453;
    return s - std::floor(s);
}

// Distance to the nearest line of a grid of lines.
double ToGridLine(double value, double spacing) {
    const double cell = value / spacing;
    return std::fabs(cell - std::round(cell)) * spacing;
}

Color FloorColor(const Vec3& p) {
    constexpr double kTileMm = 220.0;
    if (std::min(ToGridLine(p.x, kTileMm), ToGridLine(p.z, kTileMm)) < 3.0) {
        return {0.22, 0.20, 0.18};
    }
    const double column = std::floor(p.x / kTileMm);
    const double row = std::floor(p.z / kTileMm);
    const bool isDark = std::fmod(std::fabs(column + row), 2.0) > 0.5;
    const Color base = isDark ? Color{0.36, 0.32, 0.28} : Color{0.62, 0.57, 0.50};
    return base * (0.92 + 0.16 * CellNoise(column, row));
}

Color WallColor(const CSceneModel& model, uint8_t object, const Vec3& p) {
    const double heightMm = model.FloorY() - p.y;
    if (heightMm < 75.0) {
        return heightMm > 70.0 ? Color{0.30, 0.30, 0.30} : Color{0.74, 0.73, 0.70};
    }
    if (object == kSceneBackWall) {
        return {0.50, 0.57, 0.61};
    }
    return object == kSceneLeftWall ? Color{0.38, 0.50, 0.44} : Color{0.62, 0.55, 0.47};
}

Color CrateColor(const Vec3& local, const Vec3& half) {
    // Planks run along x on the sides and on the top; a frame of thicker wood runs around the edges.
    const double band = 34.0;
    const bool isTop = std::fabs(local.y) > half.y - 0.5;
    const double across = isTop ? local.z + half.z : local.y + half.y;
    const bool isSide = std::fabs(local.x) > half.x - 0.5;
    const double alongHalf = isSide ? half.z : half.x;
    const double along = isSide ? local.z : local.x;
    const double span = isTop ? 2.0 * half.z : 2.0 * half.y;
    const bool isFrame = std::fabs(along) > alongHalf - band || across < band || across > span - band;
    if (isFrame) {
        return {0.43, 0.30, 0.185};
    }
    const double plank = (span - 2.0 * band) / 5.0;
    if (ToGridLine(across - band, plank) < 2.5) {
        return {0.12, 0.085, 0.06};
    }
    const double grain = 0.5 + 0.5 * std::sin(across * 0.55 + 2.0 * std::sin(along * 0.02));
    const double tint = 0.88 + 0.24 * CellNoise(std::floor((across - band) / plank), isSide ? 3.0 : 1.0);
    return Mix({0.53, 0.38, 0.245}, {0.46, 0.325, 0.205}, grain) * tint;
}

Color ParcelColor(const Vec3& local, const Vec3& half) {
    const bool isTape = std::fabs(local.x) < 24.0 && std::fabs(local.x) < half.x;
    return isTape ? Color{0.55, 0.64, 0.66} : Color{0.075, 0.25, 0.36};
}

Color CabinetColor(const Vec3& local, const Vec3& half) {
    const Color panel{0.66, 0.645, 0.60};
    const bool isFront = local.z < -half.z + 0.5;
    if (!isFront) {
        return panel * 0.94;
    }
    // Three drawers with a handle each.
    const double drawer = 2.0 * half.y / 3.0;
    if (ToGridLine(local.y + half.y, drawer) < 3.0 || std::fabs(local.x) > half.x - 6.0) {
        return {0.20, 0.19, 0.175};
    }
    const double inDrawer = std::fmod(local.y + half.y, drawer) - drawer * 0.5;
    const bool isHandle = std::fabs(local.x) < 55.0 && std::fabs(inDrawer) < 9.0;
    return isHandle ? Color{0.10, 0.10, 0.11} : panel;
}

Color BoardColor(const Vec3& local, const Vec3& half) {
    constexpr double kSquareMm = 60.0;
    const double marginX = half.x - std::fabs(local.x);
    const double marginY = half.y - std::fabs(local.y);
    if (std::min(marginX, marginY) < 30.0 || std::fabs(local.z) < half.z - 0.5) {
        return {0.78, 0.78, 0.76};
    }
    const double column = std::floor((local.x + half.x - 30.0) / kSquareMm);
    const double row = std::floor((local.y + half.y - 30.0) / kSquareMm);
    const bool isBlack = std::fmod(column + row, 2.0) > 0.5;
    return isBlack ? Color{0.035, 0.035, 0.04} : Color{0.78, 0.78, 0.76};
}

Color CubeColor(const Vec3& local, const Vec3& half) {
    const double edges[3] = {half.x - std::fabs(local.x), half.y - std::fabs(local.y),
                             half.z - std::fabs(local.z)};
    // On a face one of the three is nearly 0; the second smallest is the distance to the face's border.
    const double min = std::min({edges[0], edges[1], edges[2]});
    const double max = std::max({edges[0], edges[1], edges[2]});
    const double toBorder = edges[0] + edges[1] + edges[2] - min - max;
    return toBorder < 14.0 ? Color{0.52, 0.60, 0.42} : Color{0.17, 0.36, 0.20};
}

// A framed picture: hills, a pale sun and its halo.
Color PictureColor(const Vec3& local, const Vec3& half) {
    const double margin = std::min(half.x - std::fabs(local.x), half.y - std::fabs(local.y));
    if (margin < 22.0) {
        return {0.060, 0.048, 0.040};
    }
    if (margin < 52.0) {
        return {0.80, 0.79, 0.76};
    }
    const double x = local.x;
    const double y = local.y;
    const double front = 70.0 + 34.0 * std::sin(x * 0.013 + 0.6);
    const double middle = 22.0 + 30.0 * std::sin(x * 0.018 + 2.4);
    const double rear = -18.0 + 26.0 * std::sin(x * 0.011 + 4.4);
    if (y > front) {
        return {0.055, 0.16, 0.17};
    }
    if (y > middle) {
        return {0.13, 0.30, 0.29};
    }
    if (y > rear) {
        return {0.27, 0.43, 0.42};
    }
    const double toSun = std::hypot(x - 95.0, y + 78.0);
    if (toSun < 40.0) {
        return {0.86, 0.80, 0.66};
    }
    const double height = std::clamp((y + half.y) / (2.0 * half.y), 0.0, 1.0);
    const Color sky = Mix({0.36, 0.50, 0.62}, {0.80, 0.68, 0.56}, height * 1.6);
    return toSun < 62.0 ? Mix(sky, {0.86, 0.80, 0.66}, 0.4) : sky;
}

} // namespace

Vec3 StaticAlbedo(const CSceneModel& model, const SceneHit& hit, const Vec3& point) {
    if (hit.m_object == kSceneFloor) {
        return FloorColor(point);
    }
    if (hit.m_object == kSceneCeiling || hit.m_object == kSceneNothing) {
        return {0.75, 0.75, 0.73};
    }
    if (hit.m_object < kSceneFirstBox) {
        return WallColor(model, hit.m_object, point);
    }
    const size_t index = static_cast<size_t>(hit.m_object - kSceneFirstBox);
    const OrientedBox& box = model.Boxes()[index];
    const Vec3 local = box.m_toBox * (point - box.m_center);
    switch (index) {
    case kBoxCrate:
        return CrateColor(local, box.m_half);
    case kBoxParcel:
        return ParcelColor(local, box.m_half);
    case kBoxCabinet:
        return CabinetColor(local, box.m_half);
    case kBoxBoard:
        return BoardColor(local, box.m_half);
    case kBoxCube:
        return CubeColor(local, box.m_half);
    case kBoxPicture:
        return PictureColor(local, box.m_half);
    default:
        return {};
    }
}

Vec3 BallAlbedo(const Vec3& direction) {
    // Six segments around the ball's own y axis, with a cap at each pole.
    constexpr double kSegment = 3.14159265358979323846 / 3.0;
    if (std::fabs(direction.y) > 0.955) {
        return {0.82, 0.20, 0.012};
    }
    const double angle = std::atan2(direction.z, direction.x) + 3.0 * kSegment;
    const bool isOdd = std::fmod(std::floor(angle / kSegment), 2.0) > 0.5;
    return isOdd ? Vec3{0.88, 0.23, 0.015} : Vec3{0.93, 0.56, 0.03};
}

} // namespace ox3d

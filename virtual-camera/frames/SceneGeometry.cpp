// SceneGeometry.cpp - ray intersections in closed form; nothing here knows which scene it serves.
#include "virtual-camera/frames/SceneGeometry.h"

#include <algorithm>
#include <limits>

namespace ox3d {
namespace {

constexpr double kRadiansPerDegree = 3.14159265358979323846 / 180.0;

// The stretch of a ray inside a box, and the face through which it enters: 0, 1, 2 for x, y, z.
struct Stretch {
    double m_enter = -std::numeric_limits<double>::infinity();
    double m_leave = std::numeric_limits<double>::infinity();
    int m_enterAxis = 0;
};

// Cuts the stretch with one pair of parallel faces; false when nothing is left.
bool ClipSlab(double origin, double direction, double half, int axis, Stretch* stretch) {
    if (direction == 0.0) {
        return std::fabs(origin) <= half;
    }
    const double inverse = 1.0 / direction;
    double first = (-half - origin) * inverse;
    double second = (half - origin) * inverse;
    if (first > second) {
        std::swap(first, second);
    }
    if (first > stretch->m_enter) {
        stretch->m_enter = first;
        stretch->m_enterAxis = axis;
    }
    stretch->m_leave = std::min(stretch->m_leave, second);
    return stretch->m_enter <= stretch->m_leave;
}

bool ClipBox(const Vec3& half, const Vec3& origin, const Vec3& direction, Stretch* stretch) {
    return ClipSlab(origin.x, direction.x, half.x, 0, stretch) &&
           ClipSlab(origin.y, direction.y, half.y, 1, stretch) &&
           ClipSlab(origin.z, direction.z, half.z, 2, stretch);
}

// Most rays miss most boxes: a test against the sphere around the box is far cheaper than the box itself.
bool MissesSurroundingSphere(const OrientedBox& box, const Ray& ray) {
    const Vec3 toCenter = box.m_center - ray.m_origin;
    const double along = Dot(toCenter, ray.m_direction);
    const double squared = Dot(ray.m_direction, ray.m_direction);
    const double distanceTimesSquared = Dot(toCenter, toCenter) * squared - along * along;
    return distanceTimesSquared > Dot(box.m_half, box.m_half) * squared;
}

Ray ShortenedSegment(const Vec3& from, const Vec3& to, double marginMm, double* lengthMm) {
    const Vec3 whole = to - from;
    *lengthMm = Length(whole);
    const Vec3 unit = whole * (1.0 / std::max(*lengthMm, 1e-9));
    *lengthMm -= 2.0 * marginMm;
    return {from + unit * marginMm, unit};
}

} // namespace

Mat3 Transposed(const Mat3& m) {
    return {{m.r0.x, m.r1.x, m.r2.x}, {m.r0.y, m.r1.y, m.r2.y}, {m.r0.z, m.r1.z, m.r2.z}};
}

Mat3 operator*(const Mat3& a, const Mat3& b) {
    const Mat3 columns = Transposed(b);
    return {{Dot(a.r0, columns.r0), Dot(a.r0, columns.r1), Dot(a.r0, columns.r2)},
            {Dot(a.r1, columns.r0), Dot(a.r1, columns.r1), Dot(a.r1, columns.r2)},
            {Dot(a.r2, columns.r0), Dot(a.r2, columns.r1), Dot(a.r2, columns.r2)}};
}

Mat3 RotationX(double degrees) {
    const double c = std::cos(degrees * kRadiansPerDegree);
    const double s = std::sin(degrees * kRadiansPerDegree);
    return {{1.0, 0.0, 0.0}, {0.0, c, -s}, {0.0, s, c}};
}

Mat3 RotationY(double degrees) {
    const double c = std::cos(degrees * kRadiansPerDegree);
    const double s = std::sin(degrees * kRadiansPerDegree);
    return {{c, 0.0, s}, {0.0, 1.0, 0.0}, {-s, 0.0, c}};
}

Mat3 RotationZ(double degrees) {
    const double c = std::cos(degrees * kRadiansPerDegree);
    const double s = std::sin(degrees * kRadiansPerDegree);
    return {{c, -s, 0.0}, {s, c, 0.0}, {0.0, 0.0, 1.0}};
}

bool Intersect(const Ray& ray, const OrientedBox& box, double tMin, double tMax, SurfaceHit* hit) {
    if (MissesSurroundingSphere(box, ray)) {
        return false;
    }
    const Vec3 origin = box.m_toBox * (ray.m_origin - box.m_center);
    const Vec3 direction = box.m_toBox * ray.m_direction;
    Stretch stretch;
    if (!ClipBox(box.m_half, origin, direction, &stretch) || stretch.m_enter <= tMin ||
        stretch.m_enter >= tMax) {
        return false;
    }
    const double components[3] = {direction.x, direction.y, direction.z};
    const Vec3 rows[3] = {box.m_toBox.r0, box.m_toBox.r1, box.m_toBox.r2};
    const int axis = stretch.m_enterAxis;
    hit->m_t = stretch.m_enter;
    hit->m_normal = rows[axis] * (components[axis] > 0.0 ? -1.0 : 1.0);
    return true;
}

bool Intersect(const Ray& ray, const Sphere& sphere, double tMin, double tMax, SurfaceHit* hit) {
    const Vec3 toCenter = sphere.m_center - ray.m_origin;
    const double a = Dot(ray.m_direction, ray.m_direction);
    const double b = Dot(toCenter, ray.m_direction);
    const double c = Dot(toCenter, toCenter) - sphere.m_radius * sphere.m_radius;
    const double discriminant = b * b - a * c;
    if (discriminant < 0.0) {
        return false;
    }
    const double t = (b - std::sqrt(discriminant)) / a;
    if (t <= tMin || t >= tMax) {
        return false;
    }
    hit->m_t = t;
    hit->m_normal = (ray.At(t) - sphere.m_center) * (1.0 / sphere.m_radius);
    return true;
}

bool CrossesBox(const Vec3& half, const Vec3& from, const Vec3& to) {
    Stretch stretch;
    return ClipBox(half, from, to - from, &stretch) && stretch.m_leave > 0.0 && stretch.m_enter < 1.0;
}

bool Blocks(const OrientedBox& box, const Vec3& from, const Vec3& to, double marginMm) {
    double lengthMm = 0.0;
    const Ray ray = ShortenedSegment(from, to, marginMm, &lengthMm);
    if (MissesSurroundingSphere(box, ray)) {
        return false;
    }
    const Vec3 start = box.m_toBox * (ray.m_origin - box.m_center);
    return CrossesBox(box.m_half, start, start + box.m_toBox * (ray.m_direction * lengthMm));
}

bool Blocks(const Sphere& sphere, const Vec3& from, const Vec3& to, double marginMm) {
    double lengthMm = 0.0;
    const Ray ray = ShortenedSegment(from, to, marginMm, &lengthMm);
    const Vec3 toCenter = sphere.m_center - ray.m_origin;
    const double along = std::clamp(Dot(toCenter, ray.m_direction), 0.0, std::max(lengthMm, 0.0));
    const Vec3 nearest = toCenter - ray.m_direction * along;
    return Dot(nearest, nearest) < sphere.m_radius * sphere.m_radius;
}

} // namespace ox3d

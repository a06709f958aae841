// SceneGeometry.h - vectors, pinhole cameras and the few solids of which the procedural scene is built.
//
// Lengths are millimetres. Every frame is right-handed with x to the right, y down and z away from the
// viewer. A viewing ray's direction has z = 1 in its camera's frame, so a ray parameter is a depth.
#ifndef OX3D_VIRTUAL_CAMERA_SCENE_GEOMETRY_H
#define OX3D_VIRTUAL_CAMERA_SCENE_GEOMETRY_H

#include <cmath>
#include <cstdint>

namespace ox3d {

// Plain mathematics, written as in a formula: hence the short member names.
struct Vec3 {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

inline Vec3 operator+(const Vec3& a, const Vec3& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec3 operator-(const Vec3& a, const Vec3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 operator*(const Vec3& a, double s) {
    return {a.x * s, a.y * s, a.z * s};
}
inline double Dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline double Length(const Vec3& a) {
    return std::sqrt(Dot(a, a));
}
inline Vec3 Normalized(const Vec3& a) {
    return a * (1.0 / Length(a));
}

inline Vec3 Cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// Three rows; used for rotations only.
struct Mat3 {
    Vec3 r0{1.0, 0.0, 0.0};
    Vec3 r1{0.0, 1.0, 0.0};
    Vec3 r2{0.0, 0.0, 1.0};
};

inline Vec3 operator*(const Mat3& m, const Vec3& v) {
    return {Dot(m.r0, v), Dot(m.r1, v), Dot(m.r2, v)};
}

// The transposed matrix applied, which for a rotation is the inverse one.
inline Vec3 ApplyInverse(const Mat3& m, const Vec3& v) {
    return m.r0 * v.x + m.r1 * v.y + m.r2 * v.z;
}

Mat3 Transposed(const Mat3& m);
Mat3 operator*(const Mat3& a, const Mat3& b);
// Rotations by an angle in degrees about one axis.
Mat3 RotationX(double degrees);
Mat3 RotationY(double degrees);
Mat3 RotationZ(double degrees);

struct Ray {
    Vec3 m_origin;
    Vec3 m_direction; // not of unit length
    Vec3 At(double t) const { return m_origin + m_direction * t; }
};

// A pinhole camera in the room. Pixel (u, v) is the ray through ((u - cx) / fx, (v - cy) / fy, 1).
struct PinholeCamera {
    Vec3 m_origin;
    Mat3 m_toRoom; // takes a direction of the camera's frame into the room's
    double m_fx = 1.0;
    double m_fy = 1.0;
    double m_cx = 0.0;
    double m_cy = 0.0;

    Ray RayAt(double u, double v) const {
        return {m_origin, m_toRoom * Vec3{(u - m_cx) / m_fx, (v - m_cy) / m_fy, 1.0}};
    }
    Vec3 ToCamera(const Vec3& roomPoint) const { return ApplyInverse(m_toRoom, roomPoint - m_origin); }
};

struct OrientedBox {
    Vec3 m_center;
    Vec3 m_half;  // half the edge lengths
    Mat3 m_toBox; // takes a direction of the room into the box's own axes
};

struct Sphere {
    Vec3 m_center;
    double m_radius = 0.0;
};

struct SurfaceHit {
    double m_t = 0.0; // ray parameter
    Vec3 m_normal;    // unit length, towards the side that the ray comes from
};

// Nearest intersection with tMin < t < tMax; false when there is none.
bool Intersect(const Ray& ray, const OrientedBox& box, double tMin, double tMax, SurfaceHit* hit);
bool Intersect(const Ray& ray, const Sphere& sphere, double tMin, double tMax, SurfaceHit* hit);

// Whether the straight line between two points passes through the solid. Both ends are shortened by
// `marginMm`, so that a point on the solid's own surface does not block itself.
bool Blocks(const OrientedBox& box, const Vec3& from, const Vec3& to, double marginMm);
bool Blocks(const Sphere& sphere, const Vec3& from, const Vec3& to, double marginMm);
// The same for a box around the origin whose axes are those of the points; the ends are taken as they are.
bool CrossesBox(const Vec3& half, const Vec3& from, const Vec3& to);

} // namespace ox3d

#endif

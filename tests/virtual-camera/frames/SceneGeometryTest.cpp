// SceneGeometryTest.cpp - intersections with known answers.
#include "virtual-camera/frames/SceneGeometry.h"

#include <gtest/gtest.h>

namespace ox3d {
namespace {

const OrientedBox kTurnedBox{{0.0, 0.0, 1000.0}, {100.0, 50.0, 100.0}, RotationY(45.0)};

TEST(SceneGeometry, ATurnedBoxIsMetAtItsEdge) {
    SurfaceHit hit;
    ASSERT_TRUE(Intersect({{}, {0.001, 0.0, 1.0}}, kTurnedBox, 1.0, 1e9, &hit));
    EXPECT_NEAR(hit.m_t, 1000.0 - 100.0 * std::sqrt(2.0), 1.0);
    EXPECT_NEAR(Length(hit.m_normal), 1.0, 1e-12);
    EXPECT_GT(hit.m_normal.x, 0.7); // the right one of the two faces that meet there
    EXPECT_LT(hit.m_normal.z, -0.7);
    EXPECT_FALSE(Intersect({{}, {0.0, 0.06, 1.0}}, kTurnedBox, 1.0, 1e9, &hit)) << "passes below";
    EXPECT_FALSE(Intersect({{}, {0.0, 0.0, 1.0}}, kTurnedBox, 1.0, 800.0, &hit))
        << "something nearer is known";
    EXPECT_FALSE(Intersect({{0.0, 0.0, 2000.0}, {0.0, 0.0, 1.0}}, kTurnedBox, 1.0, 1e9, &hit))
        << "lies behind";
}

TEST(SceneGeometry, ASurfaceDoesNotStandInItsOwnWay) {
    const Sphere sphere{{0.0, 0.0, 1000.0}, 100.0};
    const Vec3 front{0.0, 0.0, 900.0};
    const Vec3 back{0.0, 0.0, 1100.0};
    EXPECT_FALSE(Blocks(sphere, {}, front, 0.5));
    EXPECT_TRUE(Blocks(sphere, {}, back, 0.5));
    EXPECT_FALSE(Blocks(sphere, back, {0.0, 0.0, 3000.0}, 0.5));
    const OrientedBox box{{0.0, 0.0, 1000.0}, {100.0, 100.0, 100.0}, {}};
    EXPECT_FALSE(Blocks(box, {}, front, 0.5));
    EXPECT_TRUE(Blocks(box, {}, back, 0.5));
    EXPECT_FALSE(Blocks(box, back, {0.0, 0.0, 3000.0}, 0.5));
}

TEST(SceneGeometry, RotationsKeepLengthsAndUndo) {
    const Mat3 r = RotationX(20.0) * RotationY(-35.0) * RotationZ(110.0);
    const Vec3 v{3.0, -4.0, 12.0};
    EXPECT_NEAR(Length(r * v), 13.0, 1e-12);
    EXPECT_NEAR(Length(ApplyInverse(r, r * v) - v), 0.0, 1e-12);
    EXPECT_NEAR(Length(Transposed(r) * (r * v) - v), 0.0, 1e-12);
}

} // namespace
} // namespace ox3d

// SceneShading.h - how the scene's surfaces look: patterns, one soft key light and an ambient term.
//
// Light is added up in linear units and encoded for display at the very end.
#ifndef OX3D_VIRTUAL_CAMERA_SCENE_SHADING_H
#define OX3D_VIRTUAL_CAMERA_SCENE_SHADING_H

#include "virtual-camera/frames/SceneModel.h"

namespace ox3d {

using LinearColor = Vec3; // x, y, z are red, green, blue

// The two parts are kept apart so that a shadow that moves takes away the first and leaves the second.
struct ScenePaint {
    LinearColor m_direct; // from the key light
    LinearColor m_ambient;
};

// A point of anything but the ball, with the shadows of the boxes but not the ball's.
ScenePaint PaintStatic(const CSceneModel& model, const SceneHit& hit, const Vec3& point);
// A point of the ball; `normal` has unit length, `viewer` is the camera's place.
ScenePaint PaintBall(const CSceneModel& model, const SceneBall& ball, const Vec3& normal, const Vec3& viewer);

// The share of the key light that the ball keeps from a point, 0 to 1.
double BallShadow(const SceneLight& light, const SceneBall& ball, const Vec3& point);
// The share of the ambient light that the ball keeps from a point of the floor, 0 to 1; 0 beyond the reach.
constexpr double kBallContactReach = 2.5; // in ball radii
double BallContact(const SceneBall& ball, const Vec3& floorPoint);

// Linear light to a display value of 0 to 255.
uint8_t EncodeLight(double linear);

} // namespace ox3d

#endif

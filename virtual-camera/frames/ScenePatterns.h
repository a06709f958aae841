// ScenePatterns.h - the colors that the scene's surfaces have of their own, in linear light.
#ifndef OX3D_VIRTUAL_CAMERA_SCENE_PATTERNS_H
#define OX3D_VIRTUAL_CAMERA_SCENE_PATTERNS_H

#include "virtual-camera/frames/SceneModel.h"

namespace ox3d {

Vec3 StaticAlbedo(const CSceneModel& model, const SceneHit& hit, const Vec3& point);
// `direction` is a unit vector in the ball's own axes. No other surface is as saturated as the ball.
Vec3 BallAlbedo(const Vec3& direction);

} // namespace ox3d

#endif

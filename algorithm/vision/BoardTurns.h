// Boards that look the same when they are turned: which corner is the first may differ from camera to camera and from view to
// view, and only the cameras together can tell. Relies on poses of the boards in every camera.
#pragma once

#include "algorithm/vision/BoardBundle.h"

namespace ox3d::vision {

// Turns by which a board looks the same, of four quarters: 1, 2 or 4.
int32_t TurnsOf(const BoardViews& seen);

// Takes, for all cameras but the first, the turn of each view in which all views agree best on where the camera stands.
// boards, in the order of the corners, and the corners themselves become those of that turn. Where all boards are
// parallel to one another nothing tells, and everything may be turned.
void AgreeOnTurns(const BoardViews& seen, Pose* boards);

} // namespace ox3d::vision

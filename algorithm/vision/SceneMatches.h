// Places that both images of a pair show: corners of the left one, found in the right one near where a rig has them.
// Relies on SceneCorrection.h for what a rig is.
#pragma once

#include "algorithm/vision/SceneCorrection.h"

namespace ox3d::vision {

// Rays of one place, (x, y, 1), in each camera's own frame.
struct SceneMatch {
    double m_left[2];
    double m_right[2];
};

// At most `most` places of a pair. bits are 8 bytes a pixel of it. How many there are.
size_t MatchScene(const StereoRig& rig, const ScenePair& pair, uint64_t* bits, SceneMatch* matches,
                  size_t most);

} // namespace ox3d::vision

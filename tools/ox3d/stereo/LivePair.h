// The pair of pictures that a camera's depth is made of, where it sends it.
#ifndef OX3D_TOOL_LIVE_PAIR_H
#define OX3D_TOOL_LIVE_PAIR_H

#include "tools/ox3d/Camera.h"
#include "tools/ox3d/pictures/FrameDecode.h"

namespace ox3d::tool {

// Of the first frame that has one. Throws a CToolError where none comes in time, or the user wants no more.
ViewPair FetchPair(CCamera& camera, uint32_t patienceSeconds);

} // namespace ox3d::tool

#endif

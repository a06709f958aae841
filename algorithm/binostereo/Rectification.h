// The geometry of calibrated rectification: from two cameras to two rotations and one common projection.
// Relies on the public records; uses no memory of the object.
#pragma once

#include <ox3drgbd/Oxb3dBinoStereo.h>

namespace ox3d::stereo {

struct Rectification {
    float m_leftRotation[9]; // row-major, from the camera's frame into the rectified one
    float m_rightRotation[9];
    float m_projection[12]; // row-major 3 x 4, of both rectified cameras; its last column is 0
    float m_baseLine;       // length, in the unit of the translation
    float m_rightOffset;    // the same, less than 0 where the right camera lies on the left
};

// Each camera is turned by half of the rotation between them, then both together so that the base line runs
// along the rows. The common focal length is the largest, up to the smallest of the sources', with which both
// fields of view stay whole. False where the calibration is not one: numbers that are not finite, no focal
// length, no rotation, no base line, or fields of view that no common image plane can hold.
bool ComputeRectification(const OXB3D_BINOSTEREO_INIT_INPUT& input, Rectification* result);

} // namespace ox3d::stereo

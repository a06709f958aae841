// Sets a stereo rig right that stands no longer as it was calibrated, by what both cameras see of any scene: places that look
// alike in both images have to lie in one plane with the base line. Relies on memory of the caller; allocates nothing
// and throws nothing.
#pragma once

#include "algorithm/vision/GreyView.h"
#include "algorithm/vision/Lens.h"

namespace ox3d::vision {

// Rotation and translation take a point of the left camera's frame into the right one's.
struct StereoRig {
    Lens m_left, m_right;
    Matrix3 m_rotation;
    Vector3 m_translation;
};

// As the cameras see it; both images of one size.
struct ScenePair {
    GreyView m_left, m_right;
};

struct SceneCorrection {
    Matrix3 m_rotation;
    Vector3 m_translation;
    double
        m_rowErrorRms; // pixels between a place and where the other view has it at best; of the places that agree
    double m_rowErrorP95;
    int32_t m_matches; // places that agree
    uint64_t m_pairs;  // bit i: pair i shows such places
};

// Scratch for images of up to this size, on an 8-byte boundary: 8 bytes a pixel, and what the places take. Not for sizes below 0.
constexpr size_t kSceneMatches = 4096;
constexpr int32_t kMaxScenePairs = 64;
constexpr size_t kSceneMatchBytes = 104;
constexpr uint64_t SceneScratchBytes(int32_t width, int32_t height) {
    return 8 * static_cast<uint64_t>(width) * static_cast<uint64_t>(height) +
           kSceneMatches * kSceneMatchBytes;
}

// Finds by how much the right camera has turned, and by how much the base line has moved out of its row; its length and the lenses
// stay as they are, since no scene tells them. The right one may stand up to 0.5 degrees wrong about each axis. False
// where too few places agree, and then nothing is written. Pairs may be of one moment or of many, at most kMaxScenePairs.
// The same images give the same numbers.
bool CorrectByScene(const StereoRig& start, const ScenePair* pairs, int32_t count, void* scratch,
                    SceneCorrection* correction);

} // namespace ox3d::vision

// Fill.h - depth registered to another camera without holes: every valid pixel of the source covers the piece of
// the target that its four corners project to, and the nearest surface wins. Pixel centres lie at whole numbers in both images.
// Relies on nothing of its caller: sizes, cameras and depths may be anything.
#ifndef OX3D_ALIGNMENT_FILL_H
#define OX3D_ALIGNMENT_FILL_H

#include "base/WorkerPool.h"

#include <cstddef>
#include <cstdint>

namespace ox3d {

// The depth camera, the camera whose view is wanted, and the way between them, in the unit of the depth.
struct AlignCameras {
    float m_depth[4];      // fx, fy, cx, cy
    float m_transform[12]; // row-major 3 x 4, from the depth camera's frame into the target's
    float m_target[9];     // fx, fy, cx, cy, k1, k2, p1, p2, k3
};

// One depth image and what it is aligned by.
struct AlignArgs {
    const uint16_t* m_depth; // rows of m_width samples; 1 to 32767 are depths, all else is none
    int32_t m_width;
    int32_t m_height;
    uint32_t m_stepPermille; // of the smaller depth, up to which two neighbours belong to one surface
    AlignCameras m_cameras;
};

constexpr uint32_t kMaxAlignSide = 16384;

// Whether images of the size can be aligned at all.
constexpr bool IsAlignSize(uint32_t width, uint32_t height) {
    return width > 0 && width <= kMaxAlignSide && height > 0 && height <= kMaxAlignSide;
}

// Registers the depth into `target`, of the same size; 0 where nothing lands. False, with nothing written, when the
// size is out of range.
bool Fill(const AlignArgs& args, uint16_t* target);

// The same by the threads of `turn`. `spare` is room for a target for each of them but one; null: one thread does it all.
bool Fill(const AlignArgs& args, uint16_t* target, const CPoolTurn& turn, uint16_t* spare);

// What a pixel of an occlusion mask says.
constexpr uint8_t kMaskSeen = 255;
constexpr uint8_t kMaskHidden = 128;
constexpr uint8_t kMaskOutside = 64;
constexpr uint8_t kMaskNone = 0;

// The mask of registered depth, `filled` as Fill leaves it: seen where there is a depth, hidden where a row has none
// between two that are a step apart, else none.
void MaskFilled(const AlignArgs& args, const uint16_t* filled, const CPoolTurn& turn, uint8_t* mask);

} // namespace ox3d

#endif

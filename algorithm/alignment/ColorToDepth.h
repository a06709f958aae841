// ColorToDepth.h - the color image seen from the depth camera: at each pixel with a depth, the color of its point,
// where the color camera sees it. Relies on the depth registered by Fill, to tell what stands in front.
#ifndef OX3D_ALIGNMENT_COLOR_TO_DEPTH_H
#define OX3D_ALIGNMENT_COLOR_TO_DEPTH_H

#include "algorithm/alignment/Fill.h"

namespace ox3d {

// Three planes of m_width x m_height bytes, one after the other. It may be of another size than the depth, with the
// same picture: the cameras of a call belong to images of the depth's size.
struct ColorPlanes {
    const uint8_t* m_data;
    int32_t m_width;
    int32_t m_height;
};

// `filled` is what Fill makes of the same arguments. Writes three planes of the depth's size to `out`, 0, 0, 0 where
// there is no depth or the color camera does not see the point, and the mask. Either may be null, and out is not
// written when the color's data is null. False, with nothing written, when a size is out of range.
bool ColorToDepth(const AlignArgs& args, const uint16_t* filled, const ColorPlanes& color,
                  const CPoolTurn& turn, uint8_t* out, uint8_t* mask);

} // namespace ox3d

#endif

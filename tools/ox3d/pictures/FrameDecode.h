// Images of a delivered frame as the tool's own images.
#ifndef OX3D_TOOL_FRAME_DECODE_H
#define OX3D_TOOL_FRAME_DECODE_H

#include "recording/camera/FrameImages.h"
#include "tools/ox3d/pictures/Images.h"

namespace ox3d::tool {

// The frame's depth image, copied; empty when there is none or its sizes do not agree with its bytes.
DepthImage DecodeDepth(const OX3D_RGBD_FRAME_DATA& frame);

// The frame's color image, copied: planar RGB, packed RGB or BGR, or grey. Empty as above.
RgbImage DecodeColor(const OX3D_RGBD_FRAME_DATA& frame);

// The grey views of a stereo pair, of one size.
struct ViewPair {
    GreyImage m_left;
    GreyImage m_right;
    bool IsEmpty() const { return m_left.IsEmpty(); }
};
// The frame's pair, copied. Empty as above.
ViewPair DecodePair(const OX3D_RGBD_FRAME_DATA& frame);

} // namespace ox3d::tool

#endif

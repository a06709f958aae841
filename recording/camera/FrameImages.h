// FrameImages.h - the images of a delivered frame that are recorded or shown. A record's own figures are checked before a
// byte is read. Relies on the public headers alone.
#ifndef OX3D_RECORDING_FRAME_IMAGES_H
#define OX3D_RECORDING_FRAME_IMAGES_H

#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace ox3d {

// The record of the depth image, or of the color image (planar RGB, packed RGB or BGR, or grey), or null: there is none, or
// its sizes do not agree with its bytes.
const OX3D_RGBD_IMAGE_DATA* FindDepth(const OX3D_RGBD_FRAME_DATA& frame);
const OX3D_RGBD_IMAGE_DATA* FindColor(const OX3D_RGBD_FRAME_DATA& frame);

// Of an image of FindColor: R, G, B of each pixel together, into width * height * 3 bytes.
void InterleaveColor(const OX3D_RGBD_IMAGE_DATA& color, uint8_t* out);

} // namespace ox3d

#endif

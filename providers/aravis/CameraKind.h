// CameraKind.h - what a camera sends, told by its features alone.
#ifndef OX3D_ARAVIS_CAMERA_KIND_H
#define OX3D_ARAVIS_CAMERA_KIND_H

#include <arv.h>

#include <cstdint>

namespace ox3d {

enum class ECameraKind : uint8_t {
    Native,  // depth as the image, color in a chunk
    Sfnc3d,  // components, as the 3D model of GenICam's Standard Features Naming Convention has them
    Plain2d, // an image without depth
};

ECameraKind KindOf(ArvDevice* device);
// As the feature Ox3dCameraKind says it.
const char* NameOf(ECameraKind kind);

} // namespace ox3d

#endif

// ColorPlanes.h - an intensity image as it was sent becomes a red, a green and a blue plane, the color of the library.
#ifndef OX3D_ARAVIS_COLOR_PLANES_H
#define OX3D_ARAVIS_COLOR_PLANES_H

#include <string>
#include <vector>

#include "providers/aravis/BayerPlanes.h"
#include "providers/aravis/Scan3dDepth.h"

namespace ox3d {

// Names of the pixel formats that can be read, in the order in which they are chosen: color before grey.
std::vector<std::string> ColorFormatNames();
bool IsColorFormat(uint32_t code);

// One thread at a time for each object, which keeps memory from image to image.
class CColorPlanes {
public:
    // Writes 3 x width x height bytes; planes has room for them. Grey gives three planes alike. False, with nothing
    // written, for another format, for sizes that cannot be, and where bytes are missing. Throws nothing but std::bad_alloc.
    bool Make(const SentImage& image, std::span<uint8_t> planes);

private:
    CBayerPlanes m_bayer;
};

} // namespace ox3d

#endif

// One picture of a stereo pair, out of a PNG or PGM file.
#ifndef OX3D_TOOL_STEREO_PICTURE_H
#define OX3D_TOOL_STEREO_PICTURE_H

#include "tools/ox3d/pictures/Images.h"
#include "tools/ox3d/stereo/Netpbm.h"

#include <string>

namespace ox3d::tool {

struct StereoPicture {
    GreyImage m_grey;
    RgbImage m_color; // the same, grey where the file is
};

// Throws a CToolError that says what is wrong with the file.
StereoPicture ReadStereoPicture(const std::string& file);

// A picture without colors.
StereoPicture PictureOf(GreyImage grey);

} // namespace ox3d::tool

#endif

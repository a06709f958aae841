// How the two cameras of a stereo pair stand to each other: calibration files of raw pictures, and what is to be known of
// rectified ones.
#ifndef OX3D_TOOL_STEREO_CALIBRATION_H
#define OX3D_TOOL_STEREO_CALIBRATION_H

#include <ox3drgbd/Oxb3dBinoStereo.h>
#include <string>

namespace ox3d::tool {

// What a rectified pair is seen with. A point that the left picture has at column x and the right one at x - d lies at the
// distance fx * base line / (d + offset).
struct RectifiedCamera {
    double m_fx = 0; // pixels, as the next three
    double m_fy = 0;
    double m_cx = 0; // of the left picture
    double m_cy = 0;
    double m_baseLineMm = 0;
    double m_offset = 0; // by how many pixels the centre of the right picture lies further right
};

// The input of process type 1 out of a file stereo.json; its translation in millimetres. Throws a CToolError that says
// what is wrong with the file.
OXB3D_BINOSTEREO_INIT_INPUT ReadStereoCalibration(const std::string& file);

// The same of what is in the file of that name.
OXB3D_BINOSTEREO_INIT_INPUT StereoCalibrationOf(const std::string& text, const std::string& file);

} // namespace ox3d::tool

#endif

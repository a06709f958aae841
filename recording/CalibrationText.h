// CalibrationText.h - writes the calibration file that a camera stores. Relies on nothing but numbers.
#ifndef OX3D_RECORDING_CALIBRATION_TEXT_H
#define OX3D_RECORDING_CALIBRATION_TEXT_H

#include <cstdint>
#include <string>

namespace ox3d {

struct RgbdIntrinsics {
    double m_fx = 0.0;
    double m_fy = 0.0;
    double m_cx = 0.0;
    double m_cy = 0.0;
};

// What belongs to one depth resolution.
struct RgbdCalibration {
    uint32_t m_width = 0; // of the depth image
    uint32_t m_height = 0;
    RgbdIntrinsics m_depth;
    RgbdIntrinsics m_color;         // of the color image scaled to the depth image's size
    double m_rotation[9] = {};      // row-major; takes a point of the depth camera's frame ...
    double m_translationMm[3] = {}; // ... into the color camera's
    double m_distortion[5] = {};    // k1, k2, p1, p2, k3 of the color camera
};

// The file has room for two depth resolutions; a reader takes the first set when its width fits and the
// second set otherwise. The numbers do not depend on the process's locale.
std::string FormatCalibrationXml(const RgbdCalibration& first, const RgbdCalibration& second);
// A file for one depth resolution of a camera whose depth is not to be registered (registration="none"): color is taken by the
// depth's lens, and is left out where it is not. For other resolutions, and for every one with null, the file says no more
// than that.
std::string FormatUnregisteredXml(const RgbdCalibration* only, bool hasColor);

} // namespace ox3d

#endif

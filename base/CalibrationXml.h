// CalibrationXml.h - reads the calibration file of a camera, which may be damaged or hostile. What of it is needed is its
// caller's to say.
#ifndef OX3D_BASE_CALIBRATION_XML_H
#define OX3D_BASE_CALIBRATION_XML_H

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace ox3d {

struct CalibratedDistortion {
    std::array<float, 4> m_terms{}; // k1, k2, p1, p2
    std::optional<float> m_p3;      // the fifth term has one of two names, or both
    std::optional<float> m_k3;
};

struct CalibratedCamera {
    bool m_isThere = false;
    std::optional<std::array<float, 4>> m_intrinsics; // fx, fy, cx, cy in pixels
    std::optional<CalibratedDistortion> m_distortion;
};

// What belongs to one width of depth images. Numbers that are missing or are none are 0.
struct CalibrationSet {
    uint32_t m_width = 0; // of both cameras' images; 0 where the file does not say
    uint32_t m_height = 0;
    // The file says that depth stays as it was sent: its lens sees the color too, or nobody knows where color is taken from.
    bool m_isDepthLeft = false;
    CalibratedCamera m_depth;                       // "Left_correct"
    CalibratedCamera m_color;                       // "RGB"
    bool m_hasWay = false;                          // "Left_correct_2_RGB"
    std::optional<std::array<float, 9>> m_rotation; // row by row
    std::optional<std::array<float, 3>> m_translation;
};

enum class ECalibrationSet { Found, NoXml, NoRoot, NoSet, NoCamera };

// "RGBD_1" where its "img_w" is the width, else "RGBD_2", whose own width is not checked. Numbers have a decimal point
// whatever the process's locale. Throws std::bad_alloc.
ECalibrationSet ReadCalibrationSet(std::string_view xml, int64_t width, CalibrationSet* out);

} // namespace ox3d

#endif

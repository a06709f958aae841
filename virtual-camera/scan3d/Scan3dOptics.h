// Scan3dOptics.h - what the features of a 3D camera say of its values: intrinsics, and the rule of each coordinate.
//
// The packer of the images goes by the same numbers, as the floats that a reader of the features gets.
#ifndef OX3D_VIRTUAL_CAMERA_SCAN3D_SCAN3D_OPTICS_H
#define OX3D_VIRTUAL_CAMERA_SCAN3D_SCAN3D_OPTICS_H

#include <cmath>
#include <limits>

#include "recording/CalibrationText.h"
#include "virtual-camera/scan3d/Scan3dFormat.h"

namespace ox3d {

// coordinate = transmitted value * scale + offset, unless the value is the one that stands for none.
struct CoordinateRule {
    float m_scale = 1;
    float m_offset = 0;
    bool m_hasInvalid = false;
    float m_invalid = 0;
    float m_maxSample =
        std::numeric_limits<float>::max(); // least is 0, or this negative where samples are floats
    bool m_isFloat = false;
};

struct Scan3dOptics {
    RgbdIntrinsics
        m_pinhole; // of the depth component's region; integer coordinates are the centres of pixels
    double m_baselineMm = 0;
    double m_mmPerUnit = 1;                // of what is transmitted as lengths
    double m_movedBy = 0;                  // of C, in that unit
    std::array<CoordinateRule, 3> m_rules; // A, B, C
};

Scan3dOptics OpticsOf(const Scan3dConfig& config, const Scan3dSettings& settings,
                      const RgbdIntrinsics& sensor);

} // namespace ox3d

#endif

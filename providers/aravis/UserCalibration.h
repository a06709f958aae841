// UserCalibration.h - a calibration file that the user has for a camera which does not tell all of its lenses.
#ifndef OX3D_ARAVIS_USER_CALIBRATION_H
#define OX3D_ARAVIS_USER_CALIBRATION_H

#include <arv.h>

#include <string>

namespace ox3d {

// "<serial number>.xml" of the folder that OX3D_CALIBRATION_DIR names. Empty where there is none, or none that can be read,
// which is said. The caller holds the camera's mutex.
std::string ReadUserCalibration(ArvDevice* device);

} // namespace ox3d

#endif

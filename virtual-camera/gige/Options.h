// Options.h - the command line of the network camera: which cameras there are, and what goes wrong with them.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_OPTIONS_H
#define OX3D_VIRTUAL_CAMERA_GIGE_OPTIONS_H

#include <string>
#include <vector>

#include "virtual-camera/CameraConfig.h"

namespace ox3d::gige {

struct Options {
    std::string m_interface = "lo";
    std::vector<CameraConfig> m_cameras;
};

// Reads the command line. False: the program ends with *exitCode, everything has been said.
bool ReadOptions(int argc, char** argv, Options* options, int* exitCode);

} // namespace ox3d::gige

#endif

// The parameters of stereo matching that a user may set, one option each.
#ifndef OX3D_TOOL_STEREO_PARAMETERS_H
#define OX3D_TOOL_STEREO_PARAMETERS_H

#include <cstdint>
#include <ox3drgbd/Oxb3dBinoStereo.h>
#include <span>
#include <vector>

namespace CLI {
class App;
}

namespace ox3d::tool {

struct StereoParameter {
    uint32_t m_id;      // of the algorithm library
    const char* m_name; // of the option, without its dashes
    int32_t m_default;
    int32_t m_first;
    int32_t m_last;
    const char* m_firstWord; // what the two values are called; null: they are numbers
    const char* m_lastWord;
    const char* m_help;
};

std::span<const StereoParameter> StereoParameters();

// An option for each; those that are given are added to the list.
void AddStereoParameters(CLI::App& command, std::vector<OXB3D_BINOSTEREO_PARAM>& given);

} // namespace ox3d::tool

#endif

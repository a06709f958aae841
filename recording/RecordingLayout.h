// RecordingLayout.h - where a recording's files lie: depth/NNNNNN.png (16-bit, millimetres, 0 = no data),
// color/NNNNNN.png (8-bit RGB), left/NNNNNN.png and right/NNNNNN.png (8-bit grey, the pair that the depth was made of, of its
// size) and calibration.xml, the file as the camera stores it. Images belong together by their numbers. Relies on nothing.
#ifndef OX3D_RECORDING_LAYOUT_H
#define OX3D_RECORDING_LAYOUT_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace ox3d {

constexpr const char* kRecordingDepth = "depth";
constexpr const char* kRecordingColor = "color";
constexpr const char* kRecordingLeft = "left";
constexpr const char* kRecordingRight = "right";
constexpr const char* kRecordingCalibration = "calibration.xml";

// "000012.png"
std::string RecordingImageName(uint64_t number);

// The images of one of the folders by number, however many digits it is written with. Second
// files are left out, all of which *leftOut then names. Other files belong to no recording.
std::map<uint64_t, std::string> RecordingImages(const std::filesystem::path& folder, std::string* leftOut);

} // namespace ox3d

#endif

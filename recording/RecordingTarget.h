// RecordingTarget.h - what stands in the way of a file that is to be recorded, before a camera is asked.
#ifndef OX3D_RECORDING_TARGET_H
#define OX3D_RECORDING_TARGET_H

#include <string>

namespace ox3d {

enum class ERecordingTarget { Free, Taken, Unusable };

// Taken: there is a file of that name, and it is not to be replaced. *error says what is wrong.
ERecordingTarget LookAtTarget(const std::string& path, bool isReplacing, std::string* error);

} // namespace ox3d

#endif

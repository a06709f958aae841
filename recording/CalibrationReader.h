// CalibrationReader.h - the lenses and the way between the cameras out of a calibration file, for programs without the
// camera that it is of. The file may be damaged or hostile.
#ifndef OX3D_RECORDING_CALIBRATION_READER_H
#define OX3D_RECORDING_CALIBRATION_READER_H

#include "base/PngFile.h"
#include "recording/RecordedFrame.h"

#include <optional>
#include <string>

namespace ox3d {

struct RecordedCalibration {
    RecordedLens m_depth;
    RecordedLens m_color; // of the color image scaled to the depth image's size
    RecordedWay m_depthToColor;
};

// The set for depth images of that width, as the library chooses it. Nothing where a part is missing that the library asks
// for, or a focal length is no number above 0.
std::optional<RecordedCalibration> ReadCalibration(const std::string& xml, uint32_t depthWidth);

// The lens for images of another size that show the same; `own` is the size that it is for where it does not say so.
RecordedLens ScaledTo(RecordedLens lens, PngSize own, PngSize size);

// What the camera's calibration file says of lenses that are not known otherwise, of images of these sizes.
void AddLensesOfFile(PngSize depth, PngSize color, RecordedCamera* camera);

} // namespace ox3d

#endif

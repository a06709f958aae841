// CameraRecord.h - what a recording keeps of an open camera, and the frames of that camera as a recorder takes them. Relies on
// the library's public functions: whoever links this links the library.
#ifndef OX3D_RECORDING_CAMERA_RECORD_H
#define OX3D_RECORDING_CAMERA_RECORD_H

#include "recording/RecordedFrame.h"

#include <filesystem>
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <string>
#include <vector>

namespace ox3d {

// "1.1.0"
std::string LibraryVersion();

// What is known before the first frame; files go by way of the folder. *calibration is the status of reading the calibration
// file; without it, and without what else the camera refuses, the texts are empty.
RecordedCamera DescribeCamera(void* handle, const OX3D_RGBD_DEVICE_INFO& record,
                              const std::filesystem::path& scratch, uint32_t* calibration);
// What the first frame tells.
void AddLenses(void* handle, RecordedCamera* camera);
// The lens of a stream (OX3D_RGBD_CAMERA_*) as it is delivered; empty where the camera has no calibration.
std::optional<RecordedLens> LensOf(void* handle, uint32_t stream);

// Copies the file of the camera's calibration. Returns a status.
uint32_t SaveCalibrationFile(void* handle, const std::string& file);

// Frames of one camera, one after the other. One thread at a time.
class CFrameViews {
public:
    explicit CFrameViews(void* handle) : m_handle(handle) {}

    // Of a frame with depth; its images stay as long as the frame, and no longer than the next call.
    FrameView Of(const OX3D_RGBD_FRAME_DATA& frame, const OX3D_RGBD_IMAGE_DATA& depth);
    // The recorder took that one: what was dropped is lost to the recording.
    void WasTaken(uint64_t number) { m_lastNumber = number; }

private:
    void AddTimes(const OX3D_RGBD_FRAME_DATA& frame, RecordedFacts* facts) const;

    void* const m_handle;
    std::vector<uint8_t> m_color; // of formats that the recorder does not take
    bool m_hadColor = false;
    uint64_t m_lastNumber = 0;
};

} // namespace ox3d

#endif

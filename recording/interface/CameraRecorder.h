// CameraRecorder.h - a program's recording of an open camera. Any thread; calls come one after the other.
#ifndef OX3D_RECORDING_CAMERA_RECORDER_H
#define OX3D_RECORDING_CAMERA_RECORDER_H

#include "base/Mutex.h"
#include "recording/Recorder.h"
#include "recording/camera/CameraRecord.h"

#include <memory>
#include <ox3drgbd/Ox3dRecording.h>

namespace ox3d {

// A switch of the library that is off for a while.
class CSwitchedOff {
public:
    // Throws a CRefusal where the camera refuses.
    CSwitchedOff(void* camera, const char* key);
    ~CSwitchedOff();
    CSwitchedOff(const CSwitchedOff&) = delete;
    CSwitchedOff& operator=(const CSwitchedOff&) = delete;

private:
    void* const m_camera;
    const char* const m_key;
    OX3D_RGBD_PARAM m_former{};
};

// Whatever cannot be done throws a CRefusal.
class CCameraRecorder {
public:
    CCameraRecorder(void* camera, const std::string& path, const OX3D_REC_OPTIONS& options);

    void Add(const OX3D_RGBD_FRAME_DATA& frame) OX_EXCLUDES(m_mutex);
    OX3D_REC_COUNTS Counts() OX_EXCLUDES(m_mutex);
    // Writes *counts before it throws. No frame is taken any more.
    void Finish(OX3D_REC_COUNTS* counts) OX_EXCLUDES(m_mutex);

private:
    void Begin() OX_REQUIRES(m_mutex);
    OX3D_REC_COUNTS CountsOf(const RecorderCounts& counts) const OX_REQUIRES(m_mutex);

    void* const m_camera;
    const std::string m_path;
    const EFullQueue m_full;
    RecorderOptions m_options;
    CSwitchedOff m_align;
    CSwitchedOff m_scaling;
    CMutex m_mutex;
    RecordedCamera m_recorded OX_GUARDED_BY(m_mutex);
    CFrameViews m_views OX_GUARDED_BY(m_mutex);
    std::unique_ptr<CRecorder> m_recorder OX_GUARDED_BY(m_mutex); // from the first frame on
    uint64_t m_lost OX_GUARDED_BY(m_mutex) = 0;
    bool m_isOver OX_GUARDED_BY(m_mutex) = false;
};

} // namespace ox3d

#endif

// Playback.h - a recording that a program has open. Any thread; calls come one after the other.
#ifndef OX3D_RECORDING_PLAYBACK_H
#define OX3D_RECORDING_PLAYBACK_H

#include "base/Mutex.h"
#include "recording/RecordingReader.h"

#include <ox3drgbd/Ox3dRecording.h>

namespace ox3d {

// Whatever cannot be done throws a CRefusal.
class CPlayback {
public:
    explicit CPlayback(const std::string& path);

    OX3D_REC_INFO Info() OX_EXCLUDES(m_mutex);
    std::string Text(const std::string& name) OX_EXCLUDES(m_mutex);
    OX3D_RGBD_INTRINSICS Lens(uint32_t sensor) OX_EXCLUDES(m_mutex);
    OX3D_RGBD_EXTRINSICS Way() OX_EXCLUDES(m_mutex);
    OX3D_REC_FRAME Read(uint64_t frame) OX_EXCLUDES(m_mutex);

private:
    CMutex m_mutex;
    std::unique_ptr<CRecordingReader> m_reader OX_GUARDED_BY(m_mutex);
    RecordedCamera m_camera OX_GUARDED_BY(m_mutex);
    std::vector<uint16_t> m_depth OX_GUARDED_BY(m_mutex); // of the frame that was read last
    std::vector<uint8_t> m_color OX_GUARDED_BY(m_mutex);  // the same
};

} // namespace ox3d

#endif

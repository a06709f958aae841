// FrameCopies.h - copies of frames that belong to the application. Each is one block: the record, how the frame was made,
// its calibration, then the images; those that were taken and not copied keep the blocks in which they were.
#ifndef OX3D_FRAME_COPIES_H
#define OX3D_FRAME_COPIES_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/ImageMemory.h"
#include "src/Common/Thread.h"
#include "src/Manager/CalibrationFile.h"
#include "src/Manager/FrameNotes.h"
#include "src/Manager/GrowBuffer.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>

// A frame's note with the calibration that its images were made with, where there is one, and for a copy its times.
struct KnownFrame {
    FrameNote m_note;
    bool m_isCopy = false;
    OX3D_RGBD_FRAME_TIMES m_times = {};
    bool m_isCalibrated = false;
    DepthCalibration m_calibration = {};
};

// For each image the buffer whose memory goes over with it; null for one that is copied.
using TakenBuffers = std::array<CGrowBuffer*, OX3D_RGBD_MAX_IMAGES>;

// Every copy that there is in the process, by its address: a pointer is known to be a copy before anything is read there.
class CFrameCopies {
public:
    CFrameCopies() = default;
    CFrameCopies(const CFrameCopies&) = delete;
    CFrameCopies& operator=(const CFrameCopies&) = delete;

    static CFrameCopies& Shared();

    // Null when memory is short, and then nothing was taken. The record is that of the note.
    OX3D_RGBD_FRAME_DATA* Make(const OX3D_RGBD_FRAME_DATA& frame, const KnownFrame& known,
                               const TakenBuffers& taken = {}) OX_EXCLUDES(m_mutex);
    // False when the pointer is no copy.
    bool Free(OX3D_RGBD_FRAME_DATA* copy) OX_EXCLUDES(m_mutex);
    bool Find(const OX3D_RGBD_FRAME_DATA* copy, KnownFrame* known) OX_EXCLUDES(m_mutex);
    // In a forked child, which has its own of all copies: no thread is inside.
    void Renew() { m_mutex.Renew(); }

private:
    static constexpr size_t kBuckets = 256;
    struct Copy;

    Copy** PlaceOf(const OX3D_RGBD_FRAME_DATA* copy) OX_REQUIRES(m_mutex);

    COXMutex m_mutex; // leaf
    std::array<Copy*, kBuckets> m_buckets OX_GUARDED_BY(m_mutex) = {};
};

#endif

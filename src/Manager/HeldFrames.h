// HeldFrames.h - camera buffers that failed fetches keep until stop or close gives them back. Any thread.
#ifndef OX3D_HELD_FRAMES_H
#define OX3D_HELD_FRAMES_H

#include <new>
#include <vector>

#include "base/Mutex.h"
#include "src/CameraModule/CameraModule.h"

class CHeldFrames {
public:
    void Keep(CCameraModule* camera, const OX_FRAME_OUT& frame) {
        const ox3d::CLock lock(m_mutex);
        try {
            m_frames.push_back(frame);
        } catch (const std::bad_alloc&) {
            OX_FRAME_OUT back = frame; // no memory to remember it: it goes back at once
            camera->FreeImageBuffer(&back);
        }
    }

    void GiveBack(CCameraModule* camera) {
        const ox3d::CLock lock(m_mutex);
        for (OX_FRAME_OUT& frame : m_frames) {
            camera->FreeImageBuffer(&frame);
        }
        m_frames.clear();
    }

    // What the camera has lent is gone with it.
    void Forget() {
        const ox3d::CLock lock(m_mutex);
        m_frames.clear();
    }

private:
    ox3d::CMutex m_mutex;
    std::vector<OX_FRAME_OUT> m_frames OX_GUARDED_BY(m_mutex);
};

#endif

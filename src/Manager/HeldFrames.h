// HeldFrames.h - camera buffers that failed fetches keep until stop or close gives them back.
#ifndef OX3D_HELD_FRAMES_H
#define OX3D_HELD_FRAMES_H

#include <new>
#include <vector>

#include "src/CameraModule/CameraModule.h"

class CHeldFrames {
public:
    void Keep(CCameraModule* camera, const OX_FRAME_OUT& frame) {
        try {
            m_frames.push_back(frame);
        } catch (const std::bad_alloc&) {
            OX_FRAME_OUT back = frame; // no memory to remember it: it goes back at once
            camera->FreeImageBuffer(&back);
        }
    }

    void GiveBack(CCameraModule* camera) {
        for (OX_FRAME_OUT& frame : m_frames) {
            camera->FreeImageBuffer(&frame);
        }
        m_frames.clear();
    }

private:
    std::vector<OX_FRAME_OUT> m_frames;
};

#endif

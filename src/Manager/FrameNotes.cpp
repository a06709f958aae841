// FrameNotes.cpp - see FrameNotes.h.
#include "src/Manager/FrameNotes.h"

namespace {

NotedImage ImageOf(const OX3D_RGBD_IMAGE_DATA& image) {
    return {image.pData, image.enImageType, image.nWidth, image.nHeight, image.nDataLen};
}

} // namespace

void FrameNote::Describe(const OX3D_RGBD_FRAME_DATA& frame) {
    m_frameNum = frame.stImageData[0].nFrameNum;
    m_timeStamp = frame.stImageData[0].nTimeStamp;
    m_imageCount = frame.nImageCount;
    for (uint32_t i = 0; i < m_imageCount; ++i) {
        m_images[i] = ImageOf(frame.stImageData[i]);
    }
}

bool FrameNote::Is(const OX3D_RGBD_FRAME_DATA& frame) const {
    if (m_imageCount == 0 || frame.nImageCount != m_imageCount ||
        frame.stImageData[0].nFrameNum != m_frameNum || frame.stImageData[0].nTimeStamp != m_timeStamp) {
        return false;
    }
    for (uint32_t i = 0; i < m_imageCount; ++i) {
        if (!(ImageOf(frame.stImageData[i]) == m_images[i])) {
            return false;
        }
    }
    return true;
}

void CFrameNotes::Add(const FrameNote& note, const FrameBlocks& blocks) {
    const COXLock lock(&m_mutex);
    for (size_t i = 0; i < blocks.size(); ++i) {
        if (blocks[i] != m_blocks[i] && blocks[i] != nullptr) {
            if (m_blocks[i] != nullptr) {
                ForgetAll();
            }
            m_blocks[i] = blocks[i];
        }
    }
    m_notes[m_next] = note;
    m_next = (m_next + 1) % kFrames;
    m_last = note;
}

bool CFrameNotes::Find(const OX3D_RGBD_FRAME_DATA& frame, FrameNote* note) {
    const COXLock lock(&m_mutex);
    for (uint32_t back = 1; back <= kFrames; ++back) {
        const FrameNote& each = m_notes[(m_next + kFrames - back) % kFrames];
        if (each.Is(frame)) {
            *note = each;
            return true;
        }
    }
    return false;
}

bool CFrameNotes::Last(FrameNote* note) {
    const COXLock lock(&m_mutex);
    if (m_last.m_imageCount == 0) {
        return false;
    }
    *note = m_last;
    return true;
}

void CFrameNotes::Forget() {
    const COXLock lock(&m_mutex);
    ForgetAll();
}

void CFrameNotes::ForgetLent() {
    const COXLock lock(&m_mutex);
    for (FrameNote& note : m_notes) {
        note.m_imageCount = note.m_isLent ? 0 : note.m_imageCount;
    }
}

void CFrameNotes::ForgetAll() {
    for (FrameNote& note : m_notes) {
        note.m_imageCount = 0;
    }
}

// FrameNotes.h - how the last frames of a device were made: which camera an image is seen from and what was done to it
// stands in no record.
#ifndef OX3D_FRAME_NOTES_H
#define OX3D_FRAME_NOTES_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "src/Common/Thread.h"
#include "src/Manager/HostTimes.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

// What a record says of an image.
struct NotedImage {
    const uint8_t* m_data;
    uint32_t m_type;
    uint32_t m_width;
    uint32_t m_height;
    uint32_t m_lengthBytes;

    bool operator==(const NotedImage&) const = default;
};

struct FrameNote {
    uint32_t m_frameNum = 0;
    uint32_t m_imageCount = 0;  // 0: no note
    bool m_hasColor = false;    // as image 1
    bool m_isLent = false;      // the main image lies in the camera-control library's memory
    bool m_isAligned = false;   // depth and color, in the two ways that follow
    uint32_t m_alignMode = 0;   // 0: target pixels truncated, no distortion; 1: filled, with distortion
    uint32_t m_alignTarget = 0; // 0: depth is seen from the color camera; 1: color is, from the depth camera
    uint64_t m_timeStamp = 0;   // ticks of the device
    HostTimes m_arrival;
    uint32_t m_clockRun = 0; // of the device's clock, by its CDeviceClock
    std::array<NotedImage, OX3D_RGBD_MAX_IMAGES> m_images = {};

    bool HasDepth() const { return m_imageCount != 0 && m_images[0].m_type == OX3D_RGBD_PIXEL_DEPTH16; }
    bool IsDepthInColor() const { return m_isAligned && m_alignTarget == 0; }
    bool IsColorInDepth() const { return m_isAligned && m_alignTarget != 0; }
    // Number, time stamp and images; how it was made is the caller's.
    void Describe(const OX3D_RGBD_FRAME_DATA& frame);
    // Whether the record is, image by image, that of this note.
    bool Is(const OX3D_RGBD_FRAME_DATA& frame) const;
};

// Memory of the library in which images may lie: chunk images, the interleaved one, filled depth, moved color, the mask,
// and last depth that the conversion engine registered. Null where there is none, or none that is known of.
using FrameBlocks = std::array<const uint8_t*, 7>;
constexpr size_t kDepthBlock = 6;

class CFrameNotes {
public:
    static constexpr uint32_t kFrames = 64;

    // The note of a new frame. Blocks that are not those of the frame before, but null, took the place of others, which
    // are gone: frames that may lie in them are forgotten.
    void Add(const FrameNote& note, const FrameBlocks& blocks) OX_EXCLUDES(m_mutex);
    // The newest note of that record; false when the frame is not, or no more, known.
    bool Find(const OX3D_RGBD_FRAME_DATA& frame, FrameNote* note) OX_EXCLUDES(m_mutex);
    // Of the last frame; false before the first.
    bool Last(FrameNote* note) OX_EXCLUDES(m_mutex);
    // The images of all frames so far may be gone. How the last one was made stays known.
    void Forget() OX_EXCLUDES(m_mutex);
    // The same of frames that lie in memory of the camera-control library.
    void ForgetLent() OX_EXCLUDES(m_mutex);
    // In a forked child: no thread is inside.
    void Renew() { m_mutex.Renew(); }

private:
    void ForgetAll() OX_REQUIRES(m_mutex);

    COXMutex m_mutex; // leaf
    std::array<FrameNote, kFrames> m_notes OX_GUARDED_BY(m_mutex) = {};
    uint32_t m_next OX_GUARDED_BY(m_mutex) = 0;
    FrameNote m_last OX_GUARDED_BY(m_mutex) = {};
    FrameBlocks m_blocks OX_GUARDED_BY(m_mutex) = {};
};

#endif

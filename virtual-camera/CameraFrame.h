// CameraFrame.h - one frame as a camera sends it: the main image, and further images as chunks.
//
// Frames are reused: their buffers grow with the first frames and then stay.
#ifndef OX3D_VIRTUAL_CAMERA_CAMERA_FRAME_H
#define OX3D_VIRTUAL_CAMERA_CAMERA_FRAME_H

#include <array>
#include <cstdint>

#include "base/ImageMemory.h"
#include "virtual-camera/Faults.h"
#include "virtual-camera/frames/FrameSource.h"

namespace ox3d {

constexpr uint32_t kPixelDepth = 0x011000B8;
constexpr uint32_t kPixelMono8 = 0x01080001;
constexpr uint32_t kPixelRgb8Planar = 0x02180021;

constexpr uint32_t kChunkExtendedImage = 0xA5A53D0B;
constexpr uint32_t kChunkDemosaicPair = 0xA5A53D11;
constexpr uint32_t kExtendedImageHeaderBytes = 32;
constexpr uint32_t kDemosaicPairHeaderBytes = 28;
constexpr uint32_t kChunkTrailerBytes = 8; // id and length behind every chunk on the wire

struct CameraChunk {
    uint32_t m_id = 0;
    uint32_t m_lengthBytes = 0; // what the camera says; never more than m_bytes holds
    ImageBytes m_bytes;
};

// A component of a 3D camera's frame.
struct CameraPart {
    uint32_t m_component = 0; // the standard's number
    uint32_t m_pixelFormat = 0;
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    uint32_t m_x = 0;
    uint32_t m_y = 0;
    ImageBytes m_bytes;
};

struct CameraFrame {
    static constexpr uint32_t kMaxChunks = 2;

    uint32_t m_width = 0;
    uint32_t m_height = 0;
    uint32_t m_pixelFormat = 0;
    uint32_t m_number = 0;
    uint32_t m_acquisition = 0; // CCameraModel::Acquisition() when it was exposed
    uint64_t m_timestampNs = 0;
    uint32_t m_imageLengthBytes = 0; // what the camera says; never more than m_image holds
    ImageBytes m_image;
    std::array<CameraChunk, kMaxChunks> m_chunks;
    bool m_isChunked = false;          // chunk mode: on a wire the main image is a chunk as well
    uint32_t m_chunkCount = 0;         // chunks that there are
    uint32_t m_declaredChunkCount = 0; // chunks that the camera says there are
    bool m_isChunkListMissing = false;
    bool m_isExposureEventWanted = false;

    // A 3D camera's frame has these in place of image and chunks; those behind the count are spare memory.
    std::vector<CameraPart> m_parts;
    uint32_t m_partCount = 0;
    bool m_isMultiPart = false; // they are one payload, not one block each
    bool m_isExtendedId = false;
};

// What the settings of the moment ask of a frame.
struct FrameContent {
    bool m_isGrey = false; // the main image is the left grey view instead of depth
    bool m_isChunked = false;
    bool m_hasColor = false;
    bool m_hasGreyPair = false;

    bool NeedsGreyPair() const { return m_isGrey || m_hasGreyPair; }
};

// Bytes of a frame with its chunks as they go over a wire.
uint64_t PayloadBytes(const CFrameSource& source, const FrameContent& content, bool isChunkModeActive);

// Fills image and chunks from a source's images. False when the images are not of the size they claim.
bool PackFrame(const FrameImages& images, const FrameContent& content, CameraFrame* frame);

// Spoils a packed frame as the faults say.
void ApplyFrameFaults(const FaultSet& faults, CameraFrame* frame);

} // namespace ox3d

#endif

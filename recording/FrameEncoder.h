// FrameEncoder.h - a frame as a chunk of messages, and what stands in the file before the first one.
#ifndef OX3D_RECORDING_FRAME_ENCODER_H
#define OX3D_RECORDING_FRAME_ENCODER_H

#include "base/ImageMemory.h"
#include "recording/Jpeg.h"
#include "recording/McapWriter.h"
#include "recording/RecordedFrame.h"
#include "recording/Recorder.h"

namespace ox3d {

// Header, metadata, attachments, schemas and channels.
void PutRecordingFront(const RecordedCamera& camera, const std::string& library, ERecordedColor color,
                       ByteVector* front, McapSummary* summary);

// One thread at a time; several encoders work beside each other.
class CFrameEncoder {
public:
    CFrameEncoder(const RecordedCamera& camera, ERecordedColor color, int jpegQuality)
        : m_camera(camera), m_color(color), m_jpegQuality(jpegQuality) {}

    // `depth` are the frame's depth samples without padding. The first frame also tells where the cameras are. False
    // when its images cannot be encoded.
    bool Encode(const FrameView& frame, std::span<const uint8_t> depth, uint64_t sequence, bool isFirst,
                McapChunk* chunk);

private:
    bool AddColor(const ColorView& color, uint64_t sequence, uint64_t hostNs, uint64_t cameraNs);
    const uint8_t* Interleaved(const ColorView& color);

    const RecordedCamera& m_camera;
    const ERecordedColor m_color;
    const int m_jpegQuality;
    CMcapChunkBuilder m_builder;
    CJpegEncoder m_jpeg;
    ByteVector m_interleaved;
};

} // namespace ox3d

#endif

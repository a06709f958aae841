// FrameEncoder.h - a frame as a chunk of messages, and what stands in the file before the first one.
#ifndef OX3D_RECORDING_FRAME_ENCODER_H
#define OX3D_RECORDING_FRAME_ENCODER_H

#include "base/ImageMemory.h"
#include "recording/Jpeg.h"
#include "recording/McapWriter.h"
#include "recording/RecordedFrame.h"
#include "recording/Recorder.h"

namespace ox3d {

// Header, metadata and attachments. *summary also gets the schemas and channels, which stand in every chunk: so each can
// be read alone.
void PutRecordingFront(const RecordedCamera& camera, const std::string& library, ERecordedColor color,
                       ByteVector* front, McapSummary* summary);

enum class EEncoded { Failed, WithoutColor, Whole };

// One thread at a time; several encoders work beside each other.
class CFrameEncoder {
public:
    CFrameEncoder(const RecordedCamera& camera, ERecordedColor color, int jpegQuality);

    // `depth` are the frame's depth samples without padding. The first frame also tells where the cameras are. Color of
    // which no image can be made is left out, which the frame's facts then say.
    EEncoded Encode(const FrameView& frame, std::span<const uint8_t> depth, uint64_t sequence, bool isFirst,
                    McapChunk* chunk);

private:
    std::span<const uint8_t> Pack(const ColorView& color);
    void AddColor(const ColorView& color, std::span<const uint8_t> jpeg, uint64_t sequence, uint64_t hostNs,
                  uint64_t cameraNs);

    const RecordedCamera& m_camera;
    const ERecordedColor m_color;
    const int m_jpegQuality;
    ByteVector m_definitions; // of the channels
    CMcapChunkBuilder m_builder;
    CJpegEncoder m_jpeg;
    ByteVector m_interleaved;
};

} // namespace ox3d

#endif

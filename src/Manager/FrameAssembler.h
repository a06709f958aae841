// FrameAssembler.h - one raw frame of the camera-control library turned into a frame record: chunk images
// copied, image records filled in a fixed order, depth registered, color scaled, RGB-D interleaved.
//
// The images of a record lie in the raw frame, in buffers of the assembler and in those of the depth
// conversion; they are overwritten when the next frame is assembled.
#ifndef OX3D_FRAME_ASSEMBLER_H
#define OX3D_FRAME_ASSEMBLER_H

#include <cstdint>

#include "base/ThreadSafety.h"
#include "src/Manager/ChunkImage.h"
#include "src/Manager/ColorAligner.h"
#include "src/Manager/FrameAligner.h"
#include "src/Manager/FrameNotes.h"
#include "src/Manager/GrowBuffer.h"
#include "src/Manager/HostTimes.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>
#include <ox3drgbd/OxCameraControl.h>

class CDepthConversion;

// The main image of a raw frame, wherever it lies, and what the camera-control library says about the frame.
struct RawFrame {
    uint8_t* m_data;
    const OX_FRAME_OUT_INFO_EX& m_info;
    bool m_isLent = false; // lies in the camera-control library's memory
    HostTimes m_arrival = {};
};

// What a frame record holds beside the images as they came.
struct AssemblyOptions {
    bool m_isUsb = false; // the demosaic pair, and stream types
    bool m_isDepthRegistered = false;
    bool m_isColorScaled = false; // to the size of the depth image
    bool m_hasRgbd = false;       // the interleaved image as the last one
    // How depth is registered: OX3D_RGBD_KEY_ALIGN_MODE and those after it.
    uint32_t m_alignMode = 0;
    uint32_t m_alignStepPermille = 0;
    uint32_t m_alignTarget = 0;
    bool m_hasMask = false; // the occlusion mask, after the images that the camera sent
};

// No mutex of its own. To the thread-safety analysis it is the capability that its members need: a thread has
// it, for the scope of a CAssembling, by the callback lock on the push path and by the frame mutex on the
// pull path. The two paths never run at once.
class OX_CAPABILITY("frame assembly") CFrameAssembler {
public:
    CFrameAssembler();
    CFrameAssembler(const CFrameAssembler&) = delete;
    CFrameAssembler& operator=(const CFrameAssembler&) = delete;

    // A new frame begins. The demosaic pair stays: a frame without one repeats the last.
    void Clear() OX_REQUIRES(this) { m_extendedImage.m_isPresent = false; }
    // Copies the images of known chunks; others are logged and skipped.
    uint32_t TakeChunks(const OX_CHUNK_DATA_CONTENT* chunks, uint32_t count) OX_REQUIRES(this);
    // Appends the image records; `main` is null where there is no main image.
    uint32_t Fill(const RawFrame* main, const AssemblyOptions& options, CDepthConversion& conversion,
                  OX3D_RGBD_FRAME_DATA* frame) OX_REQUIRES(this);
    uint32_t AlignColor(const OX3D_RGBD_IMAGE_DATA* depth, OX3D_RGBD_IMAGE_DATA* color) OX_REQUIRES(this) {
        return m_colorAligner.Align(depth, color);
    }
    // Whether the second image of the record that was filled is the color camera's, where the options say that it lies.
    bool HasColor() const OX_REQUIRES(this) { return m_extendedImage.m_isPresent && !m_isColorUnmoved; }
    // Where chunk images, the interleaved one and the mask lie.
    FrameBlocks Blocks() const OX_REQUIRES(this) {
        return {m_extendedBuffer.Data(), m_demosaicBuffer.Data(), m_rgbdBuffer.Data(),
                m_aligner.Filled(),      m_aligner.MovedColor(),  m_aligner.Mask()};
    }
    // The buffer that begins at that image and holds nothing else that is needed again; null where there is none.
    CGrowBuffer* BufferAt(const uint8_t* image) OX_REQUIRES(this);
    // Forgets all chunk images; Release frees the buffers as well.
    void Reset() OX_REQUIRES(this);
    void Release() OX_REQUIRES(this);

private:
    uint32_t AppendExtendedImage(bool isUsb, bool isScaled, OX3D_RGBD_FRAME_DATA* frame) OX_REQUIRES(this);
    void AppendDemosaicPair(OX3D_RGBD_FRAME_DATA* frame) OX_REQUIRES(this);
    uint32_t AppendMainImage(const RawFrame& main, const AssemblyOptions& options,
                             CDepthConversion& conversion, OX3D_RGBD_FRAME_DATA* frame) OX_REQUIRES(this);
    uint32_t RegisterDepth(const AssemblyOptions& options, CDepthConversion& conversion,
                           OX3D_RGBD_IMAGE_DATA* depth) OX_REQUIRES(this);
    void NoteUnmoved(bool isUnmoved) OX_REQUIRES(this);
    uint32_t MoveColor(const AssemblyOptions& options, CDepthConversion& conversion,
                       OX3D_RGBD_FRAME_DATA* frame) OX_REQUIRES(this);
    uint32_t AppendMask(const AssemblyOptions& options, OX3D_RGBD_FRAME_DATA* frame) OX_REQUIRES(this);
    // `sentImages`: of the frame's, those that the camera sent.
    uint32_t AppendRgbdImage(uint32_t sentImages, OX3D_RGBD_FRAME_DATA* frame) OX_REQUIRES(this);

    CGrowBuffer m_extendedBuffer OX_GUARDED_BY(this);
    ChunkImage m_extendedImage OX_GUARDED_BY(this);
    bool m_isColorUnmoved OX_GUARDED_BY(this) = false; // color should be, and is not of three planes
    CGrowBuffer m_demosaicBuffer OX_GUARDED_BY(this);
    ChunkImage m_demosaicImage OX_GUARDED_BY(this);
    CGrowBuffer m_rgbdBuffer OX_GUARDED_BY(this);
    CColorAligner m_colorAligner OX_GUARDED_BY(this);
    CFrameAligner m_aligner OX_GUARDED_BY(this);
};

// The calling thread assembles; nothing happens at run time.
class OX_SCOPED_CAPABILITY CAssembling {
public:
    explicit CAssembling([[maybe_unused]] const CFrameAssembler& assembler) OX_ACQUIRE(assembler) {}
    ~CAssembling() OX_RELEASE() {}
    CAssembling(const CAssembling&) = delete;
    CAssembling& operator=(const CAssembling&) = delete;
};

#endif

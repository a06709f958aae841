// FrameAssembler.cpp - see FrameAssembler.h.
#include "src/Manager/FrameAssembler.h"

#include "algorithm/rgbd/RgbdInterleave.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/DepthConversion.h"
#include "src/Manager/ImageSize.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";

// What tells the two kinds of chunk image apart.
struct ChunkKind {
    uint32_t m_headerBytes;
    const char* m_bufferName; // in the lines of a failed allocation
};

constexpr ChunkKind kExtended = {32, "m_pExtendImageData"};
constexpr ChunkKind kDemosaic = {28, "m_pDemaImageData"};

uint32_t TakeChunk(const OX_CHUNK_DATA_CONTENT& chunk, const ChunkKind& kind, CGrowBuffer* buffer,
                   ChunkImage* image) {
    switch (TakeChunkImage(chunk, kind.m_headerBytes, buffer, image)) {
    case EChunkResult::Copied:
        return OX3D_RGBD_OK;
    case EChunkResult::TooShort:
        OX_LOG_ERROR(
            "[UpdateChunkDataToLocalInput] trunk ID(%#x) len(%u) is null or shorter than its header.\r\n",
            chunk.nChunkID, chunk.nChunkLen);
        return OX3D_RGBD_OK;
    case EChunkResult::NoBuffer:
        OX_LOG_ERROR("New %s buf len (%d) fail.\r\n", kind.m_bufferName,
                     static_cast<int>(buffer->Capacity()));
        return OX3D_RGBD_E_MEMORY;
    case EChunkResult::NoGrowth:
        break;
    }
    OX_LOG_ERROR("[UpdateChunkDataToLocalInput] New %s buf fail.\r\n", kind.m_bufferName);
    return OX3D_RGBD_E_MEMORY;
}

// The next record. Frame number and time stamp are those of the first image.
OX3D_RGBD_IMAGE_DATA& Append(uint32_t imageType, uint32_t width, uint32_t height, uint8_t* data,
                             uint32_t lengthBytes, OX3D_RGBD_FRAME_DATA* frame) {
    const OX3D_RGBD_IMAGE_DATA& first = frame->stImageData[0];
    OX3D_RGBD_IMAGE_DATA& image = frame->stImageData[frame->nImageCount++];
    image.enImageType = imageType;
    image.nWidth = width;
    image.nHeight = height;
    image.pData = data;
    image.nDataLen = lengthBytes;
    image.nFrameNum = first.nFrameNum;
    image.nTimeStamp = first.nTimeStamp;
    return image;
}

bool HasDepth(const OX3D_RGBD_FRAME_DATA& frame) {
    return frame.nImageCount != 0 && frame.stImageData[0].enImageType == OX3D_RGBD_PIXEL_DEPTH16;
}

// Whether color goes to the depth's pixels instead of depth to the color's.
bool MovesColor(const AssemblyOptions& options) {
    return options.m_isDepthRegistered && options.m_alignTarget != 0;
}

} // namespace

CFrameAssembler::CFrameAssembler()
    : m_extendedBuffer(kAssemblyBufferBytes), m_demosaicBuffer(kAssemblyBufferBytes),
      m_rgbdBuffer(kAssemblyBufferBytes) {}

void CFrameAssembler::Reset() {
    m_extendedImage = {};
    m_demosaicImage = {};
}

void CFrameAssembler::Release() {
    Reset();
    m_extendedBuffer.Free();
    m_demosaicBuffer.Free();
    m_rgbdBuffer.Free();
    m_colorAligner.Release();
    m_aligner.Release();
}

// A demosaic pair stays: a frame without one repeats it.
CGrowBuffer* CFrameAssembler::BufferAt(const uint8_t* image) {
    for (CGrowBuffer* const buffer : {&m_extendedBuffer, &m_rgbdBuffer, m_colorAligner.Buffer()}) {
        if (image != nullptr && buffer->Data() == image) {
            return buffer;
        }
    }
    return nullptr;
}

uint32_t CFrameAssembler::TakeChunks(const OX_CHUNK_DATA_CONTENT* chunks, uint32_t count) {
    if (count == 0) {
        return OX3D_RGBD_OK;
    }
    if (chunks == nullptr) {
        OX_LOG_ERROR("[UpdateChunkDataToLocalInput] param is null.\r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t status = OX3D_RGBD_OK;
        switch (chunks[i].nChunkID) {
        case OX_CHUNK_EXTENDED_IMAGE:
            status = TakeChunk(chunks[i], kExtended, &m_extendedBuffer, &m_extendedImage);
            break;
        case OX_CHUNK_DEMOSAIC_PAIR:
            status = TakeChunk(chunks[i], kDemosaic, &m_demosaicBuffer, &m_demosaicImage);
            break;
        default:
            OX_LOG_ERROR("[UpdateChunkDataToLocalInput] unSupport trunk ID(%#x).\r\n", chunks[i].nChunkID);
            break;
        }
        if (status != OX3D_RGBD_OK) {
            return status;
        }
    }
    return OX3D_RGBD_OK;
}

uint32_t CFrameAssembler::Fill(const RawFrame* main, const AssemblyOptions& wanted,
                               CDepthConversion& conversion, OX3D_RGBD_FRAME_DATA* frame) {
    if (frame == nullptr) {
        OX_LOG_ERROR("[FillFrameData] pFrameData is invalid. \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    frame->nImageCount = 0;
    uint32_t status = OX3D_RGBD_OK;
    if (main != nullptr) {
        status = AppendMainImage(*main, wanted, conversion, frame);
    }
    const bool hasDepth =
        HasDepth(*frame); // as the main image: a color image is none, whatever its type says
    AssemblyOptions options = wanted;
    options.m_isDepthRegistered = options.m_isDepthRegistered && !conversion.LeavesDepth();
    const bool isColorMoved = MovesColor(options) && hasDepth;
    NoteUnmoved(isColorMoved && m_extendedImage.m_isPresent &&
                m_extendedImage.m_imageType != OX3D_RGBD_PIXEL_RGB8_PLANAR);
    if (status == OX3D_RGBD_OK && m_extendedImage.m_isPresent) {
        status = AppendExtendedImage(options.m_isUsb, options.m_isColorScaled && !isColorMoved, frame);
    }
    if (status == OX3D_RGBD_OK && isColorMoved) {
        status = MoveColor(options, conversion, frame);
    }
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[FillFrameData] DepthMapConvert process failed [%#x]\r\n", status);
        return status;
    }
    if (m_demosaicImage.m_isPresent && options.m_isUsb) {
        AppendDemosaicPair(frame);
    }
    const uint32_t sentImages = frame->nImageCount;
    if (options.m_isDepthRegistered && options.m_hasMask && hasDepth) {
        status = AppendMask(options, frame);
    }
    return status == OX3D_RGBD_OK && options.m_hasRgbd ? AppendRgbdImage(sentImages, frame) : status;
}

uint32_t CFrameAssembler::RegisterDepth(const AssemblyOptions& options, CDepthConversion& conversion,
                                        OX3D_RGBD_IMAGE_DATA* depth) {
    DepthCalibration calibration = {};
    if (MovesColor(options)) {
        return conversion.CalibrationFor(*depth, &calibration); // the rest waits for the color
    }
    if (options.m_alignMode == 0) {
        // Here alone: with the next image of the engine's, the frames in the reclaimed block are forgotten.
        conversion.ReclaimDepth();
        return conversion.Convert(depth, depth, nullptr);
    }
    const uint32_t status = conversion.CalibrationFor(*depth, &calibration);
    return status != OX3D_RGBD_OK || calibration.m_isDepthLeft
               ? status
               : m_aligner.FillDepth({calibration, options.m_alignStepPermille}, depth);
}

// A line for the first of such frames.
void CFrameAssembler::NoteUnmoved(bool isUnmoved) {
    if (isUnmoved && !m_isColorUnmoved) {
        OX_LOG_ERROR("[FrameAlign] color of type [%#x] is not aligned.\r\n", m_extendedImage.m_imageType);
    }
    m_isColorUnmoved = isUnmoved;
}

uint32_t CFrameAssembler::MoveColor(const AssemblyOptions& options, CDepthConversion& conversion,
                                    OX3D_RGBD_FRAME_DATA* frame) {
    DepthCalibration calibration = {};
    const OX3D_RGBD_IMAGE_DATA& depth = frame->stImageData[0];
    const uint32_t status = conversion.CalibrationFor(depth, &calibration);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    OX3D_RGBD_IMAGE_DATA* const color = HasColor() ? &frame->stImageData[1] : nullptr;
    return m_aligner.MoveColor({calibration, options.m_alignStepPermille}, depth, color, options.m_hasMask);
}

// The mask of moved color is there.
uint32_t CFrameAssembler::AppendMask(const AssemblyOptions& options, OX3D_RGBD_FRAME_DATA* frame) {
    const OX3D_RGBD_IMAGE_DATA& depth = frame->stImageData[0];
    if (!MovesColor(options)) {
        const uint32_t status = m_aligner.MaskDepth(options.m_alignStepPermille, depth);
        if (status != OX3D_RGBD_OK) {
            return status;
        }
    }
    Append(OX3D_RGBD_PIXEL_MONO8, depth.nWidth, depth.nHeight, m_aligner.Mask(),
           static_cast<uint32_t>(PixelCount(depth)), frame);
    return OX3D_RGBD_OK;
}

uint32_t CFrameAssembler::AppendMainImage(const RawFrame& main, const AssemblyOptions& options,
                                          CDepthConversion& conversion, OX3D_RGBD_FRAME_DATA* frame) {
    const OX_FRAME_OUT_INFO_EX& info = main.m_info;
    OX3D_RGBD_IMAGE_DATA& image = frame->stImageData[0];
    image.enImageType = static_cast<uint32_t>(info.enPixelType);
    image.nWidth = info.nWidth;
    image.nHeight = info.nHeight;
    image.pData = main.m_data;
    image.nDataLen = info.nFrameLen;
    image.nFrameNum = info.nFrameNum;
    image.nTimeStamp = (static_cast<uint64_t>(info.nDevTimeStampHigh) << 32) + info.nDevTimeStampLow;
    if (image.enImageType == OX3D_RGBD_PIXEL_DEPTH16) {
        if (options.m_isDepthRegistered) {
            const uint32_t status = RegisterDepth(options, conversion, &image);
            if (status != OX3D_RGBD_OK) {
                return status;
            }
        }
        if (options.m_isUsb) {
            image.enStreamType = OX3D_RGBD_STREAM_DEPTH;
        }
    }
    frame->nImageCount = 1;
    return OX3D_RGBD_OK;
}

uint32_t CFrameAssembler::AppendExtendedImage(bool isUsb, bool isScaled, OX3D_RGBD_FRAME_DATA* frame) {
    const ChunkImage& chunk = m_extendedImage;
    OX3D_RGBD_IMAGE_DATA& image = Append(chunk.m_imageType, chunk.m_width, chunk.m_height,
                                         m_extendedBuffer.Data(), chunk.m_lengthBytes, frame);
    if (isUsb) {
        image.enStreamType = OX3D_RGBD_STREAM_COLOR;
    }
    return isScaled ? AlignColor(&frame->stImageData[0], &frame->stImageData[1]) : OX3D_RGBD_OK;
}

void CFrameAssembler::AppendDemosaicPair(OX3D_RGBD_FRAME_DATA* frame) {
    const ChunkImage& chunk = m_demosaicImage;
    const uint32_t halfBytes = chunk.m_lengthBytes >> 1;
    // Width x height / 2 bytes whatever the pixel size, in signed 32 bits: right for the 8-bit pairs that
    // cameras send, and what applications have adapted to for others.
    const auto area = static_cast<int32_t>(chunk.m_width * chunk.m_height);
    const int64_t secondOffset = area / 2;
    if (secondOffset < 0 || static_cast<uint64_t>(secondOffset) + halfBytes > m_demosaicBuffer.Capacity()) {
        OX_LOG_ERROR("[FillFrameData] demosaic pair %u x %u len(%u) does not fit its buffer.\r\n",
                     chunk.m_width, chunk.m_height, chunk.m_lengthBytes);
        return;
    }
    uint8_t* const halves[2] = {m_demosaicBuffer.Data(), m_demosaicBuffer.Data() + secondOffset};
    constexpr uint32_t kStreams[2] = {OX3D_RGBD_STREAM_LEFT, OX3D_RGBD_STREAM_RIGHT};
    for (int i = 0; i < 2; ++i) {
        OX3D_RGBD_IMAGE_DATA& image =
            Append(chunk.m_imageType, chunk.m_width, chunk.m_height / 2, halves[i], halfBytes, frame);
        image.enStreamType = kStreams[i];
    }
}

uint32_t CFrameAssembler::AppendRgbdImage(uint32_t sentImages, OX3D_RGBD_FRAME_DATA* frame) {
    if (sentImages < 2) {
        OX_LOG_ERROR("[FillFrameData] no second image for the RGB-D output.\r\n");
        return OX3D_RGBD_E_NO_DATA;
    }
    if (!m_rgbdBuffer.EnsureExists()) {
        // Preserved for compatibility: the number is the size of the extended buffer.
        OX_LOG_ERROR("[FillFrameData] New m_pRgbdImageData buf len (%d) fail.\r\n",
                     static_cast<int>(m_extendedBuffer.Capacity()));
        return OX3D_RGBD_E_MEMORY;
    }
    const OX3D_RGBD_IMAGE_DATA& depth = frame->stImageData[0];
    const OX3D_RGBD_IMAGE_DATA& color = frame->stImageData[1];
    const uint64_t pixels = PixelCount(depth);
    if (pixels > kMaxImageBytes / ox3d::kRgbdPixelBytes ||
        !m_rgbdBuffer.Grow(pixels * ox3d::kRgbdPixelBytes)) {
        OX_LOG_ERROR("[FillFrameData] New m_pRgbdImageData buf fail.\r\n");
        return OX3D_RGBD_E_MEMORY;
    }
    ox3d::InterleaveRgbd({color.pData, color.nDataLen}, {depth.pData, depth.nDataLen}, pixels,
                         m_rgbdBuffer.Data());
    Append(OX3D_RGBD_PIXEL_RGBD, depth.nWidth, depth.nHeight, m_rgbdBuffer.Data(),
           static_cast<uint32_t>(pixels * ox3d::kRgbdPixelBytes), frame);
    return OX3D_RGBD_OK;
}

// Manager_Frame.cpp - one raw frame of the camera library turned into a frame record: chunk images copied,
// image records filled in a fixed order, depth and color aligned, RGB-D interleaved.
//
// Runs under the callback lock or the frame mutex of the delivery path.
#include <cstring>

#include "algorithm/rgbd/RgbdInterleave.h"
#include "src/Common/AsyncLog.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr uint64_t kMaxImageBytes = UINT32_MAX;

// What tells the two kinds of chunk image apart.
struct ChunkKind {
    uint32_t m_headerBytes;
    const char* m_bufferName; // in the lines of a failed allocation
};

constexpr ChunkKind kExtended = {32, "m_pExtendImageData"};
constexpr ChunkKind kDemosaic = {28, "m_pDemaImageData"};

uint32_t TakeChunk(const OX_CHUNK_DATA_CONTENT& chunk, const ChunkKind& kind, CGrowBuffer* buffer,
                   ChunkImage* slot) {
    switch (TakeChunkImage(chunk, kind.m_headerBytes, buffer, slot)) {
    case ChunkResult::COPIED:
        return OX3D_RGBD_OK;
    case ChunkResult::TOO_SHORT:
        OX_LOG_ERROR(
            "[UpdateChunkDataToLocalInput] trunk ID(%#x) len(%u) is null or shorter than its header.\r\n",
            chunk.nChunkID, chunk.nChunkLen);
        return OX3D_RGBD_OK;
    case ChunkResult::NO_BUFFER:
        OX_LOG_ERROR("New %s buf len (%d) fail.\r\n", kind.m_bufferName,
                     static_cast<int>(buffer->Capacity()));
        return OX3D_RGBD_E_MEMORY;
    default:
        OX_LOG_ERROR("[UpdateChunkDataToLocalInput] New %s buf fail.\r\n", kind.m_bufferName);
        return OX3D_RGBD_E_MEMORY;
    }
}

OX3D_RGBD_IMAGE_DATA* Append(OX3D_RGBD_FRAME_DATA* frame) {
    return &frame->stImageData[frame->nImageCount++];
}

} // namespace

uint32_t CManager::UpdateChunkDataToLocal(OX_CHUNK_DATA_CONTENT* chunks, uint32_t count, uint32_t /*width*/,
                                          uint32_t /*height*/) {
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
            status = TakeChunk(chunks[i], kExtended, &m_extendImage, &m_extendSlot);
            break;
        case OX_CHUNK_DEMOSAIC_PAIR:
            status = TakeChunk(chunks[i], kDemosaic, &m_demaImage, &m_demaSlot);
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

uint32_t CManager::FillFrameData(OX3D_RGBD_FRAME_DATA* frame) {
    if (frame == nullptr) {
        OX_LOG_ERROR("[FillFrameData] pFrameData is invalid. \r\n");
        return OX3D_RGBD_E_PARAMETER;
    }
    frame->nImageCount = 0;
    uint32_t status = OX3D_RGBD_OK;
    if (m_hasMainImage) {
        status = AppendMainImage(frame);
    }
    if (status == OX3D_RGBD_OK && m_extendSlot.m_present) {
        status = AppendExtendedImage(frame);
    }
    if (status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[FillFrameData] DepthMapConvert process failed [%#x]\r\n", status);
        return status;
    }
    if (m_demaSlot.m_present && m_nDeviceType == OX_CC_USB_DEVICE) {
        AppendDemosaicPair(frame);
    }
    if (m_outputRgbd.load(std::memory_order_relaxed) == 1 && m_nDeviceType == OX_CC_GIGE_DEVICE) {
        return AppendRgbdImage(frame);
    }
    return OX3D_RGBD_OK;
}

uint32_t CManager::AppendMainImage(OX3D_RGBD_FRAME_DATA* frame) {
    OX3D_RGBD_IMAGE_DATA& image = frame->stImageData[0];
    image.enImageType = static_cast<uint32_t>(m_frameInfo.enPixelType);
    image.nWidth = m_frameInfo.nWidth;
    image.nHeight = m_frameInfo.nHeight;
    image.pData = m_mainData;
    image.nDataLen = m_frameInfo.nFrameLen;
    image.nFrameNum = m_frameInfo.nFrameNum;
    image.nTimeStamp =
        (static_cast<uint64_t>(m_frameInfo.nDevTimeStampHigh) << 32) + m_frameInfo.nDevTimeStampLow;
    if (image.enImageType == OX3D_RGBD_PIXEL_DEPTH16) {
        if (m_nDeviceType == OX_CC_GIGE_DEVICE && m_imageAlign.load(std::memory_order_relaxed) == 1) {
            FreeFormerDepth();
            const uint32_t status = DepthMapConvert(&image, &image, nullptr);
            if (status != OX3D_RGBD_OK) {
                return status;
            }
        }
        if (m_nDeviceType == OX_CC_USB_DEVICE) {
            image.enStreamType = OX3D_RGBD_STREAM_DEPTH;
        }
    }
    frame->nImageCount = 1;
    return OX3D_RGBD_OK;
}

uint32_t CManager::AppendExtendedImage(OX3D_RGBD_FRAME_DATA* frame) {
    OX3D_RGBD_IMAGE_DATA* image = Append(frame);
    image->enImageType = m_extendSlot.m_imageType;
    image->nWidth = m_extendSlot.m_width;
    image->nHeight = m_extendSlot.m_height;
    image->nDataLen = m_extendSlot.m_lengthBytes;
    image->pData = m_extendImage.Data();
    image->nFrameNum = frame->stImageData[0].nFrameNum;
    image->nTimeStamp = frame->stImageData[0].nTimeStamp;
    if (m_nDeviceType == OX_CC_USB_DEVICE) {
        image->enStreamType = OX3D_RGBD_STREAM_COLOR;
    }
    if (m_nDeviceType == OX_CC_GIGE_DEVICE && m_resolutionAlign.load(std::memory_order_relaxed) == 1) {
        return RgbResolutionAlign(&frame->stImageData[0], &frame->stImageData[1]);
    }
    return OX3D_RGBD_OK;
}

void CManager::AppendDemosaicPair(OX3D_RGBD_FRAME_DATA* frame) {
    const uint32_t halfBytes = m_demaSlot.m_lengthBytes >> 1;
    // Width x height / 2 bytes whatever the pixel size, in signed 32 bits: right for the 8-bit pairs that
    // cameras send, and what applications have adapted to for others.
    const auto area = static_cast<int32_t>(m_demaSlot.m_width * m_demaSlot.m_height);
    const int64_t secondOffset = area / 2;
    if (secondOffset < 0 || static_cast<uint64_t>(secondOffset) + halfBytes > m_demaImage.Capacity()) {
        OX_LOG_ERROR("[FillFrameData] demosaic pair %u x %u len(%u) does not fit its buffer.\r\n",
                     m_demaSlot.m_width, m_demaSlot.m_height, m_demaSlot.m_lengthBytes);
        return;
    }
    uint8_t* const halves[2] = {m_demaImage.Data(), m_demaImage.Data() + secondOffset};
    constexpr uint32_t kStreams[2] = {OX3D_RGBD_STREAM_LEFT, OX3D_RGBD_STREAM_RIGHT};
    for (int i = 0; i < 2; ++i) {
        OX3D_RGBD_IMAGE_DATA* image = Append(frame);
        image->enImageType = m_demaSlot.m_imageType;
        image->nWidth = m_demaSlot.m_width;
        image->nHeight = m_demaSlot.m_height / 2;
        image->nDataLen = halfBytes;
        image->pData = halves[i];
        image->nFrameNum = frame->stImageData[0].nFrameNum;
        image->nTimeStamp = frame->stImageData[0].nTimeStamp;
        image->enStreamType = kStreams[i];
    }
}

uint32_t CManager::AppendRgbdImage(OX3D_RGBD_FRAME_DATA* frame) {
    if (frame->nImageCount < 2) {
        OX_LOG_ERROR("[FillFrameData] no second image for the RGB-D output.\r\n");
        return OX3D_RGBD_E_NO_DATA;
    }
    if (!m_rgbdImage.EnsureExists()) {
        // The number is the extended buffer's size, as it always was in this line.
        OX_LOG_ERROR("[FillFrameData] New m_pRgbdImageData buf len (%d) fail.\r\n",
                     static_cast<int>(m_extendImage.Capacity()));
        return OX3D_RGBD_E_MEMORY;
    }
    const OX3D_RGBD_IMAGE_DATA& depth = frame->stImageData[0];
    const OX3D_RGBD_IMAGE_DATA& color = frame->stImageData[1];
    const uint64_t pixels = static_cast<uint64_t>(depth.nWidth) * depth.nHeight;
    if (pixels > kMaxImageBytes / ox3d::kRgbdPixelBytes || !m_rgbdImage.Grow(pixels * ox3d::kRgbdPixelBytes)) {
        OX_LOG_ERROR("[FillFrameData] New m_pRgbdImageData buf fail.\r\n");
        return OX3D_RGBD_E_MEMORY;
    }
    ox3d::InterleaveRgbd({color.pData, color.nDataLen}, {depth.pData, depth.nDataLen}, pixels, m_rgbdImage.Data());

    OX3D_RGBD_IMAGE_DATA* image = Append(frame);
    image->enImageType = OX3D_RGBD_PIXEL_RGBD;
    image->nWidth = depth.nWidth;
    image->nHeight = depth.nHeight;
    image->nDataLen = static_cast<uint32_t>(pixels * ox3d::kRgbdPixelBytes);
    image->pData = m_rgbdImage.Data();
    image->nFrameNum = depth.nFrameNum;
    image->nTimeStamp = depth.nTimeStamp;
    return OX3D_RGBD_OK;
}

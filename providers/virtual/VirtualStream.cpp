// VirtualStream.cpp - takes frames from the camera model, one after the other.
#include "providers/virtual/VirtualStream.h"

#include <algorithm>

namespace ox3d {

void VirtualNode::FillInfo() {
    const size_t records = std::max(m_frame.m_chunkCount, m_frame.m_declaredChunkCount);
    m_chunks.assign(records, OX_CHUNK_DATA_CONTENT{});
    for (uint32_t i = 0; i < m_frame.m_chunkCount; ++i) {
        CameraChunk& chunk = m_frame.m_chunks[i];
        m_chunks[i].pChunkData = chunk.m_bytes.data();
        m_chunks[i].nChunkID = chunk.m_id;
        m_chunks[i].nChunkLen = chunk.m_lengthBytes;
    }
    m_image = m_frame.m_image.data();
    m_info = {};
    m_info.nWidth = static_cast<uint16_t>(m_frame.m_width);
    m_info.nHeight = static_cast<uint16_t>(m_frame.m_height);
    m_info.enPixelType = m_frame.m_pixelFormat;
    m_info.nFrameNum = m_frame.m_number;
    m_info.nDevTimeStampHigh = static_cast<uint32_t>(m_frame.m_timestampNs >> 32);
    m_info.nDevTimeStampLow = static_cast<uint32_t>(m_frame.m_timestampNs);
    m_info.nFrameLen = m_frame.m_imageLengthBytes;
    m_info.nUnparsedChunkNum = m_frame.m_declaredChunkCount;
    if (!m_frame.m_isChunkListMissing && !m_chunks.empty()) {
        m_info.pUnparsedChunkContent = m_chunks.data();
    }
}

CVirtualStream::CVirtualStream(std::shared_ptr<CVirtualConnection> connection,
                               std::shared_ptr<CFrameBuffer> buffer)
    : CStream(connection->SharedCallbacks(), std::move(buffer)), m_connection(std::move(connection)) {}

void CVirtualStream::RunCamera() {
    while (TakeFrame()) {
    }
}

bool CVirtualStream::TakeFrame() {
    auto* node = static_cast<VirtualNode*>(Buffer().TakeEmpty());
    const ENextFrame result =
        m_connection->Model().NextFrame(m_connection->PlugCount(), StopToken(), &node->m_frame);
    if (result != ENextFrame::Frame) {
        Buffer().Release(node);
        if (result == ENextFrame::Gone) {
            Buffer().Finish();
            m_connection->MarkGone();
        }
        return false;
    }
    node->FillInfo();
    if (node->m_frame.m_isExposureEventWanted) {
        m_connection->RaiseExposureEnd(node->m_frame);
    }
    Commit(node);
    return true;
}

} // namespace ox3d

// AravisStream_Scan3d.cpp - the part of CAravisStream that makes frames of components.
#include <algorithm>
#include <cstdio>

#include "providers/aravis/AravisStream.h"
#include "providers/aravis/BufferParts.h"

namespace ox3d {

// A line for the first of frames that fail alike: a camera that goes on with it would fill the disk.
void CAravisStream::TellFault(const char* fault) {
    if (fault != nullptr && fault != m_lastFault) {
        std::fprintf(stderr, "camera control: a frame counts as lost: %s\n", fault);
    }
    m_lastFault = fault;
}

// A block does not say which component it has, but their pixel formats differ.
const char* CAravisStream::JoinBlock(ArvBuffer* buffer, bool* isWhole) {
    SentPart part = m_parts.front();
    for (const Scan3dPlan::Component& component : {m_plan.m_depth, m_plan.m_intensity, m_plan.m_confidence}) {
        if (component.m_id != 0 && component.m_format == part.m_image.m_format) {
            part.m_component = component.m_id;
        }
    }
    if (part.m_component == 0) {
        return "a block has the pixel format of no component";
    }
    m_isJoined = m_plan.Components() > 1;
    *isWhole = m_join.Add(arv_buffer_get_timestamp(buffer), part, m_plan.Components());
    return nullptr;
}

CAravisStream::EMade CAravisStream::MakeScan3d(AravisNode* node, ArvBuffer* buffer) {
    size_t payloadBytes = 0;
    arv_buffer_get_data(buffer, &payloadBytes);
    payloadBytes = std::min(payloadBytes, node->m_sizeBytes);
    const char* fault = PartsOf(buffer, {node->m_image, payloadBytes}, &m_parts);
    bool isWhole = true;
    std::span<const SentPart> parts = m_parts;
    if (fault == nullptr && m_parts.front().m_component == 0) {
        fault = JoinBlock(buffer, &isWhole);
        parts = m_join.Parts();
    }
    if (fault == nullptr && !isWhole) {
        return EMade::NotYet;
    }
    if (fault == nullptr) {
        if (m_spareMade.empty()) {
            m_spareMade.push_back(std::make_unique<MadeFrame>());
        }
        node->m_made = std::move(m_spareMade.back());
        m_spareMade.pop_back();
        fault = m_maker.Make(m_plan, parts, node->m_made.get());
    }
    TellFault(fault);
    if (fault != nullptr) {
        return EMade::Bad;
    }
    FillMade(node, buffer);
    return EMade::Frame;
}

void CAravisStream::FillMade(AravisNode* node, ArvBuffer* buffer) const {
    MadeFrame& made = *node->m_made;
    constexpr uint32_t kPixelDepth = 0x011000B8;
    node->m_info = {};
    node->m_chunks.clear();
    node->m_image = reinterpret_cast<uint8_t*>(made.m_depth.data());
    node->m_info.enPixelType = kPixelDepth;
    node->m_info.nWidth = static_cast<uint16_t>(made.m_width);
    node->m_info.nHeight = static_cast<uint16_t>(made.m_height);
    node->m_info.nFrameLen = static_cast<uint32_t>(made.m_depth.size() * sizeof(uint16_t));
    const uint64_t timestampNs = arv_buffer_get_timestamp(buffer);
    node->m_info.nDevTimeStampHigh = static_cast<uint32_t>(timestampNs >> 32);
    node->m_info.nDevTimeStampLow = static_cast<uint32_t>(timestampNs);
    if (made.m_chunk.empty()) {
        return;
    }
    OX_CHUNK_DATA_CONTENT& chunk = node->m_chunks.emplace_back();
    chunk = {};
    chunk.pChunkData = made.m_chunk.data();
    chunk.nChunkID = OX_CHUNK_EXTENDED_IMAGE;
    chunk.nChunkLen = static_cast<uint32_t>(made.m_chunk.size());
    node->m_info.nUnparsedChunkNum = static_cast<uint32_t>(node->m_chunks.size());
    node->m_info.pUnparsedChunkContent = node->m_chunks.data();
}

} // namespace ox3d

// AravisStream.cpp - buffers in, frames out; frames that are not whole are counted and their buffers given back.
#include "providers/aravis/AravisStream.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "providers/aravis/Parting.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr uint64_t kPopTimeoutUs = 50000; // how long a stop may go unnoticed
// Frames whose packets are asked for again stay open while later ones come in.
constexpr size_t kMinBuffers = 6;

std::atomic<uint64_t> s_acquisitions{0};

} // namespace

AravisNode::~AravisNode() {
    if (m_process.IsInherited()) {
        static_cast<void>(m_buffer.release()); // a thread of the parent's may have left GObject's locks held
    }
}

// A buffer that an acquisition before this one filled says so until it is filled anew. It is made afresh: an
// acquisition on a loaded machine has begun with such frames.
void AravisNode::Renew(size_t sizeBytes, uint64_t acquisition) {
    m_image = m_memory.get();
    if (m_buffer != nullptr && m_sizeBytes == sizeBytes && m_acquisition == acquisition) {
        return;
    }
    m_buffer.reset();
    if (m_image == nullptr || m_sizeBytes != sizeBytes) {
        m_image = nullptr;
        m_memory.reset(static_cast<uint8_t*>(AllocateImageMemory(sizeBytes)));
        if (m_memory == nullptr) {
            throw std::bad_alloc();
        }
        m_sizeBytes = sizeBytes;
        m_image = m_memory.get();
    }
    m_acquisition = acquisition;
    m_buffer.reset(arv_buffer_new_full(sizeBytes, m_memory.get(), this, nullptr));
}

uint64_t CFrameCounter::Next(uint64_t blockId, uint64_t timeNs) {
    constexpr uint64_t kShortIds = 0xFFFF; // ids of 16 bits, of which 0 is never used
    constexpr uint64_t kMaxLost = 1000;    // more have begun to count anew
    constexpr uint64_t kMaxRepeat = 100;   // a camera whose clock begins anew, too, goes back further
    if (m_lastId && timeNs <= m_lastTimeNs &&
        (*m_lastId + (*m_lastId < blockId && blockId <= kShortIds ? kShortIds : 0)) - blockId < kMaxRepeat) {
        return 0;
    }
    if (!m_lastId) {
        // A camera that goes on counting from before has not lost all these frames.
        const bool isFromStart = blockId >= m_firstId && blockId - m_firstId < kMaxLost;
        m_number = isFromStart ? blockId - m_firstId + 1 : 1;
    } else if (blockId > *m_lastId) {
        m_number += blockId - *m_lastId;
    } else {
        const bool isWrapped = *m_lastId <= kShortIds && blockId + kShortIds - *m_lastId < kMaxLost;
        m_number += isWrapped ? std::max<uint64_t>(blockId + kShortIds - *m_lastId, 1) : 1;
    }
    m_lastId = blockId;
    m_lastTimeNs = timeNs;
    return m_number;
}

CAravisStream::CAravisStream(std::shared_ptr<CAravisConnection> connection,
                             std::shared_ptr<CFrameBuffer> buffer)
    : CStream(connection->SharedCallbacks(), std::move(buffer)), m_connection(std::move(connection)),
      m_acquisition(++s_acquisitions), m_counter(m_connection->IsEthernet() ? 1 : 0) {}

CAravisStream::~CAravisStream() {
    End();
}

int CAravisStream::Prepare(ArvDevice* device, const ResendSettings& resend, const Scan3dPlan& plan) {
    m_plan = plan;
    m_isScan3d = plan.m_depth.m_id != 0;
    const uint32_t own = m_connection->Own().RetentionMs();
    const uint32_t usual = m_isScan3d ? kScan3dRetentionMs : kFrameRetentionMs;
    const int code =
        OpenStream(device, m_connection->Path(), resend, own != 0 ? own : usual, &m_stream, &m_payloadBytes);
    if (code != kOk) {
        return code;
    }
    for (guint i = 0; i < arv_stream_get_n_infos(m_stream.get()); ++i) {
        const char* name = arv_stream_get_info_name(m_stream.get(), i);
        m_countsSizeErrors |= std::strcmp(name, "n_size_mismatch_errors") == 0;
    }
    GiveBuffers();
    return kOk;
}

uint64_t CAravisStream::SizeErrors() const {
    return m_countsSizeErrors ? arv_stream_get_info_uint64_by_name(m_stream.get(), "n_size_mismatch_errors")
                              : 0;
}

void CAravisStream::GiveBuffers() {
    const size_t wanted = std::max<size_t>(kMinBuffers, Buffer().NodeNum());
    while (m_inFlight.size() < wanted) {
        auto* node = static_cast<AravisNode*>(Buffer().TakeEmpty());
        try {
            node->Renew(m_payloadBytes, m_acquisition);
            if (node->m_made != nullptr) {
                m_spareMade.push_back(std::move(node->m_made));
            }
            m_inFlight.insert(node);
        } catch (const std::bad_alloc&) {
            Buffer().Release(node);
            throw;
        }
        arv_stream_push_buffer(m_stream.get(), ARV_BUFFER(g_object_ref(node->m_buffer.get())));
    }
}

AravisNode* CAravisStream::Take(ArvBuffer* buffer) {
    const auto found = std::find_if(m_inFlight.begin(), m_inFlight.end(),
                                    [&](const AravisNode* node) { return node->m_buffer.get() == buffer; });
    if (found == m_inFlight.end()) {
        return nullptr;
    }
    AravisNode* node = *found;
    m_inFlight.erase(found);
    return node;
}

void CAravisStream::RunCamera() {
    try {
        while (!StopToken().stop_requested()) {
            GiveBuffers();
            const CObject<ArvBuffer> buffer(arv_stream_timeout_pop_buffer(m_stream.get(), kPopTimeoutUs));
            if (buffer != nullptr) {
                if (AravisNode* node = Take(buffer.get())) {
                    Handle(node, buffer.get());
                }
            } else if (!m_connection->IsAlive()) {
                Buffer().Finish();
                break;
            }
        }
    } catch (const std::bad_alloc&) {
        End();
        throw;
    }
    End();
}

// Ends Aravis's own thread first: after that nothing writes into the nodes' memory any more.
void CAravisStream::End() {
    if (m_stream != nullptr && m_connection->IsEthernet() && !m_connection->IsAlive()) {
        arv_stream_stop_thread(m_stream.get(), TRUE);
        ReleaseLater(G_OBJECT(m_stream.release()));
    }
    m_stream.reset();
    for (AravisNode* node : m_inFlight) {
        Buffer().Release(node);
    }
    m_inFlight.clear();
}

void CAravisStream::Handle(AravisNode* node, ArvBuffer* buffer) {
    const ArvBufferStatus status = arv_buffer_get_status(buffer);
    if (status == ARV_BUFFER_STATUS_ABORTED || status == ARV_BUFFER_STATUS_CLEARED) {
        Buffer().Release(node);
        return;
    }
    // A payload that is longer than its buffer comes cut, as a success: only the count tells.
    const uint64_t sizeErrors = SizeErrors();
    const bool isCut = sizeErrors != m_sizeErrors;
    m_sizeErrors = sizeErrors;
    EMade made = EMade::Bad;
    if (status == ARV_BUFFER_STATUS_SUCCESS && !isCut) {
        made = m_isScan3d ? MakeScan3d(node, buffer) : Fill(node, buffer) ? EMade::Frame : EMade::Bad;
    }
    if (made == EMade::Bad && !m_isJoined) {
        Buffer().Release(node);
        Buffer().CountLost(1);
        ++m_badFrames;
        return;
    }
    const uint64_t number = made == EMade::Bad ? 0 : NumberOf(buffer);
    if (made != EMade::Frame || number == 0) {
        Buffer().Release(node);
        return;
    }
    const uint64_t missing = number - m_lastNumber - 1;
    Buffer().CountLost(missing > m_badFrames ? missing - m_badFrames : 0);
    m_lastNumber = number;
    m_badFrames = 0;
    node->m_info.nFrameNum = static_cast<uint32_t>(number);
    Commit(node);
}

// Of the frame, from 1. Where each component has a block of its own, that of as many blocks is one.
uint64_t CAravisStream::NumberOf(ArvBuffer* buffer) {
    const uint64_t number = m_counter.Next(arv_buffer_get_frame_id(buffer), arv_buffer_get_timestamp(buffer));
    const uint64_t blocks = m_isJoined ? m_plan.Components() : 1;
    return (number + blocks - 1) / blocks;
}

bool CAravisStream::Fill(AravisNode* node, ArvBuffer* buffer) {
    size_t payloadBytes = 0;
    arv_buffer_get_data(buffer, &payloadBytes);
    payloadBytes = std::min(payloadBytes, node->m_sizeBytes);
    node->m_info = {};
    node->m_chunks.clear();
    if (arv_buffer_has_chunks(buffer) != 0) {
        if (!FillChunks(node, payloadBytes)) {
            return false;
        }
    } else {
        node->m_info.nFrameLen = static_cast<uint32_t>(payloadBytes);
    }
    gint region[4] = {};
    if (arv_buffer_get_n_parts(buffer) > 0) {
        arv_buffer_get_part_region(buffer, 0, &region[0], &region[1], &region[2], &region[3]);
        node->m_info.enPixelType = arv_buffer_get_part_pixel_format(buffer, 0);
    }
    // A leader and a trailer without anything between them are a frame to Aravis.
    if (region[2] <= 0 || region[2] > UINT16_MAX || region[3] <= 0 || region[3] > UINT16_MAX) {
        return false;
    }
    node->m_info.nWidth = static_cast<uint16_t>(region[2]);
    node->m_info.nHeight = static_cast<uint16_t>(region[3]);
    const uint64_t timestampNs = arv_buffer_get_timestamp(buffer);
    node->m_info.nDevTimeStampHigh = static_cast<uint32_t>(timestampNs >> 32);
    node->m_info.nDevTimeStampLow = static_cast<uint32_t>(timestampNs);
    // Bits of a pixel are part of its format's number.
    const uint64_t bits = (node->m_info.enPixelType >> 16) & 0xFF;
    const uint64_t pixels = static_cast<uint64_t>(node->m_info.nWidth) * node->m_info.nHeight;
    return bits > 0 && node->m_info.nFrameLen >= (pixels * bits + 7) / 8;
}

bool CAravisStream::FillChunks(AravisNode* node, size_t payloadBytes) {
    if (!WalkChunks({node->m_image, payloadBytes}, m_connection->IsEthernet(), &m_spans)) {
        return false;
    }
    node->m_info.nFrameLen = m_spans.front().m_lengthBytes; // the image is the first chunk
    for (size_t i = 1; i < m_spans.size(); ++i) {
        OX_CHUNK_DATA_CONTENT& chunk = node->m_chunks.emplace_back();
        chunk = {};
        chunk.pChunkData = node->m_image + m_spans[i].m_offset;
        chunk.nChunkID = m_spans[i].m_id;
        chunk.nChunkLen = m_spans[i].m_lengthBytes;
    }
    node->m_info.nUnparsedChunkNum = static_cast<uint32_t>(node->m_chunks.size());
    node->m_info.pUnparsedChunkContent = node->m_chunks.empty() ? nullptr : node->m_chunks.data();
    return true;
}

} // namespace ox3d

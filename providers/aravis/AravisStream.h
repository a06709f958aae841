// AravisStream.h - from a stream of Aravis into the image nodes.
//
// Aravis fills the buffers that it has been given; a frame that finds none is lost, the newest that is. The
// nodes are to lose the oldest one instead: so finished buffers are taken out at once, and empty ones put in
// their place.
#ifndef OX3D_ARAVIS_ARAVIS_STREAM_H
#define OX3D_ARAVIS_ARAVIS_STREAM_H

#include <arv.h>

#include <memory>
#include <optional>
#include <set>

#include "base/ForkGuard.h"
#include "base/ImageMemory.h"
#include "providers/aravis/AravisConnection.h"
#include "providers/aravis/ArvError.h"
#include "providers/aravis/ChunkWalk.h"
#include "providers/aravis/Scan3dFrame.h"
#include "providers/common/Stream.h"

namespace ox3d {

struct AravisNode final : FrameNode {
    ~AravisNode() override;
    // Makes the buffer one of exactly this size and of this acquisition; throws when there is no memory.
    void Renew(size_t sizeBytes, uint64_t acquisition);

    ImageBlock m_memory;
    size_t m_sizeBytes = 0;
    uint64_t m_acquisition = 0;
    CObject<ArvBuffer> m_buffer; // over m_memory
    // Of a camera whose components are not sent as the library has them; null until such a frame is made.
    std::unique_ptr<MadeFrame> m_made;
    CForkMark m_process;
};

// Frame numbers from block ids, which wrap round and do not always start where they should.
class CFrameCounter {
public:
    explicit CFrameCounter(uint64_t firstId) : m_firstId(firstId) {}
    // The frame's number, from 1; 0 for one that has been there: whoever sends under the application's address can have
    // a camera send its last frames again. Their time tells them from those of a camera that begins to count anew.
    uint64_t Next(uint64_t blockId, uint64_t timeNs);

private:
    const uint64_t m_firstId;
    std::optional<uint64_t> m_lastId;
    uint64_t m_lastTimeNs = 0;
    uint64_t m_number = 0;
};

class CAravisStream final : public CStream {
public:
    CAravisStream(std::shared_ptr<CAravisConnection> connection, std::shared_ptr<CFrameBuffer> buffer);
    ~CAravisStream() override;

    // The device's mutex is held. Makes the stream and gives it its first buffers.
    int Prepare(ArvDevice* device, const ResendSettings& resend, const Scan3dPlan& plan);

private:
    void RunCamera() override;
    void End();
    void GiveBuffers();
    AravisNode* Take(ArvBuffer* buffer);
    void Handle(AravisNode* node, ArvBuffer* buffer);
    // Fills the node's records. False when the frame is not whole.
    bool Fill(AravisNode* node, ArvBuffer* buffer);
    bool FillChunks(AravisNode* node, size_t payloadBytes);
    uint64_t NumberOf(ArvBuffer* buffer);
    uint64_t SizeErrors() const;

    // Components that become depth and color (AravisStream_Scan3d.cpp).
    enum class EMade { Frame, NotYet, Bad };
    EMade MakeScan3d(AravisNode* node, ArvBuffer* buffer);
    const char* JoinBlock(ArvBuffer* buffer, bool* isWhole);
    void FillMade(AravisNode* node, ArvBuffer* buffer) const;
    void TellFault(const char* fault);

    const std::shared_ptr<CAravisConnection> m_connection;
    CObject<ArvStream> m_stream;
    std::set<AravisNode*> m_inFlight; // given to Aravis
    size_t m_payloadBytes = 0;
    bool m_countsSizeErrors = false;
    uint64_t m_sizeErrors = 0;
    const uint64_t m_acquisition; // counted over all streams, from 1
    CFrameCounter m_counter;
    uint64_t m_lastNumber = 0;
    uint64_t m_badFrames = 0; // since the last good one; counted as lost already
    std::vector<ChunkSpan> m_spans;

    bool m_isScan3d = false;
    Scan3dPlan m_plan;
    CScan3dFrame m_maker;
    // Taken from the back, where the last one came that nobody reads any more: its memory is still in the caches.
    std::vector<std::unique_ptr<MadeFrame>> m_spareMade;
    CScan3dJoin m_join;
    bool m_isJoined = false; // each component comes in a block of its own
    std::vector<SentPart> m_parts;
    const char* m_lastFault = nullptr;
};

} // namespace ox3d

#endif

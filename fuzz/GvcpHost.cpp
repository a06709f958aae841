// GvcpHost.cpp - what a camera, or who claims to be one, sends to the provider for real cameras: acknowledgements,
// descriptions of themselves, events, and payloads with chunks.
#include <memory>
#include <vector>

#include "fuzz/Input.h"
#include "providers/aravis/ChunkWalk.h"
#include "providers/aravis/Discovery.h"
#include "providers/aravis/Gvcp.h"

namespace {

using namespace ox3d;
using namespace ox3d::fuzz;

void Read(std::span<const uint8_t> bytes) {
    const volatile uint8_t* const volatileBytes = bytes.data();
    for (size_t i = 0; i < bytes.size(); ++i) {
        (void)volatileBytes[i];
    }
}

void WalkAll(std::span<const uint8_t> payload, bool isBigEndian) {
    std::vector<ChunkSpan> chunks;
    if (!WalkChunks(payload, isBigEndian, &chunks)) {
        return;
    }
    OX3D_FUZZ_EXPECT(!chunks.empty() && chunks.size() <= kMaxChunks);
    size_t next = 0;
    for (const ChunkSpan& chunk : chunks) {
        OX3D_FUZZ_EXPECT(chunk.m_offset == next);
        Read(payload.subspan(chunk.m_offset, chunk.m_lengthBytes));
        next = chunk.m_offset + chunk.m_lengthBytes + 8;
    }
    OX3D_FUZZ_EXPECT(next == payload.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    const std::span<const uint8_t> packet(data, lengthBytes); // libFuzzer's copy has exactly this length
    if (const auto ack = gvcp::ReadAck(packet)) {
        Read(ack->m_payload);
        gvcp::ReadDiscovery(ack->m_payload);
    }
    const auto record = gvcp::ReadDiscovery(packet);
    if (record) {
        OX3D_FUZZ_EXPECT(gvcp::MacOf(*record) >> 48 == 0);
        OX3D_FUZZ_EXPECT(!IsBetterWay(*record, *record));
    }
    if (const auto events = gvcp::ReadEvents(packet)) {
        for (const gvcp::Event& event : events->m_events) {
            Read(event.m_data);
        }
    }
    WalkAll(packet, true);
    WalkAll(packet, false);
    return 0;
}

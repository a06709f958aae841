// Depth images as messages.
#include "viewer/server/DepthPacker.h"

#include <algorithm>
#include <zstd.h>

namespace ox3d::viewer {

CDepthPacker::CDepthPacker() : m_context(ZSTD_createCCtx()) {}

CDepthPacker::~CDepthPacker() {
    ZSTD_freeCCtx(static_cast<ZSTD_CCtx*>(m_context));
}

PacketPointer CDepthPacker::Pack(ImageHeader header, std::span<const uint16_t> samples) {
    if (m_context == nullptr || uint64_t{header.m_width} * header.m_height != samples.size()) {
        return nullptr;
    }
    constexpr int kFastest = 1;
    m_delta.resize(samples.size());
    m_valid = LeftDelta(samples, header.m_width, m_delta);
    m_packed.resize(ZSTD_compressBound(m_delta.size() * sizeof(uint16_t)));
    const size_t length =
        ZSTD_compressCCtx(static_cast<ZSTD_CCtx*>(m_context), m_packed.data(), m_packed.size(),
                          m_delta.data(), m_delta.size() * sizeof(uint16_t), kFastest);
    if (ZSTD_isError(length) != 0) {
        return nullptr;
    }
    header.m_codec = ECodec::DeltaZstd;
    return MakePacket(header, {m_packed.data(), length});
}

PacketPointer MakePacket(ImageHeader header, std::span<const uint8_t> payload) {
    if (payload.size() > UINT32_MAX) {
        return nullptr;
    }
    header.m_payloadBytes = static_cast<uint32_t>(payload.size());
    const auto packed = PackHeader(header);
    auto packet = std::make_shared<Packet>(kHeadroomBytes);
    packet->reserve(kHeadroomBytes + kHeaderBytes + payload.size());
    packet->insert(packet->end(), packed.begin(), packed.end());
    packet->insert(packet->end(), payload.begin(), payload.end());
    return packet;
}

} // namespace ox3d::viewer

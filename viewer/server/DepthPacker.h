// DepthPacker.h - depth images as messages: left delta, packed with zstd. Keeps its memory; one thread at a time.
#ifndef OX3D_VIEWER_DEPTH_PACKER_H
#define OX3D_VIEWER_DEPTH_PACKER_H

#include "viewer/server/Wire.h"

namespace ox3d::viewer {

class CDepthPacker {
public:
    CDepthPacker();
    ~CDepthPacker();
    CDepthPacker(const CDepthPacker&) = delete;
    CDepthPacker& operator=(const CDepthPacker&) = delete;

    // A whole packet; codec and payload length of the header are the packer's. Null when it cannot be made.
    PacketPointer Pack(ImageHeader header, std::span<const uint16_t> samples);
    // Samples of the last image that are not 0.
    uint64_t ValidSamples() const { return m_valid; }

private:
    void* m_context;
    std::vector<uint16_t> m_delta;
    std::vector<uint8_t> m_packed;
    uint64_t m_valid = 0;
};

// Headroom, header and payload.
PacketPointer MakePacket(ImageHeader header, std::span<const uint8_t> payload);

} // namespace ox3d::viewer

#endif

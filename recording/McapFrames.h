// McapFrames.h - which messages of an MCAP file are a frame's. A recorder puts every frame into a chunk of its own; another
// program that rewrote the file may have put many into one, or cut one apart: its messages have the same log time.
#ifndef OX3D_RECORDING_MCAP_FRAMES_H
#define OX3D_RECORDING_MCAP_FRAMES_H

#include "recording/McapReader.h"

#include <functional>
#include <optional>

namespace ox3d {

enum class EMcapPart : uint8_t { Depth, Color, Jpeg, Facts, DepthInfo, ColorInfo, Transform };
constexpr size_t kMcapParts = 7;

// By channel.
std::map<uint16_t, EMcapPart> McapPartsOf(const McapSummary& summary);

// Whether a recorder may have written a chunk of those messages: one depth image with what is known of its frame.
bool IsOneFrame(const std::vector<McapMessage>& messages, const std::map<uint16_t, EMcapPart>& parts);

// One thread at a time.
class CMcapFrames {
public:
    explicit CMcapFrames(const CMcapFile& file) : m_file(file) {}

    // Takes the chunks out of *contents. Message indexes have no checksum: where they, the chunk and the summary do not agree
    // the chunk itself is asked.
    void Find(McapContents* contents);
    size_t Count() const { return m_frames.size(); }
    // When it came: its log time.
    uint64_t TimeNs(size_t frame) const { return m_frames[frame].m_timeNs; }
    // Leaves out the frames before the first one that can be loaded and is good; false with a reason where there is none.
    bool StartAtFirst(const std::function<bool()>& isGood, std::string* error);

    // Its messages stay until the next call of any function that is not const. False with a reason.
    bool Load(size_t frame, std::string* error);
    // Of the frame that is loaded; null: it has none.
    const McapMessage* Part(EMcapPart part) const;
    // The first messages of that part in the file, until one will do.
    bool FindFirst(EMcapPart part, const std::function<bool(const McapMessage&)>& isGood);

private:
    struct Place {
        size_t m_chunk;
        size_t m_nth; // of the depth images in it
        uint64_t m_timeNs;
    };
    struct Look {
        std::vector<std::pair<uint64_t, uint64_t>> m_depths; // offset inside the chunk, log time
        std::array<bool, kMcapParts> m_has{};
    };
    using Found = std::array<std::optional<McapMessage>, kMcapParts>;

    std::optional<EMcapPart> PartOf(uint16_t channel) const;
    void Note(uint16_t channel, uint64_t timeNs, uint64_t offset, Look* look) const;
    bool LookAtIndexes(const McapChunkInfo& chunk, Look* look) const;
    bool LookInside(size_t chunk, Look* look);
    void Add(size_t chunk, const Look& look);
    bool MayUnpack(size_t chunk);
    bool Unpack(size_t chunk, std::string* error);
    bool IsWhole() const;
    void Borrow(size_t chunk, uint64_t timeNs);

    const CMcapFile& m_file;
    std::map<uint16_t, EMcapPart> m_parts;
    std::vector<bool> m_isKnown; // by channel
    std::vector<McapChunkInfo> m_chunks;
    std::vector<Place> m_frames;
    std::array<std::vector<size_t>, kMcapParts> m_chunksOf; // the first ones that have the part
    bool m_isRewritten = false;                             // a chunk is not one frame
    uint64_t m_leftBytes = 0; // that may be unpacked before a frame is asked for

    CMcapChunkReader m_reader;
    std::vector<McapMessage> m_messages;
    size_t m_unpacked = SIZE_MAX; // the chunk that they are of
    size_t m_loaded = SIZE_MAX;
    Found m_found;
    CMcapChunkReader m_otherReader; // of chunks beside the one of the frame
    std::vector<McapMessage> m_otherMessages;
    std::array<ByteVector, kMcapParts> m_borrowed;
};

} // namespace ox3d

#endif

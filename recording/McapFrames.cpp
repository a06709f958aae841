// McapFrames.cpp - see McapFrames.h.
#include "recording/McapFrames.h"

#include "recording/RecordingChannels.h"

#include <algorithm>
#include <set>

namespace ox3d {
namespace {

constexpr uint64_t kEntryBytes = 2 * sizeof(uint64_t); // of a message index: time, offset

size_t NumberOf(EMcapPart part) {
    return static_cast<size_t>(part);
}

} // namespace

std::map<uint16_t, EMcapPart> McapPartsOf(const McapSummary& summary) {
    static constexpr std::pair<const char*, EMcapPart> kTopics[] = {
        {kDepthTopic, EMcapPart::Depth},         {kColorTopic, EMcapPart::Color},
        {kJpegTopic, EMcapPart::Jpeg},           {kFrameTopic, EMcapPart::Facts},
        {kDepthInfoTopic, EMcapPart::DepthInfo}, {kColorInfoTopic, EMcapPart::ColorInfo},
        {kTransformTopic, EMcapPart::Transform},
    };
    std::map<uint16_t, EMcapPart> parts;
    for (const McapChannel& channel : summary.m_channels) {
        for (const auto& [topic, part] : kTopics) {
            if (channel.m_topic == topic) {
                parts.emplace(channel.m_id, part);
            }
        }
    }
    return parts;
}

bool IsOneFrame(const std::vector<McapMessage>& messages, const std::map<uint16_t, EMcapPart>& parts) {
    const auto count = [&](EMcapPart wanted) {
        return std::count_if(messages.begin(), messages.end(), [&](const McapMessage& message) {
            const auto part = parts.find(message.m_channel);
            return part != parts.end() && part->second == wanted;
        });
    };
    return count(EMcapPart::Depth) == 1 && count(EMcapPart::Facts) == 1;
}

std::optional<EMcapPart> CMcapFrames::PartOf(uint16_t channel) const {
    const auto part = m_parts.find(channel);
    return part == m_parts.end() ? std::nullopt : std::optional(part->second);
}

void CMcapFrames::Note(uint16_t channel, uint64_t timeNs, uint64_t offset, Look* look) const {
    if (const std::optional<EMcapPart> part = PartOf(channel)) {
        look->m_has[NumberOf(*part)] = true;
        if (*part == EMcapPart::Depth) {
            look->m_depths.emplace_back(offset, timeNs);
        }
    }
}

bool CMcapFrames::LookAtIndexes(const McapChunkInfo& chunk, Look* look) const {
    constexpr uint64_t kMaxIndexBytes = uint64_t{1} << 20U;
    std::map<uint16_t, uint64_t> listed(chunk.m_indexes.begin(), chunk.m_indexes.end());
    const auto first = std::min_element(listed.begin(), listed.end(),
                                        [](const auto& a, const auto& b) { return a.second < b.second; });
    ByteVector bytes;
    if (first == listed.end() || listed.size() != chunk.m_indexes.size() ||
        chunk.m_indexBytes > kMaxIndexBytes || !m_file.Read(first->second, chunk.m_indexBytes, &bytes)) {
        return false;
    }
    uint64_t begin = UINT64_MAX;
    uint64_t end = 0;
    CByteReader reader(bytes);
    while (reader.Left() > 0) {
        const auto opcode = static_cast<EMcapRecord>(reader.Take<uint8_t>());
        CByteReader record(reader.Bytes(reader.Take<uint64_t>()));
        const auto channel = record.Take<uint16_t>();
        CByteReader entries(record.Bytes(record.Take<uint32_t>()));
        if (opcode != EMcapRecord::MessageIndex || record.HasFailed() || record.Left() != 0 ||
            entries.Left() % kEntryBytes != 0 || !m_isKnown[channel] || listed.erase(channel) != 1) {
            return false;
        }
        while (entries.Left() > 0) {
            const auto timeNs = entries.Take<uint64_t>();
            begin = std::min(begin, timeNs);
            end = std::max(end, timeNs);
            Note(channel, timeNs, entries.Take<uint64_t>(), look);
        }
    }
    return listed.empty() && begin == chunk.m_startTime && end == chunk.m_endTime;
}

bool CMcapFrames::LookInside(size_t chunk, Look* look) {
    std::string ignored;
    if (!MayUnpack(chunk) || !Unpack(chunk, &ignored)) {
        return false;
    }
    for (const McapMessage& message : m_messages) {
        Note(message.m_channel, message.m_logTime, message.m_offset, look);
    }
    return true;
}

void CMcapFrames::Add(size_t chunk, const Look& look) {
    constexpr size_t kChunksToKnow = 64;
    for (size_t part = 0; part < kMcapParts; ++part) {
        if (look.m_has[part] && m_chunksOf[part].size() < kChunksToKnow) {
            m_chunksOf[part].push_back(chunk);
        }
    }
    for (size_t nth = 0; nth < look.m_depths.size(); ++nth) {
        m_frames.push_back({chunk, nth, look.m_depths[nth].second});
    }
}

// Files that were not closed have no summary that would tell where depth is. What is damaged stays a frame, which says so
// when it is asked for.
void CMcapFrames::Find(McapContents* contents) {
    constexpr uint64_t kLeastUnpackedBytes = uint64_t{4} << 30U;
    constexpr uint64_t kUnpackedBytesEach = 16; // of the file's; images seldom pack better
    m_leftBytes = kLeastUnpackedBytes + m_file.Bytes() * kUnpackedBytesEach;
    m_parts = McapPartsOf(contents->m_summary);
    m_isKnown.assign(size_t{UINT16_MAX} + 1, false);
    for (const McapChannel& channel : contents->m_summary.m_channels) {
        m_isKnown[channel.m_id] = true;
    }
    m_chunks = std::move(contents->m_summary.m_chunks);
    for (size_t i = 0; i < m_chunks.size(); ++i) {
        Look look;
        bool isSeen = LookAtIndexes(m_chunks[i], &look) && (contents->m_isClosed || !look.m_depths.empty());
        if (!isSeen) {
            look = {};
            isSeen = LookInside(i, &look);
        }
        if (!isSeen) {
            const uint64_t beforeNs = m_frames.empty() ? m_chunks[i].m_startTime : m_frames.back().m_timeNs;
            look.m_depths.emplace_back(0, contents->m_isClosed ? m_chunks[i].m_startTime : beforeNs);
        }
        std::sort(look.m_depths.begin(), look.m_depths.end());
        const bool isOneFrame = look.m_depths.size() == 1 && look.m_has[NumberOf(EMcapPart::Facts)];
        m_isRewritten = m_isRewritten || (isSeen && !isOneFrame);
        Add(i, look);
    }
}

// Headers may promise what the data do not hold. A file that unpacks to much and holds no frame is given up.
bool CMcapFrames::StartAtFirst(const std::function<bool()>& isGood, std::string* error) {
    *error = "its depth image is none";
    for (size_t first = 0; first < m_frames.size() && MayUnpack(m_frames[first].m_chunk); ++first) {
        std::string reason;
        if (Load(first, &reason) && isGood()) {
            m_frames.erase(m_frames.begin(), m_frames.begin() + static_cast<std::ptrdiff_t>(first));
            m_loaded = SIZE_MAX;
            return true;
        }
        *error = reason.empty() ? *error : reason;
    }
    return false;
}

bool CMcapFrames::MayUnpack(size_t chunk) {
    const uint64_t bytes =
        m_chunks[chunk].m_lengthBytes + std::min(m_chunks[chunk].m_uncompressedBytes, kMaxMcapChunkBytes);
    const bool mayUnpack = chunk == m_unpacked || bytes <= m_leftBytes;
    m_leftBytes -= mayUnpack && chunk != m_unpacked ? bytes : 0;
    return mayUnpack;
}

bool CMcapFrames::Unpack(size_t chunk, std::string* error) {
    if (chunk == m_unpacked) {
        return true;
    }
    m_loaded = m_unpacked = SIZE_MAX;
    m_found = {};
    if (!m_reader.Read(m_file, m_chunks[chunk], &m_messages, error)) {
        return false;
    }
    m_unpacked = chunk;
    return true;
}

bool CMcapFrames::IsWhole() const {
    return Part(EMcapPart::Facts) != nullptr &&
           (Part(EMcapPart::Color) != nullptr || Part(EMcapPart::Jpeg) != nullptr);
}

// What a frame that was cut apart has in the chunks beside its own. They tell their times.
void CMcapFrames::Borrow(size_t chunk, uint64_t timeNs) {
    constexpr size_t kMaxFarther = 4;
    const auto borrowFrom = [&](size_t other) {
        std::string ignored;
        const McapChunkInfo& info = m_chunks[other];
        if (info.m_startTime > timeNs || info.m_endTime < timeNs || IsWhole() ||
            !m_otherReader.Read(m_file, info, &m_otherMessages, &ignored)) {
            return false;
        }
        for (const McapMessage& message : m_otherMessages) {
            const std::optional<EMcapPart> part = PartOf(message.m_channel);
            if (part && message.m_logTime == timeNs && !m_found[NumberOf(*part)]) {
                ByteVector& own = m_borrowed[NumberOf(*part)];
                own.assign(message.m_data.begin(), message.m_data.end());
                m_found[NumberOf(*part)] = message;
                m_found[NumberOf(*part)]->m_data = own;
            }
        }
        return true;
    };
    for (size_t far = 1; far <= std::min(kMaxFarther, chunk) && borrowFrom(chunk - far); ++far) {
    }
    for (size_t far = 1; far <= kMaxFarther && chunk + far < m_chunks.size() && borrowFrom(chunk + far);
         ++far) {
    }
}

bool CMcapFrames::Load(size_t frame, std::string* error) {
    if (m_loaded == frame) {
        return true;
    }
    m_loaded = SIZE_MAX;
    m_found = {};
    const Place& place = m_frames[frame];
    if (!Unpack(place.m_chunk, error)) {
        return false;
    }
    size_t nth = 0;
    for (const McapMessage& message : m_messages) {
        if (PartOf(message.m_channel) == EMcapPart::Depth && nth++ == place.m_nth) {
            m_found[NumberOf(EMcapPart::Depth)] = message;
        }
    }
    const McapMessage* const depth = Part(EMcapPart::Depth);
    const uint64_t timeNs = depth == nullptr ? place.m_timeNs : depth->m_logTime;
    for (const McapMessage& message : m_messages) {
        const std::optional<EMcapPart> part = PartOf(message.m_channel);
        if (part && *part != EMcapPart::Depth && !m_found[NumberOf(*part)] &&
            (!m_isRewritten || message.m_logTime == timeNs)) {
            m_found[NumberOf(*part)] = message;
        }
    }
    if (m_isRewritten && depth != nullptr) {
        Borrow(place.m_chunk, timeNs);
    }
    m_loaded = frame;
    return true;
}

const McapMessage* CMcapFrames::Part(EMcapPart part) const {
    const std::optional<McapMessage>& message = m_found[NumberOf(part)];
    return message ? &*message : nullptr;
}

bool CMcapFrames::FindFirst(EMcapPart part, const std::function<bool(const McapMessage&)>& isGood) {
    std::string ignored;
    for (const size_t chunk : m_chunksOf[NumberOf(part)]) {
        if (!MayUnpack(chunk) || !Unpack(chunk, &ignored)) {
            continue;
        }
        for (const McapMessage& message : m_messages) {
            if (PartOf(message.m_channel) == part && isGood(message)) {
                return true;
            }
        }
    }
    return false;
}

} // namespace ox3d

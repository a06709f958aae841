// Scan3dFrame.cpp - see Scan3dFrame.h.
#include "providers/aravis/Scan3dFrame.h"

#include <algorithm>
#include <cstring>

namespace ox3d {
namespace {

constexpr size_t kChunkHeaderBytes = 32;
constexpr uint32_t kPixelRgb8Planar = 0x02180021;

// Words: pixel format, width, height and length of what follows; the rest is 0.
void WriteHeader(uint32_t width, uint32_t height, uint32_t lengthBytes, uint8_t* chunk) {
    const uint32_t words[kChunkHeaderBytes / sizeof(uint32_t)] = {kPixelRgb8Planar, width, height,
                                                                  lengthBytes};
    std::memcpy(chunk, words, sizeof(words));
}

const char* MakeColor(const SentImage& image, CColorPlanes* color, std::vector<uint8_t>* chunk) {
    const ImageShape& shape = image.m_shape;
    const uint64_t bytes = uint64_t{3} * shape.m_width * shape.m_height;
    // What was sent has a byte for each pixel at least, so this allocates no more than three times as much.
    if (bytes / 3 > image.m_bytes.size() || bytes > UINT32_MAX - kChunkHeaderBytes) {
        return "its color is shorter than its size needs";
    }
    chunk->resize(kChunkHeaderBytes + static_cast<size_t>(bytes));
    WriteHeader(shape.m_width, shape.m_height, static_cast<uint32_t>(bytes), chunk->data());
    return color->Make(image, std::span(*chunk).subspan(kChunkHeaderBytes))
               ? nullptr
               : "its color has another pixel format, or is shorter than its size needs";
}

} // namespace

const char* CScan3dFrame::Find(std::span<const SentPart> parts, const Scan3dPlan::Component& component,
                               SentImage* out) {
    const SentPart* first = nullptr;
    m_joined.clear();
    for (const SentPart& part : parts) {
        if (part.m_component != component.m_id) {
            continue;
        }
        if (first != nullptr && !part.m_isPlane) {
            return "it has a component twice";
        }
        first = first == nullptr ? &part : first;
        if (part.m_isPlane) {
            m_joined.insert(m_joined.end(), part.m_image.m_bytes.begin(), part.m_image.m_bytes.end());
        }
    }
    if (first == nullptr) {
        return "a component of it is missing";
    }
    *out = first->m_image;
    if (first->m_isPlane) {
        out->m_bytes = m_joined;
    }
    return out->m_format == component.m_format ? nullptr : "a part has not the pixel format of its component";
}

const char* CScan3dFrame::Make(const Scan3dPlan& plan, std::span<const SentPart> parts, MadeFrame* out) {
    SentImage depth;
    SentImage confidence;
    SentImage color;
    if (plan.m_intensity.m_id == 0) {
        out->m_chunk.clear();
    } else {
        const char* fault = Find(parts, plan.m_intensity, &color);
        fault = fault == nullptr ? MakeColor(color, &m_color, &out->m_chunk) : fault;
        if (fault != nullptr) {
            return fault;
        }
    }
    if (plan.m_confidence.m_id != 0) {
        if (const char* fault = Find(parts, plan.m_confidence, &confidence)) {
            return fault;
        }
        if (!m_joined.empty()) { // only the depth's planes have a place
            return "its confidence has planes";
        }
    }
    if (const char* fault = Find(parts, plan.m_depth, &depth)) {
        return fault;
    }
    const DepthFormat* format = FindDepthFormat(depth.m_format);
    if (format == nullptr || BytesOfImage(*format, depth.m_shape) == 0 ||
        BytesOfImage(*format, depth.m_shape) > depth.m_bytes.size()) {
        return TextOf(EDepthFault::Size);
    }
    out->m_width = depth.m_shape.m_width;
    out->m_height = depth.m_shape.m_height;
    out->m_depth.resize(size_t{out->m_width} * out->m_height);
    const EDepthFault fault = m_depth.Convert(
        plan.m_rule, depth, plan.m_confidence.m_id == 0 ? nullptr : &confidence, out->m_depth);
    return fault == EDepthFault::None ? nullptr : TextOf(fault);
}

CScan3dJoin::Set& CScan3dJoin::SetOf(uint64_t timeNs) {
    const auto found =
        std::find_if(m_sets.begin(), m_sets.end(), [&](const Set& set) { return set.m_timeNs == timeNs; });
    if (found != m_sets.end()) {
        return *found;
    }
    if (m_sets.size() == kMaxOpenSets) {
        m_sets.erase(m_sets.begin());
    }
    m_sets.emplace_back().m_timeNs = timeNs;
    return m_sets.back();
}

bool CScan3dJoin::Add(uint64_t timeNs, const SentPart& part, uint32_t wantedParts) {
    Set& set = SetOf(timeNs);
    auto& [kept, bytes] = set.m_parts[part.m_component];
    bytes.assign(part.m_image.m_bytes.begin(), part.m_image.m_bytes.end());
    kept = part;
    kept.m_image.m_bytes = bytes;
    if (set.m_parts.size() < wantedParts) {
        return false;
    }
    m_whole = std::move(set);
    // Older ones were overtaken: their blocks came before.
    std::erase_if(m_sets, [&](const Set& other) { return other.m_timeNs <= m_whole.m_timeNs; });
    m_parts.clear();
    for (const auto& [component, entry] : m_whole.m_parts) {
        m_parts.push_back(entry.first);
    }
    return true;
}

} // namespace ox3d

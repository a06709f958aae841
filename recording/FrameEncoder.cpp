// FrameEncoder.cpp - the layout of docs/recording.md.
#include "recording/FrameEncoder.h"

#include "recording/RecordingChannels.h"
#include "recording/RosMessages.h"

namespace ox3d {
namespace {

enum EChannel : uint16_t { kDepth = 1, kColor, kDepthInfo, kColorInfo, kTransform, kFrame };

struct ChannelRow {
    EChannel m_id;
    const char* m_topic;
    const char* m_encoding;
    const RosDefinition* m_type;
};

constexpr ChannelRow kChannels[] = {
    {kDepth, kDepthTopic, "cdr", &kRosImage},
    {kColor, kJpegTopic, "cdr", &kRosCompressedImage},
    {kDepthInfo, kDepthInfoTopic, "cdr", &kRosCameraInfo},
    {kColorInfo, kColorInfoTopic, "cdr", &kRosCameraInfo},
    {kTransform, kTransformTopic, "cdr", &kRosTfMessage},
    {kFrame, kFrameTopic, "json", &kFrameFacts},
};

ChannelRow RowFor(ChannelRow row, ERecordedColor color) {
    const bool isRaw = row.m_id == kColor && color == ERecordedColor::Raw;
    return isRaw ? ChannelRow{kColor, kColorTopic, "cdr", &kRosImage} : row;
}

const char* NameOf(ERecordedColor color) {
    switch (color) {
    case ERecordedColor::None:
        return "none";
    case ERecordedColor::Jpeg:
        return "jpeg";
    case ERecordedColor::Raw:
        return "raw";
    }
    return "";
}

// As rosbag2 writes them: players offer a topic with the qualities it was recorded with. Late subscribers get the last
// transform.
ByteVector OfferedQualities(EChannel id) {
    const bool isLatched = id == kTransform;
    constexpr const char* kForever = "    sec: 9223372036\n    nsec: 854775807\n";
    const std::string text = std::string("- history: 1\n  depth: ") + (isLatched ? "1" : "10") +
                             "\n  reliability: 1\n  durability: " + (isLatched ? "1" : "2") +
                             "\n  deadline:\n" + kForever + "  lifespan:\n" + kForever +
                             "  liveliness: 1\n  liveliness_lease_duration:\n" + kForever +
                             "  avoid_ros_namespace_conventions: false\n";
    ByteVector map;
    if (id != kFrame) { // no message of ROS
        PutText(&map, "offered_qos_profiles");
        PutText(&map, text);
    }
    return map;
}

uint16_t SchemaOf(const RosDefinition& type, McapSummary* summary) {
    for (const McapSchema& schema : summary->m_schemas) {
        if (schema.m_name == type.m_name) {
            return schema.m_id;
        }
    }
    const auto id = static_cast<uint16_t>(summary->m_schemas.size() + 1);
    summary->m_schemas.push_back({id, type.m_name, type.m_encoding, type.m_text});
    return id;
}

void PutChannels(ERecordedColor color, ByteVector* out, McapSummary* summary) {
    for (const ChannelRow& row : kChannels) {
        if (color == ERecordedColor::None && (row.m_id == kColor || row.m_id == kColorInfo)) {
            continue;
        }
        const ChannelRow wanted = RowFor(row, color);
        const size_t known = summary->m_schemas.size();
        const uint16_t schema = SchemaOf(*wanted.m_type, summary);
        if (summary->m_schemas.size() > known) {
            PutSchema(out, summary->m_schemas.back());
        }
        summary->m_channels.push_back(
            {wanted.m_id, schema, wanted.m_topic, wanted.m_encoding, OfferedQualities(wanted.m_id)});
        PutChannel(out, summary->m_channels.back());
    }
}

} // namespace

void PutRecordingFront(const RecordedCamera& camera, const std::string& library, ERecordedColor color,
                       ByteVector* front, McapSummary* summary) {
    PutHeader(front, library);
    TextMap facts = camera.m_facts;
    facts.insert_or_assign("format", std::string(kRecordingFormat));
    facts.insert_or_assign("color", std::string(NameOf(color)));
    summary->m_metadata.push_back(PutMetadata(front, kRecordingMetadata, facts));
    const auto attach = [&](const char* name, const char* type, const std::string& text) {
        if (!text.empty()) {
            summary->m_attachments.push_back(PutAttachment(front, name, type, 0, text));
        }
    };
    attach(kCalibrationAttachment, "application/xml", camera.m_calibrationXml);
    attach(kFeaturesAttachment, "text/plain", camera.m_features);
    attach(kDescriptionAttachment, "application/xml", camera.m_description);
    ByteVector inEveryChunk;
    PutChannels(color, &inEveryChunk, summary);
}

CFrameEncoder::CFrameEncoder(const RecordedCamera& camera, ERecordedColor color, int jpegQuality)
    : m_camera(camera), m_color(color), m_jpegQuality(jpegQuality) {
    McapSummary inTheFront;
    PutChannels(color, &m_definitions, &inTheFront);
}

void CFrameEncoder::AddColor(const ColorView& color, std::span<const uint8_t> jpeg, uint64_t sequence,
                             uint64_t hostNs, uint64_t cameraNs) {
    const RosHeader header = {cameraNs, kColorFrameId};
    ByteVector* const out = m_builder.Begin(kColor, sequence, hostNs, cameraNs);
    if (m_color == ERecordedColor::Raw) {
        const auto room =
            PutImage(out, header, color.m_width, color.m_height, kColorEncoding, color.m_width * 3);
        std::memcpy(room.data(), InterleavedBytes(color, &m_interleaved), room.size());
    } else {
        PutCompressedImage(out, header, kJpegFormat, jpeg);
    }
    if (m_camera.m_colorLens) {
        PutCameraInfo(m_builder.Begin(kColorInfo, sequence, hostNs, cameraNs), header, *m_camera.m_colorLens);
    }
}

std::span<const uint8_t> CFrameEncoder::Pack(const ColorView& color) {
    return color.m_layout == EColorLayout::Jpeg ? std::span<const uint8_t>(color.m_bytes, color.m_jpegBytes)
                                                : m_jpeg.Encode(InterleavedBytes(color, &m_interleaved),
                                                                color.m_width, color.m_height, m_jpegQuality);
}

EEncoded CFrameEncoder::Encode(const FrameView& frame, std::span<const uint8_t> depth, uint64_t sequence,
                               bool isFirst, McapChunk* chunk) {
    const uint64_t hostNs = frame.m_facts.m_hostNs;
    const uint64_t cameraNs = frame.m_facts.m_cameraNs == 0 ? hostNs : frame.m_facts.m_cameraNs;
    const RosHeader header = {cameraNs, kDepthFrameId};
    const auto begin = [&](EChannel channel) { return m_builder.Begin(channel, sequence, hostNs, cameraNs); };
    const ColorView& color = frame.m_color;
    const bool isWanted = color.m_bytes != nullptr && m_color != ERecordedColor::None;
    const auto jpeg = isWanted && m_color == ERecordedColor::Jpeg ? Pack(color) : std::span<const uint8_t>();
    RecordedFacts facts = frame.m_facts;
    facts.m_isColorLost = isWanted && m_color == ERecordedColor::Jpeg && jpeg.empty();
    m_builder.Start(m_definitions);
    PutFrameFacts(begin(kFrame), facts);
    const auto room = PutImage(begin(kDepth), header, frame.m_depth.m_width, frame.m_depth.m_height,
                               kDepthEncoding, frame.m_depth.m_width * sizeof(uint16_t));
    std::memcpy(room.data(), depth.data(), room.size());
    if (m_camera.m_depthLens) {
        PutCameraInfo(begin(kDepthInfo), header, *m_camera.m_depthLens);
    }
    if (isFirst && m_camera.m_depthToColor) {
        PutTransform(begin(kTransform), cameraNs, *m_camera.m_depthToColor);
    }
    if (isWanted && !facts.m_isColorLost) {
        AddColor(color, jpeg, sequence, hostNs, cameraNs);
    }
    if (!m_builder.Finish(chunk)) {
        return EEncoded::Failed;
    }
    return facts.m_isColorLost ? EEncoded::WithoutColor : EEncoded::Whole;
}

} // namespace ox3d

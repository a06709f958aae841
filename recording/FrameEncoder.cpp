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

void PutChannels(ERecordedColor color, ByteVector* front, McapSummary* summary) {
    for (const ChannelRow& row : kChannels) {
        if (color == ERecordedColor::None && (row.m_id == kColor || row.m_id == kColorInfo)) {
            continue;
        }
        const ChannelRow wanted = RowFor(row, color);
        const size_t known = summary->m_schemas.size();
        const uint16_t schema = SchemaOf(*wanted.m_type, summary);
        if (summary->m_schemas.size() > known) {
            PutSchema(front, summary->m_schemas.back());
        }
        summary->m_channels.push_back({wanted.m_id, schema, wanted.m_topic, wanted.m_encoding, {}});
        PutChannel(front, summary->m_channels.back());
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
    PutChannels(color, front, summary);
}

const uint8_t* CFrameEncoder::Interleaved(const ColorView& color) {
    if (color.m_layout == EColorLayout::Interleaved) {
        return color.m_bytes;
    }
    const size_t pixels = size_t{color.m_width} * color.m_height;
    m_interleaved.resize(pixels * 3);
    const uint8_t* const red = color.m_bytes;
    const uint8_t* const green = red + pixels;
    const uint8_t* const blue = green + pixels;
    uint8_t* out = m_interleaved.data();
    for (size_t i = 0; i < pixels; ++i, out += 3) {
        out[0] = red[i];
        out[1] = green[i];
        out[2] = blue[i];
    }
    return m_interleaved.data();
}

bool CFrameEncoder::AddColor(const ColorView& color, uint64_t sequence, uint64_t hostNs, uint64_t cameraNs) {
    const RosHeader header = {cameraNs, kColorFrameId};
    const uint8_t* const pixels = Interleaved(color);
    if (m_color == ERecordedColor::Raw) {
        ByteVector* const out = m_builder.Begin(kColor, sequence, hostNs, cameraNs);
        const auto room =
            PutImage(out, header, color.m_width, color.m_height, kColorEncoding, color.m_width * 3);
        std::memcpy(room.data(), pixels, room.size());
    } else {
        const auto jpeg = m_jpeg.Encode(pixels, color.m_width, color.m_height, m_jpegQuality);
        if (jpeg.empty()) {
            return false;
        }
        PutCompressedImage(m_builder.Begin(kColor, sequence, hostNs, cameraNs), header, kJpegFormat, jpeg);
    }
    if (m_camera.m_colorLens) {
        PutCameraInfo(m_builder.Begin(kColorInfo, sequence, hostNs, cameraNs), header, *m_camera.m_colorLens);
    }
    return true;
}

bool CFrameEncoder::Encode(const FrameView& frame, std::span<const uint8_t> depth, uint64_t sequence,
                           bool isFirst, McapChunk* chunk) {
    const uint64_t hostNs = frame.m_facts.m_hostNs;
    const uint64_t cameraNs = frame.m_cameraNs == 0 ? hostNs : frame.m_cameraNs;
    const RosHeader header = {cameraNs, kDepthFrameId};
    const auto begin = [&](EChannel channel) { return m_builder.Begin(channel, sequence, hostNs, cameraNs); };
    PutFrameFacts(begin(kFrame), frame.m_facts);
    const auto room = PutImage(begin(kDepth), header, frame.m_depth.m_width, frame.m_depth.m_height,
                               kDepthEncoding, frame.m_depth.m_width * sizeof(uint16_t));
    std::memcpy(room.data(), depth.data(), room.size());
    if (m_camera.m_depthLens) {
        PutCameraInfo(begin(kDepthInfo), header, *m_camera.m_depthLens);
    }
    if (isFirst && m_camera.m_depthToColor) {
        PutTransform(begin(kTransform), cameraNs, *m_camera.m_depthToColor);
    }
    const bool hasColor = frame.m_color.m_bytes != nullptr && m_color != ERecordedColor::None;
    const bool isEncoded = !hasColor || AddColor(frame.m_color, sequence, hostNs, cameraNs);
    return m_builder.Finish(chunk) && isEncoded;
}

} // namespace ox3d

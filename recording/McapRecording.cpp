// McapRecording.cpp - messages as frames. A frame that cannot be read is said once and costs nothing but itself.
#include "recording/McapRecording.h"

#include "recording/CalibrationReader.h"
#include "recording/CalibrationText.h"
#include "recording/RecordingChannels.h"

#include <algorithm>
#include <cstdio>

namespace ox3d {
namespace {

constexpr const char* kForeign = "an MCAP file, but no recording of a camera by ox3d";

bool IsSame(const PngSize& a, const PngSize& b) {
    return a.m_width == b.m_width && a.m_height == b.m_height;
}

// Planes of what has the colors of a pixel together.
void SplitPlanes(const uint8_t* interleaved, uint64_t stepBytes, const PngSize& size,
                 std::vector<uint8_t>* planes) {
    const size_t pixels = size_t{size.m_width} * size.m_height;
    planes->resize(pixels * 3);
    uint8_t* out = planes->data();
    for (size_t row = 0; row < size.m_height; ++row) {
        const uint8_t* in = interleaved + row * stepBytes;
        for (size_t column = 0; column < size.m_width; ++column, in += 3, ++out) {
            out[0] = in[0];
            out[pixels] = in[1];
            out[2 * pixels] = in[2];
        }
    }
}

bool ReadImageOf(const McapMessage* message, const char* encoding, uint64_t bytesPerPixel, RosImage* image) {
    return message != nullptr && ReadImage(message->m_data, image) && image->m_encoding == encoding &&
           image->m_stepBytes >= image->m_width * bytesPerPixel &&
           uint64_t{image->m_width} * image->m_height <= kMaxPngPixels;
}

bool ReadContents(const CMcapFile& file, McapContents* contents, std::string* error) {
    return ReadMcapSummary(file, contents) || ScanMcap(file, contents, error);
}

} // namespace

bool ReadRecordedFacts(const CMcapFile& file, const McapSummary& summary, TextMap* facts,
                       std::string* error) {
    for (const McapMetadataInfo& metadata : summary.m_metadata) {
        if (metadata.m_name == kRecordingMetadata && ReadMcapMetadata(file, metadata, facts)) {
            const std::string& format = (*facts)["format"];
            *error = "a recording of the format " + format.substr(0, 16) + ", which is not known";
            return format == kRecordingFormat;
        }
    }
    facts->clear();
    *error = kForeign;
    return std::any_of(summary.m_channels.begin(), summary.m_channels.end(),
                       [](const McapChannel& channel) { return channel.m_topic == kFrameTopic; });
}

bool ReadRecordedFacts(const std::string& path, std::map<std::string, std::string>* facts,
                       std::string* error) {
    CMcapFile file;
    McapContents contents;
    if (!file.Open(path, false, error)) {
        return false;
    }
    const bool isRead =
        ReadContents(file, &contents, error) && ReadRecordedFacts(file, contents.m_summary, facts, error);
    *error = path + ": " + *error;
    return isRead;
}

std::unique_ptr<CRecordingReader> CMcapRecording::Open(const std::string& path, std::string* error) {
    auto recording = std::make_unique<CMcapRecording>();
    if (!recording->m_file.Open(path, false, error)) {
        return nullptr;
    }
    if (!recording->ReadFile(path, error)) {
        *error = path + ": " + *error;
        return nullptr;
    }
    return recording;
}

bool CMcapRecording::ReadFile(const std::string& path, std::string* error) {
    m_path = path;
    if (!ReadContents(m_file, &m_contents, error) || !ReadCamera(error)) {
        return false;
    }
    if (m_contents.m_damagedBytes > 0) {
        Tell(std::to_string(m_contents.m_damagedBytes) + " bytes inside are damaged");
    }
    m_frames.Find(&m_contents);
    if (!FindDepthSize(error)) {
        return false;
    }
    FindColorSize();
    FindLenses();
    if (m_camera.m_calibrationXml.empty()) {
        RestoreCalibration();
    }
    return true;
}

bool CMcapRecording::ReadCamera(std::string* error) {
    if (!ReadRecordedFacts(m_file, m_contents.m_summary, &m_camera.m_facts, error)) {
        return false;
    }
    if (m_camera.m_facts.empty()) {
        Tell("what it says of its camera is damaged; its frames are there");
    }
    const std::pair<const char*, std::string*> texts[] = {
        {kCalibrationAttachment, &m_camera.m_calibrationXml},
        {kFeaturesAttachment, &m_camera.m_features},
        {kDescriptionAttachment, &m_camera.m_description},
    };
    for (const McapAttachmentInfo& attachment : m_contents.m_summary.m_attachments) {
        for (const auto& [name, text] : texts) {
            if (attachment.m_name == name &&
                !ReadMcapAttachment(m_file, attachment, kMaxMcapAttachmentBytes, text)) {
                text->clear();
                Tell("its " + attachment.m_name + " is damaged and left out");
            }
        }
    }
    return true;
}

// Of the first frame all take the size.
bool CMcapRecording::FindDepthSize(std::string* error) {
    RosImage image;
    const auto isGood = [&] {
        return ReadImageOf(m_frames.Part(EMcapPart::Depth), kDepthEncoding, sizeof(uint16_t), &image);
    };
    std::string reason;
    if (!m_frames.StartAtFirst(isGood, &reason)) {
        *error = "there is no whole frame in it: " + reason;
        return false;
    }
    m_depthSize = {image.m_width, image.m_height};
    for (size_t frame = 0; frame < m_frames.Count(); ++frame) {
        m_hostTimes.push_back(m_frames.TimeNs(frame));
    }
    return true;
}

// Of the first color image, however late it comes.
void CMcapRecording::FindColorSize() {
    const auto isRaw = [this](const McapMessage& message) {
        return ColorSizeOf(&message, nullptr, &m_colorSize);
    };
    const auto isJpeg = [this](const McapMessage& message) {
        return ColorSizeOf(nullptr, &message, &m_colorSize);
    };
    if (!m_frames.FindFirst(EMcapPart::Color, isRaw) && !m_frames.FindFirst(EMcapPart::Jpeg, isJpeg)) {
        m_colorSize = {};
    }
}

void CMcapRecording::FindLenses() {
    RecordedLens lens;
    RecordedWay way;
    const auto isLens = [&](const McapMessage& message) { return ReadCameraInfo(message.m_data, &lens); };
    if (m_frames.FindFirst(EMcapPart::DepthInfo, isLens)) {
        m_camera.m_depthLens = lens;
    }
    if (m_frames.FindFirst(EMcapPart::ColorInfo, isLens)) {
        m_camera.m_colorLens = lens;
    }
    if (m_frames.FindFirst(EMcapPart::Transform,
                           [&](const McapMessage& message) { return ReadTransform(message.m_data, &way); })) {
        m_camera.m_depthToColor = way;
    }
}

// What the messages say of the cameras is all that the library asks its calibration for. Without a color image the depth
// camera stands for both: then the library can play it, and what it makes is as that camera sees it.
void CMcapRecording::RestoreCalibration() {
    const std::optional<RecordedLens>& depth = m_camera.m_depthLens;
    const bool isDepthAlone = m_colorSize.m_width == 0;
    if (!depth || (!isDepthAlone && (!m_camera.m_colorLens || !m_camera.m_depthToColor))) {
        return;
    }
    const RecordedWay nowhere = {{1, 0, 0, 0, 1, 0, 0, 0, 1}, {}};
    const RecordedWay& way = isDepthAlone ? nowhere : *m_camera.m_depthToColor;
    const RecordedLens color =
        isDepthAlone ? RecordedLens{depth->m_width, depth->m_height, depth->m_fx, depth->m_fy,
                                    depth->m_cx,    depth->m_cy,     {}}
                     : ScaledTo(*m_camera.m_colorLens, m_colorSize, {depth->m_width, depth->m_height});
    RgbdCalibration set;
    set.m_width = depth->m_width;
    set.m_height = depth->m_height;
    set.m_depth = {depth->m_fx, depth->m_fy, depth->m_cx, depth->m_cy};
    set.m_color = {color.m_fx, color.m_fy, color.m_cx, color.m_cy};
    std::copy(way.m_rotation.begin(), way.m_rotation.end(), set.m_rotation);
    std::copy(way.m_translationMm.begin(), way.m_translationMm.end(), set.m_translationMm);
    std::copy(color.m_distortion.begin(), color.m_distortion.end(), set.m_distortion);
    m_camera.m_calibrationXml = FormatCalibrationXml(set, set);
    Tell(isDepthAlone ? "its calibration is made anew of the depth camera alone"
                      : "its calibration is made anew from what its messages say of the cameras");
}

void CMcapRecording::Tell(size_t frame, const std::string& what) const {
    Tell("frame " + std::to_string(frame) + ": " + what);
}

void CMcapRecording::Tell(const std::string& what) const {
    std::fprintf(stderr, "recording: %s: %s\n", m_path.c_str(), what.c_str());
}

bool CMcapRecording::Load(size_t frame) {
    std::string error;
    if (!m_frames.Load(frame, &error)) {
        Tell(frame, error);
        return false;
    }
    return true;
}

bool CMcapRecording::ColorSizeOf(const McapMessage* raw, const McapMessage* jpeg, PngSize* size) {
    RosImage image;
    if (ReadImageOf(raw, kColorEncoding, 3, &image)) {
        *size = {image.m_width, image.m_height};
        return true;
    }
    return jpeg != nullptr && ReadCompressedImage(jpeg->m_data, &image) &&
           m_jpeg.Size(image.m_bytes, kMaxPngPixels, &size->m_width, &size->m_height);
}

bool CMcapRecording::ReadDepth(size_t frame, std::vector<uint16_t>* samples) {
    RosImage image;
    if (!Load(frame)) {
        return false;
    }
    if (!ReadImageOf(m_frames.Part(EMcapPart::Depth), kDepthEncoding, sizeof(uint16_t), &image) ||
        !IsSame({image.m_width, image.m_height}, m_depthSize)) {
        Tell(frame, "its depth image is none, or not of the size of those before it");
        return false;
    }
    const size_t rowBytes = size_t{image.m_width} * sizeof(uint16_t);
    samples->resize(size_t{image.m_width} * image.m_height);
    for (size_t row = 0; row < image.m_height; ++row) {
        std::memcpy(samples->data() + row * image.m_width, image.m_bytes.data() + row * image.m_stepBytes,
                    rowBytes);
    }
    return true;
}

bool CMcapRecording::DecodeColor(std::vector<uint8_t>* planes) {
    RosImage image;
    if (ReadImageOf(m_frames.Part(EMcapPart::Color), kColorEncoding, 3, &image)) {
        SplitPlanes(image.m_bytes.data(), image.m_stepBytes, m_colorSize, planes);
        return true;
    }
    const uint64_t stepBytes = uint64_t{m_colorSize.m_width} * 3;
    m_interleaved.resize(stepBytes * m_colorSize.m_height);
    const McapMessage* const message = m_frames.Part(EMcapPart::Jpeg);
    if (message == nullptr || !ReadCompressedImage(message->m_data, &image) ||
        !m_jpeg.Decode(image.m_bytes, m_colorSize.m_width, m_colorSize.m_height, m_interleaved.data())) {
        return false;
    }
    SplitPlanes(m_interleaved.data(), stepBytes, m_colorSize, planes);
    return true;
}

bool CMcapRecording::ReadColor(size_t frame, std::vector<uint8_t>* planes) {
    PngSize size;
    if (!Load(frame)) {
        return false;
    }
    const McapMessage* const raw = m_frames.Part(EMcapPart::Color);
    const McapMessage* const jpeg = m_frames.Part(EMcapPart::Jpeg);
    if (raw == nullptr && jpeg == nullptr) {
        return false;
    }
    if (!ColorSizeOf(raw, jpeg, &size) || !IsSame(size, m_colorSize) || !DecodeColor(planes)) {
        Tell(frame, "its color image is damaged, or not of the size of those before it");
        return false;
    }
    return true;
}

bool CMcapRecording::ReadJpeg(size_t frame, std::vector<uint8_t>* image) {
    PngSize size;
    RosImage packed;
    const McapMessage* const jpeg = Load(frame) ? m_frames.Part(EMcapPart::Jpeg) : nullptr;
    if (jpeg == nullptr || m_frames.Part(EMcapPart::Color) != nullptr || !ColorSizeOf(nullptr, jpeg, &size) ||
        !IsSame(size, m_colorSize) || !ReadCompressedImage(jpeg->m_data, &packed)) {
        return false;
    }
    image->assign(packed.m_bytes.begin(), packed.m_bytes.end());
    return true;
}

bool CMcapRecording::ReadFacts(size_t frame, RecordedFacts* facts) {
    const McapMessage* const message = Load(frame) ? m_frames.Part(EMcapPart::Facts) : nullptr;
    if (message == nullptr || !ReadFrameFacts(message->m_data, facts)) {
        return false;
    }
    RosImage depth;
    const McapMessage* const image = m_frames.Part(EMcapPart::Depth);
    facts->m_cameraNs = image != nullptr && ReadImage(image->m_data, &depth) ? depth.m_header.m_stampNs : 0;
    return true;
}

} // namespace ox3d

// McapRecording.cpp - chunks as frames. A frame that cannot be read is said once and costs nothing but itself.
#include "recording/McapRecording.h"

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
    const std::pair<const char*, EPart> topics[] = {
        {kDepthTopic, EPart::Depth}, {kColorTopic, EPart::Color},         {kJpegTopic, EPart::Jpeg},
        {kFrameTopic, EPart::Facts}, {kDepthInfoTopic, EPart::DepthInfo}, {kColorInfoTopic, EPart::ColorInfo},
    };
    for (const McapChannel& channel : m_contents.m_summary.m_channels) {
        for (const auto& [topic, part] : topics) {
            if (channel.m_topic == topic) {
                m_parts.emplace(channel.m_id, part);
            }
        }
    }
    FindFrames();
    return FindSizes(error);
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

// Chunks in the order of the file. One whose indexes are lost may hold depth as well.
void CMcapRecording::FindFrames() {
    for (const McapChunkInfo& chunk : m_contents.m_summary.m_chunks) {
        const bool hasDepth = chunk.m_indexes.empty() ||
                              std::any_of(chunk.m_indexes.begin(), chunk.m_indexes.end(), [&](auto& index) {
                                  const auto part = m_parts.find(index.first);
                                  return part != m_parts.end() && part->second == EPart::Depth;
                              });
        if (hasDepth) {
            m_chunks.push_back(chunk);
        }
    }
}

// Headers may promise what the data do not hold: one frame must really be there. Those before it are left out. A file
// that unpacks to much and holds none is given up.
bool CMcapRecording::FindFirstFrame(RosImage* image) {
    constexpr uint64_t kMaxLookedAtBytes = uint64_t{4} << 30U;
    uint64_t bytes = 0;
    for (size_t first = 0; first < m_chunks.size() && bytes <= kMaxLookedAtBytes; ++first) {
        if (Load(first) && ImageOf(EPart::Depth, kDepthEncoding, sizeof(uint16_t), image)) {
            m_chunks.erase(m_chunks.begin(), m_chunks.begin() + static_cast<std::ptrdiff_t>(first));
            m_loaded = SIZE_MAX;
            return true;
        }
        bytes +=
            m_chunks[first].m_lengthBytes + std::min(m_chunks[first].m_uncompressedBytes, kMaxMcapChunkBytes);
    }
    return false;
}

// Of the first frame with color all take the size.
bool CMcapRecording::FindSizes(std::string* error) {
    RosImage image;
    if (!FindFirstFrame(&image)) {
        *error = "there is no whole frame in it";
        return false;
    }
    m_depthSize = {image.m_width, image.m_height};
    constexpr size_t kFramesToLookAt = 30; // for color, which may be late or not come at all
    for (size_t frame = 0; frame < std::min(m_chunks.size(), kFramesToLookAt) && m_colorSize.m_width == 0;
         ++frame) {
        if (!Load(frame) || !ColorSizeOf(&m_colorSize)) {
            m_colorSize = {};
        }
    }
    const auto lens = [this](EPart part, std::optional<RecordedLens>* out) {
        const McapMessage* const message = Find(part);
        RecordedLens read;
        if (message != nullptr && ReadCameraInfo(message->m_data, &read)) {
            *out = read;
        }
    };
    lens(EPart::DepthInfo, &m_camera.m_depthLens);
    lens(EPart::ColorInfo, &m_camera.m_colorLens);
    for (const McapChunkInfo& chunk : m_chunks) {
        m_hostTimes.push_back(chunk.m_startTime);
    }
    return true;
}

void CMcapRecording::Tell(size_t frame, const std::string& what) const {
    Tell("frame " + std::to_string(frame) + ": " + what);
}

void CMcapRecording::Tell(const std::string& what) const {
    std::fprintf(stderr, "recording: %s: %s\n", m_path.c_str(), what.c_str());
}

bool CMcapRecording::Load(size_t frame) {
    if (m_loaded == frame) {
        return true;
    }
    m_loaded = SIZE_MAX;
    std::string error;
    if (!m_chunkReader.Read(m_file, m_chunks[frame], &m_messages, &error)) {
        Tell(frame, error);
        return false;
    }
    m_loaded = frame;
    return true;
}

const McapMessage* CMcapRecording::Find(EPart part) const {
    const auto found = std::find_if(m_messages.begin(), m_messages.end(), [&](const McapMessage& message) {
        const auto known = m_parts.find(message.m_channel);
        return known != m_parts.end() && known->second == part;
    });
    return found == m_messages.end() ? nullptr : &*found;
}

bool CMcapRecording::ImageOf(EPart part, const char* encoding, uint64_t bytesPerPixel,
                             RosImage* image) const {
    const McapMessage* const message = Find(part);
    return message != nullptr && ReadImage(message->m_data, image) && image->m_encoding == encoding &&
           image->m_stepBytes >= image->m_width * bytesPerPixel &&
           uint64_t{image->m_width} * image->m_height <= kMaxPngPixels;
}

bool CMcapRecording::ColorSizeOf(PngSize* size) {
    RosImage image;
    if (ImageOf(EPart::Color, kColorEncoding, 3, &image)) {
        *size = {image.m_width, image.m_height};
        return true;
    }
    const McapMessage* const message = Find(EPart::Jpeg);
    return message != nullptr && ReadCompressedImage(message->m_data, &image) &&
           m_jpeg.Size(image.m_bytes, kMaxPngPixels, &size->m_width, &size->m_height);
}

bool CMcapRecording::ReadDepth(size_t frame, std::vector<uint16_t>* samples) {
    RosImage image;
    if (!Load(frame)) {
        return false;
    }
    if (!ImageOf(EPart::Depth, kDepthEncoding, sizeof(uint16_t), &image) ||
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
    if (ImageOf(EPart::Color, kColorEncoding, 3, &image)) {
        SplitPlanes(image.m_bytes.data(), image.m_stepBytes, m_colorSize, planes);
        return true;
    }
    const uint64_t stepBytes = uint64_t{m_colorSize.m_width} * 3;
    m_interleaved.resize(stepBytes * m_colorSize.m_height);
    const McapMessage* const message = Find(EPart::Jpeg);
    if (message == nullptr || !ReadCompressedImage(message->m_data, &image) ||
        !m_jpeg.Decode(image.m_bytes, m_colorSize.m_width, m_colorSize.m_height, m_interleaved.data())) {
        return false;
    }
    SplitPlanes(m_interleaved.data(), stepBytes, m_colorSize, planes);
    return true;
}

bool CMcapRecording::ReadColor(size_t frame, std::vector<uint8_t>* planes) {
    PngSize size;
    if (!Load(frame) || (Find(EPart::Color) == nullptr && Find(EPart::Jpeg) == nullptr)) {
        return false;
    }
    if (!ColorSizeOf(&size) || !IsSame(size, m_colorSize) || !DecodeColor(planes)) {
        Tell(frame, "its color image is damaged, or not of the size of those before it");
        return false;
    }
    return true;
}

bool CMcapRecording::ReadFacts(size_t frame, RecordedFacts* facts) {
    const McapMessage* const message = Load(frame) ? Find(EPart::Facts) : nullptr;
    return message != nullptr && ReadFrameFacts(message->m_data, facts);
}

} // namespace ox3d

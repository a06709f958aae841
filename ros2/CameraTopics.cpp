// CameraTopics.cpp - names and qualities as ROS 2 expects them of a camera: reliable writers without retention match readers
// of all kinds but those that ask for what was sent before they came.
#include "ros2/CameraTopics.h"

#include "ros2/RosTypes.h"

#include <algorithm>
#include <cstring>

namespace ox3d::ros2 {
namespace {

constexpr size_t kMaxNamespace = 128;
constexpr size_t kMessageHeadroom = 512; // what a message of an image has besides its samples
constexpr int32_t kKeptImages = 5;
constexpr int32_t kKeptDiagnostics = 10;

// A camera's body looks along x with y to its left; its optical frame along z with x to its right.
constexpr std::array<double, 4> kOpticalInBody = {-0.5, 0.5, -0.5, 0.5};

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

Topic TopicOf(const std::string& name, const RosType& type) {
    Topic topic;
    topic.m_name = "rt/" + name;
    topic.m_type = WireNameOf(type);
    topic.m_userData = UserDataOf(type);
    return topic;
}

bool Send(IWriter& writer, ByteVector cdr) {
    return writer.Write(std::make_shared<CMessage>(std::move(cdr)));
}

// Samples of a whole image fit into a message with 32 bits for its length.
bool IsSendable(uint64_t width, uint64_t height, uint64_t pixelBytes) {
    constexpr uint64_t kMost = uint64_t{1} << 30U;
    return width > 0 && height > 0 && width <= kMost && height <= kMost &&
           width * height <= kMost / pixelBytes;
}

void InterleavePlanes(const ColorView& color, uint8_t* out) {
    const uint64_t pixels = uint64_t{color.m_width} * color.m_height;
    const uint8_t* const planes[3] = {color.m_bytes, color.m_bytes + pixels, color.m_bytes + 2 * pixels};
    for (uint64_t i = 0; i < pixels; ++i) {
        out[3 * i] = planes[0][i];
        out[3 * i + 1] = planes[1][i];
        out[3 * i + 2] = planes[2][i];
    }
}

} // namespace

bool IsNamespace(const std::string& name) {
    char before = '/';
    for (const char c : name) {
        const bool isAllowed = before == '/' ? IsLetter(c) : IsLetter(c) || IsDigit(c) || c == '/';
        if (!isAllowed || (before == '_' && c == '_')) {
            return false;
        }
        before = c;
    }
    return before != '/' && name.size() <= kMaxNamespace;
}

std::string TokenOf(const std::string& text) {
    std::string token;
    for (const char c : text) {
        const bool isPlain = IsDigit(c) || (IsLetter(c) && c != '_');
        if (isPlain || (!token.empty() && token.back() != '_')) { // two _ in a row are not allowed
            token += isPlain ? c : '_';
        }
    }
    return token;
}

std::unique_ptr<CCameraTopics> CCameraTopics::Make(IDomain& domain, const CameraTopicsOptions& options,
                                                   std::string* error) {
    if (!IsNamespace(options.m_namespace)) {
        *error = "no namespace of ROS, which has letters, digits and _, with / between its parts: " +
                 options.m_namespace;
        return nullptr;
    }
    std::unique_ptr<CCameraTopics> topics(new CCameraTopics(options));
    return topics->Begin(domain, error) ? std::move(topics) : nullptr;
}

bool CCameraTopics::Begin(IDomain& domain, std::string* error) {
    const std::string& space = m_options.m_namespace;
    m_depthFrameId = TokenOf(space) + "_depth_optical_frame";
    m_colorFrameId = TokenOf(space) + "_color_optical_frame";
    const auto stream = [&](const std::string& name, const RosType& type) {
        Topic topic = TopicOf(space + name, type);
        topic.m_isReliable = m_options.m_isReliable;
        topic.m_keptMessages = kKeptImages;
        return domain.Publish(topic, error);
    };
    m_depth = {stream("/depth/image_raw", kImageType),
               stream("/depth/camera_info", kCameraInfoType),
               m_depthFrameId,
               {}};
    m_color = {stream("/color/image_raw", kImageType),
               stream("/color/camera_info", kCameraInfoType),
               m_colorFrameId,
               {}};
    if (m_options.m_hasCloud) {
        m_cloud = stream("/depth/points", kPointCloudType);
    }
    Topic transforms = TopicOf("tf_static", kTransformsType);
    transforms.m_isRetained = true;
    transforms.m_keptMessages = 1;
    m_transforms = domain.Publish(transforms, error);
    Topic diagnostics = TopicOf("diagnostics", kDiagnosticsType);
    diagnostics.m_keptMessages = kKeptDiagnostics;
    m_diagnostics = domain.Publish(diagnostics, error);
    return m_depth.m_image != nullptr && m_depth.m_info != nullptr && m_color.m_image != nullptr &&
           m_color.m_info != nullptr && m_transforms != nullptr && m_diagnostics != nullptr &&
           (m_cloud != nullptr || !m_options.m_hasCloud);
}

void CCameraTopics::SetCamera(const RecordedCamera& camera, bool isRegistered, uint64_t stampNs) {
    m_depth.m_lens = camera.m_depthLens;
    m_depth.m_frameId = isRegistered ? m_colorFrameId : m_depthFrameId;
    m_color.m_lens = camera.m_colorLens;
    std::vector<RosTransform> transforms;
    transforms.push_back(
        {{stampNs, TokenOf(m_options.m_namespace) + "_link"}, m_depthFrameId, {}, kOpticalInBody});
    if (camera.m_depthToColor) {
        transforms.push_back(ColorInDepth({stampNs, m_depthFrameId}, m_colorFrameId, *camera.m_depthToColor));
    }
    ByteVector cdr;
    PutTransforms(&cdr, transforms);
    Send(*m_transforms, std::move(cdr));
}

bool CCameraTopics::PublishInfo(Stream& stream, uint64_t stampNs, uint32_t width, uint32_t height) {
    const bool isOfImage =
        stream.m_lens && stream.m_lens->m_width == width && stream.m_lens->m_height == height;
    if (stream.m_info->Readers() == 0) {
        return true;
    }
    RecordedLens unknown; // a focal length of 0: not calibrated
    unknown.m_width = width;
    unknown.m_height = height;
    ByteVector cdr;
    PutCameraInfo(&cdr, {stampNs, stream.m_frameId}, isOfImage ? *stream.m_lens : unknown);
    return Send(*stream.m_info, std::move(cdr));
}

bool CCameraTopics::Publish(const FrameView& frame) {
    const RecordedFacts& facts = frame.m_facts;
    const uint64_t stampNs = facts.m_cameraNs == 0 ? facts.m_hostNs : facts.m_cameraNs;
    const DepthView& depth = frame.m_depth;
    const ColorView& color = frame.m_color;
    bool isSent = true;
    if (depth.m_samples != nullptr && IsSendable(depth.m_width, depth.m_height, sizeof(uint16_t))) {
        const uint32_t rowBytes = depth.m_width * static_cast<uint32_t>(sizeof(uint16_t));
        if (m_depth.m_image->Readers() > 0) {
            ByteVector cdr;
            cdr.reserve(size_t{rowBytes} * depth.m_height + kMessageHeadroom);
            const auto room = PutImage(&cdr, {stampNs, m_depth.m_frameId}, depth.m_width, depth.m_height,
                                       "16UC1", rowBytes);
            for (size_t row = 0; row < depth.m_height; ++row) {
                std::memcpy(room.data() + row * rowBytes, depth.m_samples + row * depth.m_strideSamples,
                            rowBytes);
            }
            isSent &= Send(*m_depth.m_image, std::move(cdr));
        }
        isSent &= PublishInfo(m_depth, stampNs, depth.m_width, depth.m_height);
    }
    if (color.m_bytes != nullptr && IsSendable(color.m_width, color.m_height, 3)) {
        if (m_color.m_image->Readers() > 0) {
            ByteVector cdr;
            cdr.reserve(size_t{color.m_width} * color.m_height * 3 + kMessageHeadroom);
            const auto room = PutImage(&cdr, {stampNs, m_color.m_frameId}, color.m_width, color.m_height,
                                       "rgb8", color.m_width * 3);
            if (color.m_layout == EColorLayout::Planar) {
                InterleavePlanes(color, room.data());
            } else {
                std::memcpy(room.data(), color.m_bytes, room.size());
            }
            isSent &= Send(*m_color.m_image, std::move(cdr));
        }
        isSent &= PublishInfo(m_color, stampNs, color.m_width, color.m_height);
    }
    return isSent;
}

bool CCameraTopics::IsCloudRead() const {
    return m_cloud != nullptr && m_cloud->Readers() > 0;
}

const std::string& CCameraTopics::CloudFrameId() const {
    return m_depth.m_frameId;
}

bool CCameraTopics::PublishCloud(ByteVector cdr) {
    return Send(*m_cloud, std::move(cdr));
}

void CCameraTopics::PublishDiagnostic(uint64_t stampNs, Diagnostic diagnostic) {
    diagnostic.m_name = m_options.m_namespace + ": " + diagnostic.m_name;
    ByteVector cdr;
    PutDiagnostics(&cdr, {stampNs, ""}, {&diagnostic, 1});
    Send(*m_diagnostics, std::move(cdr));
}

uint32_t CCameraTopics::Readers() const {
    return m_depth.m_image->Readers() + m_color.m_image->Readers() +
           (m_cloud == nullptr ? 0 : m_cloud->Readers());
}

GraphNode CCameraTopics::Node() const {
    const std::string& space = m_options.m_namespace;
    const size_t slash = space.find_last_of('/');
    GraphNode node;
    node.m_namespace.push_back('/');
    node.m_namespace.append(space, 0, slash == space.npos ? 0 : slash);
    node.m_name = space.substr(slash + 1);
    for (const IWriter* writer :
         {m_depth.m_image.get(), m_depth.m_info.get(), m_color.m_image.get(), m_color.m_info.get(),
          m_cloud.get(), m_transforms.get(), m_diagnostics.get()}) {
        if (writer != nullptr) {
            node.m_writers.push_back(writer->Id());
        }
    }
    return node;
}

} // namespace ox3d::ros2

// CameraTopics.h - what is published of one camera.
#ifndef OX3D_ROS2_CAMERA_TOPICS_H
#define OX3D_ROS2_CAMERA_TOPICS_H

#include "ros2/Messages.h"

namespace ox3d::ros2 {

struct CameraTopicsOptions {
    std::string m_namespace; // "camera" or "cell/left", without slashes around it
    bool m_isReliable = true;
    bool m_hasCloud = false;
};

// Whether a name may be a namespace: tokens of letters, digits and _ that begin with no digit, with slashes between them.
bool IsNamespace(const std::string& name);
// Letters and digits of the text, and _ for the rest.
std::string TokenOf(const std::string& text);

// Writers of one camera, and what goes through them. One thread at a time. What nobody reads is not packed.
class CCameraTopics {
public:
    // Null with a reason.
    static std::unique_ptr<CCameraTopics> Make(IDomain& domain, const CameraTopicsOptions& options,
                                               std::string* error);

    // The lenses as images are delivered, and the way between the cameras. `isRegistered`: depth is the color camera's.
    void SetCamera(const RecordedCamera& camera, bool isRegistered, uint64_t stampNs);
    // False where a reader could be told of one of the images no more.
    bool Publish(const FrameView& frame);
    bool IsCloudRead() const;
    // One message of PutPointCloud, of the frame that CloudFrameId() names.
    bool PublishCloud(ByteVector cdr);
    const std::string& CloudFrameId() const;
    void PublishDiagnostic(uint64_t stampNs, Diagnostic diagnostic);
    // Readers of images and points.
    uint32_t Readers() const;

    GraphNode Node() const;

private:
    struct Stream {
        std::unique_ptr<IWriter> m_image;
        std::unique_ptr<IWriter> m_info;
        std::string m_frameId;
        std::optional<RecordedLens> m_lens;
    };

    explicit CCameraTopics(const CameraTopicsOptions& options) : m_options(options) {}
    bool Begin(IDomain& domain, std::string* error);
    bool PublishInfo(Stream& stream, uint64_t stampNs, uint32_t width, uint32_t height);

    const CameraTopicsOptions m_options;
    std::string m_depthFrameId;
    std::string m_colorFrameId;
    Stream m_depth;
    Stream m_color;
    std::unique_ptr<IWriter> m_cloud; // null: none is offered
    std::unique_ptr<IWriter> m_transforms;
    std::unique_ptr<IWriter> m_diagnostics;
};

} // namespace ox3d::ros2

#endif

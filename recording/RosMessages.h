// RosMessages.h - the messages of a recording, and their definitions as ROS 2 writes them.
#ifndef OX3D_RECORDING_ROS_MESSAGES_H
#define OX3D_RECORDING_ROS_MESSAGES_H

#include "recording/Bytes.h"
#include "recording/Cdr.h"
#include "recording/RecordedFrame.h"

#include <array>

namespace ox3d {

constexpr const char* kDepthFrameId = "camera_depth_optical_frame";
constexpr const char* kColorFrameId = "camera_color_optical_frame";

struct RosDefinition {
    const char* m_name;     // "sensor_msgs/msg/Image"
    const char* m_encoding; // of the definition
    const char* m_text;
};

extern const RosDefinition kRosImage;
extern const RosDefinition kRosCompressedImage;
extern const RosDefinition kRosCameraInfo;
extern const RosDefinition kRosTfMessage;
extern const RosDefinition kFrameFacts; // JSON

struct RosHeader {
    uint64_t m_stampNs = 0;
    std::string m_frameId;
};

// The stamp and the id, as every message begins with.
void PutRosHeader(CCdrWriter* cdr, const RosHeader& header);

// Each appends one message. PutImage leaves the image's bytes to the caller, who fills what it returns.
std::span<uint8_t> PutImage(ByteVector* out, const RosHeader& header, uint32_t width, uint32_t height,
                            const char* encoding, uint32_t stepBytes);
void PutCompressedImage(ByteVector* out, const RosHeader& header, const char* format,
                        std::span<const uint8_t> image);
void PutCameraInfo(ByteVector* out, const RosHeader& header, const RecordedLens& lens);
// Where a frame stands in another.
struct RosTransform {
    RosHeader m_header; // with the other's id
    std::string m_childFrameId;
    std::array<double, 3> m_translation{};        // metres
    std::array<double, 4> m_rotation{0, 0, 0, 1}; // x, y, z, w
};
// The color camera in the depth camera's frame, whose ids are given.
RosTransform ColorInDepth(RosHeader header, std::string colorFrameId, const RecordedWay& depthToColor);
void PutTransforms(ByteVector* out, std::span<const RosTransform> transforms);
// The color camera in the depth camera's frame.
void PutTransform(ByteVector* out, uint64_t stampNs, const RecordedWay& depthToColor);
void PutFrameFacts(ByteVector* out, const RecordedFacts& facts);

// What the reader makes of a message; the bytes lie in the message.
struct RosImage {
    RosHeader m_header;
    uint32_t m_width = 0; // 0 with m_height: not stated, a compressed image
    uint32_t m_height = 0;
    std::string m_encoding;
    uint64_t m_stepBytes = 0;
    std::span<const uint8_t> m_bytes;
};

// False where the message is cut off, or holds fewer bytes than rows of its step need.
bool ReadImage(std::span<const uint8_t> message, RosImage* image);
bool ReadCompressedImage(std::span<const uint8_t> message, RosImage* image);
bool ReadCameraInfo(std::span<const uint8_t> message, RecordedLens* lens);
bool ReadTransform(std::span<const uint8_t> message, RecordedWay* depthToColor);
bool ReadFrameFacts(std::span<const uint8_t> message, RecordedFacts* facts);

} // namespace ox3d

#endif

// RecordingChannels.h - what stands where in a recording's MCAP file: one copy for recorder and reader.
#ifndef OX3D_RECORDING_RECORDING_CHANNELS_H
#define OX3D_RECORDING_RECORDING_CHANNELS_H

namespace ox3d {

constexpr const char* kDepthTopic = "/camera/depth/image_raw";
constexpr const char* kColorTopic = "/camera/color/image_raw";
constexpr const char* kJpegTopic = "/camera/color/image_raw/compressed";
constexpr const char* kDepthInfoTopic = "/camera/depth/camera_info";
constexpr const char* kColorInfoTopic = "/camera/color/camera_info";
constexpr const char* kTransformTopic = "/tf_static";
constexpr const char* kFrameTopic = "/ox3d/frame";

constexpr const char* kRecordingMetadata = "ox3d";
constexpr const char* kRecordingFormat = "1";
constexpr const char* kCalibrationAttachment = "calibration.xml";
constexpr const char* kFeaturesAttachment = "features.txt";
constexpr const char* kDescriptionAttachment = "camera.xml";

constexpr const char* kDepthEncoding = "16UC1";
constexpr const char* kColorEncoding = "rgb8";
constexpr const char* kJpegFormat = "jpeg";

} // namespace ox3d

#endif

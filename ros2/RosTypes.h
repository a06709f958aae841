// RosTypes.h - the types of messages that are published, with the hashes by which ROS 2 tells versions of them apart.
#ifndef OX3D_ROS2_ROS_TYPES_H
#define OX3D_ROS2_ROS_TYPES_H

#include <string>

namespace ox3d::ros2 {

struct RosType {
    const char* m_package;
    const char* m_name;
    const char* m_hash; // RIHS01
};

constexpr RosType kImageType = {"sensor_msgs", "Image",
                                "d31d41a9a4c4bc8eae9be757b0beed306564f7526c88ea6a4588fb9582527d47"};
constexpr RosType kCameraInfoType = {"sensor_msgs", "CameraInfo",
                                     "b3dfd68ff46c9d56c80fd3bd4ed22c7a4ddce8c8348f2f59c299e73118e7e275"};
constexpr RosType kPointCloudType = {"sensor_msgs", "PointCloud2",
                                     "9198cabf7da3796ae6fe19c4cb3bdd3525492988c70522628af5daa124bae2b5"};
constexpr RosType kTransformsType = {"tf2_msgs", "TFMessage",
                                     "e369d0f05a23ae52508854b66f6aa0437f3449d652e8cbf22d5abe85d020f087"};
constexpr RosType kDiagnosticsType = {"diagnostic_msgs", "DiagnosticArray",
                                      "5a8a36efb05fb25070fa0fb3810290c0e6cd4862b54a8fb975a1ee8dc55a333e"};
// Of the layout since Iron; nodes of Humble do not look at hashes.
constexpr RosType kGraphType = {"rmw_dds_common", "ParticipantEntitiesInfo",
                                "91a0593bacdcc50ea9bdcf849a938b128412cc1ea821245c663bcd26f83c295e"};

// As DDS knows it: "sensor_msgs::msg::dds_::Image_".
inline std::string WireNameOf(const RosType& type) {
    return std::string(type.m_package) + "::msg::dds_::" + type.m_name + "_";
}
// What an endpoint says of itself.
inline std::string UserDataOf(const RosType& type) {
    return std::string("typehash=RIHS01_") + type.m_hash + ";";
}

} // namespace ox3d::ros2

#endif

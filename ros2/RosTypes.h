// RosTypes.h - the types of messages and services, with the hashes by which ROS 2 tells versions of them apart.
#ifndef OX3D_ROS2_ROS_TYPES_H
#define OX3D_ROS2_ROS_TYPES_H

#include <array>
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
constexpr RosType kParameterEventType = {"rcl_interfaces", "ParameterEvent",
                                         "043e627780fcad87a22d225bc2a037361dba713fca6a6b9f4b869a5aa0393204"};
// Of the layout since Iron; nodes of Humble do not look at hashes.
constexpr RosType kGraphType = {"rmw_dds_common", "ParticipantEntitiesInfo",
                                "91a0593bacdcc50ea9bdcf849a938b128412cc1ea821245c663bcd26f83c295e"};

// A service is a message there and one back.
struct RosService {
    const char* m_name; // below the node
    RosType m_request;
    RosType m_reply;
};

enum class EService : size_t {
    GetParameters,
    GetParameterTypes,
    SetParameters,
    SetParametersAtomically,
    DescribeParameters,
    ListParameters,
    Trigger
};

constexpr std::array<RosService, 7> kServices = {{
    {"get_parameters",
     {"rcl_interfaces", "GetParameters_Request",
      "135a9e1c3d7cebef792f6687d7ddf99949b21a0bd9a320d863a9110a3f5cf4d6"},
     {"rcl_interfaces", "GetParameters_Response",
      "9fa773b46e39cc5d02db6224d8fd520bb9caeeffc2b27c96c1e59431baba9f2a"}},
    {"get_parameter_types",
     {"rcl_interfaces", "GetParameterTypes_Request",
      "87d7ec5ef545d4daa289d500025d31fb2437bc8b8365ca367161c4dac4be33fd"},
     {"rcl_interfaces", "GetParameterTypes_Response",
      "ac1335dce67c478e669434f6ac2fbff34fcd529580f272d3006785ba8b54e47f"}},
    {"set_parameters",
     {"rcl_interfaces", "SetParameters_Request",
      "130d46386b7e84ea9ecf60608a4d83cbe5e5cb7c6cc5b712b7a4e3a6c254e932"},
     {"rcl_interfaces", "SetParameters_Response",
      "7a0e8140a0b8d98308fa81a5403a766e610af29a239caf54b7553227906fc266"}},
    {"set_parameters_atomically",
     {"rcl_interfaces", "SetParametersAtomically_Request",
      "db0bd950ed5ed867a0e90b225e44dea382d762c0762ff3e0ee842190042a59e5"},
     {"rcl_interfaces", "SetParametersAtomically_Response",
      "31b1a38c5b0b9d893ee24da45f69638f4561c78461d82d52750f429b534502b8"}},
    {"describe_parameters",
     {"rcl_interfaces", "DescribeParameters_Request",
      "05dd1c2bc87dec2627105c8070d6f9725c781a4f2ab852975bf105462b82b644"},
     {"rcl_interfaces", "DescribeParameters_Response",
      "ad6747319613c6131589e062e095b469a46cc764f7d0f12a001a49e6cd893995"}},
    {"list_parameters",
     {"rcl_interfaces", "ListParameters_Request",
      "a1b0b5d6b967a5b8ac5bc8563c3ea678f349e312a6a4967227c5a96bc5ce38df"},
     {"rcl_interfaces", "ListParameters_Response",
      "31b937b82de3612426be79f231e386259f97e8dc843e3f2845288b4bfa296bdd"}},
    {"trigger",
     {"std_srvs", "Trigger_Request", "d010825374ce8918e72bfd826c82603e60f45419e932ea976f807b74a863a199"},
     {"std_srvs", "Trigger_Response", "2d946c21e2fc3f1e9ca6986a8191d85fcc70097a8bb7771a053564bc47009cdf"}},
}};

// As DDS knows it: "sensor_msgs::msg::dds_::Image_".
inline std::string WireNameOf(const RosType& type) {
    return std::string(type.m_package) + "::msg::dds_::" + type.m_name + "_";
}
// "std_srvs::srv::dds_::Trigger_Request_".
inline std::string ServiceWireNameOf(const RosType& type) {
    return std::string(type.m_package) + "::srv::dds_::" + type.m_name + "_";
}
// What an endpoint says of itself.
inline std::string UserDataOf(const RosType& type) {
    return std::string("typehash=RIHS01_") + type.m_hash + ";";
}

} // namespace ox3d::ros2

#endif

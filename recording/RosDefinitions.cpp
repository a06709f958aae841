// RosDefinitions.cpp - definitions of the messages, as data: a type's fields, then those of every type it is made of.
#include "recording/RosMessages.h"

#define OX3D_ROS_SEPARATOR \
    "================================================================================\n"
#define OX3D_ROS_TIME                                   \
    OX3D_ROS_SEPARATOR "MSG: builtin_interfaces/Time\n" \
                       "int32 sec\n"                    \
                       "uint32 nanosec\n"
#define OX3D_ROS_HEADER                                  \
    OX3D_ROS_SEPARATOR "MSG: std_msgs/Header\n"          \
                       "builtin_interfaces/Time stamp\n" \
                       "string frame_id\n" OX3D_ROS_TIME

namespace ox3d {

const RosDefinition kRosImage = {"sensor_msgs/msg/Image", "ros2msg",
                                 "std_msgs/Header header\n"
                                 "uint32 height\n"
                                 "uint32 width\n"
                                 "string encoding\n"
                                 "uint8 is_bigendian\n"
                                 "uint32 step\n"
                                 "uint8[] data\n" OX3D_ROS_HEADER};

const RosDefinition kRosCompressedImage = {"sensor_msgs/msg/CompressedImage", "ros2msg",
                                           "std_msgs/Header header\n"
                                           "string format\n"
                                           "uint8[] data\n" OX3D_ROS_HEADER};

const RosDefinition kRosCameraInfo = {"sensor_msgs/msg/CameraInfo", "ros2msg",
                                      "std_msgs/Header header\n"
                                      "uint32 height\n"
                                      "uint32 width\n"
                                      "string distortion_model\n"
                                      "float64[] d\n"
                                      "float64[9] k\n"
                                      "float64[9] r\n"
                                      "float64[12] p\n"
                                      "uint32 binning_x\n"
                                      "uint32 binning_y\n"
                                      "sensor_msgs/RegionOfInterest roi\n" OX3D_ROS_HEADER OX3D_ROS_SEPARATOR
                                      "MSG: sensor_msgs/RegionOfInterest\n"
                                      "uint32 x_offset\n"
                                      "uint32 y_offset\n"
                                      "uint32 height\n"
                                      "uint32 width\n"
                                      "bool do_rectify\n"};

const RosDefinition kRosTfMessage = {
    "tf2_msgs/msg/TFMessage", "ros2msg",
    "geometry_msgs/TransformStamped[] transforms\n" OX3D_ROS_SEPARATOR "MSG: geometry_msgs/TransformStamped\n"
    "std_msgs/Header header\n"
    "string child_frame_id\n"
    "geometry_msgs/Transform transform\n" OX3D_ROS_HEADER OX3D_ROS_SEPARATOR "MSG: geometry_msgs/Transform\n"
    "geometry_msgs/Vector3 translation\n"
    "geometry_msgs/Quaternion rotation\n" OX3D_ROS_SEPARATOR "MSG: geometry_msgs/Vector3\n"
    "float64 x\n"
    "float64 y\n"
    "float64 z\n" OX3D_ROS_SEPARATOR "MSG: geometry_msgs/Quaternion\n"
    "float64 x\n"
    "float64 y\n"
    "float64 z\n"
    "float64 w\n"};

const RosDefinition kFrameFacts = {
    "ox3d.Frame", "jsonschema",
    R"({"type":"object","properties":{"frame":{"type":"integer"},)"
    R"("ticks":{"type":"integer"},"host_ns":{"type":"integer"},)"
    R"("lost_before":{"type":"integer"},"incomplete":{"type":"boolean"},"color_lost":{"type":"boolean"}}})"};

} // namespace ox3d

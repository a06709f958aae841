// Discovery.h - which hosts take part, as variables of ROS 2 say.
#ifndef OX3D_ROS2_DISCOVERY_H
#define OX3D_ROS2_DISCOVERY_H

#include "ros2/Dds.h"

namespace ox3d::ros2 {

// Reads ROS_LOCALHOST_ONLY, ROS_AUTOMATIC_DISCOVERY_RANGE and ROS_STATIC_PEERS; peers come behind those that are there. False
// with a reason where nobody could find this participant; `note` gets what the user should know, or stays empty.
bool ReadDiscovery(DomainOptions* options, std::string* note, std::string* error);

} // namespace ox3d::ros2

#endif

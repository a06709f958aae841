// RawType.h - a type of Cyclone DDS whose samples are messages in CDR already: nothing is packed or unpacked on the way.
#ifndef OX3D_ROS2_RAW_TYPE_H
#define OX3D_ROS2_RAW_TYPE_H

#include "ros2/Dds.h"

struct ddsi_serdata;
struct ddsi_sertype;

namespace ox3d::ros2 {

// A sample that is written is a MessagePointer; one that comes has `maxBytes` at most. To be handed to dds_create_topic_sertype(). Throws std::bad_alloc.
ddsi_sertype* MakeRawType(const std::string& name, size_t maxBytes);
// Of a sample that was read; shares its bytes.
MessagePointer MessageOf(const ddsi_serdata* sample);

} // namespace ox3d::ros2

#endif

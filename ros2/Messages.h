// Messages.h - the messages of ROS 2 that recordings do not have. Each function appends one message in CDR; fields stand in the
// order of the definitions, which are the same from Humble on but for the graph's.
#ifndef OX3D_ROS2_MESSAGES_H
#define OX3D_ROS2_MESSAGES_H

#include "recording/RosMessages.h"
#include "ros2/Dds.h"

namespace ox3d::ros2 {

enum class ELevel : uint8_t { Ok = 0, Warning = 1, Error = 2, Stale = 3 };

struct Diagnostic {
    ELevel m_level = ELevel::Ok;
    std::string m_name;
    std::string m_message;
    std::string m_hardwareId;
    std::vector<std::pair<std::string, std::string>> m_values;
};

void PutDiagnostics(ByteVector* out, const RosHeader& header, std::span<const Diagnostic> diagnostics);

// A cloud of points x, y, z (float, metres) and, with color, rgb: four bytes of which blue is the first, which readers
// take as a float. The caller fills the points: what is returned has PointBytes(isColored) a point, row by row. A point that is
// not there is NaN.
constexpr uint32_t PointBytes(bool isColored) {
    return isColored ? 16 : 12;
}
std::span<uint8_t> PutPointCloud(ByteVector* out, const RosHeader& header, uint32_t width, uint32_t height,
                                 bool isColored);

// How long identities are in the graph's messages: the two layouts have one name, so a node that gets the other one misreads
// it. Nodes of Humble end for want of memory then.
enum class EGraphLayout { Humble, Later };

struct GraphNode {
    std::string m_namespace; // "/"
    std::string m_name;
    std::vector<Guid> m_readers;
    std::vector<Guid> m_writers;
};

// All nodes of a participant.
void PutGraph(ByteVector* out, EGraphLayout layout, const Guid& participant,
              std::span<const GraphNode> nodes);

} // namespace ox3d::ros2

#endif

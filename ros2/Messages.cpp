// Messages.cpp - fields in the order of the definitions.
#include "ros2/Messages.h"

namespace ox3d::ros2 {
namespace {

constexpr size_t kHumbleGidBytes = 24;
constexpr uint8_t kFloat32 = 7; // PointField.FLOAT32

void PutGid(CCdrWriter* cdr, EGraphLayout layout, const Guid& guid) {
    cdr->Array(guid);
    for (size_t i = guid.size(); layout == EGraphLayout::Humble && i < kHumbleGidBytes; ++i) {
        cdr->Add(uint8_t{0});
    }
}

void PutGids(CCdrWriter* cdr, EGraphLayout layout, const std::vector<Guid>& guids) {
    cdr->Add(static_cast<uint32_t>(guids.size()));
    for (const Guid& guid : guids) {
        PutGid(cdr, layout, guid);
    }
}

} // namespace

void PutDiagnostics(ByteVector* out, const RosHeader& header, std::span<const Diagnostic> diagnostics) {
    CCdrWriter cdr(out);
    PutRosHeader(&cdr, header);
    cdr.Add(static_cast<uint32_t>(diagnostics.size()));
    for (const Diagnostic& diagnostic : diagnostics) {
        cdr.Add(static_cast<uint8_t>(diagnostic.m_level));
        cdr.Text(diagnostic.m_name);
        cdr.Text(diagnostic.m_message);
        cdr.Text(diagnostic.m_hardwareId);
        cdr.Add(static_cast<uint32_t>(diagnostic.m_values.size()));
        for (const auto& [key, value] : diagnostic.m_values) {
            cdr.Text(key);
            cdr.Text(value);
        }
    }
}

std::span<uint8_t> PutPointCloud(ByteVector* out, const RosHeader& header, uint32_t width, uint32_t height,
                                 bool isColored) {
    CCdrWriter cdr(out);
    PutRosHeader(&cdr, header);
    cdr.Add(height);
    cdr.Add(width);
    constexpr const char* kFields[] = {"x", "y", "z", "rgb"};
    const uint32_t fields = isColored ? 4 : 3;
    cdr.Add(fields);
    for (uint32_t field = 0; field < fields; ++field) {
        cdr.Text(kFields[field]);
        cdr.Add(static_cast<uint32_t>(field * sizeof(float)));
        cdr.Add(kFloat32);
        cdr.Add(uint32_t{1});
    }
    cdr.Add(uint8_t{0}); // little-endian
    const uint32_t stepBytes = PointBytes(isColored);
    cdr.Add(stepBytes);
    cdr.Add(stepBytes * width);
    const size_t lengthBytes = cdr.Bytes(stepBytes * width * height).size();
    const size_t end = out->size();
    cdr.Add(uint8_t{0}); // not dense: some are NaN
    return std::span(*out).subspan(end - lengthBytes, lengthBytes);
}

void PutGraph(ByteVector* out, EGraphLayout layout, const Guid& participant,
              std::span<const GraphNode> nodes) {
    CCdrWriter cdr(out);
    PutGid(&cdr, layout, participant);
    cdr.Add(static_cast<uint32_t>(nodes.size()));
    for (const GraphNode& node : nodes) {
        cdr.Text(node.m_namespace);
        cdr.Text(node.m_name);
        PutGids(&cdr, layout, node.m_readers);
        PutGids(&cdr, layout, node.m_writers);
    }
}

} // namespace ox3d::ros2

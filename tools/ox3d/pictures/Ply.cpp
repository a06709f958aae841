// Writing point clouds as PLY files.
#include "tools/ox3d/pictures/Ply.h"

#include "base/LocalFile.h"
#include "tools/ox3d/ExitCode.h"

#include <bit>
#include <cerrno>
#include <cstring>

namespace ox3d::tool {
namespace {

static_assert(std::endian::native == std::endian::little, "points are written as they lie in memory");

std::string Header(const PointCloud& cloud) {
    std::string header = "ply\n"
                         "format binary_little_endian 1.0\n"
                         "comment unit: metre; camera frame: x to the right, y down, z along the view\n"
                         "element vertex " +
                         std::to_string(cloud.m_points.size()) +
                         "\n"
                         "property float x\n"
                         "property float y\n"
                         "property float z\n";
    if (cloud.m_hasColor) {
        header += "property uchar red\n"
                  "property uchar green\n"
                  "property uchar blue\n";
    }
    return header + "end_header\n";
}

std::string Body(const PointCloud& cloud) {
    const size_t colorBytes = cloud.m_hasColor ? sizeof(Rgb) : 0;
    std::string body(cloud.m_points.size() * (3 * sizeof(float) + colorBytes), '\0');
    char* out = body.data();
    for (const CloudPoint& point : cloud.m_points) {
        const float xyz[3] = {point.m_x, point.m_y, point.m_z};
        std::memcpy(out, xyz, sizeof(xyz));
        std::memcpy(out + sizeof(xyz), &point.m_color, colorBytes);
        out += sizeof(xyz) + colorBytes;
    }
    return body;
}

} // namespace

void WritePly(const std::string& file, const PointCloud& cloud) {
    const std::string bytes = Header(cloud) + Body(cloud);
    if (!WriteLocalFile(file, bytes.data(), bytes.size())) {
        throw CToolError(EExitCode::File, "cannot write " + file + ": " + std::strerror(errno));
    }
}

} // namespace ox3d::tool

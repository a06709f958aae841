// Writing point clouds as PCD files.
#include "tools/ox3d/pictures/Pcd.h"

#include "base/LocalFile.h"
#include "tools/ox3d/ExitCode.h"

#include <bit>
#include <cstring>

namespace ox3d::tool {
namespace {

static_assert(std::endian::native == std::endian::little, "points are written as they lie in memory");

std::string Header(const PointCloud& cloud) {
    const std::string count = std::to_string(cloud.m_points.size());
    const bool hasColor = cloud.m_hasColor;
    return std::string("# .PCD v0.7 - metres; x to the right, y down, z along the view\nVERSION 0.7\n") +
           (hasColor ? "FIELDS x y z rgb\nSIZE 4 4 4 4\nTYPE F F F U\nCOUNT 1 1 1 1\n"
                     : "FIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nCOUNT 1 1 1\n") +
           "WIDTH " + count + "\nHEIGHT 1\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS " + count + "\nDATA binary\n";
}

} // namespace

void WritePcd(const std::string& file, const PointCloud& cloud) {
    std::string bytes = Header(cloud);
    const size_t pointBytes = cloud.m_hasColor ? 16 : 12;
    size_t at = bytes.size();
    bytes.resize(at + cloud.m_points.size() * pointBytes);
    for (const CloudPoint& point : cloud.m_points) {
        const float xyz[3] = {point.m_x, point.m_y, point.m_z};
        const uint32_t rgb =
            uint32_t{point.m_color.r} << 16U | uint32_t{point.m_color.g} << 8U | point.m_color.b;
        std::memcpy(&bytes[at], xyz, sizeof(xyz));
        if (cloud.m_hasColor) {
            std::memcpy(&bytes[at + sizeof(xyz)], &rgb, sizeof(rgb));
        }
        at += pointBytes;
    }
    if (!WriteLocalFile(file, bytes.data(), bytes.size())) {
        throw CToolError(EExitCode::File, "cannot write " + file);
    }
}

} // namespace ox3d::tool

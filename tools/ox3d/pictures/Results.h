// The files of one grabbed frame.
#ifndef OX3D_TOOL_RESULTS_H
#define OX3D_TOOL_RESULTS_H

#include "tools/ox3d/pictures/Images.h"
#include "tools/ox3d/pictures/PointCloud.h"

#include <filesystem>
#include <string>
#include <vector>

namespace ox3d::tool {

struct GrabbedFrame {
    uint32_t m_frameNum = 0;
    DepthImage m_depth;
    RgbImage m_color;            // empty when the frame has none
    bool m_isRegistered = false; // the depth is seen from the color camera, at the same pixels
    PointCloud m_cloud;          // without points when it cannot be computed
};

// Writes what the frame has: depth.png, depth_color.png, color.png, overlay.png (registered depth only),
// cloud.ply and cloud.png. Files of these names that an earlier run left and this one does not write are
// removed. Returns the names written. Throws CToolError.
std::vector<std::string> WriteResults(const std::filesystem::path& folder, const GrabbedFrame& frame);

} // namespace ox3d::tool

#endif

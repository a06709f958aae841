// PclRows.cpp - PCL's organised cloud from a depth image: points of 16 bytes in metres.
#include "bench/Images.h"
#include "bench/Rows.h"

#include <pcl/compression/organized_pointcloud_conversion.h>
#include <pcl/point_cloud.h>
#include <pcl/point_types.h>

#include <memory>
#include <vector>

namespace ox3dbench {

void AddPclRows() {
    using Conversion = pcl::io::OrganizedConversion<pcl::PointXYZ, false>;
    for (const Size size : kSizes) {
        AddRow("cloud", "PCL organised conversion", size, [size] {
            const DepthScene& scene = Shared<DepthScene>(size);
            // It takes disparities, from which a shift and a scale make depths.
            return [disparity = std::vector<uint16_t>(scene.m_depth.begin(), scene.m_depth.end()), size,
                    focal = scene.m_depthCamera[0],
                    cloud = std::make_shared<pcl::PointCloud<pcl::PointXYZ>>()]() mutable {
                std::vector<uint8_t> color;
                Conversion::convert(disparity, color, false, static_cast<size_t>(size.m_width),
                                    static_cast<size_t>(size.m_height), focal, 0.0F, 1.0F, *cloud);
            };
        });
    }
}

} // namespace ox3dbench

// Open3dRows.cpp - Open3D's point clouds from depth images, on one thread (OMP_NUM_THREADS). Both make metres;
// the tensor one leaves out pixels without depth.
#include "bench/Images.h"
#include "bench/Rows.h"

#include <open3d/camera/PinholeCameraIntrinsic.h>
#include <open3d/geometry/Image.h>
#include <open3d/geometry/PointCloud.h>
#include <open3d/t/geometry/Image.h>
#include <open3d/t/geometry/PointCloud.h>

#include <cstring>

namespace ox3dbench {
namespace {

constexpr float kFarthestMetres = 1000.0F;

void AddTensorCloud(Size size) {
    AddRow("cloud", "Open3D tensor cloud, valid pixels", size, [size] {
        namespace core = open3d::core;
        const DepthScene& scene = Shared<DepthScene>(size);
        const std::vector<uint16_t> samples(scene.m_depth.begin(), scene.m_depth.end());
        const open3d::t::geometry::Image depth(
            core::Tensor(samples, {size.m_height, size.m_width, 1}, core::UInt16));
        const float* camera = scene.m_depthCamera;
        const core::Tensor intrinsics =
            core::Tensor::Init<float>({{camera[0], 0, camera[2]}, {0, camera[1], camera[3]}, {0, 0, 1}});
        return [depth, intrinsics, identity = core::Tensor::Eye(4, core::Float32, core::Device("CPU:0"))] {
            open3d::t::geometry::PointCloud::CreateFromDepthImage(depth, intrinsics, identity, 1000.0F,
                                                                  kFarthestMetres);
        };
    });
}

void AddLegacyCloud(Size size) {
    AddRow("cloud", "Open3D legacy cloud, doubles", size, [size] {
        const DepthScene& scene = Shared<DepthScene>(size);
        open3d::geometry::Image depth;
        depth.Prepare(size.m_width, size.m_height, 1, 2);
        std::memcpy(depth.data_.data(), scene.m_depth.data(), 2 * size.Pixels());
        const float* camera = scene.m_depthCamera;
        const open3d::camera::PinholeCameraIntrinsic intrinsics(size.m_width, size.m_height, camera[0],
                                                                camera[1], camera[2], camera[3]);
        return [depth, intrinsics] {
            open3d::geometry::PointCloud::CreateFromDepthImage(depth, intrinsics, Eigen::Matrix4d::Identity(),
                                                               1000.0, kFarthestMetres, 1, false);
        };
    });
}

} // namespace

void AddOpen3dRows() {
    for (const Size size : kSizes) {
        AddTensorCloud(size);
        AddLegacyCloud(size);
    }
}

} // namespace ox3dbench

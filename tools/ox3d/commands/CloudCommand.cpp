// ox3d cloud: points of a depth image and a calibration file, without a camera.
#include "base/LocalFile.h"
#include "base/PngFile.h"
#include "tools/ox3d/TargetFile.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/pictures/DepthCloud.h"
#include "tools/ox3d/pictures/Pcd.h"
#include "tools/ox3d/pictures/Ply.h"

#include <cstdio>
#include <filesystem>

namespace ox3d::tool {
namespace {

constexpr uint64_t kMaxCalibrationBytes = 1U << 20U;

[[noreturn]] void ThrowFile(const std::string& what) {
    throw CToolError(EExitCode::File, "cannot read " + what);
}

DepthImage ReadDepth(const std::string& file) {
    DepthImage depth;
    PngSize size;
    std::string error;
    if (!ReadDepthPng(file, &size, &depth.m_samples, &error)) {
        ThrowFile(error);
    }
    depth.m_width = size.m_width;
    depth.m_height = size.m_height;
    return depth;
}

RgbImage ReadColor(const std::string& file) {
    PngSize size;
    std::vector<uint8_t> planes;
    std::string error;
    if (!ReadColorPng(file, &size, &planes, &error)) {
        ThrowFile(error);
    }
    return ColorOfPlanes(planes, size.m_width, size.m_height);
}

RecordedCalibration CalibrationFor(const std::string& file, uint32_t depthWidth) {
    std::string xml;
    if (!ReadLocalFile(SourceFile(file), kMaxCalibrationBytes, &xml)) {
        ThrowFile(file);
    }
    const std::optional<RecordedCalibration> calibration = ReadCalibration(xml, depthWidth);
    if (!calibration) {
        throw CToolError(EExitCode::File,
                         file + " is no calibration file; \"ox3d calib --export\" gives a camera's");
    }
    return *calibration;
}

using Writer = void (*)(const std::string& file, const PointCloud& cloud);

Writer WriterFor(const std::string& file) {
    const std::string ending = std::filesystem::path(file).extension();
    if (ending == ".ply") {
        return WritePly;
    }
    if (ending != ".pcd") {
        throw CToolError(EExitCode::Usage, "--out has to end in .ply or .pcd: " + file);
    }
    return WritePcd;
}

} // namespace

EExitCode RunCloud(CCameraControl& /*control*/, const Arguments& arguments) {
    const CloudOptions& options = arguments.m_cloud;
    const Writer write = WriterFor(arguments.m_file.m_local);
    const DepthImage depth = ReadDepth(SourceFile(options.m_depth));
    const RgbImage color = options.m_color.empty() ? RgbImage() : ReadColor(SourceFile(options.m_color));
    const bool isOneSize = color.m_width == depth.m_width && color.m_height == depth.m_height;
    if (options.m_isRegistered && !color.IsEmpty() && !isOneSize) {
        throw CToolError(EExitCode::Usage,
                         "registered depth and its color image have one size; these have not");
    }
    const RecordedCalibration calibration = CalibrationFor(options.m_calibration, depth.m_width);
    CTargetFile target(arguments.m_file.m_local, arguments.m_file.Existing());
    const PointCloud cloud =
        CDepthCloud(calibration, options.m_isRegistered ? EDepthView::Registered : EDepthView::Sensor,
                    depth.m_width, depth.m_height)
            .Of(depth, color);
    write(target.Part(), cloud);
    target.Keep();
    std::printf("%zu points\n", cloud.m_points.size());
    return EExitCode::Ok;
}

} // namespace ox3d::tool

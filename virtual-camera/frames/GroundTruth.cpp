// GroundTruth.cpp - ground truth straight from the scene's model, and the calibration that describes it.
#include "virtual-camera/frames/GroundTruth.h"

#include "virtual-camera/frames/SceneSource.h"

namespace ox3d {

CGroundTruth::CGroundTruth(const FrameSourceConfig& config)
    : m_model(CSceneModel::Get()), m_config(config),
      m_depth(m_model.DepthCamera(config.m_depthWidth, config.m_depthHeight)),
      m_second(m_model.SecondImager(config.m_depthWidth, config.m_depthHeight)),
      m_color(ColorCameraFor(config.m_depthWidth, config.m_depthHeight)) {}

PinholeCamera CGroundTruth::ColorCameraFor(uint32_t width, uint32_t height) const {
    // Without a color image the calibration describes one of the depth image's size.
    const bool hasColor = m_config.m_colorWidth != 0 && m_config.m_colorHeight != 0;
    return m_model.ColorCamera(hasColor ? m_config.m_colorWidth : width,
                               hasColor ? m_config.m_colorHeight : height, width, height);
}

SceneSample CGroundTruth::Sample(const PinholeCamera& camera, uint64_t index, double u, double v) const {
    const Ray ray = camera.RayAt(u, v);
    const SceneHit hit = m_model.Cast(ray, m_model.BallAt(index));
    return {hit.m_depth, hit.m_object, -Dot(ray.m_direction, hit.m_normal) / Length(ray.m_direction)};
}

SceneSample CGroundTruth::FromDepthCamera(uint64_t index, double u, double v) const {
    return Sample(m_depth, index, u, v);
}

SceneSample CGroundTruth::FromSecondImager(uint64_t index, double u, double v) const {
    return Sample(m_second, index, u, v);
}

SceneSample CGroundTruth::FromColorCamera(uint64_t index, double x, double y) const {
    return Sample(m_color, index, x, y);
}

ScenePlane CGroundTruth::Floor() const {
    const Vec3 up{0.0, -1.0, 0.0};
    return {ApplyInverse(m_depth.m_toRoom, up), m_model.FloorY() + m_depth.m_origin.y};
}

Sphere CGroundTruth::BallAt(uint64_t index) const {
    const Sphere ball = m_model.BallAt(index).m_sphere;
    return {m_depth.ToCamera(ball.m_center), ball.m_radius};
}

RgbdCalibration CGroundTruth::CalibrationFor(uint32_t width, uint32_t height) const {
    const PinholeCamera depth = m_model.DepthCamera(width, height);
    const PinholeCamera color = ColorCameraFor(width, height);
    const Mat3 r = m_model.DepthToColorRotation();
    const Vec3 t = m_model.DepthToColorTranslation();
    return {width,
            height,
            {depth.m_fx, depth.m_fy, depth.m_cx, depth.m_cy},
            {color.m_fx, color.m_fy, color.m_cx, color.m_cy},
            {r.r0.x, r.r0.y, r.r0.z, r.r1.x, r.r1.y, r.r1.z, r.r2.x, r.r2.y, r.r2.z},
            {t.x, t.y, t.z},
            {}};
}

std::string CGroundTruth::CalibrationXml() const {
    const uint32_t width = m_config.m_depthWidth;
    const uint32_t height = m_config.m_depthHeight;
    const bool halves = width / 2 >= CSceneSource::kMinWidth && height / 2 >= CSceneSource::kMinHeight;
    const RgbdCalibration other =
        halves ? CalibrationFor(width / 2, height / 2) : CalibrationFor(width * 2, height * 2);
    return FormatCalibrationXml(Calibration(), other);
}

} // namespace ox3d

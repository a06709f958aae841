// GroundTruth.h - what a perfect camera would measure in the procedural scene, at any image coordinates.
//
// Every value is ray-cast anew, apart from the images that a source renders: the two can be held against each
// other.
#ifndef OX3D_VIRTUAL_CAMERA_GROUND_TRUTH_H
#define OX3D_VIRTUAL_CAMERA_GROUND_TRUTH_H

#include "recording/CalibrationText.h"
#include "virtual-camera/frames/FrameSource.h"
#include "virtual-camera/frames/SceneModel.h"

namespace ox3d {

// normal . X + offset = 0 for points X in the depth camera's frame; the normal points to the camera's side.
struct ScenePlane {
    Vec3 m_normal;
    double m_offsetMm = 0.0;
};

struct SceneSample {
    double m_depthMm = 0.0; // 0: nothing was met
    uint8_t m_object = kSceneNothing;
    double m_viewCosine = 0.0; // between line of sight and surface normal
};

class CGroundTruth {
public:
    // Sizes that a source would refuse give no useful values.
    explicit CGroundTruth(const FrameSourceConfig& config);

    // Continuous coordinates; a depth pixel's value belongs to its integer coordinates.
    SceneSample FromDepthCamera(uint64_t index, double u, double v) const;
    SceneSample FromSecondImager(uint64_t index, double u, double v) const;
    // In the color image scaled to the depth image's size, with the intrinsics of the calibration; a pixel's value
    // belongs to its integer coordinates.
    SceneSample FromColorCamera(uint64_t index, double x, double y) const;

    ScenePlane Floor() const;
    // The ball in the depth camera's frame.
    Sphere BallAt(uint64_t index) const;
    // Column distance between the two imagers' pictures of a point.
    double DisparityPixels(double depthMm) const { return m_depth.m_fx * kSceneBaselineMm / depthMm; }
    // Standard deviation of the noise, before depths are rounded to whole millimetres.
    static double NoiseSigmaMm(double depthMm) { return SceneNoiseSigmaMm(depthMm); }

    RgbdCalibration Calibration() const {
        return CalibrationFor(m_config.m_depthWidth, m_config.m_depthHeight);
    }
    // The calibration file: a set for the configured depth size and one for half of it, or for twice where
    // half would be smaller than a camera's smallest.
    std::string CalibrationXml() const;

private:
    PinholeCamera ColorCameraFor(uint32_t width, uint32_t height) const;
    RgbdCalibration CalibrationFor(uint32_t width, uint32_t height) const;
    SceneSample Sample(const PinholeCamera& camera, uint64_t index, double u, double v) const;

    const CSceneModel& m_model;
    FrameSourceConfig m_config;
    PinholeCamera m_depth;
    PinholeCamera m_second;
    PinholeCamera m_color;
};

} // namespace ox3d

#endif

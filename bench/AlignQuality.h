// AlignQuality.h - how good a registered depth image of the virtual camera's scene is, against what a perfect color
// camera would measure. Relies on the scene's ground truth; nothing is sampled at random.
#ifndef OX3D_BENCH_ALIGN_QUALITY_H
#define OX3D_BENCH_ALIGN_QUALITY_H

#include "virtual-camera/frames/FrameSource.h"
#include "virtual-camera/frames/GroundTruth.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ox3dbench {

struct AlignQuality {
    double m_sourceShare; // of the pixels that the depth image has a sample of: where that sample is a depth
    double m_validShare;  // of the same pixels: where the registered image has a depth
    double m_medianMm;    // of the absolute errors
    double m_shiftX;      // pixels by which the image lies beside the truth, fitted on smooth surfaces
    double m_shiftY;
    double m_bleedShare; // of all pixels: deeper or nearer, by more than a step, than everything true around
};

class CAlignTruth {
public:
    // What the color camera's lens has beyond the scene's: focal lengths so many times as long, and a distortion.
    struct Lens {
        double m_zoom = 1;
        double m_distortion[5] = {};
    };
    CAlignTruth(const ox3d::FrameSourceConfig& config, uint64_t frame, const Lens& lens);

    const ox3d::RgbdCalibration& Calibration() const { return m_calibration; }
    AlignQuality Judge(const std::vector<uint16_t>& depth, const std::vector<uint16_t>& registered) const;
    // What an occlusion mask of the depth image should say of a pixel: 255 seen, 128 hidden, 64 outside.
    uint8_t MaskAt(uint32_t u, uint32_t v) const;
    // Depths in millimetres; 0: nothing.
    const std::vector<float>& Depths() const { return m_truth; }

private:
    bool IsSmooth(size_t pixel) const;
    bool Bleeds(size_t pixel, double depth) const;
    void FitShift(const std::vector<uint16_t>& registered, AlignQuality* quality) const;
    struct Direction {
        double m_x;
        double m_y;
    };
    Direction DirectionOf(double column, double row) const;
    ptrdiff_t SampleOf(const Direction& direction, double depth) const;

    ox3d::CGroundTruth m_scene;
    ox3d::RgbdCalibration m_calibration;
    uint64_t m_frame;
    uint32_t m_width;
    uint32_t m_height;
    std::vector<float> m_truth;
    std::vector<ptrdiff_t> m_sample;
};

} // namespace ox3dbench

#endif

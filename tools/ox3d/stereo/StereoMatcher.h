// Disparities of stereo pairs of one size, by the algorithm library.
#ifndef OX3D_TOOL_STEREO_MATCHER_H
#define OX3D_TOOL_STEREO_MATCHER_H

#include "tools/ox3d/stereo/StereoCalibration.h"
#include "tools/ox3d/stereo/StereoTruth.h"

#include <memory>
#include <vector>

namespace ox3d::tool {

// How to match. Results do not depend on the number of threads.
struct StereoSettings {
    std::vector<OXB3D_BINOSTEREO_PARAM> m_parameters; // all others have their defaults
    uint32_t m_threads = 0;                           // 1 to 4; 0: as many as there are processors
};

class CStereoMatcher {
public:
    // For rectified pictures of that size. What the library refuses throws a CToolError, here and below.
    CStereoMatcher(const RectifiedCamera& camera, uint32_t width, uint32_t height,
                   const StereoSettings& settings);
    // For pictures as the cameras of the calibration see them.
    CStereoMatcher(const OXB3D_BINOSTEREO_INIT_INPUT& calibration, const StereoSettings& settings);
    ~CStereoMatcher();
    CStereoMatcher(const CStereoMatcher&) = delete;
    CStereoMatcher& operator=(const CStereoMatcher&) = delete;

    // Of two pictures of the size given.
    DisparityImage Match(const GreyImage& left, const GreyImage& right);
    // One plane of the left picture as the disparities see it.
    GreyImage SeenByLeft(const GreyImage& plane);

    const RectifiedCamera& Camera() const { return m_camera; }
    // Searched, rounded up as the library does.
    uint32_t Disparities() const { return m_disparities; }

private:
    struct Free {
        void operator()(uint8_t* memory) const;
    };

    void Create(OXB3D_BINOSTEREO_INIT_INPUT calibration, const StereoSettings& settings);
    void Set(OXB3D_BINOSTEREO_PARAM parameter);
    GreyImage Padded(const GreyImage& image) const;

    const bool m_isRaw;
    uint32_t m_width;  // of the pictures
    uint32_t m_height; // pixels
    uint32_t m_paddedWidth = 0;
    uint32_t m_paddedHeight = 0;
    uint32_t m_disparities = 0;
    RectifiedCamera m_camera;
    std::unique_ptr<uint8_t, Free> m_memory[2];
    void* m_object = nullptr;
};

} // namespace ox3d::tool

#endif

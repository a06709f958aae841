// DepthConversion.h - depth registered to the color camera, and depth as a point cloud: the conversion lock,
// and behind it the output buffers, the calibration and the conversion engine of one device.
#ifndef OX3D_DEPTH_CONVERSION_H
#define OX3D_DEPTH_CONVERSION_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "src/BasicComponent/Algorithm/DepthConvertVm/DepthConvertVm.h"
#include "src/Common/Thread.h"
#include "src/Manager/CalibrationFile.h"
#include "src/Manager/RetiringBuffer.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

class CDepthConversion {
public:
    // Finds the calibration for depth images of the width, or logs what is missing and returns a status. It
    // is called without the conversion lock: asking the camera and reading the file may both take long, and a
    // camera may answer by a callback.
    using CalibrationLoader = std::function<uint32_t(uint32_t depthWidth, DepthCalibration* out)>;

    explicit CDepthConversion(CalibrationLoader loadCalibration);
    ~CDepthConversion() { Release(); }
    CDepthConversion(const CDepthConversion&) = delete;
    CDepthConversion& operator=(const CDepthConversion&) = delete;

    // depthOut may be depthIn, and becomes it where the camera's depth is not registered; at least one output. The images lie in buffers of this object: points until
    // the next conversion, depth until ReclaimDepth. Any thread, one conversion at a time.
    uint32_t Convert(const OX3D_RGBD_IMAGE_DATA* depthIn, OX3D_RGBD_IMAGE_DATA* depthOut,
                     OX3D_RGBD_IMAGE_DATA* pointCloudOut) OX_EXCLUDES(m_mutex);
    // That of all images converted so far; false before it was read.
    bool Calibration(DepthCalibration* out) OX_EXCLUDES(m_mutex);
    // The calibration for the image, which is looked at as Convert does: for what aligns it in another way.
    uint32_t CalibrationFor(const OX3D_RGBD_IMAGE_DATA& depth, DepthCalibration* out) OX_EXCLUDES(m_mutex);
    // Whether depth stays as it was sent, with the calibration of the images converted so far.
    bool LeavesDepth() const { return m_isDepthLeft; }
    // No reader is left of the registered depth that was handed out before: the next frame with such depth is being
    // assembled.
    void ReclaimDepth() OX_EXCLUDES(m_mutex);
    // Frees buffers and engine; the calibration stays.
    void Release() OX_EXCLUDES(m_mutex);
    // In a forked child: no conversion is under way.
    void Renew() { m_mutex.Renew(); }

private:
    uint32_t EnsureBuffers(uint64_t pixels) OX_REQUIRES(m_mutex);
    uint32_t EnsureCalibration(uint32_t depthWidth) OX_EXCLUDES(m_mutex);
    uint32_t EnsureConverter() OX_REQUIRES(m_mutex);
    uint32_t RunConverter(const OX3D_RGBD_IMAGE_DATA& depth, bool isDepthWanted, bool arePointsWanted)
        OX_REQUIRES(m_mutex);

    const CalibrationLoader m_loadCalibration;
    COXMutex m_mutex;                                     // the conversion lock
    CRetiringBuffer m_depthBuffer OX_GUARDED_BY(m_mutex); // the last frame may still be in use
    float* m_pPointBuffer OX_GUARDED_BY(m_mutex) = nullptr;
    uint64_t m_bufferPixels OX_GUARDED_BY(m_mutex) = 0; // of both buffers
    std::atomic<bool> m_isCalibrationLoaded{false};     // set under the lock, never cleared
    std::atomic<bool> m_isDepthLeft{false};             // of the calibration
    DepthCalibration m_calibration OX_GUARDED_BY(m_mutex) = {};
    std::unique_ptr<CDepthConvertVm> m_pDepthConvert OX_GUARDED_BY(m_mutex);
    // An engine whose Init failed, for the next try: frame after frame that fails must not allocate another.
    std::unique_ptr<CDepthConvertVm> m_spareConvert OX_GUARDED_BY(m_mutex);
};

#endif

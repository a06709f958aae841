// CalibrationCache.h - the calibration of a device for frames whose depth no conversion has touched, by the width of the
// depth image. The set of a width is read once.
#ifndef OX3D_CALIBRATION_CACHE_H
#define OX3D_CALIBRATION_CACHE_H

#include <cstdint>

#include "src/Common/Thread.h"
#include "src/Manager/CalibrationFile.h"

class CCalibrationCache {
public:
    // `load` is called without the lock: it may ask the camera.
    template <class Load>
    uint32_t Get(uint32_t depthWidth, Load&& load, DepthCalibration* out) OX_EXCLUDES(m_mutex) {
        {
            const COXLock lock(&m_mutex);
            if (m_width == depthWidth) {
                *out = m_calibration;
                return OX3D_RGBD_OK;
            }
        }
        const uint32_t status = load(depthWidth, out);
        if (status == OX3D_RGBD_OK) {
            const COXLock lock(&m_mutex);
            m_calibration = *out;
            m_width = depthWidth;
        }
        return status;
    }
    // In a forked child: no thread is inside.
    void Renew() { m_mutex.Renew(); }

private:
    COXMutex m_mutex; // leaf
    uint32_t m_width OX_GUARDED_BY(m_mutex) = 0;
    DepthCalibration m_calibration OX_GUARDED_BY(m_mutex) = {};
};

#endif

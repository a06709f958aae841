// CalibrationCache.h - the calibration of a device by the width of its depth images, for all that need it: a width is
// answered by one set, the first that was read for it.
#ifndef OX3D_CALIBRATION_CACHE_H
#define OX3D_CALIBRATION_CACHE_H

#include <array>
#include <cstdint>
#include <optional>

#include "src/Common/Thread.h"
#include "src/Manager/CalibrationFile.h"

class CCalibrationCache {
public:
    // `load` is called without the lock: it may ask the camera. Where it failed for that width before, it is called again
    // if the caller retries.
    template <class Load>
    uint32_t Get(uint32_t depthWidth, bool isRetried, Load&& load, DepthCalibration* out)
        OX_EXCLUDES(m_mutex) {
        {
            const COXLock lock(&m_mutex);
            if (FindSet(depthWidth, out)) {
                return OX3D_RGBD_OK;
            }
            if (!isRetried && m_failedWidth == depthWidth) {
                return OX3D_RGBD_E_NO_DATA;
            }
        }
        const uint32_t status = load(depthWidth, out);
        const COXLock lock(&m_mutex);
        if (status != OX3D_RGBD_OK) {
            m_failedWidth = depthWidth;
        } else if (!FindSet(depthWidth, out)) { // another thread's may have come first
            m_sets[m_next] = Set{depthWidth, *out};
            m_next = (m_next + 1) % m_sets.size();
        }
        return status;
    }
    // There is a new file: what failed may succeed.
    void ForgetFailure() OX_EXCLUDES(m_mutex) {
        const COXLock lock(&m_mutex);
        m_failedWidth.reset();
    }
    // In a forked child: no thread is inside.
    void Renew() { m_mutex.Renew(); }

private:
    struct Set {
        uint32_t m_width;
        DepthCalibration m_calibration;
    };

    bool FindSet(uint32_t depthWidth, DepthCalibration* out) const OX_REQUIRES(m_mutex) {
        for (const std::optional<Set>& set : m_sets) {
            if (set && set->m_width == depthWidth) {
                *out = set->m_calibration;
                return true;
            }
        }
        return false;
    }

    COXMutex m_mutex;                                                // leaf
    std::array<std::optional<Set>, 8> m_sets OX_GUARDED_BY(m_mutex); // more widths than a camera has
    size_t m_next OX_GUARDED_BY(m_mutex) = 0;
    std::optional<uint32_t> m_failedWidth OX_GUARDED_BY(m_mutex);
};

#endif

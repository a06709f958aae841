// FrameCloud.h - points of a frame, whatever was done to its images: the cloud lock, and behind it the arrays of the
// device's last cloud and the directions of its pixels.
#ifndef OX3D_FRAME_CLOUD_H
#define OX3D_FRAME_CLOUD_H

#include <cstdint>

#include "algorithm/rgbd/Cloud.h"
#include "src/Common/Thread.h"
#include "src/Manager/FrameCopies.h"
#include "src/Manager/FrameGeometry.h"
#include "src/Manager/GrowBuffer.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>

class CFrameCloud {
public:
    CFrameCloud();
    CFrameCloud(const CFrameCloud&) = delete;
    CFrameCloud& operator=(const CFrameCloud&) = delete;

    static bool AreOptions(const OX3D_RGBD_CLOUD_OPTIONS& options);
    // What the frame's images lack for that, before a calibration is looked for.
    static uint32_t Check(const FrameNote& note, const OX3D_RGBD_CLOUD_OPTIONS& options);

    // Of a calibrated frame that passed the check. The cloud describes arrays of this object, valid until the next call.
    uint32_t Map(const KnownFrame& known, const OX3D_RGBD_CLOUD_OPTIONS& options, uint64_t timeStamp,
                 uint32_t threads, OX3D_RGBD_CLOUD* out) OX_EXCLUDES(m_mutex);
    void Release() OX_EXCLUDES(m_mutex);
    // In a forked child: no thread is inside.
    void Renew() { m_mutex.Renew(); }

private:
    bool ProvideRays(const Lens& lens, const NotedImage& depth, ox3d::PixelRays* rays) OX_REQUIRES(m_mutex);
    bool ProvideArrays(const OX3D_RGBD_CLOUD& cloud, uint64_t pixels, ox3d::CloudArgs* args)
        OX_REQUIRES(m_mutex);

    COXMutex m_mutex; // the cloud lock
    CGrowBuffer m_points OX_GUARDED_BY(m_mutex);
    CGrowBuffer m_colors OX_GUARDED_BY(m_mutex);
    CGrowBuffer m_normals OX_GUARDED_BY(m_mutex);
    CGrowBuffer m_scratch OX_GUARDED_BY(m_mutex);
    CGrowBuffer m_rays OX_GUARDED_BY(m_mutex);
    Lens m_rayLens OX_GUARDED_BY(m_mutex) = {}; // whose rays there are, for images of that size
    uint32_t m_rayWidth OX_GUARDED_BY(m_mutex) = 0;
    uint32_t m_rayHeight OX_GUARDED_BY(m_mutex) = 0;
};

#endif

// ColorAligner.h - the color image scaled plane by plane to the depth image's size: owns the scaler and the
// buffer of the scaled image.
//
// No lock: the owner serialises calls.
#ifndef OX3D_COLOR_ALIGNER_H
#define OX3D_COLOR_ALIGNER_H

#include <cstdint>

#include "src/Manager/GrowBuffer.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>
#include <ox3drgbd/OxMediaProcess.h>

class CColorAligner {
public:
    CColorAligner() = default;
    ~CColorAligner() { Release(); }
    CColorAligner(const CColorAligner&) = delete;
    CColorAligner& operator=(const CColorAligner&) = delete;

    // On success the record of the color image describes the scaled one, which the next call overwrites; else
    // it stays.
    uint32_t Align(const OX3D_RGBD_IMAGE_DATA* depth, OX3D_RGBD_IMAGE_DATA* color);
    // Where the scaled color lies.
    CGrowBuffer* Buffer() { return &m_scaled; }
    void Release();

private:
    uint32_t EnsureResources(uint64_t targetPixels);
    OX_MP_SCALING_PARAM PlaneOf(const OX3D_RGBD_IMAGE_DATA& depth, const OX3D_RGBD_IMAGE_DATA& color,
                                uint32_t plane) const;
    bool ScaleTogether(const OX3D_RGBD_IMAGE_DATA& depth, const OX3D_RGBD_IMAGE_DATA& color) const;
    uint32_t ScalePlanes(const OX3D_RGBD_IMAGE_DATA& depth, const OX3D_RGBD_IMAGE_DATA& color);

    void* m_scaler = nullptr;
    CGrowBuffer m_scaled{0}; // sized once, by the first alignment
    uint64_t m_scaledBytes = 0;
};

#endif

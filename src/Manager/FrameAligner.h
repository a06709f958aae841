// FrameAligner.h - depth and color of a frame laid onto each other in the ways that the conversion engine has not: filled
// registration, color at the depth's pixels, the occlusion mask. Owns the buffers that these lie in.
//
// No lock: the owner serialises calls.
#ifndef OX3D_FRAME_ALIGNER_H
#define OX3D_FRAME_ALIGNER_H

#include <cstdint>

#include "algorithm/alignment/Fill.h"
#include "src/Manager/CalibrationFile.h"
#include "src/Manager/GrowBuffer.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

class CFrameAligner {
public:
    struct Cameras {
        const DepthCalibration& m_calibration;
        uint32_t m_stepPermille;
    };

    CFrameAligner() = default;
    CFrameAligner(const CFrameAligner&) = delete;
    CFrameAligner& operator=(const CFrameAligner&) = delete;

    // Records of depth have been checked: the length is that of their size. On success a record describes the new image,
    // which the next call overwrites; else it stays.
    uint32_t FillDepth(const Cameras& cameras, OX3D_RGBD_IMAGE_DATA* depth);
    // Color, three planes, to the depth's pixels, and the mask of that; `color` may be null.
    uint32_t MoveColor(const Cameras& cameras, const OX3D_RGBD_IMAGE_DATA& depth, OX3D_RGBD_IMAGE_DATA* color,
                       bool isMaskWanted);
    // The mask of registered depth.
    uint32_t MaskDepth(uint32_t stepPermille, const OX3D_RGBD_IMAGE_DATA& depth);
    // Where the last images of each kind lie, or null before the first.
    uint8_t* Mask() const { return m_mask.Data(); }
    const uint8_t* Filled() const { return m_filled.Data(); }
    const uint8_t* MovedColor() const { return m_color.Data(); }
    void Release();

private:
    uint32_t Fill(const ox3d::AlignArgs& args, const ox3d::CPoolTurn& turn);

    CGrowBuffer m_filled{0};
    CGrowBuffer m_spare{0}; // what other threads draw into
    CGrowBuffer m_color{0};
    CGrowBuffer m_mask{0};
};

#endif

// FrameRecord.h - a frame record as an application gets it: every byte that it promises is read. And the calibration
// that it was made with, any numbers in it.
#ifndef OX3D_FUZZ_FRAME_RECORD_H
#define OX3D_FUZZ_FRAME_RECORD_H

#include <initializer_list>
#include <span>

#include "fuzz/Input.h"
#include "src/Manager/CalibrationFile.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace ox3d::fuzz {

// Member by member: bytes that are neither 0 nor 1 are no truth value, and no reader of files can make one of them.
inline DepthCalibration TakeCalibration(CInput& input) {
    DepthCalibration calibration = {};
    for (const std::span<float> numbers :
         {std::span<float>(calibration.m_depthIntrinsics), std::span<float>(calibration.m_depthToColor),
          std::span<float>(calibration.m_colorIntrinsics)}) {
        for (float& number : numbers) {
            number = input.Take<float>();
        }
    }
    calibration.m_setWidth = input.Take<uint32_t>();
    calibration.m_setHeight = input.Take<uint32_t>();
    calibration.m_isDepthLeft = input.Flag();
    calibration.m_hasDepth = !input.Flag();
    calibration.m_hasColor = !input.Flag();
    return calibration;
}

inline void ReadImage(const OX3D_RGBD_IMAGE_DATA& image) {
    OX3D_FUZZ_EXPECT(image.nDataLen == 0 || image.pData != nullptr);
    constexpr uint32_t kStep = 61; // often enough for every page and every row
    const volatile uint8_t* const bytes = image.pData;
    for (uint32_t i = 0; i < image.nDataLen; i += kStep) {
        (void)bytes[i];
    }
    if (image.nDataLen > 0) {
        (void)bytes[image.nDataLen - 1];
    }
}

inline void ReadFrame(const OX3D_RGBD_FRAME_DATA& frame) {
    OX3D_FUZZ_EXPECT(frame.nImageCount <= OX3D_RGBD_MAX_IMAGES);
    for (uint32_t i = 0; i < frame.nImageCount; ++i) {
        ReadImage(frame.stImageData[i]);
    }
}

} // namespace ox3d::fuzz

#endif

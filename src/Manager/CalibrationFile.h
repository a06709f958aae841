// CalibrationFile.h - the per-device calibration file: its local name, and what the library asks of it.
//
// The file comes from a camera and lies in the working directory, so it is trusted with nothing: only a
// regular file of at most 1 MiB is parsed.
#ifndef OX3D_CALIBRATION_FILE_H
#define OX3D_CALIBRATION_FILE_H

#include <cstddef>
#include <cstdint>

#include <ox3drgbd/Ox3dRgbdDefine.h>

// Depth camera, color camera and the transform between them. The translation has the unit of the depth.
struct DepthCalibration {
    float m_depthIntrinsics[4]; // fx, fy, cx, cy in pixels
    float m_depthToColor[16];   // row-major 4 x 4, last row 0 0 0 1
    float m_colorIntrinsics[9]; // fx, fy, cx, cy, k1, k2, p1, p2, p3
    uint32_t m_setWidth = 0;    // the images that the set is for; 0 where the file does not say
    uint32_t m_setHeight = 0;
    // Of a camera without a calibration file of its own. Depth is left as it was sent, whatever registration is asked for.
    bool m_isDepthLeft = false;
    // Without them the numbers are 0: of the depth camera, and of color and the way to it.
    bool m_hasDepth = true;
    bool m_hasColor = true;
};

constexpr size_t kCalibrationNameBytes = 256;

// "RGBDSensorCali_<serial number>.xml", a name without a folder. A '/' or control byte in the
// number, which would lead elsewhere, becomes '_'. `name` holds kCalibrationNameBytes.
void CalibrationFileName(const char* serialNumber, char* name);

// Reads the set that belongs to depth images of the width. Returns null on success, else the log line of what
// is missing; *out is then unchanged. Where the set says that depth is not registered, it need not have the cameras.
const char* LoadDepthCalibration(const char* fileName, uint32_t depthWidth, DepthCalibration* out);

// Reads one sensor (OX3D_RGBD_CALIB_*) of the set that belongs to images of the width. False when the file
// or an element of the set is missing; *out is then unchanged.
bool LoadSensorCalibration(const char* fileName, int64_t width, uint32_t sensor, OX3D_RGBD_CALIB_INFO* out);

#endif

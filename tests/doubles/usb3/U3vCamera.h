// U3vCamera.h - a camera model behind the end points of USB3 Vision: commands to its registers, and its frames.
#ifndef OX3D_DOUBLE_U3V_CAMERA_H
#define OX3D_DOUBLE_U3V_CAMERA_H

#include <array>
#include <cstdint>
#include <vector>

#include "virtual-camera/CameraModel.h"

namespace ox3d::test {

class CU3vCamera {
public:
    using Bytes = std::vector<uint8_t>;

    // Without a usable image source there is no camera to test with: throws.
    explicit CU3vCamera(const CameraConfig& config);

    CCameraModel& Model() { return m_model; }
    // The acknowledge to a command.
    Bytes Answer(const uint8_t* command, size_t lengthBytes);
    // Leader, payload and trailer.
    static std::array<Bytes, 3> Pack(const CameraFrame& frame);

private:
    uint16_t Read(uint64_t address, Bytes* out);
    uint16_t Write(uint64_t address, const uint8_t* bytes, size_t lengthBytes);

    CCameraModel m_model;
    CRegisterFile m_transport{false}; // the registers that the model has not
};

} // namespace ox3d::test

#endif

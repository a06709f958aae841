// BootstrapRegisters.h - registers at fixed addresses that the server itself has to know. All others are the
// camera model's.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_BOOTSTRAP_REGISTERS_H
#define OX3D_VIRTUAL_CAMERA_GIGE_BOOTSTRAP_REGISTERS_H

#include <cstdint>

namespace ox3d::gige {

constexpr uint32_t kRegControlPrivilege = 0x0A00;
constexpr uint32_t kRegStreamPort = 0x0D00;
constexpr uint32_t kRegStreamPacketSize = 0x0D04;
constexpr uint32_t kRegStreamAddress = 0x0D18;

constexpr uint32_t kFireTestPacket = 0x80000000; // bit of the packet size register

} // namespace ox3d::gige

#endif

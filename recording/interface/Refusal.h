// Refusal.h - a status with its sentence, on the way to the caller.
#ifndef OX3D_RECORDING_REFUSAL_H
#define OX3D_RECORDING_REFUSAL_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace ox3d {

// Ends at the C functions.
class CRefusal : public std::runtime_error {
public:
    CRefusal(uint32_t status, const std::string& reason) : std::runtime_error(reason), m_status(status) {}
    uint32_t Status() const { return m_status; }

private:
    uint32_t m_status;
};

} // namespace ox3d

#endif

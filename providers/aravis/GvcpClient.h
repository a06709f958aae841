// GvcpClient.h - single registers of a GigE Vision camera, read and written beside Aravis. A socket of its own
// is another application to the camera: it may read while another one has control, and no more.
#ifndef OX3D_ARAVIS_GVCP_CLIENT_H
#define OX3D_ARAVIS_GVCP_CLIENT_H

#include <chrono>
#include <cstdint>

#include "base/UdpSocket.h"
#include "providers/aravis/Gvcp.h"

namespace ox3d {

enum class EGvcpResult { Ok, Silent, Denied, Refused };

class CGvcpClient {
public:
    static constexpr uint32_t kDefaultTimeoutMs = 500;
    static constexpr int kTries = 3;

    // Every command is sent up to `tries` times, each time waiting for the time-out.
    CGvcpClient(uint32_t hostIp, uint32_t cameraIp, uint32_t timeoutMs, int tries = kTries);

    EGvcpResult Read(uint32_t address, uint32_t* value);
    EGvcpResult Write(uint32_t address, uint32_t value);

private:
    EGvcpResult Exchange(const gvcp::Packet& command, uint16_t expected, uint32_t* value);
    // True when an answer came in time; *result is about it.
    bool Await(uint16_t expected, uint32_t* value, EGvcpResult* result) const;

    const uint32_t m_cameraIp;
    const std::chrono::milliseconds m_timeout;
    const int m_tries;
    CUdpSocket m_socket;
    bool m_isOpen;
    uint16_t m_requestId = 0;
};

} // namespace ox3d

#endif

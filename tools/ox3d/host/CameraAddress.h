// IP addresses of cameras: whether one fits the host, and which one a camera is to get. Nothing here asks
// the system or a camera.
#ifndef OX3D_TOOL_CAMERA_ADDRESS_H
#define OX3D_TOOL_CAMERA_ADDRESS_H

#include "tools/ox3d/host/HostFacts.h"
#include "tools/ox3d/host/Ipv4Network.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ox3d::tool {

enum class EFit { Fits, WrongSubnet, HostsOwn, Unknown };

// Whether a camera and the host's interface that saw it reach each other, each by its own mask. The camera's
// mask stands for the interface's where that one is not among the host's.
EFit FitOf(const Ipv4Network& camera, uint32_t hostIp, const std::vector<HostAddress>& host);
const char* FitText(EFit fit);

std::optional<HostAddress> FindHostAddress(uint32_t ip, const std::vector<HostAddress>& host);

// The user's wishes; an empty one leaves the choice to PlanAddress().
struct AddressRequest {
    std::string m_ip;
    std::string m_mask;
    std::string m_gateway;
};

// The facts that the choice is made from, 0 where one is not known.
struct AddressSurroundings {
    Ipv4Network m_host;   // of the interface that saw the camera
    Ipv4Network m_camera; // as it is now
    uint32_t m_gateway = 0;
};

struct StaticAddress {
    uint32_t m_ip = 0;
    uint32_t m_mask = 0;
    uint32_t m_gateway = 0;
};

// Throws CToolError (EExitCode::Usage) for a text that is wrong whatever the surroundings are.
void CheckAddressTexts(const AddressRequest& request);

// The mask comes from the host's subnet where the address is in it, else from the camera, else it is /24. The
// gateway, without which no static configuration is accepted, stays the camera's where that is in the
// subnet, else it is the host's address. Throws CToolError (EExitCode::Usage).
StaticAddress PlanAddress(const AddressRequest& request, const AddressSurroundings& surroundings);

} // namespace ox3d::tool

#endif

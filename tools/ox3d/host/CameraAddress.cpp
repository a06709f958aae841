// IP addresses of cameras.
#include "tools/ox3d/host/CameraAddress.h"

#include "base/Ipv4.h"
#include "tools/ox3d/ExitCode.h"

#include <algorithm>

namespace ox3d::tool {
namespace {

[[noreturn]] void Refuse(const std::string& what) {
    throw CToolError(EExitCode::Usage, what);
}

uint32_t Parse(const char* what, const std::string& text) {
    const std::optional<uint32_t> address = ParseIpv4(text, EOctetForm::Plain);
    if (!address) {
        Refuse(std::string(what) + " \"" + text + "\" is no IPv4 address like 192.168.1.20");
    }
    return *address;
}

uint32_t ParseHost(const char* what, const std::string& text) {
    const uint32_t address = Parse(what, text);
    if (const char* const reason = WhyNoHostAddress(address)) {
        Refuse(std::string(what) + " " + text + " cannot be used: " + reason);
    }
    return address;
}

uint32_t ParseMask(const std::string& text) {
    const uint32_t mask = Parse("the mask", text);
    if (!HasRoomForHosts(mask)) {
        Refuse("the mask " + text + " is no subnet mask between 255.0.0.0 and 255.255.255.252");
    }
    return mask;
}

void CheckInSubnet(const char* what, uint32_t address, uint32_t mask) {
    if (!IsHostOf(address, mask)) {
        Refuse(std::string(what) + " " + Ipv4Text(address) + " cannot be used with the mask " +
               Ipv4Text(mask) +
               ((address & ~mask) == 0 ? ": it is the subnet's own number"
                                       : ": it is the subnet's broadcast address"));
    }
}

uint32_t ChooseMask(uint32_t ip, const AddressSurroundings& around) {
    if (HasRoomForHosts(around.m_host.m_mask) && IsInside(ip, around.m_host)) {
        return around.m_host.m_mask;
    }
    return HasRoomForHosts(around.m_camera.m_mask) ? around.m_camera.m_mask : MaskOfLength(24);
}

uint32_t ChooseGateway(const Ipv4Network& subnet, const AddressSurroundings& around) {
    for (const uint32_t candidate : {around.m_gateway, around.m_host.m_address}) {
        if (candidate != 0 && candidate != subnet.m_address && IsInside(candidate, subnet) &&
            IsHostOf(candidate, subnet.m_mask)) {
            return candidate;
        }
    }
    const uint32_t first = (subnet.m_address & subnet.m_mask) + 1;
    return first != subnet.m_address ? first : first + 1;
}

} // namespace

std::optional<HostAddress> FindHostAddress(uint32_t ip, const std::vector<HostAddress>& host) {
    const auto found = std::find_if(host.begin(), host.end(), [&](const HostAddress& address) {
        return address.m_network.m_address == ip;
    });
    return found == host.end() ? std::nullopt : std::optional(*found);
}

EFit FitOf(const Ipv4Network& camera, uint32_t hostIp, const std::vector<HostAddress>& host) {
    if (camera.m_address == 0 || hostIp == 0) {
        return EFit::Unknown;
    }
    constexpr uint32_t kLoopback = 127; // there a camera may well be on the address that sees it
    if (camera.m_address == hostIp && hostIp >> 24 != kLoopback) {
        return EFit::HostsOwn;
    }
    const std::optional<HostAddress> known = FindHostAddress(hostIp, host);
    const Ipv4Network seenBy = {hostIp, known ? known->m_network.m_mask : camera.m_mask};
    return IsInside(camera.m_address, seenBy) && IsInside(hostIp, camera) ? EFit::Fits : EFit::WrongSubnet;
}

const char* FitText(EFit fit) {
    switch (fit) {
    case EFit::Fits:
        return "fits";
    case EFit::WrongSubnet:
        return "wrong subnet";
    case EFit::HostsOwn:
        return "the host's own address";
    case EFit::Unknown:
        break;
    }
    return "unknown";
}

void CheckAddressTexts(const AddressRequest& request) {
    ParseHost("the address", request.m_ip);
    if (!request.m_mask.empty()) {
        ParseMask(request.m_mask);
    }
    if (!request.m_gateway.empty()) {
        ParseHost("the gateway", request.m_gateway);
    }
}

StaticAddress PlanAddress(const AddressRequest& request, const AddressSurroundings& around) {
    StaticAddress plan;
    plan.m_ip = ParseHost("the address", request.m_ip);
    plan.m_mask = request.m_mask.empty() ? ChooseMask(plan.m_ip, around) : ParseMask(request.m_mask);
    CheckInSubnet("the address", plan.m_ip, plan.m_mask);
    const Ipv4Network subnet = {plan.m_ip, plan.m_mask};
    if (request.m_gateway.empty()) {
        plan.m_gateway = ChooseGateway(subnet, around);
        return plan;
    }
    plan.m_gateway = ParseHost("the gateway", request.m_gateway);
    if (!IsInside(plan.m_gateway, subnet)) {
        Refuse("the gateway " + request.m_gateway + " is outside the camera's subnet " + NetworkText(subnet));
    }
    CheckInSubnet("the gateway", plan.m_gateway, plan.m_mask);
    if (plan.m_gateway == plan.m_ip) {
        Refuse("the gateway " + request.m_gateway + " is the camera's own new address");
    }
    return plan;
}

} // namespace ox3d::tool

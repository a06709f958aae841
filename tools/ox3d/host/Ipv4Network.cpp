// Arithmetic of IPv4 subnets.
#include "tools/ox3d/host/Ipv4Network.h"

#include "base/Ipv4.h"

#include <algorithm>
#include <bit>

namespace ox3d::tool {

std::string NetworkText(const Ipv4Network& network) {
    return Ipv4Text(network.m_address) + '/' + std::to_string(LengthOfMask(network.m_mask));
}

uint32_t MaskOfLength(uint32_t bits) {
    return bits == 0 ? 0 : ~uint32_t{0} << (32 - std::min(bits, 32U));
}

uint32_t LengthOfMask(uint32_t mask) {
    return static_cast<uint32_t>(std::countl_one(mask));
}

bool HasRoomForHosts(uint32_t mask) {
    const uint32_t length = LengthOfMask(mask);
    return mask == MaskOfLength(length) && length >= 8 && length <= 30;
}

bool IsHostOf(uint32_t address, uint32_t mask) {
    const uint32_t host = address & ~mask;
    return host != 0 && host != ~mask;
}

const char* WhyNoHostAddress(uint32_t address) {
    if (address >> 24 == 0) {
        return address == 0 ? "it stands for no address at all" : "it means \"this network\"";
    }
    if (address == ~uint32_t{0}) {
        return "it is the broadcast address";
    }
    if (address >> 28 == 0xE) {
        return "it is a multicast address";
    }
    return address >> 28 == 0xF ? "it is reserved" : nullptr;
}

Ipv4Network FreeNetwork(const std::vector<Ipv4Network>& taken) {
    const auto isFree = [&](const Ipv4Network& network) {
        return std::none_of(taken.begin(), taken.end(),
                            [&](const Ipv4Network& other) { return Overlap(network, other); });
    };
    constexpr uint32_t kBlocks[] = {0xC0A80000U, 0xAC100000U, 0x0A000000U}; // 192.168, 172.16 and 10.0
    for (const uint32_t block : kBlocks) {
        for (uint32_t third = 1; third < 255; ++third) {
            const Ipv4Network network = {block | third << 8 | 1, MaskOfLength(24)};
            if (isFree(network)) {
                return network;
            }
        }
    }
    return {0xC0A80101U, MaskOfLength(24)}; // all private addresses are in use: any is as good
}

} // namespace ox3d::tool

// IPv4 addresses and subnets.
#include "tools/ox3d/Ip4.h"

#include <algorithm>
#include <arpa/inet.h>
#include <bit>
#include <netinet/in.h>

namespace ox3dtool {

std::optional<uint32_t> ParseIp4(const std::string& text) {
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return ntohl(address.s_addr);
}

std::string Ip4Text(uint32_t address) {
    return std::to_string(address >> 24) + '.' + std::to_string(address >> 16 & 0xFF) + '.' +
           std::to_string(address >> 8 & 0xFF) + '.' + std::to_string(address & 0xFF);
}

std::string NetworkText(const Ip4Network& network) {
    return Ip4Text(network.m_address) + '/' + std::to_string(LengthOfMask(network.m_mask));
}

uint32_t MaskOfLength(uint32_t bits) {
    return bits == 0 ? 0 : ~uint32_t{0} << (32 - std::min(bits, 32U));
}

uint32_t LengthOfMask(uint32_t mask) {
    return static_cast<uint32_t>(std::countl_one(mask));
}

bool IsSubnetMask(uint32_t mask) {
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

Ip4Network FreeNetwork(const std::vector<Ip4Network>& taken) {
    const auto isFree = [&](const Ip4Network& network) {
        return std::none_of(taken.begin(), taken.end(),
                            [&](const Ip4Network& other) { return Overlap(network, other); });
    };
    constexpr uint32_t kBlocks[] = {0xC0A80000U, 0xAC100000U, 0x0A000000U}; // 192.168, 172.16 and 10.0
    for (const uint32_t block : kBlocks) {
        for (uint32_t third = 1; third < 255; ++third) {
            const Ip4Network network = {block | third << 8 | 1, MaskOfLength(24)};
            if (isFree(network)) {
                return network;
            }
        }
    }
    return {0xC0A80101U, MaskOfLength(24)}; // all private addresses are in use: any is as good
}

} // namespace ox3dtool

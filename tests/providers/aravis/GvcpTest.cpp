// GvcpTest.cpp - control packets to the byte, and answers that nobody should trust.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "base/Ipv4.h"
#include "providers/aravis/Discovery.h"
#include "providers/aravis/Gvcp.h"
#include "providers/aravis/Network.h"

using namespace ox3d;

namespace {

std::vector<uint8_t> Description() {
    std::vector<uint8_t> payload(0xF8);
    const auto put = [&](size_t at, const std::vector<uint8_t>& bytes) {
        for (const uint8_t byte : bytes) {
            payload[at++] = byte;
        }
    };
    const auto text = [&](size_t at, const std::string& value) { put(at, {value.begin(), value.end()}); };
    put(0x0A, {0x02, 0x03, 0x04, 0x05, 0x06, 0x07});
    put(0x10, {0x80, 0, 0, 7});
    put(0x14, {0, 0, 0, 5});
    put(0x24, {192, 168, 1, 20});
    put(0x34, {255, 255, 255, 0});
    put(0x44, {192, 168, 1, 1});
    text(0x48, std::string(32, 'M')); // as long as its field: no NUL
    text(0x68, "Model");
    text(0x88, "1.2");
    text(0xD8, "0123456789ABCDEF");
    text(0xE8, "left");
    return payload;
}

TEST(Gvcp, ReadsADescriptionWithFullFields) {
    const auto record = gvcp::ReadDiscovery(Description());
    ASSERT_TRUE(record);
    EXPECT_EQ(gvcp::MacOf(*record), 0x020304050607u);
    const OX_CC_GIGE_DEVICE_INFO& device = record->stGigEInfo;
    EXPECT_EQ(device.nCurrentIp, 0xC0A80114u);
    EXPECT_EQ(device.nIpCfgOption, 0x07000000u);
    EXPECT_EQ(device.nIpCfgCurrent, 0x05000000u);
    EXPECT_EQ(std::string(device.chManufacturerName, 32), std::string(32, 'M'));
    EXPECT_STREQ(device.chModelName, "Model");
    EXPECT_EQ(std::string(device.chSerialNumber, 16), "0123456789ABCDEF");
    EXPECT_STREQ(device.chUserDefinedName, "left");
}

TEST(Gvcp, RefusesAnswersThatAreShorterThanTheySay) {
    const std::vector<uint8_t> whole = Description();
    for (size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(gvcp::ReadDiscovery(
            std::vector<uint8_t>(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))));
    }
    const std::vector<uint8_t> ack = {0, 0, 0, 0x81, 0, 4, 0, 1, 1, 2, 3, 4};
    ASSERT_TRUE(gvcp::ReadAck(ack));
    EXPECT_EQ(gvcp::ReadAck(ack)->m_payload.size(), 4u);
    for (size_t length = 0; length < ack.size(); ++length) {
        EXPECT_FALSE(gvcp::ReadAck(
            std::vector<uint8_t>(ack.begin(), ack.begin() + static_cast<std::ptrdiff_t>(length))));
    }
}

TEST(Gvcp, ReadsEventsAndTheirData) {
    std::vector<uint8_t> packet = {0x42, 1, 0, 0xC0, 0, 32, 0, 7};
    for (const uint8_t id : {4, 5}) {
        for (const uint8_t byte : std::vector<uint8_t>{0, 0, 0, id, 0, 1, 0, 9, 0, 0, 0, 1, 0, 0, 0, 2}) {
            packet.push_back(byte);
        }
    }
    auto command = gvcp::ReadEvents(packet);
    ASSERT_TRUE(command);
    EXPECT_TRUE(command->m_isAckWanted);
    ASSERT_EQ(command->m_events.size(), 2u);
    EXPECT_EQ(command->m_events[1].m_id, 5);
    EXPECT_EQ(command->m_events[1].m_blockId, 9);
    EXPECT_EQ(command->m_events[1].m_timestamp, 0x100000002u);
    packet[3] = 0xC2; // the second event becomes the first one's data
    command = gvcp::ReadEvents(packet);
    ASSERT_EQ(command->m_events.size(), 1u);
    EXPECT_EQ(command->m_events[0].m_data.size(), 16u);
    packet.pop_back();
    EXPECT_FALSE(gvcp::ReadEvents(packet));
}

TEST(Network, KnowsAddressesAndMasks) {
    EXPECT_TRUE(IsHostAddress(0x0A000001));
    for (const uint32_t ip : {0x00000001u, 0xE0000001u, 0xFFFFFFFFu}) {
        EXPECT_FALSE(IsHostAddress(ip));
    }
    for (const uint32_t mask : {0xFF000000u, 0xFFFFFFFEu, 0xFFFFFFFFu, 0x80000000u}) {
        EXPECT_TRUE(IsSubnetMask(mask));
    }
    for (const uint32_t mask : {0u, 0xFF00FF00u, 0x00FFFFFFu}) {
        EXPECT_FALSE(IsSubnetMask(mask));
    }
    EXPECT_EQ(Ipv4Text(0xC0A8010A), "192.168.1.10");
}

TEST(Discovery, PrefersTheInterfaceOfTheCamerasOwnSubnet) {
    OX_CC_DEVICE_INFO direct = *gvcp::ReadDiscovery(Description());
    OX_CC_DEVICE_INFO other = direct;
    direct.stGigEInfo.nNetExport = 0xC0A8010A;
    other.stGigEInfo.nNetExport = 0x0A000001;
    EXPECT_TRUE(IsBetterWay(direct, other));
    EXPECT_FALSE(IsBetterWay(other, direct));
    EXPECT_FALSE(IsBetterWay(direct, direct));
}

} // namespace

// GvcpTest.cpp - control packets to the byte, and answers that nobody should trust.
#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <thread>

#include "base/Ipv4.h"
#include "base/UdpSocket.h"
#include "providers/aravis/Discovery.h"
#include "providers/aravis/Gvcp.h"
#include "providers/aravis/GvcpClient.h"

using namespace ox3d;

namespace {

using Bytes = std::vector<uint8_t>;

// Every byte is its own place: no text has an end before that of its field.
Bytes Description() {
    Bytes payload(0xF8);
    std::iota(payload.begin(), payload.end(), uint8_t{0});
    return payload;
}

template <size_t N>
void ExpectText(const char (&field)[N], uint8_t place) {
    for (const char character : field) {
        EXPECT_EQ(static_cast<uint8_t>(character), place++);
    }
}

TEST(Gvcp, ReadsADescriptionWithFullFields) {
    const auto record = gvcp::ReadDiscovery(Description());
    ASSERT_TRUE(record);
    EXPECT_EQ(gvcp::MacOf(*record), 0x0A0B0C0D0E0Fu);
    const OX_CC_GIGE_DEVICE_INFO& device = record->stGigEInfo;
    EXPECT_EQ(device.nIpCfgOption, 0x03000000u);
    EXPECT_EQ(device.nIpCfgCurrent, 0x07000000u);
    EXPECT_EQ(device.nCurrentIp, 0x24252627u);
    EXPECT_EQ(device.nCurrentSubNetMask, 0x34353637u);
    EXPECT_EQ(device.nDefaultGateWay, 0x44454647u);
    ExpectText(device.chManufacturerName, 0x48);
    ExpectText(device.chModelName, 0x68);
    ExpectText(device.chDeviceVersion, 0x88);
    ExpectText(device.chManufacturerSpecificInfo, 0xA8);
    ExpectText(device.chSerialNumber, 0xD8);
    ExpectText(device.chUserDefinedName, 0xE8);
}

TEST(Gvcp, ReadsEventsAndTheirData) {
    Bytes packet = {0x42, 1, 0, 0xC0, 0, 32, 0, 7,                         // header
                    0,    0, 0, 4,    0, 1,  0, 9, 0, 0, 0, 1, 0, 0, 0, 2, // one event
                    0,    0, 0, 5,    0, 1,  0, 9, 0, 0, 0, 1, 0, 0, 0, 2};
    auto command = gvcp::ReadEvents(packet);
    ASSERT_TRUE(command);
    EXPECT_TRUE(command->m_isAckWanted);
    ASSERT_EQ(command->m_events.size(), 2u);
    EXPECT_EQ(command->m_events[1].m_id, 5);
    EXPECT_EQ(command->m_events[1].m_streamChannel, 1);
    EXPECT_EQ(command->m_events[1].m_blockId, 9);
    EXPECT_EQ(command->m_events[1].m_timestamp, 0x100000002u);
    packet[1] = 0x10; // a flag that asks for nothing
    packet[3] = 0xC2; // the second event becomes the first one's data
    command = gvcp::ReadEvents(packet);
    ASSERT_EQ(command->m_events.size(), 1u);
    EXPECT_EQ(command->m_events[0].m_data.size(), 16u);
    EXPECT_FALSE(command->m_isAckWanted);
    packet.pop_back();
    EXPECT_FALSE(gvcp::ReadEvents(packet));
}

TEST(GvcpClient, GivesABusyCameraTheTimeThatItAsksForAndTakesNoOthersAnswer) {
    constexpr Endpoint kCamera{0x7F030956, 3956};
    CUdpSocket camera;
    ASSERT_TRUE(camera.Open(kCamera));
    std::thread answers([&] {
        Bytes read(12);
        Endpoint from;
        EXPECT_TRUE(camera.WaitForDatagram(std::chrono::steady_clock::now() + std::chrono::seconds(20)));
        camera.Receive(read, &from);
        EXPECT_EQ(read, (Bytes{0x42, 1, 0, 0x80, 0, 4, 0, 1, 0, 0, 0x0A, 0}));
        for (const Bytes& answer : {Bytes{0, 0, 0, 0x89, 0, 4, 0, 1, 0, 0, 0x7F, 0}, // for half a minute
                                    Bytes{0, 0, 0, 0x81, 0, 4, 0, 2, 9, 9, 9, 9},    // to another command
                                    Bytes{0, 0, 0, 0x81, 0, 4, 0, 1, 1, 2, 3, 4}}) {
            camera.Send(answer, from);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });
    uint32_t value = 0;
    EXPECT_EQ(CGvcpClient(0x7F000001, kCamera.m_ip, 3000, 1).Read(0x0A00, &value), EGvcpResult::Ok);
    EXPECT_EQ(value, 0x01020304U);
    answers.join();
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
}

TEST(Discovery, PrefersTheInterfaceOfTheCamerasOwnSubnet) {
    OX_CC_DEVICE_INFO direct{};
    direct.stGigEInfo.nCurrentIp = 0xC0A80114;
    direct.stGigEInfo.nCurrentSubNetMask = 0xFFFFFF00;
    OX_CC_DEVICE_INFO other = direct;
    direct.stGigEInfo.nNetExport = 0xC0A8010A;
    other.stGigEInfo.nNetExport = 0x0A000001;
    EXPECT_TRUE(IsBetterWay(direct, other));
    EXPECT_FALSE(IsBetterWay(other, direct));
    EXPECT_FALSE(IsBetterWay(direct, direct));
}

} // namespace

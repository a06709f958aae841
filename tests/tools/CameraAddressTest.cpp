// Which addresses ox3d network gives to cameras, and which it refuses.
#include "tools/ox3d/host/CameraAddress.h"
#include "base/Ipv4.h"
#include "tools/ox3d/ExitCode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ox3d::tool {
namespace {

using ::testing::HasSubstr;

uint32_t Ip(const char* text) {
    return ParseIpv4(text, EOctetForm::Plain).value_or(0);
}

// The plan as "address mask gateway", or why there is none.
std::string Plan(const AddressRequest& request, const AddressSurroundings& around = {}) {
    try {
        CheckAddressTexts(request);
        const StaticAddress plan = PlanAddress(request, around);
        return Ipv4Text(plan.m_ip) + " " + Ipv4Text(plan.m_mask) + " " + Ipv4Text(plan.m_gateway);
    } catch (const CToolError& error) {
        EXPECT_EQ(error.Code(), EExitCode::Usage);
        return error.what();
    }
}

TEST(CameraAddress, IsRefusedWhereNoHostCanHaveIt) {
    const struct {
        AddressRequest request;
        const char* message;
    } rows[] = {
        {{"192.168.1", "", ""}, "is no IPv4 address"},
        {{"010.0.0.1", "", ""}, "is no IPv4 address"},
        {{"0.0.0.0", "", ""}, "no address at all"},
        {{"0.1.2.3", "", ""}, "this network"},
        {{"255.255.255.255", "", ""}, "the broadcast address"},
        {{"224.0.0.1", "", ""}, "multicast"},
        {{"240.0.0.1", "", ""}, "reserved"},
        {{"10.0.0.5", "255.0.255.0", ""}, "no subnet mask"},
        {{"10.0.0.5", "255.255.255.254", ""}, "no subnet mask"},
        {{"10.0.0.0", "", ""}, "subnet's own number"},
        {{"10.0.0.255", "", ""}, "subnet's broadcast"},
        {{"10.0.0.7", "255.255.255.252", ""}, "subnet's broadcast"},
        {{"10.0.0.5", "255.255.255.0", "10.0.1.1"}, "outside the camera's subnet"},
        {{"10.0.0.5", "255.255.255.0", "10.0.0.255"}, "subnet's broadcast"},
        {{"10.0.0.5", "255.255.255.0", "10.0.0.5"}, "own new address"},
        {{"10.0.0.5", "", "0.0.0.0"}, "no address at all"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(Plan(row.request), HasSubstr(row.message)) << row.request.m_ip;
    }
}

TEST(CameraAddress, IsCompletedFromHostAndCamera) {
    AddressSurroundings around;
    EXPECT_EQ(Plan({"10.0.0.5", "", ""}, around), "10.0.0.5 255.255.255.0 10.0.0.1");
    EXPECT_EQ(Plan({"10.0.0.1", "", ""}, around), "10.0.0.1 255.255.255.0 10.0.0.2");
    around.m_camera = {Ip("172.16.3.4"), MaskOfLength(20)};
    around.m_gateway = Ip("172.16.0.1");
    EXPECT_EQ(Plan({"172.16.3.9", "", ""}, around), "172.16.3.9 255.255.240.0 172.16.0.1");
    around.m_host = {Ip("10.0.0.10"), MaskOfLength(16)};
    EXPECT_EQ(Plan({"10.0.0.255", "", ""}, around), "10.0.0.255 255.255.0.0 10.0.0.10");
    EXPECT_EQ(Plan({"10.0.0.5", "255.255.255.0", "10.0.0.9"}, around), "10.0.0.5 255.255.255.0 10.0.0.9");
}

TEST(CameraAddress, FitsWhenBothSidesReachEachOther) {
    const std::vector<HostAddress> host = {{"eth1", {Ip("192.168.1.10"), MaskOfLength(24)}}};
    const struct {
        const char* camera;
        uint32_t bits;
        const char* seenBy;
        EFit fit;
    } rows[] = {
        {"192.168.1.101", 24, "192.168.1.10", EFit::Fits},
        {"192.168.2.101", 24, "192.168.1.10", EFit::WrongSubnet},
        {"192.168.2.101", 16, "192.168.1.10", EFit::WrongSubnet}, // only the camera believes it is near
        {"192.168.1.101", 28, "192.168.1.10", EFit::WrongSubnet}, // only the host does
        {"192.168.1.10", 24, "192.168.1.10", EFit::HostsOwn},
        {"127.0.0.1", 8, "127.0.0.1", EFit::Fits},
        {"10.0.0.5", 24, "10.0.0.1", EFit::Fits}, // an interface that is not among the host's
        {"", 24, "192.168.1.10", EFit::Unknown},
        {"192.168.1.101", 24, "", EFit::Unknown},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(FitOf({Ip(row.camera), MaskOfLength(row.bits)}, Ip(row.seenBy), host), row.fit)
            << row.camera << " " << row.bits;
    }
}

TEST(FreeNetwork, OverlapsWithNoneOfThose) {
    EXPECT_EQ(NetworkText(FreeNetwork({{Ip("192.168.1.7"), MaskOfLength(24)}})), "192.168.2.1/24");
    EXPECT_EQ(NetworkText(FreeNetwork({{Ip("192.168.9.7"), MaskOfLength(16)}})), "172.16.1.1/24");
}

} // namespace
} // namespace ox3d::tool

// Which addresses ox3d network gives to cameras, what ox3d doctor reads from a host, and what it makes of it.
#include "base/Ipv4.h"
#include "tests/support/Files.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/host/CameraAddress.h"
#include "tools/ox3d/host/HostChecks.h"
#include "tools/ox3d/host/UdevRules.h"

#include <cerrno>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tuple>

namespace ox3d::tool {
namespace {

using namespace ::testing;

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
    const std::pair<AddressRequest, const char*> rows[] = {
        {{"192.168.1", "", ""}, "is no IPv4 address"},
        {{"0.0.0.0", "", ""}, "no address at all"},
        {{"0.1.2.3", "", ""}, "this network"},
        {{"255.255.255.255", "", ""}, "the broadcast address"},
        {{"224.0.0.1", "", ""}, "multicast"},
        {{"240.0.0.1", "", ""}, "reserved"},
        {{"10.0.0.5", "255.0.255.0", ""}, "no subnet mask"},
        {{"10.0.0.5", "0.0.0.0", ""}, "no subnet mask"},
        {{"10.0.0.5", "255.255.255.254", ""}, "no subnet mask"},
        {{"10.0.0.0", "", ""}, "subnet's own number"},
        {{"10.0.0.7", "255.255.255.252", ""}, "subnet's broadcast"},
        {{"10.0.0.5", "255.255.255.0", "10.0.1.1"}, "outside the camera's subnet"},
        {{"10.0.0.5", "255.255.255.0", "10.0.0.255"}, "subnet's broadcast"},
        {{"10.0.0.5", "255.255.255.0", "10.0.0.5"}, "own new address"},
        {{"10.0.0.5", "", "0.0.0.0"}, "no address at all"},
    };
    for (const auto& [request, message] : rows) {
        EXPECT_THAT(Plan(request), HasSubstr(message)) << request.m_ip;
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
    EXPECT_EQ(Plan({"10.0.0.10", "", ""}, around), "10.0.0.10 255.255.0.0 10.0.0.1");
    EXPECT_EQ(Plan({"10.0.0.5", "255.255.255.0", "10.0.0.9"}, around), "10.0.0.5 255.255.255.0 10.0.0.9");
}

TEST(CameraAddress, FitsWhenBothSidesReachEachOther) {
    const std::vector<HostAddress> host = {{"eth1", {Ip("192.168.1.10"), MaskOfLength(24)}}};
    const std::tuple<const char*, uint32_t, const char*, EFit> rows[] = {
        {"192.168.1.101", 24, "192.168.1.10", EFit::Fits},
        {"192.168.2.101", 16, "192.168.1.10", EFit::WrongSubnet}, // only the camera takes it for near
        {"192.168.1.101", 28, "192.168.1.10", EFit::WrongSubnet}, // only the host does
        {"192.168.1.10", 24, "192.168.1.10", EFit::HostsOwn},
        {"127.0.0.1", 8, "127.0.0.1", EFit::Fits},
        {"10.0.0.5", 24, "10.0.0.1", EFit::Fits}, // an interface that is not among the host's
        {"", 24, "192.168.1.10", EFit::Unknown},
        {"192.168.1.101", 24, "", EFit::Unknown},
    };
    for (const auto& [camera, bits, seenBy, fit] : rows) {
        EXPECT_EQ(FitOf({Ip(camera), MaskOfLength(bits)}, Ip(seenBy), host), fit) << camera << " " << bits;
    }
}

constexpr uint32_t kHostIp = 0xC0A8010A;   // 192.168.1.10
constexpr uint32_t kCameraIp = 0xC0A80165; // 192.168.1.101

HostFacts HealthyHost() {
    HostFacts facts;
    facts.m_interfaces = {{"lo", {{0x7F000001, MaskOfLength(8)}}, 65536, 0, false},
                          {"eth1", {{kHostIp, MaskOfLength(24)}}, 9000, 2, true}};
    facts.m_receiveLimitBytes = 33554432;
    facts.m_usbMemoryMb = 1000;
    facts.m_udevRule = "/etc/udev/rules.d/60-cameras.rules";
    facts.m_tool = "/opt/my tools/ox3d";
    facts.m_cameras = {{"S1'; reboot", kCameraIp, MaskOfLength(24), kHostIp, "", 8192, 8060000, false, ""}};
    return facts;
}

std::string AllText(const Finding& finding) {
    std::string text = finding.m_saw + "\n" + finding.m_follows;
    for (const std::string& command : finding.m_commands) {
        text += "\n" + command;
    }
    return text;
}

constexpr auto kReceiveLimit = &HostFacts::m_receiveLimitBytes;
constexpr auto kUsbMemory = &HostFacts::m_usbMemoryMb;
constexpr auto kUdevFile = &HostFacts::m_udevRule;
constexpr auto kPayload = &CameraFacts::m_payloadBytes;
constexpr auto kPacketSize = &CameraFacts::m_packetSizeBytes;
constexpr auto kIsSizeFitted = &HostFacts::m_isPacketSizeFitted;
constexpr auto kMtu = &InterfaceFacts::m_mtuBytes;
constexpr auto kNetworks = &InterfaceFacts::m_networks;
constexpr auto kReversePath = &InterfaceFacts::m_reversePath;
using Spoil = std::function<void(HostFacts&)>;

// Of the host, its camera or its Ethernet interface, whichever has the member.
template <typename TOwner, typename TMember, typename TValue>
Spoil Set(TMember TOwner::*member, TValue value) {
    return [=](HostFacts& facts) {
        std::get<TOwner&>(std::tie(facts, facts.m_cameras[0], facts.m_interfaces[1])).*member = value;
    };
}
Spoil Wifi(uint32_t ip) {
    return [=](HostFacts& facts) {
        facts.m_interfaces.push_back({"wlan0", {{ip, MaskOfLength(24)}}, 1500, 0, false});
    };
}
Spoil Usb(bool isUsable) {
    return Set(&HostFacts::m_usbCameras,
               std::vector<UsbCameraFacts>{{"1-2", "/dev/bus/usb/001/004", isUsable}});
}
const Spoil kUdpOnly = Set(&HostFacts::m_packetSocketError, EPERM);

using enum EMark;
// Topic, mark, what is said or to be run, and what spoils the host.
const std::tuple<const char*, EMark, const char*, std::vector<Spoil>> kRows[] = {
    {"library path", Problem, "setcap -r '/opt/my tools/", {Set(&HostFacts::m_ignoresLibraryPath, true)}},
    {"packet socket", Note, "--ambient-caps=+net_raw '/opt/my tools/ox3d'", {kUdpOnly}},
    {"receive buffer", Note, "rmem_max=33554432' | sudo tee", {Set(kReceiveLimit, 8059999)}},
    {"receive buffer", Problem, "rmem_max=33554432'", {kUdpOnly, Set(kReceiveLimit, 8059999)}},
    {"receive buffer", Ok, "a frame has 8060000", {kUdpOnly, Set(kReceiveLimit, 8060000)}},
    {"receive buffer", Note, "rmem_max=135266304'", {Set(kPayload, 33554433)}}, // four frames
    {"receive buffer", Note, "8388608 bytes (assumed)", {Set(kPayload, 0), Set(kReceiveLimit, 1)}},
    {"receive buffer", Note, "cannot be read", {Set(kReceiveLimit, std::nullopt)}},
    {"MTU", Note, "ip link set dev eth1 mtu 9000", {Set(kMtu, 7999)}},
    {"MTU", Problem, "eth1: 7999 bytes", {kUdpOnly, Set(kMtu, 7999)}},
    {"MTU", Ok, "eth1: 8000 bytes", {kUdpOnly, Set(kMtu, 8000)}},
    {"MTU", Note, "add 192.168.1.1/24 dev INTERFACE", {Set(kNetworks, std::vector<Ipv4Network>())}},
    {"MTU", Note, "wlan0: 1500", {Wifi(0x0A000001), Set(&CameraFacts::m_hostIp, 0x0A000001)}},
    {"packet size", Problem, "ip link set dev eth1 mtu 9014", {Set(kPacketSize, 9014)}},
    {"packet size", Ok, "control fits it", {Set(kPacketSize, 9014), Set(kIsSizeFitted, true)}},
    {"packet size", Note, "set GevSCPSPacketSize to 9000", {Set(kPacketSize, 1500)}},
    {"packet size", Note, "not asked, it is in use", {Set(&CameraFacts::m_whyNotAsked, "it is in use")}},
    {"packet size", Ok, "no interface of", {Set(kPacketSize, 60000), Set(&CameraFacts::m_hostIp, 1)}},
    {"reverse path", Note, "strict on eth1", {Set(kReversePath, 1)}},
    {"reverse path", Problem, "net.ipv4.conf.all.rp_filter=2", {Set(kReversePath, 1), Wifi(0x0A000001)}},
    {"subnets", Problem, "77/24 dev wlan0 && sudo ip address add 192.168.2.1/24 dev", {Wifi(0xC0A8014D)}},
    {"subnets", Ok, "", {Wifi(0xC0A8024D)}},
    {"subnets",
     Ok,
     "",
     {Set(kNetworks, std::vector{Ipv4Network{kHostIp, MaskOfLength(32)}}), Wifi(0xC0A8014D)}},
    {"camera address", Problem, "--serial 'S1'\\''; reboot' --set-ip", {Set(&CameraFacts::m_ip, 0x0A000005)}},
    {"camera address", Problem, "the host's own address", {Set(&CameraFacts::m_ip, kHostIp)}},
    {"camera address", Problem, "10: it does not answer", {Set(&CameraFacts::m_isOutOfReach, true)}},
    {"camera kind", Note, "info --3d --serial 'S1'", {Set(&CameraFacts::m_kind, "Plain2d")}},
    {"camera kind", Ok, ": Sfnc3d", {Set(&CameraFacts::m_kind, "Sfnc3d")}},
    {"USB memory", Note, "echo 8192 ", {Set(kPayload, UINT64_MAX)}}, // what is not believed
    {"USB memory", Note, "echo 1000 | sudo tee /sys/module/usbcore/par", {Set(kUsbMemory, 61)}},
    {"USB memory", Ok, "limit is 62", {Set(kUsbMemory, 62), Usb(true)}},
    {"USB memory", Problem, "8 frames of 8060000 bytes need 62 MB", {Set(kUsbMemory, 61), Usb(true)}},
    {"USB memory", Ok, "limit is 0", {Set(kUsbMemory, 0)}}, // without limit
    {"USB memory", Ok, "no USB here", {Set(kUsbMemory, std::nullopt)}},
    {"USB access", Note, kUdevRuleFile, {Set(kUdevFile, std::nullopt)}},
    {"USB access", Problem, kUdevRule, {Usb(false)}}, // a rule that does not help is as bad as none
    {"USB access", Ok, "/dev/bus/usb/001/004 may be used", {Set(kUdevFile, std::nullopt), Usb(true)}},
};

TEST(Doctor, MarksWhatSpoilsStreamingAndSaysWhatMendsIt) {
    for (const Finding& finding : JudgeHost(HealthyHost())) {
        EXPECT_EQ(finding.m_mark, Ok) << AllText(finding);
    }
    for (const auto& [topic, mark, expected, spoils] : kRows) {
        HostFacts facts = HealthyHost();
        for (const Spoil& spoil : spoils) {
            spoil(facts);
        }
        bool isFound = false;
        for (const Finding& finding : JudgeHost(facts)) {
            const std::string text = AllText(finding);
            isFound = isFound || (finding.m_topic == topic && finding.m_mark == mark &&
                                  text.find(expected) != std::string::npos);
            EXPECT_FALSE(finding.m_mark == Ok && !finding.m_commands.empty()) << text;
            EXPECT_FALSE(finding.m_mark == Problem && finding.m_commands.empty()) << text;
        }
        EXPECT_TRUE(isFound) << topic << ": " << expected;
    }
}

TEST(Doctor, FindsTheUdevRulesThatCoverAnyUsb3VisionCamera) {
    const std::pair<std::string, bool> rows[] = {
        {kUdevRule, true},
        {"ATTR{bInterfaceClass}==\"EF\", \\\n ATTR{bInterfaceSubClass}==\"05\", MODE=\"0666\"", true},
        {"ENV{ID_USB_INTERFACES}==\"*:ef05*\", TAG+=\"uaccess\"", true},
        {std::string("# ") + kUdevRule, false},
        {"ENV{ID_USB_INTERFACES}==\"*:ef05*\", SYMLINK+=\"camera\"", false}, // a name is no access
        {"ENV{ID_USB_INTERFACES}==\"*:0e01*\", MODE=\"0666\"", false},       // webcams
        {"ATTRS{idVendor}==\"1209\", MODE=\"0666\"", false},
    };
    for (const auto& [rules, covers] : rows) {
        EXPECT_EQ(CoversUsb3Vision(rules), covers) << rules;
    }
}

class DoctorFiles : public ::testing::Test {
protected:
    void Put(const std::string& file, const std::string& text) const {
        std::filesystem::create_directories((m_root.Path() / file).parent_path());
        test::WriteFile(m_root.Path() / file, text);
    }
    HostFacts Read() const {
        return ReadHostFiles(m_root.Path(), {{"eth1", {}, 0, 0, true},
                                             {"wlan0", {}, 0, 0, true},
                                             {"br0", {}, 0, 0, true},
                                             {"lo", {}, 0, 0, false}});
    }
    test::CTempFolder m_root;
};

TEST_F(DoctorFiles, GiveTheFactsOfInterfacesAndLimits) {
    Put("proc/sys/net/core/rmem_max", "212992\n");
    Put("proc/sys/net/ipv4/conf/all/rp_filter", "1\n");
    Put("proc/sys/net/ipv4/conf/eth1/rp_filter", "2\n");
    Put("sys/module/usbcore/parameters/usbfs_memory_mb", "16\n");
    Put("sys/class/net/wlan0/phy80211/name", "phy0\n");
    Put("sys/class/net/br0/bridge/bridge_id", "8000\n");
    const HostFacts facts = Read();
    EXPECT_EQ(facts.m_receiveLimitBytes, 212992U);
    EXPECT_EQ(facts.m_usbMemoryMb, 16U);
    for (const InterfaceFacts& interface : facts.m_interfaces) {
        const bool isWired = interface.m_name == "eth1";
        EXPECT_EQ(interface.m_carriesCameras, isWired) << interface.m_name;
        EXPECT_EQ(interface.m_reversePath, isWired ? 2U : 1U) << interface.m_name;
    }
}

TEST(Doctor, KnowsTheInterfacesOfItsOwnNamespace) {
    EXPECT_THAT(ReadInterfaces(), Contains(AllOf(Field(&InterfaceFacts::m_name, "lo"),
                                                 Field(&InterfaceFacts::m_mtuBytes, Gt(0)),
                                                 Field(&InterfaceFacts::m_carriesCameras, false))));
}

TEST_F(DoctorFiles, GiveTheUsbCamerasAndWhetherTheyMayBeUsed) {
    const std::string devices = "sys/bus/usb/devices/";
    for (const char* const interface : {"1-2:1.0", "1-2:1.1", "1-3:1.0", "2-1:1.0"}) {
        const bool isWebcam = std::string(interface) == "2-1:1.0";
        Put(devices + interface + "/bInterfaceClass", isWebcam ? "0e\n" : "ef\n");
        Put(devices + interface + "/bInterfaceSubClass", "05\n");
    }
    Put(devices + "1-2/busnum", "1\n");
    Put(devices + "1-2/devnum", "14\n");
    Put(devices + "1-3/busnum", "nonsense\n");
    Put("dev/bus/usb/001/014", "");
    const HostFacts facts = Read();
    ASSERT_EQ(facts.m_usbCameras.size(), 2U);
    EXPECT_EQ(facts.m_usbCameras[0].m_node, "/dev/bus/usb/001/014");
    EXPECT_TRUE(facts.m_usbCameras[0].m_isUsable);
    EXPECT_FALSE(facts.m_usbCameras[1].m_isUsable);
}

TEST_F(DoctorFiles, AreMissedQuietlyAndRulesHideThoseOfTheSameName) {
    Put("proc/sys/net/core/rmem_max", "212992B\n");
    Put("usr/lib/udev/rules.d/70-cameras.rules", kUdevRule);
    EXPECT_FALSE(Read().m_receiveLimitBytes || Read().m_usbMemoryMb);
    EXPECT_THAT(Read().m_udevRule.value_or(""), HasSubstr("usr/lib/udev/rules.d/70-cameras.rules"));
    Put("etc/udev/rules.d/70-cameras.rules", "");
    EXPECT_FALSE(Read().m_udevRule);
}

} // namespace
} // namespace ox3d::tool

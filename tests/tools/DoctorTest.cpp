// What ox3d doctor reads from a host, and what it makes of it.
#include "tests/support/Files.h"
#include "tools/ox3d/host/HostChecks.h"
#include "tools/ox3d/host/UdevRules.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ox3d::tool {
namespace {

using ::testing::HasSubstr;

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
    facts.m_cameras = {{"S1", kCameraIp, MaskOfLength(24), kHostIp, "", 8192, 8060000}};
    return facts;
}

std::string AllText(const Finding& finding) {
    std::string text = finding.m_saw + "\n" + finding.m_follows;
    for (const std::string& command : finding.m_commands) {
        text += "\n" + command;
    }
    return text;
}

TEST(Doctor, HasNothingToSayAboutAHealthyHost) {
    for (const Finding& finding : JudgeHost(HealthyHost())) {
        EXPECT_EQ(finding.m_mark, EMark::Ok) << finding.m_topic << ": " << AllText(finding);
        EXPECT_TRUE(finding.m_commands.empty()) << finding.m_topic;
    }
}

void AddWifi(HostFacts& facts, uint32_t ip) {
    facts.m_interfaces.push_back({"wlan0", {{ip, MaskOfLength(24)}}, 1500, 0, false});
}

struct Row {
    const char* m_topic;
    EMark m_mark;
    const char* m_text; // in what is said or to be run
    std::function<void(HostFacts&)> m_spoil;
};

const Row kRows[] = {
    {"library path", EMark::Problem, "sudo setcap -r '/opt/my tools/ox3d'",
     [](HostFacts& f) { f.m_ignoresLibraryPath = true; }},
    {"packet socket", EMark::Note, "--ambient-caps=+net_raw '/opt/my tools/ox3d'",
     [](HostFacts& f) { f.m_packetSocketError = EPERM; }},
    {"receive buffer", EMark::Note, "net.core.rmem_max=33554432' | sudo tee",
     [](HostFacts& f) { f.m_receiveLimitBytes = 8059999; }},
    {"receive buffer", EMark::Problem, "net.core.rmem_max=104857600'", // four frames of it
     [](HostFacts& f) {
         f.m_packetSocketError = EPERM;
         f.m_receiveLimitBytes = 212992;
         f.m_cameras[0].m_payloadBytes = 26214400;
     }},
    {"receive buffer", EMark::Note, "8388608 bytes (assumed)",
     [](HostFacts& f) {
         f.m_cameras.clear();
         f.m_receiveLimitBytes = 8388607;
     }},
    {"receive buffer", EMark::Note, "cannot be read", [](HostFacts& f) { f.m_receiveLimitBytes.reset(); }},
    {"MTU", EMark::Note, "sudo ip link set dev eth1 mtu 9000",
     [](HostFacts& f) {
         f.m_cameras[0].m_packetSizeBytes = 1500;
         f.m_interfaces[1].m_mtuBytes = 1500;
     }},
    {"MTU", EMark::Problem, "eth1: 1500 bytes",
     [](HostFacts& f) {
         f.m_packetSocketError = EPERM;
         f.m_interfaces[1].m_mtuBytes = 1500;
     }},
    {"MTU", EMark::Note, "sudo ip address add 192.168.1.1/24 dev INTERFACE",
     [](HostFacts& f) { f.m_interfaces[1].m_networks.clear(); }},
    {"packet size", EMark::Problem, "sudo ip link set dev eth1 mtu 9014",
     [](HostFacts& f) { f.m_cameras[0].m_packetSizeBytes = 9014; }},
    {"packet size", EMark::Ok, "9014 bytes now; the camera control fits it",
     [](HostFacts& f) {
         f.m_isPacketSizeFitted = true;
         f.m_cameras[0].m_packetSizeBytes = 9014;
     }},
    {"packet size", EMark::Note, "set GevSCPSPacketSize to 9000",
     [](HostFacts& f) { f.m_cameras[0].m_packetSizeBytes = 1500; }},
    {"packet size", EMark::Note, "not asked, it is in use",
     [](HostFacts& f) { f.m_cameras[0].m_whyNotAsked = "it is in use"; }},
    {"packet size", EMark::Ok, "no interface of this host saw the camera",
     [](HostFacts& f) {
         f.m_cameras[0].m_packetSizeBytes = 60000;
         f.m_cameras[0].m_hostIp = kHostIp + 1;
     }},
    {"reverse path", EMark::Note, "strict on eth1",
     [](HostFacts& f) { f.m_interfaces[1].m_reversePath = 1; }},
    {"reverse path", EMark::Problem, "net.ipv4.conf.all.rp_filter=2",
     [](HostFacts& f) {
         f.m_interfaces[1].m_reversePath = 1;
         AddWifi(f, 0x0A000001);
     }},
    {"subnets", EMark::Problem,
     "del 192.168.1.77/24 dev wlan0 && sudo ip address add 192.168.2.1/24 dev wlan0",
     [](HostFacts& f) { AddWifi(f, 0xC0A8014D); }},
    {"subnets", EMark::Ok, "", [](HostFacts& f) { AddWifi(f, 0xC0A8024D); }},
    {"camera address", EMark::Problem, "network --serial 'S1; reboot' --set-ip ADDRESS",
     [](HostFacts& f) {
         f.m_cameras[0].m_serial = "S1; reboot";
         f.m_cameras[0].m_ip = 0x0A000005;
     }},
    {"USB memory", EMark::Note, "echo 1000 | sudo tee /sys/module/usbcore/parameters/usbfs_memory_mb",
     [](HostFacts& f) { f.m_usbMemoryMb = 16; }},
    {"USB memory", EMark::Problem, "8 frames of 8060000 bytes need 62 MB",
     [](HostFacts& f) {
         f.m_usbMemoryMb = 61;
         f.m_usbCameras = {{"1-2", "/dev/bus/usb/001/004", true}};
     }},
    {"USB memory", EMark::Ok, "limit is 0", [](HostFacts& f) { f.m_usbMemoryMb = 0; }},
    {"USB memory", EMark::Ok, "no USB here", [](HostFacts& f) { f.m_usbMemoryMb.reset(); }},
    {"USB access", EMark::Note, kUdevRuleFile, [](HostFacts& f) { f.m_udevRule.reset(); }},
    {"USB access", EMark::Problem, kUdevRule, // a rule that does not help is as bad as none
     [](HostFacts& f) {
         f.m_usbCameras = {{"1-2", "/dev/bus/usb/001/004", false}};
     }},
    {"USB access", EMark::Ok, "/dev/bus/usb/001/004 may be used",
     [](HostFacts& f) {
         f.m_udevRule.reset();
         f.m_usbCameras = {{"1-2", "/dev/bus/usb/001/004", true}};
     }},
};

TEST(Doctor, MarksWhatSpoilsStreamingAndSaysWhatMendsIt) {
    for (const Row& row : kRows) {
        HostFacts facts = HealthyHost();
        row.m_spoil(facts);
        bool isFound = false;
        for (const Finding& finding : JudgeHost(facts)) {
            const std::string text = AllText(finding);
            isFound = isFound || (finding.m_topic == row.m_topic && finding.m_mark == row.m_mark &&
                                  text.find(row.m_text) != std::string::npos);
            EXPECT_FALSE(finding.m_mark == EMark::Ok && !finding.m_commands.empty()) << text;
            EXPECT_FALSE(finding.m_mark == EMark::Problem && finding.m_commands.empty()) << text;
        }
        EXPECT_TRUE(isFound) << row.m_topic << ": " << row.m_text;
    }
}

TEST(Doctor, FindsTheUdevRulesThatCoverAnyUsb3VisionCamera) {
    const struct {
        std::string rules;
        bool covers;
    } rows[] = {
        {kUdevRule, true},
        {"ATTR{bInterfaceClass}==\"EF\", \\\n ATTR{bInterfaceSubClass}==\"05\", MODE=\"0666\"", true},
        {std::string("# ") + kUdevRule, false},
        {"ENV{ID_USB_INTERFACES}==\"*:ef05*\", SYMLINK+=\"camera\"", false}, // a name is no access
        {"ENV{ID_USB_INTERFACES}==\"*:0e01*\", MODE=\"0666\"", false},       // webcams
        {"ATTRS{idVendor}==\"1209\", MODE=\"0666\"", false},
        {"", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(CoversUsb3Vision(row.rules), row.covers) << row.rules;
    }
}

class DoctorFiles : public ::testing::Test {
protected:
    void Put(const std::string& file, const std::string& text) const {
        std::filesystem::create_directories((m_root.Path() / file).parent_path());
        test::WriteFile(m_root.Path() / file, text);
    }
    HostFacts Read() const {
        std::vector<InterfaceFacts> interfaces(4);
        for (size_t i = 0; i < interfaces.size(); ++i) {
            interfaces[i] = {kNames[i], {}, 1500, 0, i != 3};
        }
        return ReadHostFiles(m_root.Path(), interfaces);
    }
    static constexpr const char* kNames[] = {"eth1", "wlan0", "br0", "lo"};
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
    const std::vector<InterfaceFacts> interfaces = ReadInterfaces();
    const auto loopback = std::find_if(interfaces.begin(), interfaces.end(),
                                       [](const InterfaceFacts& facts) { return facts.m_name == "lo"; });
    ASSERT_NE(loopback, interfaces.end());
    EXPECT_GT(loopback->m_mtuBytes, 0U);
    EXPECT_FALSE(loopback->m_carriesCameras);
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
    Put("proc/sys/net/core/rmem_max", "a lot\n");
    Put("usr/lib/udev/rules.d/70-cameras.rules", kUdevRule);
    EXPECT_FALSE(Read().m_receiveLimitBytes || Read().m_usbMemoryMb);
    EXPECT_THAT(Read().m_udevRule.value_or(""), HasSubstr("usr/lib/udev/rules.d/70-cameras.rules"));
    Put("etc/udev/rules.d/70-cameras.rules", "");
    EXPECT_FALSE(Read().m_udevRule);
}

} // namespace
} // namespace ox3d::tool

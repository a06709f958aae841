// The checks of ox3d doctor, one function each. The numbers were measured with frames of 8 MB at 30 frames/s:
// with a packet socket nothing is lost at any packet size; with plain UDP nothing is lost from packets of 8000
// bytes on, given a receive buffer of a frame's size.
#include "tools/ox3d/host/HostChecks.h"

#include "base/Ipv4.h"
#include "tools/ox3d/host/CameraAddress.h"
#include "tools/ox3d/host/UdevRules.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace ox3d::tool {
namespace {

constexpr uint64_t kMiB = uint64_t{1} << 20;
constexpr uint64_t kAssumedFrameBytes = 8 * kMiB; // depth and color of a camera that cannot be asked
constexpr uint64_t kMaxFrameBytes = 1024 * kMiB;  // a camera that says more is not believed
constexpr uint32_t kJumboMtuBytes = 9000;
constexpr uint32_t kJumboEnoughBytes = 8000; // packets from here on count as large
constexpr uint64_t kUsbFrames = 8;           // that may be under way at a time
constexpr uint64_t kUsbAdvisedMb = 1000;
constexpr uint32_t kStrict = 1;

using Findings = std::vector<Finding>;

std::string Bytes(uint64_t bytes) {
    return std::to_string(bytes) + " bytes";
}

// Writes a line into a file of settings that is read at every start, and puts it into force now.
std::string SysctlCommand(const char* name, const std::string& setting) {
    const std::string file = std::string("/etc/sysctl.d/60-ox3d-") + name + ".conf";
    return "echo '" + setting + "' | sudo tee " + file + " && sudo sysctl -p " + file;
}

// Of the camera with the largest frames; 0 when none says.
uint64_t KnownFrameBytes(const HostFacts& facts) {
    uint64_t largest = 0;
    for (const CameraFacts& camera : facts.m_cameras) {
        largest = std::max(largest, camera.m_payloadBytes);
    }
    return std::min(largest, kMaxFrameBytes);
}

uint64_t FrameBytes(const HostFacts& facts) {
    const uint64_t known = KnownFrameBytes(facts);
    return known == 0 ? kAssumedFrameBytes : known;
}

bool HasPacketSocket(const HostFacts& facts) {
    return facts.m_packetSocketError == 0;
}

const InterfaceFacts* InterfaceOf(const HostFacts& facts, uint32_t hostIp) {
    for (const InterfaceFacts& interface : facts.m_interfaces) {
        for (const Ipv4Network& network : interface.m_networks) {
            if (network.m_address == hostIp) {
                return &interface;
            }
        }
    }
    return nullptr;
}

bool SeesCamera(const HostFacts& facts, const InterfaceFacts& interface) {
    return std::any_of(facts.m_cameras.begin(), facts.m_cameras.end(), [&](const CameraFacts& camera) {
        return InterfaceOf(facts, camera.m_hostIp) == &interface;
    });
}

// The interfaces that this is about: wired Ethernet in use, and any other that a camera answered on.
std::vector<const InterfaceFacts*> CameraInterfaces(const HostFacts& facts) {
    std::vector<const InterfaceFacts*> found;
    for (const InterfaceFacts& interface : facts.m_interfaces) {
        if ((interface.m_carriesCameras && !interface.m_networks.empty()) || SeesCamera(facts, interface)) {
            found.push_back(&interface);
        }
    }
    return found;
}

void JudgeLibraryPath(const HostFacts& facts, Findings& findings) {
    if (facts.m_ignoresLibraryPath) {
        findings.push_back({EMark::Problem,
                            "library path",
                            "this program has file capabilities or runs as another user's",
                            "Such programs cannot be told which camera control to take: OX3D_PROVIDER and "
                            "LD_LIBRARY_PATH are ignored. Take the capabilities off.",
                            {"sudo setcap -r " + ShellWord(facts.m_tool)}});
    }
}

// File capabilities make OX3D_PROVIDER and LD_LIBRARY_PATH ignored; ambient capabilities do not.
void JudgePacketSocket(const HostFacts& facts, Findings& findings) {
    Finding finding = {EMark::Ok, "packet socket", "this process may open one", "", {}};
    if (!HasPacketSocket(facts)) {
        finding.m_mark = EMark::Note;
        finding.m_saw = std::string("cannot be opened: ") + std::strerror(facts.m_packetSocketError);
        finding.m_follows =
            "GigE cameras are received over plain UDP, which costs more and loses frames sooner. Start the "
            "program with the capability CAP_NET_RAW as below (a service: AmbientCapabilities=CAP_NET_RAW). "
            "\"sudo setcap cap_net_raw+ep PROGRAM\" does it for good, but only for a program that finds its "
            "libraries and cameras without variables: not for this one.";
        finding.m_commands = {"sudo setpriv --reuid=$(id -u) --regid=$(id -g) --init-groups "
                              "--inh-caps=+net_raw --ambient-caps=+net_raw " +
                              ShellWord(facts.m_tool) + " grab --out out"};
    }
    findings.push_back(finding);
}

void JudgeReceiveBuffer(const HostFacts& facts, Findings& findings) {
    const uint64_t frame = FrameBytes(facts);
    Finding finding = {EMark::Ok, "receive buffer", "", "", {}};
    if (!facts.m_receiveLimitBytes) {
        finding.m_mark = EMark::Note;
        finding.m_saw = "net.core.rmem_max cannot be read here";
        finding.m_follows = "In a container the host's own limit holds; run this on the host.";
        findings.push_back(finding);
        return;
    }
    finding.m_saw = "net.core.rmem_max is " + Bytes(*facts.m_receiveLimitBytes) + ", a frame has " +
                    Bytes(frame) + (KnownFrameBytes(facts) == 0 ? " (assumed)" : "");
    if (*facts.m_receiveLimitBytes < frame) {
        finding.m_mark = HasPacketSocket(facts) ? EMark::Note : EMark::Problem;
        finding.m_follows = HasPacketSocket(facts)
                                ? "With a packet socket this does not matter. A program without one loses "
                                  "packets when it pauses while a frame arrives."
                                : "Without a packet socket a program loses packets when it pauses while a "
                                  "frame arrives.";
        const uint64_t wanted = std::max<uint64_t>(32, (4 * frame + kMiB - 1) / kMiB) * kMiB;
        finding.m_commands = {SysctlCommand("rmem", "net.core.rmem_max=" + std::to_string(wanted))};
    }
    findings.push_back(finding);
}

std::string MtuCommand(const InterfaceFacts& interface, uint32_t mtuBytes) {
    return "sudo ip link set dev " + ShellWord(interface.m_name) + " mtu " + std::to_string(mtuBytes);
}

void JudgeMtu(const HostFacts& facts, Findings& findings) {
    const std::vector<const InterfaceFacts*> interfaces = CameraInterfaces(facts);
    for (const InterfaceFacts* const interface : interfaces) {
        Finding finding = {EMark::Ok, "MTU", interface->m_name + ": " + Bytes(interface->m_mtuBytes), "", {}};
        if (interface->m_mtuBytes < kJumboEnoughBytes) {
            const bool isHurt = SeesCamera(facts, *interface) && !HasPacketSocket(facts);
            finding.m_mark = isHurt ? EMark::Problem : EMark::Note;
            finding.m_follows = isHurt ? "Without a packet socket, frames in such small packets get lost."
                                       : "Small packets cost processor time; without a packet socket frames "
                                         "get lost. Only worth it where cameras are connected.";
            finding.m_follows += " Adapter and switch must take the size, too.";
            finding.m_commands = {MtuCommand(*interface, kJumboMtuBytes)};
        }
        findings.push_back(finding);
    }
    if (interfaces.empty()) {
        findings.push_back({EMark::Note,
                            "MTU",
                            "no wired Ethernet interface has an IPv4 address",
                            "No GigE camera can be reached. Put in the interface's name:",
                            {"sudo ip address add " + NetworkText(FreeNetwork({})) + " dev INTERFACE"}});
    }
}

// A size that holds as it is, against the interface that it has to pass.
void JudgeFixedPacketSize(uint32_t sizeBytes, const InterfaceFacts& interface, Finding* finding) {
    if (sizeBytes > interface.m_mtuBytes) {
        finding->m_mark = EMark::Problem;
        finding->m_saw += ", " + interface.m_name + " takes " + Bytes(interface.m_mtuBytes);
        finding->m_follows = "Such packets are cut or dropped on the way: no frame is complete.";
        finding->m_commands = {MtuCommand(interface, std::max(sizeBytes, kJumboMtuBytes))};
    } else if (sizeBytes < kJumboEnoughBytes && interface.m_mtuBytes >= kJumboEnoughBytes) {
        finding->m_mark = EMark::Note;
        finding->m_follows = "The interface takes larger packets: set GevSCPSPacketSize to " +
                             std::to_string(std::min(interface.m_mtuBytes, kJumboMtuBytes)) +
                             " where the switch takes them, too.";
    }
}

void JudgePacketSize(const HostFacts& facts, Findings& findings) {
    for (const CameraFacts& camera : facts.m_cameras) {
        const InterfaceFacts* const interface = InterfaceOf(facts, camera.m_hostIp);
        Finding finding = {EMark::Ok, "packet size", camera.m_serial + ": ", "", {}};
        if (!camera.m_whyNotAsked.empty()) {
            finding.m_mark = EMark::Note;
            finding.m_saw += "not asked, " + camera.m_whyNotAsked;
        } else if (camera.m_packetSizeBytes == 0) {
            finding.m_saw += "the camera does not say";
        } else {
            finding.m_saw += Bytes(camera.m_packetSizeBytes);
            if (facts.m_isPacketSizeFitted) {
                finding.m_saw += " now; the camera control fits it to the way when a stream starts";
            } else if (interface == nullptr) {
                finding.m_saw += "; no interface of this host saw the camera, so no MTU limits it";
            } else {
                JudgeFixedPacketSize(camera.m_packetSizeBytes, *interface, &finding);
            }
        }
        findings.push_back(finding);
    }
}

// Interfaces of any kind that packets could be sent by, without the loopback.
bool HasSeveralWays(const HostFacts& facts) {
    return std::count_if(facts.m_interfaces.begin(), facts.m_interfaces.end(), [](const auto& interface) {
               return std::any_of(interface.m_networks.begin(), interface.m_networks.end(),
                                  [](const Ipv4Network& network) { return network.m_address >> 24 != 127; });
           }) > 1;
}

void JudgeReversePath(const HostFacts& facts, Findings& findings) {
    std::string strict;
    for (const InterfaceFacts* const interface : CameraInterfaces(facts)) {
        if (interface->m_reversePath == kStrict) {
            strict += (strict.empty() ? "" : ", ") + interface->m_name;
        }
    }
    Finding finding = {EMark::Ok, "reverse path", "the filter is not strict on any interface", "", {}};
    if (!strict.empty()) {
        const bool isHarmful = HasSeveralWays(facts);
        finding.m_mark = isHarmful ? EMark::Problem : EMark::Note;
        finding.m_saw = "strict on " + strict;
        finding.m_follows =
            isHarmful ? "With several interfaces the kernel silently drops what comes in by another "
                        "one than it would answer by: cameras are not found, or do not stream."
                      : "Answers of cameras in wrong subnets may be dropped.";
        finding.m_commands = {SysctlCommand("rp-filter", "net.ipv4.conf.all.rp_filter=2")}; // 2: loose
    }
    findings.push_back(finding);
}

// A single address (/32), as tunnels have it, draws no traffic of a subnet to its interface.
bool Collide(const HostAddress& a, const HostAddress& b) {
    return a.m_interface != b.m_interface && Overlap(a.m_network, b.m_network) &&
           LengthOfMask(a.m_network.m_mask) != 32 && LengthOfMask(b.m_network.m_mask) != 32;
}

Finding SharedSubnet(const HostAddress& first, const HostAddress& second, const Ipv4Network& fresh) {
    const std::string name = ShellWord(second.m_interface);
    return {
        EMark::Problem,
        "subnets",
        first.m_interface + " (" + NetworkText(first.m_network) + ") and " + second.m_interface + " (" +
            NetworkText(second.m_network) + ") are in one subnet",
        "Whatever goes there leaves by one of the two, so a camera on the other is not reached. Give one of "
        "them, and its cameras, a subnet of its own. Connections to this host over that interface break; "
        "the command lasts until the next start, the network settings last for good.",
        {"sudo ip address del " + NetworkText(second.m_network) + " dev " + name +
         " && sudo ip address add " + NetworkText(fresh) + " dev " + name}};
}

void JudgeSubnets(const HostFacts& facts, Findings& findings) {
    const std::vector<HostAddress> places = AddressesOf(facts.m_interfaces);
    std::vector<Ipv4Network> taken;
    taken.reserve(places.size());
    for (const HostAddress& place : places) {
        taken.push_back(place.m_network);
    }
    const size_t before = findings.size();
    for (size_t i = 0; i < places.size(); ++i) {
        for (size_t j = i + 1; j < places.size(); ++j) {
            if (Collide(places[i], places[j])) {
                findings.push_back(SharedSubnet(places[i], places[j], FreeNetwork(taken)));
                taken.push_back(FreeNetwork(taken));
            }
        }
    }
    if (findings.size() == before) {
        findings.push_back({EMark::Ok, "subnets", "each interface has its own", "", {}});
    }
}

void JudgeCameraAddresses(const HostFacts& facts, Findings& findings) {
    const std::vector<HostAddress> host = AddressesOf(facts.m_interfaces);
    for (const CameraFacts& camera : facts.m_cameras) {
        const EFit fit = FitOf({camera.m_ip, camera.m_mask}, camera.m_hostIp, host);
        const bool isMisplaced = fit == EFit::WrongSubnet || fit == EFit::HostsOwn;
        if (isMisplaced || camera.m_isOutOfReach) {
            findings.push_back({EMark::Problem,
                                "camera address",
                                camera.m_serial + ": " + Ipv4Text(camera.m_ip) + ", seen by " +
                                    Ipv4Text(camera.m_hostIp) + ": " +
                                    (isMisplaced ? FitText(fit) : "it does not answer there"),
                                std::string("It is found but cannot be opened. ") +
                                    (isMisplaced ? ""
                                                 : "Another device may have its address, a firewall "
                                                   "may be in the way, or a route is missing. ") +
                                    "Put in a free address of that subnet:",
                                {ShellWord(facts.m_tool) + " network --serial " + ShellWord(camera.m_serial) +
                                 " --set-ip ADDRESS"}});
        }
    }
}

void JudgeCameraKinds(const HostFacts& facts, Findings& findings) {
    for (const CameraFacts& camera : facts.m_cameras) {
        const std::string command =
            ShellWord(facts.m_tool) + " info --3d --serial " + ShellWord(camera.m_serial);
        if (camera.m_kind == "Plain2d") {
            findings.push_back({EMark::Note,
                                "camera kind",
                                camera.m_serial + ": Plain2d",
                                "It sends an image without depth. What it lacks for more:",
                                {command}});
        } else if (!camera.m_kind.empty()) {
            findings.push_back({EMark::Ok, "camera kind", camera.m_serial + ": " + camera.m_kind, "", {}});
        }
    }
}

void JudgeUsbMemory(const HostFacts& facts, Findings& findings) {
    if (!facts.m_usbMemoryMb) {
        findings.push_back({EMark::Ok, "USB memory", "there is no USB here", "", {}});
        return;
    }
    const uint64_t frame = FrameBytes(facts);
    const uint64_t neededMb = (kUsbFrames * frame + kMiB - 1) / kMiB;
    Finding finding = {
        EMark::Ok, "USB memory", "the limit is " + std::to_string(*facts.m_usbMemoryMb) + " MB", "", {}};
    const bool isUnlimited = *facts.m_usbMemoryMb == 0; // that is what 0 means there
    if (!isUnlimited && *facts.m_usbMemoryMb < neededMb) {
        const std::string file = "/sys/module/usbcore/parameters/usbfs_memory_mb";
        const std::string settings = "/etc/tmpfiles.d/ox3d-usb.conf";
        const std::string value = std::to_string(std::max(kUsbAdvisedMb, neededMb));
        finding.m_mark = facts.m_usbCameras.empty() ? EMark::Note : EMark::Problem;
        finding.m_follows = std::to_string(kUsbFrames) + " frames of " + Bytes(frame) + " need " +
                            std::to_string(neededMb) +
                            " MB: USB cameras lose frames or do not start. The first line lasts until the "
                            "next start, the second for good.";
        finding.m_commands = {"echo " + value + " | sudo tee " + file,
                              "echo 'w " + file + " - - - - " + value + "' | sudo tee " + settings};
    }
    findings.push_back(finding);
}

// The node of a camera that is there tells for sure, whatever gives the access; without one, only a rule
// that goes by the class of such cameras can be known to work.
void JudgeUsbAccess(const HostFacts& facts, Findings& findings) {
    const std::vector<std::string> mend = {
        std::string("echo '") + kUdevRule + "' | sudo tee " + kUdevRuleFile +
            " && sudo udevadm control --reload && sudo udevadm trigger --subsystem-match=usb",
        "sudo usermod --append --groups plugdev \"$USER\""};
    for (const UsbCameraFacts& camera : facts.m_usbCameras) {
        if (camera.m_isUsable) {
            findings.push_back({EMark::Ok, "USB access", camera.m_node + " may be used", "", {}});
        } else {
            findings.push_back({EMark::Problem, "USB access",
                                camera.m_node + " may not be read and written by this user",
                                "The USB camera at port " + camera.m_port +
                                    " cannot be opened. The group counts from the next login on.",
                                mend});
        }
    }
    if (!facts.m_usbCameras.empty() || !facts.m_usbMemoryMb) {
        return;
    }
    if (facts.m_udevRule) {
        findings.push_back({EMark::Ok, "USB access", "there is a udev rule in " + *facts.m_udevRule, "", {}});
        return;
    }
    findings.push_back(
        {EMark::Note, "USB access", "no udev rule for USB3 Vision cameras, and no such camera here to try",
         "USB cameras may be reserved for root. The group counts from the next login on.", mend});
}

} // namespace

std::string ShellWord(const std::string& text) {
    constexpr const char* kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:@%+";
    if (!text.empty() && text.front() != '-' && text.find_first_not_of(kPlain) == std::string::npos) {
        return text;
    }
    std::string word = "'";
    for (const char character : text) {
        word += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return word + "'";
}

std::vector<Finding> JudgeHost(const HostFacts& facts) {
    Findings findings;
    JudgeLibraryPath(facts, findings);
    JudgePacketSocket(facts, findings);
    JudgeReceiveBuffer(facts, findings);
    JudgeMtu(facts, findings);
    JudgePacketSize(facts, findings);
    JudgeReversePath(facts, findings);
    JudgeSubnets(facts, findings);
    JudgeCameraAddresses(facts, findings);
    JudgeCameraKinds(facts, findings);
    JudgeUsbMemory(facts, findings);
    JudgeUsbAccess(facts, findings);
    return findings;
}

} // namespace ox3d::tool

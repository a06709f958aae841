// Gathering the facts about this host.
#include "tools/ox3d/host/HostFacts.h"

#include "base/LocalFile.h"
#include "tools/ox3d/host/UdevRules.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fcntl.h>
#include <ifaddrs.h>
#include <map>
#include <memory>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <set>
#include <sys/auxv.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMaxEntries = 4096; // of one folder

// A file that holds one word and a line end; empty when there is none.
std::string ReadWordFile(const fs::path& file) {
    constexpr size_t kMaxBytes = 64;
    std::string text;
    if (!ReadLocalFile(file.string(), kMaxBytes, &text, ELongFile::Cut)) {
        return "";
    }
    return text.substr(0, text.find_first_of(" \t\n"));
}

std::optional<uint64_t> ReadNumberFile(const fs::path& file) {
    const std::string word = ReadWordFile(file);
    const char* const end = word.data() + word.size();
    uint64_t value = 0;
    const auto [rest, failure] = std::from_chars(word.data(), end, value);
    return word.empty() || failure != std::errc() || rest != end ? std::nullopt : std::optional(value);
}

std::vector<std::string> NamesIn(const fs::path& folder) {
    std::set<std::string> names;
    std::error_code failure;
    for (fs::directory_iterator entry(folder, failure), end;
         !failure && entry != end && names.size() < kMaxEntries; entry.increment(failure)) {
        names.insert(entry->path().filename().string());
    }
    return {names.begin(), names.end()};
}

bool Exists(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

// The kernel takes the stricter of what is set for all and for the one, by number: loose is 2, strict 1.
uint32_t ReversePath(const fs::path& root, const std::string& interface) {
    const fs::path folder = root / "proc/sys/net/ipv4/conf";
    const uint64_t all = ReadNumberFile(folder / "all/rp_filter").value_or(0);
    const uint64_t own = ReadNumberFile(folder / interface / "rp_filter").value_or(0);
    return static_cast<uint32_t>(std::min<uint64_t>(std::max(all, own), 2));
}

void AddInterfaceFiles(const fs::path& root, InterfaceFacts* facts) {
    facts->m_reversePath = ReversePath(root, facts->m_name);
    const fs::path folder = root / "sys/class/net" / facts->m_name;
    const bool isWireless = Exists(folder / "wireless") || Exists(folder / "phy80211");
    facts->m_carriesCameras = facts->m_carriesCameras && !isWireless && !Exists(folder / "bridge");
}

// The class of a USB3 Vision interface: miscellaneous (ef), subclass 05; its protocols are control, event
// and stream.
bool IsUsb3VisionInterface(const fs::path& interface) {
    return ReadWordFile(interface / "bInterfaceClass") == "ef" &&
           ReadWordFile(interface / "bInterfaceSubClass") == "05";
}

std::vector<UsbCameraFacts> ReadUsbCameras(const fs::path& root) {
    const fs::path devices = root / "sys/bus/usb/devices";
    std::set<std::string> ports; // a camera has several such interfaces, "1-2:1.0" and on
    for (const std::string& name : NamesIn(devices)) {
        const size_t colon = name.find(':');
        if (colon != std::string::npos && IsUsb3VisionInterface(devices / name)) {
            ports.insert(name.substr(0, colon));
        }
    }
    std::vector<UsbCameraFacts> cameras;
    for (const std::string& port : ports) {
        char node[64];
        std::snprintf(node, sizeof(node), "/dev/bus/usb/%03u/%03u",
                      static_cast<unsigned>(ReadNumberFile(devices / port / "busnum").value_or(0)),
                      static_cast<unsigned>(ReadNumberFile(devices / port / "devnum").value_or(0)));
        const fs::path file = root / fs::path(node).relative_path();
        cameras.push_back({port, node, faccessat(AT_FDCWD, file.c_str(), R_OK | W_OK, AT_EACCESS) == 0});
    }
    return cameras;
}

int PacketSocketError() {
    // Protocol 0 receives nothing: the permission is what is asked for.
    const int file = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    if (file < 0) {
        return errno;
    }
    close(file);
    return 0;
}

uint32_t AddressIn(const sockaddr* address) {
    return ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
}

uint32_t MtuOf(const std::string& name) {
    const int file = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (file < 0) {
        return 0;
    }
    ifreq request{};
    name.copy(request.ifr_name, IFNAMSIZ - 1);
    const bool isRead = ioctl(file, SIOCGIFMTU, &request) == 0 && request.ifr_mtu > 0;
    close(file);
    return isRead ? static_cast<uint32_t>(request.ifr_mtu) : 0;
}

void AddEntry(const ifaddrs& entry, InterfaceFacts* facts) {
    if (entry.ifa_addr == nullptr) {
        return;
    }
    if (entry.ifa_addr->sa_family == AF_PACKET) {
        const auto* const link = reinterpret_cast<const sockaddr_ll*>(entry.ifa_addr);
        facts->m_carriesCameras = link->sll_hatype == ARPHRD_ETHER;
    } else if (entry.ifa_addr->sa_family == AF_INET && entry.ifa_netmask != nullptr) {
        facts->m_networks.push_back({AddressIn(entry.ifa_addr), AddressIn(entry.ifa_netmask)});
    }
}

} // namespace

std::vector<InterfaceFacts> ReadInterfaces() {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, freeifaddrs);
    std::map<std::string, InterfaceFacts> byName;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        std::string name = entry->ifa_name;
        name.erase(std::min(name.find(':'), name.size())); // a second address may carry a label, "eth0:1"
        AddEntry(*entry, &byName[name]);
    }
    std::vector<InterfaceFacts> interfaces;
    interfaces.reserve(byName.size());
    for (auto& [name, facts] : byName) {
        facts.m_name = name;
        facts.m_mtuBytes = MtuOf(name);
        interfaces.push_back(facts);
    }
    return interfaces;
}

std::vector<HostAddress> AddressesOf(const std::vector<InterfaceFacts>& interfaces) {
    std::vector<HostAddress> addresses;
    for (const InterfaceFacts& interface : interfaces) {
        for (const Ipv4Network& network : interface.m_networks) {
            addresses.push_back({interface.m_name, network});
        }
    }
    return addresses;
}

HostFacts ReadHostFiles(const fs::path& root, std::vector<InterfaceFacts> interfaces) {
    HostFacts facts;
    facts.m_interfaces = std::move(interfaces);
    for (InterfaceFacts& interface : facts.m_interfaces) {
        AddInterfaceFiles(root, &interface);
    }
    facts.m_receiveLimitBytes = ReadNumberFile(root / "proc/sys/net/core/rmem_max");
    facts.m_usbMemoryMb = ReadNumberFile(root / "sys/module/usbcore/parameters/usbfs_memory_mb");
    facts.m_udevRule = FindUdevRule(root);
    facts.m_usbCameras = ReadUsbCameras(root);
    return facts;
}

HostFacts GatherHostFacts() {
    HostFacts facts = ReadHostFiles("/", ReadInterfaces());
    facts.m_packetSocketError = PacketSocketError();
    facts.m_ignoresLibraryPath = getauxval(AT_SECURE) != 0;
    std::error_code ignored;
    facts.m_tool = fs::read_symlink("/proc/self/exe", ignored).string();
    return facts;
}

} // namespace ox3d::tool

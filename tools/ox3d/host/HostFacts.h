// What spoils or helps streaming, as facts about this host. They are gathered here and judged elsewhere, so
// that the judgement can be tried on any made-up host.
#ifndef OX3D_TOOL_HOST_FACTS_H
#define OX3D_TOOL_HOST_FACTS_H

#include "tools/ox3d/host/Ipv4Network.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ox3d::tool {

// One IPv4 address of an interface.
struct HostAddress {
    std::string m_interface;
    Ipv4Network m_network;
};

struct InterfaceFacts {
    std::string m_name;
    std::vector<Ipv4Network> m_networks;
    uint32_t m_mtuBytes = 0;       // 0: unknown
    uint32_t m_reversePath = 0;    // 0 off, 1 strict, 2 loose; what is in force
    bool m_carriesCameras = false; // a wired Ethernet interface, no bridge
};

struct UsbCameraFacts {
    std::string m_port; // "1-2"
    std::string m_node; // "/dev/bus/usb/001/004"
    bool m_isUsable = false;
};

// What a camera on the network says; only the first four are known of one that could not be asked.
struct CameraFacts {
    std::string m_serial;
    uint32_t m_ip = 0;
    uint32_t m_mask = 0;
    uint32_t m_hostIp = 0; // of the interface that saw it
    std::string m_whyNotAsked;
    uint32_t m_packetSizeBytes = 0; // 0: it does not say
    uint64_t m_payloadBytes = 0;    // 0: it does not say
    bool m_isOutOfReach = false; // answers the search by broadcast, but nothing that is sent to its address
    std::string m_kind;          // Native, Sfnc3d or Plain2d; empty where nothing tells
};

struct HostFacts {
    std::vector<InterfaceFacts> m_interfaces;
    std::optional<uint64_t> m_receiveLimitBytes; // net.core.rmem_max
    int m_packetSocketError = 0;                 // errno of opening one
    bool m_ignoresLibraryPath = false;           // this process has file capabilities or is setuid
    std::optional<uint64_t> m_usbMemoryMb;       // absent: no USB
    std::optional<std::string> m_udevRule;       // the file that gives access to USB3 Vision cameras
    std::vector<UsbCameraFacts> m_usbCameras;
    std::string m_tool;                 // this program's own file
    bool m_isPacketSizeFitted = false;  // the camera control fits it to the way when a stream starts
    std::vector<CameraFacts> m_cameras; // filled where a camera control was entered
};

// All interfaces of this process's network namespace, as the kernel tells; facts that only files hold are left.
std::vector<InterfaceFacts> ReadInterfaces();

std::vector<HostAddress> AddressesOf(const std::vector<InterfaceFacts>& interfaces);

// Adds what /proc, /sys, /dev and the folders of udev rules below the root say to the interfaces. The rest
// of the facts is left. /sys may belong to another network namespace, so it is asked for little.
HostFacts ReadHostFiles(const std::filesystem::path& root, std::vector<InterfaceFacts> interfaces);

// All facts about this host and process, without cameras on the network.
HostFacts GatherHostFacts();

} // namespace ox3d::tool

#endif

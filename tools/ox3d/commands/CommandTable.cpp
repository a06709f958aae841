// The table of commands, and their options.
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/CommandOptions.h"

#include <CLI/CLI.hpp>

namespace ox3d::tool {
namespace {

constexpr const char* kGrabFooter =
    "Writes of the last good frame: depth.png (16 bits, millimetres, 0 = no data), depth_color.png (colors\n"
    "with a scale in mm), color.png, overlay.png (edges of the depth on color), cloud.ply (metres, camera\n"
    "frame: x right, y down, z along the view) and cloud.png (the cloud seen from above and from the side).\n"
    "Depth is registered to color; where color has the finer pixels a raster of gaps remains in it.\n"
    "With --all the folder becomes a recording, which --recording plays: depth/NNNNNN.png, color/NNNNNN.png\n"
    "and the camera's calibration.xml; of USB cameras that send the stereo pair left/ and right/, too.\n"
    "Its depth is as the camera sends it, not registered to color.\n"
    "The library's log and the camera's calibration file are left in the folder, too.\n"
    "\n"
    "Examples: ox3d grab --out scene\n"
    "          ox3d grab --all --frames 100 --out recording";

constexpr const char* kNetworkFooter =
    "FIT tells whether camera and host reach each other: in a wrong subnet a camera is found, not opened.\n"
    "A static address holds at once and for good. DHCP and link-local are stored and hold from the camera's\n"
    "next start on; a camera in a wrong subnet may need a static address first. The camera must not be open\n"
    "anywhere. docs/network.md tells how to get a camera to stream without loss.\n"
    "\n"
    "Example: ox3d network --serial VC00000001 --set-ip 192.168.1.20";

constexpr const char* kDoctorFooter =
    "Each point gets a mark: ok; note, worth knowing; problem, frames get lost or cameras are not reached.\n"
    "With a problem the exit code is 8. Nothing is changed: the commands shown are for you to run.\n"
    "Cameras on the network are opened for a moment, where nobody else has them, for their packet size.\n"
    "docs/network.md explains the points.\n"
    "\n"
    "Example: ox3d doctor --host-only";

void AddGrab(CLI::App& command, Arguments& arguments) {
    AddCommon(command, arguments);
    AddSerial(command, arguments);
    GrabOptions& options = arguments.m_grab;
    command.add_option("--out", options.m_out, "folder for the files, made where it is missing")->required();
    command.add_option("--frames", options.m_frames, "frames to fetch; 0: until Ctrl-C")
        ->capture_default_str()
        ->check(CLI::Range(int64_t{0}, int64_t{1000000000})); // also keeps "-1" from wrapping round
    AddTimeout(command, options.m_patienceSeconds, "seconds without a frame before giving up");
    command.add_flag("--all", options.m_isRecording, "record every frame into the folder");
    command.footer(kGrabFooter);
}

void AddNetwork(CLI::App& command, Arguments& arguments) {
    using EMove = NetworkOptions::EMove;
    NetworkOptions& options = arguments.m_network;
    const auto move = [&options](EMove wanted) {
        return [&options, wanted](int64_t) { options.m_move = wanted; };
    };
    AddProvider(command, arguments);
    CLI::Option* const serial =
        command.add_option("--serial", arguments.m_serial, "the camera; needed for moving it");
    CLI::Option* const setIp =
        command.add_option("--set-ip", options.m_address.m_ip, "gives the camera this static address")
            ->each([&options](const std::string&) { options.m_move = EMove::Static; })
            ->needs(serial);
    command
        .add_option("--mask", options.m_address.m_mask,
                    "its mask; default: the host's where the address is in its subnet, else as it is")
        ->needs(setIp);
    command
        .add_option("--gateway", options.m_address.m_gateway,
                    "its gateway, in its subnet; default: as it is, or the host")
        ->needs(setIp);
    CLI::Option* const dhcp = command
                                  .add_flag_function("--dhcp", move(EMove::Dhcp),
                                                     "has the camera ask a DHCP server for its address")
                                  ->needs(serial)
                                  ->excludes(setIp);
    command
        .add_flag_function("--link-local", move(EMove::LinkLocal),
                           "has the camera choose an address in 169.254.0.0/16")
        ->needs(serial)
        ->excludes(setIp)
        ->excludes(dhcp);
    AddTimeout(command, options.m_patienceSeconds, "seconds for a moved camera to be found again");
    AddJson(command, arguments);
    command.footer(kNetworkFooter);
}

void AddDoctor(CLI::App& command, Arguments& arguments) {
    AddProvider(command, arguments);
    command.add_option("--serial", arguments.m_serial, "ask this camera alone; default: all");
    command.add_flag("--host-only", arguments.m_isHostOnly, "ask no camera");
    AddJson(command, arguments);
    command.footer(kDoctorFooter);
}

// In the order in which --help has them.
constexpr Command kCommands[] = {
    {"list", "Lists the cameras present", AddList, RunList},
    {"info", "Shows a camera's record, features and calibration", AddInfo, RunInfo},
    {"grab", "Fetches frames and writes pictures and a point cloud", AddGrab, RunGrab},
    {"features", "Lists a camera's features", AddFeatures, RunFeatures},
    {"get", "Prints values of features", AddGet, RunGet},
    {"set", "Sets features", AddSet, RunSet},
    {"run", "Executes a command of a camera", AddRun, RunRun},
    {"xml", "Writes a camera's GenICam description", AddXml, RunXml},
    {"export", "Writes a camera's settings to a file", AddExport, RunExport},
    {"import", "Sets a camera as a file says", AddImport, RunImport},
    {"file", "Copies files from and to a camera", AddFile, RunFile},
    {"upgrade", "Upgrades a camera's firmware", AddUpgrade, RunUpgrade},
    {"calib", "Shows and checks a camera's calibration", AddCalib, RunCalib},
    {"stream", "Measures how frames come", AddStream, RunStream},
    {"view", "Shows cameras and recordings in a browser", AddView, RunView},
    {"ros2", "Publishes cameras for ROS 2, without ROS on this host", AddRos2, RunRos2},
    {"stereo", "Makes depth of a pair of pictures", AddStereo, RunStereo},
    {"cloud", "Makes a point cloud of a depth image", AddCloud, RunCloud},
    {"record", "Records a camera into an MCAP file, which survives kill, power loss and a full disk",
     AddRecordOptions, RunRecord},
    {"play", "Plays a recording as a camera, at its own speed", AddPlayOptions, RunPlay},
    {"convert", "Brings recordings from one form into another", AddConvertOptions, RunConvert},
    {"repair", "Checks a recording, and closes one that was cut short", AddRepairOptions, RunRepair},
    {"network", "Lists cameras on the network with their addresses, and moves them", AddNetwork, RunNetwork},
    {"doctor", "Looks at what spoils streaming on this host, and says what mends it", AddDoctor, RunDoctor},
    {"completion", "Writes what a shell needs to complete this", AddCompletion, RunCompletion},
};

} // namespace

std::span<const Command> Commands() {
    return kCommands;
}

} // namespace ox3d::tool

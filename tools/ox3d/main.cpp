// ox3d: looks for RGB-D cameras, shows what they are, and takes pictures with them.
#include "tools/ox3d/Commands.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Recording.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <ox3drgbd/Ox3dRgbdApi.h>

namespace {

using namespace ox3dtool;

constexpr const char* kFooter =
    "Camera control: --provider takes \"virtual\", \"aravis\", or a folder or file of a "
    "libOxCameraControl.so.\n"
    "Without it the one in LD_LIBRARY_PATH is used, else aravis where it is installed, else virtual.\n"
    "\n"
    "Exit codes: 0 success, 1 internal failure, 2 wrong command line, 3 no camera-control library,\n"
    "4 no such camera, 5 the camera refused or was lost, 6 no frame came, 7 a file could not be written,\n"
    "8 doctor found a problem, 130 interrupted (what had arrived was written).\n"
    "\n"
    "Frames get lost? Start with \"ox3d doctor\" and \"ox3d network\"; docs/network.md has the rest.";

constexpr const char* kGrabFooter =
    "Writes of the last good frame: depth.png (16 bits, millimetres, 0 = no data), depth_color.png (colors\n"
    "with a scale in mm), color.png, overlay.png (edges of the depth on color), cloud.ply (metres, camera\n"
    "frame: x right, y down, z along the view) and cloud.png (the cloud seen from above and from the side).\n"
    "Depth is registered to color; where color has the finer pixels a raster of gaps remains in it.\n"
    "The library's log and the camera's calibration file are left in the folder, too.";

constexpr const char* kNetworkFooter =
    "FIT tells whether camera and host reach each other: in a wrong subnet a camera is found, not opened.\n"
    "A static address holds at once and for good. DHCP and link-local are stored and hold from the camera's\n"
    "next start on; a camera in a wrong subnet may need a static address first. The camera must not be open\n"
    "anywhere. docs/network.md tells how to get a camera to stream without loss.";

constexpr const char* kDoctorFooter =
    "Each point gets a mark: ok; note, worth knowing; problem, frames get lost or cameras are not reached.\n"
    "With a problem the exit code is 8. Nothing is changed: the commands shown are for you to run.\n"
    "Cameras on the network are opened for a moment, where nobody else has them, for their packet size.\n"
    "docs/network.md explains the points.";

struct Arguments {
    std::string m_provider;
    std::string m_recording;
    GrabOptions m_grab;
    std::string m_out;
    NetworkOptions m_network;
    bool m_isHostOnly = false;
};

std::string VersionText() {
    OX3D_RGBD_VERSION_INFO version{};
    OX3D_RGBD_GetSDKVersion(&version);
    return "ox3d " + std::to_string(version.nMajor) + "." + std::to_string(version.nMinor) + "." +
           std::to_string(version.nRevision);
}

void AddProviderOption(CLI::App& command, Arguments& arguments) {
    command.add_option("--provider", arguments.m_provider, "camera control: virtual, aravis, or a path");
}

void AddCommonOptions(CLI::App& command, Arguments& arguments) {
    AddProviderOption(command, arguments);
    command.add_option(
        "--recording", arguments.m_recording,
        "play this folder (depth/, color/, calibration.xml) through the virtual camera control");
}

void AddSerialOption(CLI::App& command, Arguments& arguments) {
    command.add_option("--serial", arguments.m_grab.m_serial,
                       "the camera's serial number; default: the first");
}

void AddNetwork(CLI::App& app, Arguments& arguments) {
    using EMove = NetworkOptions::EMove;
    CLI::App* const network =
        app.add_subcommand("network", "Lists cameras on the network with their addresses, and moves them");
    AddProviderOption(*network, arguments);
    NetworkOptions& options = arguments.m_network;
    CLI::Option* const serial =
        network->add_option("--serial", options.m_serial, "the camera; needed for moving it");
    const auto moves = [&options](EMove move) {
        return [&options, move](const std::string&) { options.m_move = move; };
    };
    CLI::Option* const setIp =
        network->add_option("--set-ip", options.m_address.m_ip, "gives the camera this static address")
            ->each(moves(EMove::Static))
            ->needs(serial);
    network
        ->add_option("--mask", options.m_address.m_mask,
                     "its mask; default: the host's where the address is in its subnet, else as it is")
        ->needs(setIp);
    network
        ->add_option("--gateway", options.m_address.m_gateway,
                     "its gateway, in its subnet; default: as it is, or the host")
        ->needs(setIp);
    CLI::Option* const dhcp = network
                                  ->add_flag_function(
                                      "--dhcp", [&options](int64_t) { options.m_move = EMove::Dhcp; },
                                      "has the camera ask a DHCP server for its address")
                                  ->needs(serial)
                                  ->excludes(setIp);
    network
        ->add_flag_function(
            "--link-local", [&options](int64_t) { options.m_move = EMove::LinkLocal; },
            "has the camera choose an address in 169.254.0.0/16")
        ->needs(serial)
        ->excludes(setIp)
        ->excludes(dhcp);
    network
        ->add_option("--timeout", options.m_patienceSeconds, "seconds for a moved camera to be found again")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600));
    network->footer(kNetworkFooter);
}

void AddDoctor(CLI::App& app, Arguments& arguments) {
    CLI::App* const doctor =
        app.add_subcommand("doctor", "Looks at what spoils streaming on this host, and says what mends it");
    AddProviderOption(*doctor, arguments);
    doctor->add_option("--serial", arguments.m_grab.m_serial, "ask this camera alone; default: all");
    doctor->add_flag("--host-only", arguments.m_isHostOnly, "ask no camera");
    doctor->footer(kDoctorFooter);
}

void AddCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* const list = app.add_subcommand("list", "Lists the cameras present");
    AddCommonOptions(*list, arguments);

    CLI::App* const info = app.add_subcommand("info", "Shows a camera's record, features and calibration");
    AddCommonOptions(*info, arguments);
    AddSerialOption(*info, arguments);

    CLI::App* const grab = app.add_subcommand("grab", "Fetches frames and writes pictures and a point cloud");
    AddCommonOptions(*grab, arguments);
    AddSerialOption(*grab, arguments);
    grab->add_option("--out", arguments.m_out, "folder for the files, made where it is missing")->required();
    grab->add_option("--frames", arguments.m_grab.m_frames, "frames to fetch; 0: until Ctrl-C")
        ->capture_default_str()
        ->check(CLI::Range(int64_t{0}, int64_t{1000000000})); // also keeps "-1" from wrapping round
    grab->add_option("--timeout", arguments.m_grab.m_patienceSeconds,
                     "seconds without a frame before giving up")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600));
    grab->add_flag("--all", arguments.m_grab.m_writeAll,
                   "write every frame, into frame_NNNNNN/ (a camera may be faster than the disk)");
    grab->footer(kGrabFooter);

    AddNetwork(app, arguments);
    AddDoctor(app, arguments);
}

std::filesystem::path Absolute(const std::string& path) {
    return path.empty() ? std::filesystem::path() : std::filesystem::absolute(path);
}

// Which camera control the arguments ask for; a recording is played by the virtual one.
std::string RequestOf(const Arguments& arguments) {
    if (arguments.m_recording.empty()) {
        return arguments.m_provider;
    }
    if (arguments.m_provider == "aravis") {
        throw CToolError(kExitUsage, "recordings are played by the virtual camera control, not by aravis");
    }
    return arguments.m_provider.empty() ? "virtual" : arguments.m_provider;
}

ProviderChoice EnterProviderFor(const std::string& request, char** argv) {
    const char* const libraryPath = std::getenv("LD_LIBRARY_PATH");
    ProviderChoice provider =
        ChooseProvider(request, InstalledProviders(), libraryPath == nullptr ? "" : libraryPath);
    EnterProvider(provider, argv);

    InstallInterruptHandler();
    std::fprintf(stderr, "camera control: %s (%s)\n", provider.m_name.c_str(), provider.m_folder.c_str());
    KeepCameraListInReach();
    return provider;
}

// The host can be looked at without any camera control; only one that was asked for must be there.
EExitCode RunDoctorCommand(const Arguments& arguments, const std::string& request, char** argv) {
    DoctorOptions options;
    options.m_serial = arguments.m_grab.m_serial;
    if (arguments.m_isHostOnly) {
        options.m_whyNoProvider = "as asked for";
        return RunDoctor(options);
    }
    std::optional<ProviderChoice> provider;
    try {
        provider = EnterProviderFor(request, argv);
    } catch (const CToolError& error) {
        if (!request.empty() || !options.m_serial.empty()) {
            throw;
        }
        options.m_whyNoProvider = error.what();
    }
    options.m_providerPath = provider ? &*provider : nullptr;
    return RunDoctor(options);
}

EExitCode RunCommand(const CLI::App& app, Arguments& arguments, char** argv) {
    const std::string request = RequestOf(arguments);
    const std::filesystem::path recording = Absolute(arguments.m_recording);
    if (!recording.empty()) {
        CheckRecording(recording);
    }
    if (!arguments.m_network.m_address.m_ip.empty()) {
        CheckAddressTexts(arguments.m_network.m_address);
    }
    arguments.m_grab.m_out = Absolute(arguments.m_out);
    if (app.got_subcommand("doctor")) {
        return RunDoctorCommand(arguments, request, argv);
    }
    const ProviderChoice provider = EnterProviderFor(request, argv);
    std::optional<CRecordingCamera> camera;
    if (!recording.empty()) {
        camera.emplace(recording);
    }
    if (app.got_subcommand("list")) {
        return RunList(provider);
    }
    if (app.got_subcommand("info")) {
        return RunInfo(provider, arguments.m_grab.m_serial);
    }
    if (app.got_subcommand("network")) {
        return RunNetwork(provider, arguments.m_network);
    }
    return RunGrab(provider, arguments.m_grab);
}

int Run(int argc, char** argv) {
    Arguments arguments;
    CLI::App app("Looks for RGB-D cameras, shows what they are, and takes pictures with them.", "ox3d");
    app.set_version_flag("--version", VersionText);
    app.require_subcommand(1);
    app.footer(kFooter);
    AddCommands(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kExitOk : kExitUsage;
    }
    const EExitCode code = RunCommand(app, arguments, argv);
    // Standard output may be a file on a full disk.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw CToolError(kExitFile, "the output could not be written");
    }
    return code;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const CToolError& error) {
        std::fprintf(stderr, "ox3d: %s\n", error.what());
        return error.Code();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ox3d: %s\n", error.what());
        return kExitFailure;
    }
}

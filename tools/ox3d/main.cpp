// ox3d: looks for RGB-D cameras, shows what they are, and takes pictures with them.
#include "tools/ox3d/commands/Command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <ox3drgbd/Ox3dRgbdApi.h>

namespace {

using namespace ox3d::tool;

constexpr const char* kFooter =
    "Camera control: --provider takes the name of an installed one (\"ox3d list --help\" has them) or the\n"
    "path, with a '/' in it, of a folder or a file libOxCameraControl.so. Without it the one that\n"
    "OX3D_PROVIDER names is used, else that in LD_LIBRARY_PATH, else the first installed.\n"
    "\n"
    "Exit codes: 0 success, 1 internal failure, 2 wrong command line, 3 no camera-control library,\n"
    "4 no such camera, 5 the camera refused or was lost, 6 no frame came, 7 a file could not be written,\n"
    "8 doctor found a problem, 130 interrupted (what had arrived was written).\n"
    "\n"
    "Frames get lost? Start with \"ox3d doctor\" and \"ox3d network\"; docs/network.md has the rest.";

std::string VersionText() {
    OX3D_RGBD_VERSION_INFO version{};
    OX3D_RGBD_GetSDKVersion(&version);
    return "ox3d " + std::to_string(version.nMajor) + "." + std::to_string(version.nMinor) + "." +
           std::to_string(version.nRevision);
}

EExitCode Run(int argc, char** argv) {
    Arguments arguments;
    CLI::App app("Looks for RGB-D cameras, shows what they are, and takes pictures with them.", "ox3d");
    app.set_version_flag("--version", VersionText);
    app.require_subcommand(1);
    app.footer(kFooter);
    for (const Command& command : Commands()) {
        command.m_addOptions(*app.add_subcommand(command.m_name, command.m_help), arguments);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EExitCode::Ok : EExitCode::Usage;
    }
    const auto command = std::find_if(Commands().begin(), Commands().end(), [&](const Command& candidate) {
        return app.got_subcommand(candidate.m_name);
    });
    CCameraControl control(arguments.m_control);
    const EExitCode code = command->m_run(control, arguments);
    // Standard output may be a file on a full disk.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw CToolError(EExitCode::File, "the output could not be written");
    }
    return code;
}

int Fail(const std::exception& error, EExitCode code) {
    std::fprintf(stderr, "ox3d: %s\n", error.what());
    return static_cast<int>(code);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return static_cast<int>(Run(argc, argv));
    } catch (const CToolError& error) {
        return Fail(error, error.Code());
    } catch (const std::exception& error) {
        return Fail(error, EExitCode::Failure);
    }
}

// The tool's command line.
#include "tools/ox3d/commands/CommandApp.h"

#include "base/CommandLine.h"
#include "tools/ox3d/Suggest.h"

#include <algorithm>
#include <ox3drgbd/Ox3dRgbdApi.h>

namespace ox3d::tool {
namespace {

constexpr const char* kFooter =
    "Camera control: --provider takes the name of an installed one (\"ox3d list --help\" has them) or the\n"
    "path, with a '/' in it, of a folder or a file libOxCameraControl.so. Without it the one that\n"
    "OX3D_PROVIDER names is used, else that in LD_LIBRARY_PATH, else the first installed.\n"
    "\n"
    "Exit codes: 0 success, 1 internal failure, 2 wrong command line, 3 no camera-control library,\n"
    "4 no such camera, 5 the camera refused or was lost, 6 no frame came, 7 a file could not be read or "
    "written,\n"
    "8 doctor or calib found a problem, 130 interrupted (what had arrived was written).\n"
    "\n"
    "Frames get lost? Start with \"ox3d doctor\" and \"ox3d network\"; docs/network.md has the rest.";

std::vector<std::string> FlagsOf(const CLI::App& command) {
    std::vector<std::string> flags;
    for (const WalkedOption& option : OptionsOf(command)) {
        flags.push_back(option.m_flag);
    }
    return flags;
}

} // namespace

std::string VersionText() {
    OX3D_RGBD_VERSION_INFO version{};
    OX3D_RGBD_GetSDKVersion(&version);
    return "ox3d " + std::to_string(version.nMajor) + "." + std::to_string(version.nMinor) + "." +
           std::to_string(version.nRevision);
}

void BuildApp(CLI::App& app, Arguments& arguments) {
    app.name("ox3d");
    app.description("Looks for RGB-D cameras, shows what they are, sets them, and takes pictures with them.");
    app.set_version_flag("--version", VersionText);
    app.require_subcommand(1);
    app.footer(kFooter);
    for (const Command& command : Commands()) {
        command.m_addOptions(*app.add_subcommand(command.m_name, command.m_help), arguments);
    }
}

std::string UnknownWord(const CLI::App& app, int argc, char** argv) {
    const std::string first = argc > 1 ? argv[1] : "";
    if (first.empty() || first.front() == '-') {
        return "";
    }
    std::vector<std::string> names;
    for (const CLI::App* command : CommandsOf(app)) {
        names.push_back(command->get_name());
        if (names.back() != first) {
            continue;
        }
        const std::vector<std::string> flags = FlagsOf(*command);
        for (int i = 2; i < argc; ++i) {
            const std::string word = argv[i];
            const std::string flag = word.substr(0, word.find('='));
            if (flag.starts_with("--") && std::find(flags.begin(), flags.end(), flag) == flags.end()) {
                return "there is no option " + flag + DidYouMean(flag, flags);
            }
        }
        return "";
    }
    return "there is no command \"" + first + "\"" + DidYouMean(first, names);
}

} // namespace ox3d::tool

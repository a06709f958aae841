// ox3d completion: what a shell needs to complete the tool's command line.
#include "base/Completion.h"
#include "base/ManualPage.h"
#include "tools/ox3d/commands/CommandApp.h"

#include <CLI/CLI.hpp>
#include <cstdio>

namespace ox3d::tool {

EExitCode RunCompletion(CCameraControl& /*control*/, const Arguments& arguments) {
    CLI::App app;
    Arguments unused;
    BuildApp(app, unused);
    const std::string& shell = arguments.m_shell;
    const std::string text =
        shell == "man"
            ? ManualPage(app, "ox3d", "looks for RGB-D cameras, sets them and takes pictures with them")
            : Completion(shell, app, "ox3d");
    std::fputs(text.c_str(), stdout);
    return EExitCode::Ok;
}

} // namespace ox3d::tool

// ox3d: looks for RGB-D cameras, shows what they are, and takes pictures with them.
#include "tools/ox3d/commands/CommandApp.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

namespace {

using namespace ox3d::tool;

// One line that says what and what to do.
EExitCode Refuse(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv) {
    if (error.get_exit_code() == 0) { // --help and --version
        app.exit(error);
        return EExitCode::Ok;
    }
    const std::string unknown = UnknownWord(app, argc, argv);
    const std::string command =
        app.get_subcommands().empty() ? "" : app.get_subcommands().front()->get_name() + " ";
    throw CToolError(EExitCode::Usage, (unknown.empty() ? error.what() : unknown) + " (\"ox3d " + command +
                                           "--help\" tells more)");
}

EExitCode Run(int argc, char** argv) {
    Arguments arguments;
    CLI::App app;
    BuildApp(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return Refuse(app, error, argc, argv);
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

// The tool's command line, and what is said where it cannot be understood.
#ifndef OX3D_TOOL_COMMAND_APP_H
#define OX3D_TOOL_COMMAND_APP_H

#include "tools/ox3d/commands/Command.h"

#include <string>

namespace ox3d::tool {

std::string VersionText();

// Adds every command to the parser, which writes into `arguments`.
void BuildApp(CLI::App& app, Arguments& arguments);

// The command or option that there is not, with what may have been meant; empty where that is not what is wrong.
std::string UnknownWord(const CLI::App& app, int argc, char** argv);

} // namespace ox3d::tool

#endif

// What shells complete and the manual page says, made of the tool's commands and their options.
#ifndef OX3D_TOOL_COMPLETION_H
#define OX3D_TOOL_COMPLETION_H

#include <string>

namespace CLI {
class App;
}

namespace ox3d::tool {

std::string BashCompletion(const CLI::App& app);
std::string ZshCompletion(const CLI::App& app);
std::string FishCompletion(const CLI::App& app);
std::string ManualPage(const CLI::App& app, const std::string& version);

} // namespace ox3d::tool

#endif

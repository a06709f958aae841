// What shells complete, made of the tool's commands and their options.
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

} // namespace ox3d::tool

#endif

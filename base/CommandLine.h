// CommandLine.h - a program's command line as its parser knows it, command by command and option by option.
#ifndef OX3D_BASE_COMMAND_LINE_H
#define OX3D_BASE_COMMAND_LINE_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace ox3d {

struct WalkedOption {
    std::string m_flag; // "--seconds"; empty for a positional argument
    std::string m_name; // of a positional argument
    std::string m_help;
    std::string m_default;
    std::vector<std::string> m_choices; // where only some texts are taken
    bool m_takesValue = false;
    bool m_isRequired = false;
    bool m_isRepeated = false;
};

std::vector<const CLI::App*> CommandsOf(const CLI::App& app);
std::vector<WalkedOption> OptionsOf(const CLI::App& command);

} // namespace ox3d

#endif

// The manual page, in the language of man.
#include "tools/ox3d/commands/AppWalk.h"
#include "tools/ox3d/commands/Completion.h"

#include <sstream>

namespace ox3d::tool {
namespace {

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\\') {
            escaped += "\\e";
        } else {
            escaped += (c == '-' ? "\\" : "") + std::string(1, c);
        }
    }
    // A line must not begin like a request.
    return escaped.starts_with('.') || escaped.starts_with('\'') ? "\\&" + escaped : escaped;
}

// Lines as they stand: they have been broken for a terminal.
std::string Block(const std::string& text) {
    if (text.empty()) {
        return "";
    }
    std::string block = ".nf\n";
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        block += Escaped(line) + "\n";
    }
    return block + ".fi\n";
}

std::string UsageOf(const CLI::App& command) {
    std::string usage = ".B ox3d " + Escaped(command.get_name()) + "\n[options]";
    for (const WalkedOption& option : OptionsOf(command)) {
        if (option.m_flag.empty()) {
            const std::string name =
                "\\fI" + Escaped(option.m_name) + "\\fR" + (option.m_isRepeated ? "..." : "");
            usage += option.m_isRequired ? " " + name : " [" + name + "]";
        }
    }
    return usage + "\n";
}

std::string OptionText(const WalkedOption& option) {
    const std::string name = option.m_flag.empty() ? option.m_name : option.m_flag;
    return ".TP\n\\fB" + Escaped(name) + "\\fR" +
           (option.m_takesValue && !option.m_flag.empty() ? " \\fIVALUE\\fR" : "") + "\n" +
           Escaped(option.m_help) +
           (option.m_default.empty() ? "" : " (default: " + Escaped(option.m_default) + ")") + "\n";
}

} // namespace

std::string ManualPage(const CLI::App& app, const std::string& version) {
    std::string page = ".TH OX3D 1 \"\" \"" + Escaped(version) + "\" \"User Commands\"\n.SH NAME\nox3d \\- " +
                       "looks for RGB\\-D cameras, sets them and takes pictures with them\n" +
                       ".SH SYNOPSIS\n.B ox3d\n\\fICOMMAND\\fR [options] [arguments]\n.SH DESCRIPTION\n" +
                       Escaped(app.get_description()) + "\n.PP\n" + Block(app.get_footer()) +
                       ".SH COMMANDS\n";
    for (const CLI::App* command : CommandsOf(app)) {
        page += ".SS " + Escaped(command->get_name()) + "\n" + Escaped(command->get_description()) +
                ".\n.PP\n" + UsageOf(*command);
        for (const WalkedOption& option : OptionsOf(*command)) {
            page += OptionText(option);
        }
        page += ".PP\n" + Block(command->get_footer());
    }
    return page;
}

} // namespace ox3d::tool

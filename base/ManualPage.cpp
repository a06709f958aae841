// ManualPage.cpp - see ManualPage.h.
#include "base/ManualPage.h"

#include "base/CommandLine.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace ox3d {
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

std::string UsageOf(const std::string& program, const CLI::App& command) {
    std::string usage = ".B " + Escaped(program) + "\n[options]";
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

std::string OptionsText(const CLI::App& command) {
    std::string text;
    for (const WalkedOption& option : OptionsOf(command)) {
        text += OptionText(option);
    }
    return text + ".PP\n" + Block(command.get_footer());
}

std::string Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return text;
}

} // namespace

std::string ManualPage(const CLI::App& app, const std::string& program, const std::string& purpose) {
    const std::vector<const CLI::App*> commands = CommandsOf(app);
    const std::string name = Escaped(program);
    std::string page = ".TH " + Escaped(Upper(program)) + " 1 \"\" \"ox3d " + Escaped(OX3D_PROJECT_VERSION) +
                       "\" \"User Commands\"\n.SH NAME\n" + name + " \\- " + Escaped(purpose) +
                       "\n.SH SYNOPSIS\n";
    page +=
        commands.empty() ? UsageOf(program, app) : ".B " + name + "\n\\fICOMMAND\\fR [options] [arguments]\n";
    page += ".SH DESCRIPTION\n" + Escaped(app.get_description()) + "\n";
    if (commands.empty()) {
        return page + ".SH OPTIONS\n" + OptionsText(app);
    }
    page += ".PP\n" + Block(app.get_footer()) + ".SH COMMANDS\n";
    for (const CLI::App* command : commands) {
        page += ".SS " + Escaped(command->get_name()) + "\n" + Escaped(command->get_description()) +
                ".\n.PP\n" + UsageOf(program + " " + command->get_name(), *command) + OptionsText(*command);
    }
    return page;
}

} // namespace ox3d

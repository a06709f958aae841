// Completion.cpp - see Completion.h.
#include "base/Completion.h"

#include "base/CommandLine.h"

#include <algorithm>

namespace ox3d {
namespace {

// Between single quotes of a shell.
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

// In what _arguments of zsh takes.
std::string ZshText(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        escaped += (c == '[' || c == ']' || c == ':' || c == '\\' ? "\\" : "") + std::string(1, c);
    }
    return escaped;
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

std::vector<std::string> WordsOf(const CLI::App& command) {
    std::vector<std::string> words;
    for (const WalkedOption& option : OptionsOf(command)) {
        words.insert(words.end(), option.m_choices.begin(), option.m_choices.end());
        if (!option.m_flag.empty()) {
            words.push_back(option.m_flag);
        }
    }
    return words;
}

std::string FunctionOf(std::string program) {
    std::replace(program.begin(), program.end(), '-', '_');
    return "_" + program;
}

std::string BashCompletion(const CLI::App& app, const std::string& program) {
    std::vector<std::string> names = WordsOf(app);
    std::string cases;
    for (const CLI::App* command : CommandsOf(app)) {
        names.push_back(command->get_name());
        cases += "    " + command->get_name() + ") words=" + Quoted(Joined(WordsOf(*command))) + " ;;\n";
    }
    if (!cases.empty()) {
        cases = "    [ \"$COMP_CWORD\" -eq 1 ] || case ${COMP_WORDS[1]} in\n" + cases +
                "    *) words= ;;\n"
                "    esac\n";
    }
    // Without a match the shell completes names of files.
    const std::string function = FunctionOf(program);
    return "# Completion of " + program +
           " for bash: source it, or put it into the folder bash-completion/completions.\n" + function +
           "() {\n"
           "    local words=" +
           Quoted(Joined(names)) + "\n" + cases +
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\")\n"
           "}\n"
           "complete -o default -F " +
           function + " " + program + "\n";
}

// A call of _arguments of zsh.
std::string ZshArguments(const CLI::App& command) {
    std::string text = "_arguments";
    for (const WalkedOption& option : OptionsOf(command)) {
        if (!option.m_flag.empty()) {
            text += " \\\n            " + Quoted(option.m_flag + "[" + ZshText(option.m_help) + "]" +
                                                 (option.m_takesValue ? ":value:_files" : ""));
        } else {
            text += " \\\n            " +
                    Quoted((option.m_isRepeated ? "*:" : ":") + ZshText(option.m_name) + ":" +
                           (option.m_choices.empty() ? "_files" : "(" + Joined(option.m_choices) + ")"));
        }
    }
    return text;
}

std::string ZshCommands(const CLI::App& app) {
    std::string commands;
    std::string cases;
    for (const CLI::App* command : CommandsOf(app)) {
        commands +=
            "        " + Quoted(ZshText(command->get_name()) + ":" + command->get_description()) + "\n";
        cases += "    " + command->get_name() + ")\n        " + ZshArguments(*command) + " ;;\n";
    }
    return "    local -a commands=(\n" + commands +
           "    )\n"
           "    if (( CURRENT == 2 )); then\n"
           "        _describe command commands\n"
           "        return\n"
           "    fi\n"
           "    shift words\n"
           "    (( CURRENT-- ))\n"
           "    case ${words[1]} in\n" +
           cases + "    esac\n";
}

std::string ZshCompletion(const CLI::App& app, const std::string& program) {
    const std::string function = FunctionOf(program);
    return "#compdef " + program + "\n" + function + "() {\n" +
           (CommandsOf(app).empty() ? "    " + ZshArguments(app) + "\n" : ZshCommands(app)) +
           "}\n"
           "# Called by zsh that found the file, or read by a start-up file.\n"
           "if [[ ${funcstack[1]} == " +
           function +
           " ]]; then\n"
           "    " +
           function +
           " \"$@\"\n"
           "else\n"
           "    compdef " +
           function + " " + program +
           "\n"
           "fi\n";
}

std::string FishOptions(const CLI::App& command, const std::string& begin) {
    std::string text;
    for (const WalkedOption& option : OptionsOf(command)) {
        if (option.m_flag.starts_with("--")) {
            text += begin + " -l " + option.m_flag.substr(2) + (option.m_takesValue ? " -r" : "") + " -d " +
                    Quoted(option.m_help) + "\n";
        } else if (!option.m_choices.empty()) {
            text += begin + " -a " + Quoted(Joined(option.m_choices)) + "\n";
        }
    }
    return text;
}

std::string FishCompletion(const CLI::App& app, const std::string& program) {
    const std::string begin = "complete -c " + program;
    std::string text = CommandsOf(app).empty() ? FishOptions(app, begin) : "";
    for (const CLI::App* command : CommandsOf(app)) {
        const std::string& name = command->get_name();
        text.append(begin).append(" -f -n __fish_use_subcommand -a ").append(name).append(" -d ");
        text.append(Quoted(command->get_description())).append("\n");
        const std::string condition = " -n " + Quoted("__fish_seen_subcommand_from " + name);
        text += FishOptions(*command, begin + condition);
    }
    return text;
}

} // namespace

std::string Completion(const std::string& shell, const CLI::App& app, const std::string& program) {
    return shell == "bash"  ? BashCompletion(app, program)
           : shell == "zsh" ? ZshCompletion(app, program)
                            : FishCompletion(app, program);
}

} // namespace ox3d

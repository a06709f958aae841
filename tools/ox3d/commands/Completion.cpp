// Completion for shells.
#include "tools/ox3d/commands/Completion.h"

#include "base/CommandLine.h"

namespace ox3d::tool {
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

} // namespace

std::string BashCompletion(const CLI::App& app) {
    std::vector<std::string> names = WordsOf(app);
    std::string cases;
    for (const CLI::App* command : CommandsOf(app)) {
        names.push_back(command->get_name());
        cases += "    " + command->get_name() + ") words=" + Quoted(Joined(WordsOf(*command))) + " ;;\n";
    }
    // Without a match the shell completes names of files.
    return "# Completion of ox3d for bash: source it, or put it into the folder "
           "bash-completion/completions.\n"
           "_ox3d() {\n"
           "    local words=" +
           Quoted(Joined(names)) +
           "\n"
           "    [ \"$COMP_CWORD\" -eq 1 ] || case ${COMP_WORDS[1]} in\n" +
           cases +
           "    *) words= ;;\n"
           "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\")\n"
           "}\n"
           "complete -o default -F _ox3d ox3d\n";
}

std::string ZshCompletion(const CLI::App& app) {
    std::string commands;
    std::string cases;
    for (const CLI::App* command : CommandsOf(app)) {
        commands +=
            "        " + Quoted(ZshText(command->get_name()) + ":" + command->get_description()) + "\n";
        cases += "    " + command->get_name() + ")\n        _arguments";
        for (const WalkedOption& option : OptionsOf(*command)) {
            if (!option.m_flag.empty()) {
                cases += " \\\n            " + Quoted(option.m_flag + "[" + ZshText(option.m_help) + "]" +
                                                      (option.m_takesValue ? ":value:_files" : ""));
            } else {
                cases += " \\\n            " +
                         Quoted((option.m_isRepeated ? "*:" : ":") + ZshText(option.m_name) + ":" +
                                (option.m_choices.empty() ? "_files" : "(" + Joined(option.m_choices) + ")"));
            }
        }
        cases += " ;;\n";
    }
    return "#compdef ox3d\n"
           "_ox3d() {\n"
           "    local -a commands=(\n" +
           commands +
           "    )\n"
           "    if (( CURRENT == 2 )); then\n"
           "        _describe command commands\n"
           "        return\n"
           "    fi\n"
           "    shift words\n"
           "    (( CURRENT-- ))\n"
           "    case ${words[1]} in\n" +
           cases +
           "    esac\n"
           "}\n"
           "# Called by zsh that found the file, or read by a start-up file.\n"
           "if [[ ${funcstack[1]} == _ox3d ]]; then\n"
           "    _ox3d \"$@\"\n"
           "else\n"
           "    compdef _ox3d ox3d\n"
           "fi\n";
}

std::string FishCompletion(const CLI::App& app) {
    std::string text;
    for (const CLI::App* command : CommandsOf(app)) {
        const std::string& name = command->get_name();
        text += "complete -c ox3d -f -n __fish_use_subcommand -a " + name + " -d " +
                Quoted(command->get_description()) + "\n";
        const std::string seen = "complete -c ox3d -n " + Quoted("__fish_seen_subcommand_from " + name);
        for (const WalkedOption& option : OptionsOf(*command)) {
            if (option.m_flag.starts_with("--")) {
                text += seen + " -l " + option.m_flag.substr(2) + (option.m_takesValue ? " -r" : "") +
                        " -d " + Quoted(option.m_help) + "\n";
            } else if (!option.m_choices.empty()) {
                text += seen + " -a " + Quoted(Joined(option.m_choices)) + "\n";
            }
        }
    }
    return text;
}

} // namespace ox3d::tool

// CommandLine.cpp - see CommandLine.h.
#include "base/CommandLine.h"

#include <sstream>

namespace ox3d {
namespace {

// The parser keeps what an option takes as the text "TEXT:{get,put}".
std::vector<std::string> ChoicesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const size_t begin = type.find('{');
    const size_t end = type.find('}', begin);
    std::vector<std::string> choices;
    if (begin != std::string::npos && end != std::string::npos) {
        std::istringstream list(type.substr(begin + 1, end - begin - 1));
        for (std::string choice; std::getline(list, choice, ',');) {
            choices.push_back(choice);
        }
    }
    return choices;
}

} // namespace

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

std::vector<WalkedOption> OptionsOf(const CLI::App& command) {
    std::vector<WalkedOption> options;
    for (const CLI::Option* option : command.get_options()) {
        WalkedOption& walked = options.emplace_back();
        const std::vector<std::string>& names = option->get_lnames();
        if (option->get_positional()) {
            walked.m_name = option->get_name();
        } else if (!names.empty()) {
            walked.m_flag = "--" + names.front();
        }
        walked.m_help = option->get_description();
        walked.m_default = option->get_default_str();
        walked.m_choices = ChoicesOf(*option);
        walked.m_takesValue = option->get_items_expected_max() > 0;
        walked.m_isRequired = option->get_required();
        walked.m_isRepeated = option->get_items_expected_max() > 1;
    }
    return options;
}

} // namespace ox3d

// What the documents show of the tool is what it does.
#include "tests/tools/ToolRun.h"

#include <cctype>
#include <sstream>

namespace ox3d::test {
namespace {

struct Shown {
    std::string m_command;            // without "ox3d"
    std::vector<std::string> m_lines; // of its answer
};

std::vector<std::string> Words(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Indented lines of a page: a command behind a prompt and its answer, or a command alone, up to its comment.
std::vector<Shown> ShownIn(const std::string& page, const std::string& prompt) {
    std::vector<Shown> shown;
    bool isInAnswer = false;
    for (const std::string& line : Lines(ReadFile(std::string(OX3D_DOCUMENTS) + page))) {
        const bool isIndented = line.rfind("    ", 0) == 0;
        const std::string text = isIndented ? line.substr(4) : "";
        if (isIndented && text.rfind(prompt, 0) == 0) {
            shown.push_back({text.substr(prompt.size(), text.find("  #") - prompt.size()), {}});
            isInAnswer = true;
        } else if (isInAnswer && (isIndented || line.empty())) {
            shown.back().m_lines.push_back(text);
        } else {
            isInAnswer = false;
        }
    }
    for (Shown& each : shown) {
        while (!each.m_lines.empty() && each.m_lines.back().empty()) {
            each.m_lines.pop_back();
        }
    }
    return shown;
}

TEST_F(ToolRun, AnswersAsTheDocumentsShow) {
    UseCameras({"fps = 30"});
    const std::vector<Shown> shown = ShownIn("docs/tool.md", "$ ox3d ");
    EXPECT_GE(shown.size(), 9U);
    for (const Shown& each : shown) {
        SCOPED_TRACE(each.m_command);
        CProcess process = Start(Words(each.m_command));
        const int code = process.Finish();
        std::vector<std::string> said = Lines(process.Output());
        std::erase_if(said, [](const std::string& line) { return line.rfind("camera", 0) == 0; });
        const bool isRefused = each.m_lines.at(0).rfind("ox3d: ", 0) == 0;
        EXPECT_EQ(code, isRefused ? 2 : 0);
        if (each.m_command.rfind("stream", 0) != 0) {
            EXPECT_EQ(said, each.m_lines);
            continue;
        }
        for (const std::string& line : each.m_lines) { // what is measured has its name, whatever its value
            const std::string name = line.substr(0, line.find("  "));
            EXPECT_TRUE(name.empty() || std::isalpha(static_cast<unsigned char>(name[0])) == 0 ||
                        process.Output().find("\n" + name + "  ") != std::string::npos)
                << name;
        }
    }
}

TEST_F(ToolRun, DoesWhatTheDocumentsAdvise) {
    UseCameras({"serial = S1\nfps = 60"});
    size_t runs = 0;
    for (const char* const page : {"README.md", "docs/network.md", "docs/troubleshooting.md"}) {
        for (const Shown& each : ShownIn(page, "ox3d ")) {
            std::vector<std::string> words = Words(each.m_command);
            std::replace(words.begin(), words.end(), std::string("aravis"), std::string("virtual"));
            for (const auto& [option, most] : {std::pair("--seconds", "1"), {"--frames", "20"}}) {
                const auto at = std::find(words.begin(), words.end(), option);
                if (at != words.end()) { // nobody waits for more here
                    at[1] = most;
                }
            }
            if (each.m_command.find('[') != std::string::npos) {
                continue; // what may be left out is no command
            }
            SCOPED_TRACE(each.m_command);
            CProcess process = Start(words);
            EXPECT_THAT(process.Finish(), words[0] == "doctor" ? AnyOf(0, 8) : AnyOf(0, 0))
                << process.Output();
            ++runs;
        }
    }
    EXPECT_GE(runs, 10U);
}

} // namespace
} // namespace ox3d::test

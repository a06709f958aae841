// Small text files of the system.
#include "tools/ox3d/SmallFile.h"

#include <charconv>
#include <fstream>

namespace ox3dtool {

std::optional<std::string> ReadSmallFile(const std::filesystem::path& file, size_t mostBytes) {
    std::error_code failure;
    // A pipe or a terminal would make the reader wait.
    if (!std::filesystem::is_regular_file(file, failure)) {
        return std::nullopt;
    }
    std::ifstream in(file, std::ios::binary);
    std::string text(mostBytes, '\0');
    in.read(text.data(), static_cast<std::streamsize>(mostBytes));
    if (in.bad() || (in.fail() && !in.eof())) {
        return std::nullopt;
    }
    text.resize(static_cast<size_t>(in.gcount()));
    return text;
}

std::string ReadWordFile(const std::filesystem::path& file) {
    const std::string text = ReadSmallFile(file, 64).value_or("");
    return text.substr(0, text.find_first_of(" \t\n"));
}

std::optional<uint64_t> ReadNumberFile(const std::filesystem::path& file) {
    const std::string word = ReadWordFile(file);
    const char* const end = word.data() + word.size();
    uint64_t value = 0;
    const auto [rest, failure] = std::from_chars(word.data(), end, value);
    if (word.empty() || failure != std::errc() || rest != end) {
        return std::nullopt;
    }
    return value;
}

} // namespace ox3dtool

// Small text files of the system, read with a bound.
#ifndef OX3D_TOOL_SMALL_FILE_H
#define OX3D_TOOL_SMALL_FILE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace ox3dtool {

// Nothing when the file cannot be read; a longer file is cut.
std::optional<std::string> ReadSmallFile(const std::filesystem::path& file, size_t mostBytes);

// A file that holds one number, or one word, and a line end.
std::optional<uint64_t> ReadNumberFile(const std::filesystem::path& file);
std::string ReadWordFile(const std::filesystem::path& file); // empty when there is none

} // namespace ox3dtool

#endif

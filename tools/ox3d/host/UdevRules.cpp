// Looking through udev rules.
#include "tools/ox3d/host/UdevRules.h"

#include "base/LocalFile.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <sstream>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;

// In the order in which udev prefers them.
constexpr const char* kRuleFolders[] = {"etc/udev/rules.d", "run/udev/rules.d", "usr/local/lib/udev/rules.d",
                                        "usr/lib/udev/rules.d", "lib/udev/rules.d"};
constexpr size_t kMaxRuleBytes = size_t{1} << 20;

// Continued lines joined, without blanks, in lower case.
std::string Simplified(const std::string& rules) {
    std::string text;
    for (size_t i = 0; i < rules.size(); ++i) {
        if (rules.compare(i, 2, "\\\n") == 0) {
            ++i;
        } else if (rules[i] == '\n' || std::isspace(static_cast<unsigned char>(rules[i])) == 0) {
            text += static_cast<char>(std::tolower(static_cast<unsigned char>(rules[i])));
        }
    }
    return text;
}

bool Has(const std::string& line, const char* part) {
    return line.find(part) != std::string::npos;
}

bool GoesByClass(const std::string& line) {
    return (Has(line, "{id_usb_interfaces}==") && Has(line, "ef05")) ||
           (Has(line, "{binterfaceclass}==\"ef\"") && Has(line, "{binterfacesubclass}==\"05\""));
}

bool GivesAccess(const std::string& line) {
    return Has(line, ",mode=") || Has(line, ",mode:=") || Has(line, ",group=") || Has(line, ",group:=") ||
           Has(line, "tag+=\"uaccess\"");
}

} // namespace

const char* const kUdevRuleFile = "/etc/udev/rules.d/" OX3D_UDEV_RULE_NAME;
const char* const kUdevRule = OX3D_UDEV_RULE;

bool CoversUsb3Vision(const std::string& rules) {
    std::istringstream lines(Simplified(rules));
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with('#') && GoesByClass(line) && GivesAccess(line)) {
            return true;
        }
    }
    return false;
}

std::optional<std::string> FindUdevRule(const fs::path& root) {
    std::map<std::string, fs::path> files; // by name, the preferred one
    for (const char* const folder : kRuleFolders) {
        std::error_code failure;
        for (fs::directory_iterator entry(root / folder, failure), end; !failure && entry != end;
             entry.increment(failure)) {
            if (entry->path().extension() == ".rules") {
                files.emplace(entry->path().filename().string(), entry->path());
            }
        }
    }
    for (const auto& [name, path] : files) {
        std::string rules;
        if (ReadLocalFile(path.string(), kMaxRuleBytes, &rules, ELongFile::Cut) && CoversUsb3Vision(rules)) {
            return path.string();
        }
    }
    return std::nullopt;
}

} // namespace ox3d::tool

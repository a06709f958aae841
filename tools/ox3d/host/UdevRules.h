// Whether a udev rule lets users at USB3 Vision cameras, and the rule that does.
#ifndef OX3D_TOOL_UDEV_RULES_H
#define OX3D_TOOL_UDEV_RULES_H

#include <filesystem>
#include <optional>
#include <string>

namespace ox3d::tool {

// It goes by the interface class, so it fits the cameras of all makers. udev sets ID_USB_INTERFACES in its
// rules 50, and gives the user at the screen access for the tag "uaccess" in its rules 73: the file's name
// has to sort between them. CMake takes both from the rule file that is installed.
extern const char* const kUdevRuleFile;
extern const char* const kUdevRule;

// Whether one of the rules goes by the class of USB3 Vision and changes who may use the device. Rules for
// the cameras of one vendor are not seen: a rule does not tell which cameras it will meet.
bool CoversUsb3Vision(const std::string& rules);

// The rule file below the root that does; a file hides those of the same name in folders behind its own.
std::optional<std::string> FindUdevRule(const std::filesystem::path& root);

} // namespace ox3d::tool

#endif

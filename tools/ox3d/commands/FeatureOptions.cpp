// Options of the commands for a camera's features and files.
#include "tools/ox3d/commands/CommandOptions.h"

#include <CLI/CLI.hpp>

namespace ox3d::tool {
namespace {

void AddCamera(CLI::App& command, Arguments& arguments) {
    AddCommon(command, arguments);
    AddSerial(command, arguments);
}

} // namespace

void AddFeatures(CLI::App& command, Arguments& arguments) {
    command.add_option("PATTERN", arguments.m_feature.m_name,
                       "only features with this in their names, or whose names are this with '*' and '?'");
    command.add_flag("--long", arguments.m_feature.m_isLong, "with category, tool tip and description");
    AddCamera(command, arguments);
    AddJson(command, arguments);
    command.footer("Examples: ox3d features\n"
                   "          ox3d features trigger --long");
}

void AddGet(CLI::App& command, Arguments& arguments) {
    command.add_option("NAME", arguments.m_feature.m_names, "features; \"ox3d features\" lists them")
        ->required();
    AddCamera(command, arguments);
    AddJson(command, arguments);
    command.footer("Prints the value alone, of several features NAME=VALUE, as \"ox3d set\" takes it.\n"
                   "\n"
                   "Example: ox3d get ExposureTime Gain");
}

void AddSet(CLI::App& command, Arguments& arguments) {
    command.add_option("NAME=VALUE", arguments.m_feature.m_names, "features, set in this order")->required();
    AddCamera(command, arguments);
    AddJson(command, arguments);
    command.footer(
        "Enumerations take the name of an entry or its number, truth values yes and no. All is set or\n"
        "nothing: what the camera refuses takes back what was set before it. Prints what the camera has\n"
        "then. Most cameras forget settings when they lose power; a user set keeps them.\n"
        "\n"
        "Example: ox3d set TriggerMode=On TriggerSource=Software");
}

void AddRun(CLI::App& command, Arguments& arguments) {
    command.add_option("COMMAND", arguments.m_feature.m_name, "a feature of the type Command")->required();
    AddCamera(command, arguments);
    command.footer("Example: ox3d run UserSetSave");
}

void AddXml(CLI::App& command, Arguments& arguments) {
    command.add_option("FILE", arguments.m_file.m_local, "where to; default: standard output");
    AddForce(command, arguments);
    AddCamera(command, arguments);
    command.footer("Example: ox3d xml camera.xml");
}

void AddExport(CLI::App& command, Arguments& arguments) {
    command.add_option("FILE", arguments.m_file.m_local, "where to")->required();
    AddForce(command, arguments);
    AddCamera(command, arguments);
    command.footer("Example: ox3d export settings.txt");
}

void AddImport(CLI::App& command, Arguments& arguments) {
    command.add_option("FILE", arguments.m_file.m_local, "what \"ox3d export\" wrote")->required();
    AddCamera(command, arguments);
    command.footer("A file that the camera does not take leaves it as it was.\n"
                   "\n"
                   "Example: ox3d import settings.txt");
}

void AddFile(CLI::App& command, Arguments& arguments) {
    FileOptions& options = arguments.m_file;
    command.add_option("ACTION", options.m_action, "get: from the camera; put: onto it")
        ->required()
        ->check(CLI::IsMember({"get", "put"}));
    command.add_option("CAMERA", options.m_camera, "the file's name in the camera")->required();
    command.add_option("LOCAL", options.m_local, "the file of this host")->required();
    AddForce(command, arguments);
    AddCamera(command, arguments);
    command.footer("\"ox3d features FileSelector\" shows what files a camera has.\n"
                   "\n"
                   "Example: ox3d file get UserFile1 notes.txt");
}

void AddUpgrade(CLI::App& command, Arguments& arguments) {
    command.add_option("FILE", arguments.m_file.m_local, "the firmware, from the camera's maker")->required();
    AddCamera(command, arguments);
    command.footer("Ctrl-C gives the upgrade up: the camera may keep its firmware. Do not cut its power.\n"
                   "\n"
                   "Example: ox3d upgrade firmware.bin");
}

} // namespace ox3d::tool

// Options that commands share, and those of commands that show a camera.
#include "tools/ox3d/commands/CommandOptions.h"

#include <CLI/CLI.hpp>

namespace ox3d::tool {

void AddProvider(CLI::App& command, Arguments& arguments) {
    std::string names;
    for (const std::string& name : ProvidersIn(ProvidersFolder())) {
        names += name + ", ";
    }
    command.add_option("--provider", arguments.m_control.m_provider,
                       "camera control: " + names + (names.empty() ? "" : "or ") + "a path with a '/'");
}

void AddCommon(CLI::App& command, Arguments& arguments) {
    AddProvider(command, arguments);
    command.add_option("--recording", arguments.m_control.m_recording,
                       "play this file of ox3d record, or folder (depth/, color/, calibration.xml), through "
                       "the virtual camera control");
}

void AddSerial(CLI::App& command, Arguments& arguments) {
    command.add_option("--serial", arguments.m_serial, "the camera's serial number; default: the first");
}

void AddJson(CLI::App& command, Arguments& arguments) {
    command.add_flag("--json", arguments.m_isJson, "print one JSON document; messages go to standard error");
}

void AddForce(CLI::App& command, Arguments& arguments) {
    command.add_flag("--force", arguments.m_file.m_isForced, "replace a file that is there");
}

void AddTimeout(CLI::App& command, uint32_t& seconds, const char* help) {
    command.add_option("--timeout", seconds, help)->capture_default_str()->check(CLI::Range(1, 3600));
}

void AddList(CLI::App& command, Arguments& arguments) {
    AddCommon(command, arguments);
    AddJson(command, arguments);
    command.add_flag("--watch", arguments.m_isWatching, "tell which cameras come and go, until Ctrl-C")
        ->excludes("--json");
    command
        .add_flag("--kind", arguments.m_isKindWanted,
                  "tell of which kind each camera is; those that no program has are opened for it")
        ->excludes("--watch");
    command.footer("Examples: ox3d list --json\n"
                   "          ox3d list --watch");
}

void AddInfo(CLI::App& command, Arguments& arguments) {
    AddCommon(command, arguments);
    AddSerial(command, arguments);
    AddJson(command, arguments);
    command.add_flag(
        "--3d", arguments.m_isScan3dWanted,
        "explain instead what the camera has of the 3D model of GenICam's standard, what each of it is "
        "used for, and what follows where it is missing");
    command.footer("Of a camera that another program holds, what it tells to everybody is shown.\n"
                   "\n"
                   "Example: ox3d info --serial VC00000001");
}

void AddCloud(CLI::App& command, Arguments& arguments) {
    CloudOptions& options = arguments.m_cloud;
    command.add_option("DEPTH", options.m_depth, "depth in millimetres, a PNG file of 16 bits")->required();
    command
        .add_option("--calibration", options.m_calibration,
                    "the camera's calibration file; \"ox3d calib --export\" gives it")
        ->required();
    command.add_option("--out", arguments.m_file.m_local, "the cloud; ends in .ply or .pcd")->required();
    command.add_option("--color", options.m_color, "the color image taken with it, a PNG file");
    command.add_flag("--registered", options.m_isRegistered,
                     "the depth is laid onto the color image, as \"ox3d grab\" writes it without --all");
    AddForce(command, arguments);
    command.footer(
        "Needs no camera. Points are in metres, in the frame of the depth camera, or of the color camera\n"
        "with --registered: x right, y down, z along the view.\n"
        "\n"
        "Example: ox3d cloud depth/000001.png --calibration calibration.xml --out cloud.ply");
}

void AddCompletion(CLI::App& command, Arguments& arguments) {
    command.add_option("SHELL", arguments.m_shell, "the shell, or man for the manual page")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish", "man"}));
    command.footer("Examples: source <(ox3d completion bash)\n"
                   "          ox3d completion fish > ~/.config/fish/completions/ox3d.fish");
}

void AddCalib(CLI::App& command, Arguments& arguments) {
    AddCommon(command, arguments);
    AddSerial(command, arguments);
    AddJson(command, arguments);
    command.add_option("--export", arguments.m_file.m_local, "also copy the camera's calibration file there");
    AddForce(command, arguments);
    command.footer("With a rotation that is none the exit code is 8.\n"
                   "\n"
                   "Example: ox3d calib --export calibration.xml");
}

void AddStream(CLI::App& command, Arguments& arguments) {
    StreamOptions& options = arguments.m_stream;
    AddCommon(command, arguments);
    AddSerial(command, arguments);
    AddJson(command, arguments);
    command.add_option("--seconds", options.m_seconds, "how long; 0: until Ctrl-C")
        ->capture_default_str()
        ->check(CLI::Range(int64_t{0}, int64_t{1000000000}));
    AddTimeout(command, options.m_patienceSeconds, "seconds without a frame before giving up");
    command.footer(
        "Lost are frames missing between those that came, by their numbers; incomplete ones came and\n"
        "could not be used. Latency is at least the time from the camera's time stamp to the program, once "
        "the\n"
        "camera's clock is known.\n"
        "\n"
        "Example: ox3d stream --seconds 60 --json");
}

} // namespace ox3d::tool

// Options of the commands around recordings.
#include "tools/ox3d/commands/CommandOptions.h"

#include <CLI/CLI.hpp>

namespace ox3d::tool {
namespace {

constexpr const char* kRecordFooter = "One MCAP file with messages of ROS 2, the camera's calibration, "
                                      "features and description: docs/recording.md.\n"
                                      "Depth is lossless, as the camera sends it; color is JPEG unless told "
                                      "otherwise. The file has its name from the\n"
                                      "first frame on and can be read at every moment; after a kill or a "
                                      "power loss \"ox3d repair\" closes it.\n"
                                      "A frame dropped for a full queue makes exit code 6, a full disk 7.\n"
                                      "Example: ox3d record desk.mcap --seconds 30";

constexpr const char* kPlayFooter =
    "Ends with the recording, or by Ctrl-C. Every command takes --recording FILE to work on the camera that "
    "was\n"
    "recorded; ox3d-virtual-camera --camera recording=FILE puts it on the network.\n"
    "Example: ox3d play desk.mcap --speed 2";

constexpr const char* kConvertFooter =
    "IN is an MCAP file, a folder of ox3d grab --all, a TUM folder "
    "(depth.txt, rgb.txt) or a Redwood folder (depth/, color/,\n"
    "camera_intrinsic.json). png makes a folder that --recording plays. "
    "tum and redwood have depth laid onto color,\n"
    "ply and pcd have one colored point cloud a frame. OUT has its name when it is "
    "whole, and must not be there before.\n"
    "Example: ox3d convert desk.mcap desk-tum --to tum";

constexpr const char* kRepairFooter =
    "Checks every frame. A file that was not closed is given its summary in place, behind the last whole "
    "frame; a torn\n"
    "end behind that is cut off. Of one that was closed a damaged index is written anew. Frames are never "
    "changed.\n"
    "Exit code 1: there are damaged frames inside; 6: there is no whole one.\n"
    "Example: ox3d repair desk.mcap";

void AddColor(CLI::App& command, std::optional<ERecordedColor>& color) {
    command.add_option("--color", color, "jpeg, raw (lossless, large) or none")
        ->transform(CLI::CheckedTransformer(std::map<std::string, ERecordedColor>{
            {"jpeg", ERecordedColor::Jpeg}, {"raw", ERecordedColor::Raw}, {"none", ERecordedColor::None}}));
}

} // namespace

void AddRecordOptions(CLI::App& command, Arguments& arguments) {
    RecordOptions& options = arguments.m_record;
    AddCommon(command, arguments);
    AddSerial(command, arguments);
    command.add_option("FILE", options.m_file, "the recording to write, NAME.mcap")->required();
    command.add_option("--frames", options.m_frames, "frames to record; default: until Ctrl-C")
        ->check(CLI::Range(int64_t{1}, int64_t{1000000000}));
    command.add_option("--seconds", options.m_seconds, "seconds to record; default: until Ctrl-C")
        ->check(CLI::Range(0.001, 1e7));
    AddColor(command, options.m_color);
    command.add_option("--quality", options.m_quality, "of the JPEG images")
        ->capture_default_str()
        ->check(CLI::Range(1, 100));
    command.add_option("--queue", options.m_queueFrames, "frames that may wait in memory")
        ->capture_default_str()
        ->check(CLI::Range(int64_t{1}, int64_t{10000}));
    command.add_option("--sync", options.m_syncSeconds, "seconds that a power loss may cost")
        ->capture_default_str()
        ->check(CLI::Range(0.01, 3600.0));
    command.add_option("--timeout", options.m_patienceSeconds, "seconds without a frame before giving up")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600));
    command.add_flag("--force", options.m_isReplacing, "replace a file of that name");
    command.footer(kRecordFooter);
}

void AddPlayOptions(CLI::App& command, Arguments& arguments) {
    PlayOptions& options = arguments.m_control.m_play;
    AddProvider(command, arguments);
    command.add_option("FILE", arguments.m_control.m_recording, "an MCAP file, or a folder of PNG files")
        ->required();
    command.preparse_callback(
        [&options](size_t) { options.m_isLooping = false; }); // other commands' recordings loop
    command.add_flag("--loop", options.m_isLooping, "begin again at the end, until Ctrl-C");
    command.add_option("--speed", options.m_speed, "so many times as fast as it was recorded")
        ->capture_default_str()
        ->check(CLI::Range(0.01, 100.0));
    command.footer(kPlayFooter);
}

void AddConvertOptions(CLI::App& command, Arguments& arguments) {
    ConvertOptions& options = arguments.m_convert;
    command.add_option("IN", options.m_in, "the recording")->required();
    command.add_option("OUT", options.m_out, "NAME.mcap, or a folder")->required();
    command.add_option("--to", options.m_to, "mcap, png, tum, redwood, ply or pcd; default: by the name")
        ->transform(CLI::CheckedTransformer(std::map<std::string, EConvert>{{"mcap", EConvert::Mcap},
                                                                            {"png", EConvert::Png},
                                                                            {"tum", EConvert::Tum},
                                                                            {"redwood", EConvert::Redwood},
                                                                            {"ply", EConvert::Ply},
                                                                            {"pcd", EConvert::Pcd}}));
    AddColor(command, options.m_color);
    command
        .add_option("--quality", options.m_quality,
                    "of the JPEG images; default: those of a recording stay as they are, others get 90")
        ->check(CLI::Range(1, 100));
    command.footer(kConvertFooter);
}

void AddRepairOptions(CLI::App& command, Arguments& arguments) {
    command.add_option("FILE", arguments.m_repair.m_file, "the recording")->required();
    command.footer(kRepairFooter);
}

} // namespace ox3d::tool

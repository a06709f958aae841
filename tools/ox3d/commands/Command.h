// The tool's commands: what each is given, and the table of them. main() knows nothing but the table.
#ifndef OX3D_TOOL_COMMAND_H
#define OX3D_TOOL_COMMAND_H

#include "recording/Recorder.h"
#include "tools/ox3d/CameraControl.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/TargetFile.h"
#include "tools/ox3d/convert/ConvertOptions.h"
#include "tools/ox3d/host/CameraAddress.h"
#include "tools/ox3d/stereo/StereoMatcher.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ox3d::tool {

struct GrabOptions {
    std::string m_out;
    uint64_t m_frames = 30; // 0: until interrupted
    uint32_t m_patienceSeconds = 10;
    bool m_isRecording = false;
};

struct RecordOptions {
    std::string m_file;
    bool m_isReplacing = false;
    uint64_t m_frames = 0;                 // 0: without end
    double m_seconds = 0;                  // 0: without end
    std::optional<ERecordedColor> m_color; // none: JPEG
    uint32_t m_quality = 90;
    uint64_t m_queueFrames = 30;
    double m_syncSeconds = 1;
    uint32_t m_patienceSeconds = 10;
};

struct RepairOptions {
    std::string m_file;
};

struct NetworkOptions {
    enum class EMove { None, Static, Dhcp, LinkLocal };
    EMove m_move = EMove::None; // any other only with a serial number
    AddressRequest m_address;
    uint32_t m_patienceSeconds = 15; // for the camera to be found as it was told to be
};

struct FeatureOptions {
    std::string m_name;               // of a command, or a pattern for a listing
    std::vector<std::string> m_names; // to be read, or NAME=VALUE to be set
    bool m_isLong = false;
};

struct FileOptions {
    std::string m_local;
    std::string m_camera; // the name of a file in the camera
    std::string m_action; // "get" or "put"
    bool m_isForced = false;
    EExisting Existing() const { return m_isForced ? EExisting::Replace : EExisting::Refuse; }
};

struct CloudOptions {
    std::string m_depth;
    std::string m_color; // empty: none
    std::string m_calibration;
    bool m_isRegistered = false;
};

struct ViewOptions {
    std::vector<std::string> m_recordings;
    std::vector<std::string> m_hosts;
    std::string m_bind = "127.0.0.1";
    std::string m_token;     // empty: none, or a random one
    std::string m_recordDir; // empty: the present one
    uint16_t m_port = 8580;
    bool m_isReadOnly = false;
};

enum class EDistro { Unknown, Humble, Jazzy, Rolling }; // of ROS 2

struct Ros2Options {
    std::vector<std::string> m_serials; // empty: the first camera, or all
    std::vector<std::string> m_interfaces;
    std::vector<std::string> m_peers;
    std::string m_namespace = "camera";
    EDistro m_distro = EDistro::Unknown;
    std::optional<uint32_t> m_domain; // none: what ROS_DOMAIN_ID says
    bool m_isAll = false;
    bool m_hasNoGraph = false;
    bool m_hasNoServices = false;
    bool m_isBestEffort = false;
    bool m_hasCloud = false;
    bool m_isRegistered = false;
};

struct StereoOptions {
    std::string m_left; // empty: of a camera
    std::string m_right;
    std::string m_out;
    std::string m_calibration; // empty: the pictures are rectified
    std::string m_truth;       // empty: none
    double m_fx = 0;           // 0: not given
    std::optional<double> m_cx;
    std::optional<double> m_cy;
    double m_baseLineMm = 0; // 0: not given
    double m_offset = 0;
    StereoSettings m_settings;
    uint32_t m_patienceSeconds = 10;
};

struct StreamOptions {
    uint64_t m_seconds = 10; // 0: until interrupted
    uint32_t m_patienceSeconds = 10;
};

// What the command line says; each command has its own part.
struct Arguments {
    CameraControlRequest m_control;
    std::string m_serial; // empty: the first camera, or all of them, as the command says
    GrabOptions m_grab;
    RecordOptions m_record;
    ConvertOptions m_convert;
    RepairOptions m_repair;
    NetworkOptions m_network;
    FeatureOptions m_feature;
    FileOptions m_file;
    StreamOptions m_stream;
    StereoOptions m_stereo;
    CloudOptions m_cloud;
    ViewOptions m_view;
    Ros2Options m_ros2;
    std::string m_shell; // "bash", "zsh", "fish" or "man"
    bool m_isHostOnly = false;
    bool m_isJson = false;
    bool m_isWatching = false;
    bool m_isKindWanted = false;
    bool m_isScan3dWanted = false; // what the camera has of GenICam's 3D model
};

// One command. The function returns an exit code or throws CToolError.
struct Command {
    const char* m_name;
    const char* m_help;
    void (*m_addOptions)(CLI::App& command, Arguments& arguments);
    EExitCode (*m_run)(CCameraControl& control, const Arguments& arguments);
};

std::span<const Command> Commands();

EExitCode RunList(CCameraControl& control, const Arguments& arguments);
EExitCode RunInfo(CCameraControl& control, const Arguments& arguments);
EExitCode RunGrab(CCameraControl& control, const Arguments& arguments);
EExitCode RunRecord(CCameraControl& control, const Arguments& arguments);
EExitCode RunPlay(CCameraControl& control, const Arguments& arguments);
EExitCode RunConvert(CCameraControl& control, const Arguments& arguments);
EExitCode RunRepair(CCameraControl& control, const Arguments& arguments);
EExitCode RunNetwork(CCameraControl& control, const Arguments& arguments);
EExitCode RunDoctor(CCameraControl& control, const Arguments& arguments);
EExitCode RunFeatures(CCameraControl& control, const Arguments& arguments);
EExitCode RunGet(CCameraControl& control, const Arguments& arguments);
EExitCode RunSet(CCameraControl& control, const Arguments& arguments);
EExitCode RunRun(CCameraControl& control, const Arguments& arguments);
EExitCode RunXml(CCameraControl& control, const Arguments& arguments);
EExitCode RunExport(CCameraControl& control, const Arguments& arguments);
EExitCode RunImport(CCameraControl& control, const Arguments& arguments);
EExitCode RunFile(CCameraControl& control, const Arguments& arguments);
EExitCode RunUpgrade(CCameraControl& control, const Arguments& arguments);
EExitCode RunCalib(CCameraControl& control, const Arguments& arguments);
EExitCode RunCloud(CCameraControl& control, const Arguments& arguments);
EExitCode RunCompletion(CCameraControl& control, const Arguments& arguments);
EExitCode RunView(CCameraControl& control, const Arguments& arguments);
EExitCode RunRos2(CCameraControl& control, const Arguments& arguments);
EExitCode RunStereo(CCameraControl& control, const Arguments& arguments);
EExitCode RunStream(CCameraControl& control, const Arguments& arguments);

} // namespace ox3d::tool

#endif

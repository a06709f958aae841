// The tool's commands: what each is given, and the table of them. main() knows nothing but the table.
#ifndef OX3D_TOOL_COMMAND_H
#define OX3D_TOOL_COMMAND_H

#include "tools/ox3d/CameraControl.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/host/CameraAddress.h"

#include <cstdint>
#include <span>
#include <string>

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

struct NetworkOptions {
    enum class EMove { None, Static, Dhcp, LinkLocal };
    EMove m_move = EMove::None; // any other only with a serial number
    AddressRequest m_address;
    uint32_t m_patienceSeconds = 15; // for the camera to be found as it was told to be
};

// What the command line says; each command has its own part.
struct Arguments {
    CameraControlRequest m_control;
    std::string m_serial; // empty: the first camera, or all of them, as the command says
    GrabOptions m_grab;
    NetworkOptions m_network;
    bool m_isHostOnly = false;
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
EExitCode RunNetwork(CCameraControl& control, const Arguments& arguments);
EExitCode RunDoctor(CCameraControl& control, const Arguments& arguments);

} // namespace ox3d::tool

#endif

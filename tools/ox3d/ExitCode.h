// The tool's exit codes and the error that carries one to main(). They are documented in --help.
#ifndef OX3D_TOOL_EXIT_CODE_H
#define OX3D_TOOL_EXIT_CODE_H

#include <stdexcept>
#include <string>

namespace ox3d::tool {

enum class EExitCode {
    Ok = 0,
    Failure = 1,      // something inside the tool
    Usage = 2,        // the command line
    Provider = 3,     // no camera-control library
    NoCamera = 4,     // no camera, or not the one asked for
    Camera = 5,       // the camera refused or was lost
    NoFrame = 6,      // no frame came
    File = 7,         // a file or folder could not be read or written
    Host = 8,         // ox3d doctor or ox3d calib found a problem
    Interrupted = 130 // Ctrl-C, as shells number it
};

class CToolError : public std::runtime_error {
public:
    CToolError(EExitCode code, const std::string& message) : std::runtime_error(message), m_code(code) {}
    EExitCode Code() const { return m_code; }

private:
    EExitCode m_code;
};

} // namespace ox3d::tool

#endif

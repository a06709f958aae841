// The tool's exit codes and the error that carries one to main(). They are documented in --help.
#ifndef OX3D_TOOL_EXIT_CODE_H
#define OX3D_TOOL_EXIT_CODE_H

#include <stdexcept>
#include <string>

namespace ox3dtool {

enum EExitCode {
    kExitOk = 0,
    kExitFailure = 1,      // something inside the tool
    kExitUsage = 2,        // the command line
    kExitProvider = 3,     // no camera-control library
    kExitNoCamera = 4,     // no camera, or not the one asked for
    kExitCamera = 5,       // the camera refused or was lost
    kExitNoFrame = 6,      // no frame came
    kExitFile = 7,         // a file or folder could not be written
    kExitHost = 8,         // ox3d doctor found a problem
    kExitInterrupted = 130 // Ctrl-C, as shells number it
};

class CToolError : public std::runtime_error {
public:
    CToolError(EExitCode code, const std::string& message) : std::runtime_error(message), m_code(code) {}
    EExitCode Code() const { return m_code; }

private:
    EExitCode m_code;
};

} // namespace ox3dtool

#endif

// The tool's commands. Each returns an exit code or throws CToolError.
#ifndef OX3D_TOOL_COMMANDS_H
#define OX3D_TOOL_COMMANDS_H

#include "ExitCode.h"
#include "Provider.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace ox3dtool {

struct GrabOptions {
    std::filesystem::path m_out; // absolute
    uint64_t m_nFrames = 30;     // 0: until interrupted
    std::string m_serial;        // empty: the first camera
    uint32_t m_nPatienceSeconds = 10;
    bool m_writeAll = false;
};

EExitCode RunList(const ProviderChoice& provider);
EExitCode RunInfo(const ProviderChoice& provider, const std::string& serial);
EExitCode RunGrab(const ProviderChoice& provider, const GrabOptions& options);

} // namespace ox3dtool

#endif

// The tool's commands. Each returns an exit code or throws CToolError.
#ifndef OX3D_TOOL_COMMANDS_H
#define OX3D_TOOL_COMMANDS_H

#include "tools/ox3d/CameraAddress.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Provider.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace ox3dtool {

struct GrabOptions {
    std::filesystem::path m_out; // absolute
    uint64_t m_frames = 30;      // 0: until interrupted
    std::string m_serial;        // empty: the first camera
    uint32_t m_patienceSeconds = 10;
    bool m_writeAll = false;
};

struct NetworkOptions {
    enum class EMove { None, Static, Dhcp, LinkLocal };
    EMove m_move = EMove::None;
    std::string m_serial; // empty: all cameras are shown; never with a move
    AddressRequest m_address;
    uint32_t m_patienceSeconds = 15; // for the camera to be found as it was told to be
};

struct DoctorOptions {
    const ProviderChoice* m_providerPath = nullptr; // without one only the host is looked at
    std::string m_whyNoProvider;
    std::string m_serial; // empty: all cameras on the network
};

EExitCode RunList(const ProviderChoice& provider);
EExitCode RunInfo(const ProviderChoice& provider, const std::string& serial);
EExitCode RunGrab(const ProviderChoice& provider, const GrabOptions& options);
EExitCode RunNetwork(const ProviderChoice& provider, const NetworkOptions& options);
EExitCode RunDoctor(const DoctorOptions& options);

} // namespace ox3dtool

#endif

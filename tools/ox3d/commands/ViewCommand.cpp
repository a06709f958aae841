// ox3d view: cameras and recordings in a browser. The server is a module that other commands do without.
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Module.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/CommandOptions.h"
#include "tools/ox3d/view/ViewStage.h"

#include <CLI/CLI.hpp>
#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/random.h>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kModule = "viewer/libox3d-viewer.so";

constexpr const char* kFooter =
    "Serves until Ctrl-C. A camera is opened when somebody looks at it and closed when nobody does.\n"
    "Without --bind this host alone is served. With it the address that is printed holds a token, which\n"
    "whoever opens it may see and set the cameras by; nothing is encrypted: docs/viewer.md tells how to\n"
    "put a proxy with TLS before it.\n"
    "\n"
    "Examples: ox3d view\n"
    "          ox3d view --recording desk.mcap --bind 0.0.0.0 --host bench.local --read-only";

viewer::ServeFunction LoadServer() {
    return reinterpret_cast<viewer::ServeFunction>(
        LoadFromModule(kModule, viewer::kServeSymbol, "the viewer", "ox3d-viewer"));
}

std::string PageFolder() {
    const char* const folder = std::getenv("OX3D_VIEWER_DIR");
    return folder != nullptr && *folder != '\0'
               ? fs::absolute(folder).string()
               : (ModuleFile(kModule).parent_path() / OX3D_PAGE_FROM_MODULE).lexically_normal().string();
}

std::string RandomToken() {
    std::array<uint8_t, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw CToolError(EExitCode::Failure, "the system has no random numbers");
    }
    std::string token;
    for (const uint8_t byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02x", static_cast<unsigned>(byte));
        token += digits;
    }
    return token;
}

bool IsLoopback(const std::string& address) {
    in_addr parsed{};
    return inet_pton(AF_INET, address.c_str(), &parsed) == 1 && (ntohl(parsed.s_addr) >> 24U) == 127;
}

// An option shows in the list of processes.
std::string TokenOf(const ViewOptions& options) {
    const char* const token = std::getenv("OX3D_VIEW_TOKEN");
    return options.m_token.empty() && token != nullptr ? token : options.m_token;
}

viewer::ServerOptions ServerOptionsOf(const ViewOptions& options) {
    const std::string token = TokenOf(options);
    viewer::ServerOptions server;
    in_addr parsed{};
    server.m_address = options.m_bind;
    if (inet_pton(AF_INET, options.m_bind.c_str(), &parsed) != 1) {
        throw CToolError(EExitCode::Usage, "--bind takes an IPv4 address of this host, or 0.0.0.0 for all");
    }
    const bool isPlain = std::all_of(token.begin(), token.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
               c == '_';
    });
    constexpr size_t kLeastToken = 16;
    if (!token.empty() && (!isPlain || token.size() < kLeastToken)) {
        throw CToolError(EExitCode::Usage, "a token has 16 or more letters, digits, - and _");
    }
    server.m_port = options.m_port;
    server.m_token = token.empty() && !IsLoopback(options.m_bind) ? RandomToken() : token;
    server.m_hosts = options.m_hosts;
    server.m_isReadOnly = options.m_isReadOnly;
    server.m_pageFolder = PageFolder();
    return server;
}

// Of this host, but those that only this host reaches.
std::vector<std::string> OwnAddresses() {
    std::vector<std::string> own;
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) {
        return own;
    }
    for (const ifaddrs* one = all; one != nullptr; one = one->ifa_next) {
        char text[INET_ADDRSTRLEN] = "";
        const bool isIp4 = one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET;
        if (isIp4 && (one->ifa_flags & IFF_UP) != 0 && (one->ifa_flags & IFF_LOOPBACK) == 0 &&
            inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(one->ifa_addr)->sin_addr, text,
                      sizeof(text)) != nullptr) {
            own.emplace_back(text);
        }
    }
    freeifaddrs(all);
    return own;
}

// On standard output, and nothing else there: what other programs start it for. One a line, the best first.
void PrintAddress(uint16_t port, void* user) {
    const auto& server = *static_cast<const viewer::ServerOptions*>(user);
    std::vector<std::string> hosts = server.m_hosts;
    if (hosts.empty()) {
        hosts = server.m_address == "0.0.0.0" ? OwnAddresses() : std::vector<std::string>{server.m_address};
    }
    if (hosts.empty()) {
        hosts.emplace_back("localhost");
    }
    for (const std::string& host : hosts) {
        std::printf("http://%s:%u/%s%s\n", host.c_str(), static_cast<unsigned>(port),
                    server.m_token.empty() ? "" : "#token=", server.m_token.c_str());
    }
    std::fflush(stdout);
}

fs::path RecordFolder(const ViewOptions& options) {
    fs::path folder = fs::absolute(options.m_recordDir.empty() ? "." : options.m_recordDir);
    std::error_code ignored;
    if (!fs::is_directory(folder, ignored)) {
        throw CToolError(EExitCode::File, folder.string() + " is no folder for recordings");
    }
    return folder;
}

void WarnWithoutPage(const fs::path& folder) {
    std::error_code ignored;
    if (!fs::exists(folder / "index.html", ignored)) {
        std::fprintf(stderr, "ox3d: there is no page in %s: requests are answered, browsers show nothing\n",
                     folder.c_str());
    }
}

// A provider that is not there is no reason not to play recordings.
std::optional<ProviderChoice> EnterControl(CCameraControl& control, const ViewOptions& options) {
    try {
        return control.Enter();
    } catch (const CToolError& error) {
        if (options.m_recordings.empty() || control.IsNamed()) {
            throw;
        }
        std::fprintf(stderr, "ox3d: %s; recordings alone are shown\n", error.what());
    }
    InstallInterruptHandler();
    return std::nullopt;
}

} // namespace

void AddView(CLI::App& command, Arguments& arguments) {
    ViewOptions& options = arguments.m_view;
    AddProvider(command, arguments);
    command.add_option("--recording", options.m_recordings,
                       "also show this file of ox3d record, or folder; may be given more than once");
    command.add_option("--port", options.m_port, "TCP port; 0: one that is free")
        ->capture_default_str()
        ->check(CLI::Range(0, 65535));
    command.add_option("--bind", options.m_bind, "IPv4 address to serve at; 0.0.0.0: all of this host")
        ->capture_default_str();
    command.add_option("--token", options.m_token,
                       "what clients have to know; default: OX3D_VIEW_TOKEN, or with --bind a random one");
    command.add_option("--host", options.m_hosts, "a name that this host is called by, besides its address");
    command.add_option("--record-dir", options.m_recordDir,
                       "folder for recordings; default: the present one");
    command.add_flag("--read-only", options.m_isReadOnly, "cameras are shown, and neither set nor recorded");
    command.footer(kFooter);
}

EExitCode RunView(CCameraControl& control, const Arguments& arguments) {
    const ViewOptions& options = arguments.m_view;
    const viewer::ServeFunction serve = LoadServer();
    viewer::ServerOptions server = ServerOptionsOf(options);
    WarnWithoutPage(server.m_pageFolder);
    const fs::path recordDir = RecordFolder(options);
    std::vector<std::string> recordings;
    for (const std::string& recording : options.m_recordings) {
        recordings.push_back(fs::absolute(recording).string());
        CheckRecording(recordings.back(), EPlayedAs::Images);
    }
    const std::optional<ProviderChoice> provider = EnterControl(control, options);
    const CScratchFolder scratch; // the library writes its log and calibration files there
    EnterFolder(scratch.Path());
    const auto site = provider ? std::optional<ViewSite>({*provider, scratch.Path(), recordDir})
                               : std::optional<ViewSite>();
    CViewStage stage(site, recordings, scratch.Path(), server.m_isReadOnly);
    std::string error;
    if (!serve(server, stage, IsInterrupted, PrintAddress, &server, &error)) {
        throw CToolError(EExitCode::Host, error);
    }
    return EExitCode::Ok;
}

} // namespace ox3d::tool

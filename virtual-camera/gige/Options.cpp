// Options.cpp - options become lines of the camera list, so that file and command line mean the same.
#include "virtual-camera/gige/Options.h"

#include "base/Completion.h"
#include "base/ManualPage.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace ox3d::gige {
namespace {

constexpr uint64_t kMaxListBytes = 1 << 20;
constexpr NetworkDefaults kLoopback{0x7F000001, 0xFF000000, 0, 0x7F000001, true};

struct Arguments {
    std::string m_listFile;
    std::vector<std::string> m_cameras;
    std::string m_kind = "native";
    std::vector<std::string> m_faults;
    double m_dropPercent = 0;
    double m_reorderPercent = 0;
    double m_silentAfterSeconds = 0;
    double m_rebootAfterSeconds = 0;
    uint32_t m_truncateFrame = 0;
    uint32_t m_chunkLengthBytes = 0;
    bool m_isXmlBroken = false;
    bool m_isManualWanted = false;
    std::string m_shell; // that wants to complete this
};

// "serial=A,fps=30" becomes a section of the list. A comma cannot be part of a value here.
std::string Section(const std::string& text) {
    std::string section = "[camera]\n";
    std::stringstream items(text);
    std::string item;
    while (std::getline(items, item, ',')) {
        section += item + "\n";
        if (item.starts_with("recording=")) {
            section += "source = recording\n";
        }
    }
    return section;
}

// The list may come through a pipe, so it is read until its end and not as a regular file.
bool ReadListFile(const std::string& name, std::string* text) {
    std::ifstream file(name, std::ios::binary);
    text->resize(kMaxListBytes + 1);
    file.read(text->data(), static_cast<std::streamsize>(text->size()));
    text->resize(static_cast<size_t>(file.gcount()));
    return !text->empty() && text->size() <= kMaxListBytes;
}

bool ReadCameras(const Arguments& arguments, std::vector<CameraConfig>* cameras) {
    std::vector<std::string> errors;
    NetworkDefaults network = kLoopback;
    network.m_kind = arguments.m_kind == "native" ? ECameraKind::Native : ECameraKind::Sfnc3d;
    if (!arguments.m_listFile.empty()) {
        std::string text;
        if (!ReadListFile(arguments.m_listFile, &text)) {
            std::fprintf(stderr, "%s: the camera list cannot be read\n", arguments.m_listFile.c_str());
            return false;
        }
        const size_t slash = arguments.m_listFile.rfind('/');
        const std::string folder = slash == std::string::npos ? "." : arguments.m_listFile.substr(0, slash);
        *cameras = ParseCameraList(text, arguments.m_listFile, folder, &errors, network);
    } else if (!arguments.m_cameras.empty()) {
        std::string text;
        for (const std::string& camera : arguments.m_cameras) {
            text += Section(camera);
        }
        *cameras = ParseCameraList(text, "--camera", ".", &errors, network);
    } else {
        *cameras = DefaultCameraList(network);
    }
    for (const std::string& error : errors) {
        std::fprintf(stderr, "%s\n", error.c_str());
    }
    return errors.empty();
}

// Faults of the command line go to every camera, on top of those that its section names.
bool AddFaults(const CLI::App& app, const Arguments& arguments, FaultSet* faults) {
    for (const std::string& fault : arguments.m_faults) {
        std::string error;
        if (!ParseFault(fault, faults, &error)) {
            std::fprintf(stderr, "--fault: %s\n", error.c_str());
            return false;
        }
    }
    const auto set = [&](const char* option, double value, uint32_t FaultSet::*member) {
        if (app.count(option) > 0) {
            faults->*member = static_cast<uint32_t>(std::lround(value));
        }
    };
    set("--drop", 10 * arguments.m_dropPercent, &FaultSet::m_dropPerMille);
    set("--reorder", 10 * arguments.m_reorderPercent, &FaultSet::m_reorderPerMille);
    set("--truncate-frame", arguments.m_truncateFrame, &FaultSet::m_truncateFrame);
    set("--silent-after", 1000 * arguments.m_silentAfterSeconds, &FaultSet::m_silentAfterMs);
    set("--reboot-after", 1000 * arguments.m_rebootAfterSeconds, &FaultSet::m_rebootAfterMs);
    set("--corrupt-chunk-length", arguments.m_chunkLengthBytes, &FaultSet::m_claimedChunkLengthBytes);
    set("--broken-xml", arguments.m_isXmlBroken ? 1 : 0, &FaultSet::m_isXmlBroken);
    return true;
}

// A camera in a network needs a while to come up again.
void SetBootTime(FaultSet* faults) {
    constexpr uint32_t kBootMs = 1000;
    if (faults->m_replugAfterMs == 0) {
        faults->m_replugAfterMs = kBootMs;
    }
}

void Define(CLI::App* app, Arguments* arguments, Options* options) {
    CLI::Option* const file = app->add_option("--config", arguments->m_listFile, "file with the camera list");
    app->add_option(
           "--camera", arguments->m_cameras,
           "a camera as KEY=VALUE[,KEY=VALUE...] with the keys of the camera list; several times for "
           "several cameras (127.0.0.1, 127.0.0.2, ... where no ip is given)")
        ->excludes(file);
    app->add_option("--kind", arguments->m_kind,
                    "what the cameras are that do not say it: native (depth with color in a chunk) or sfnc3d "
                    "(components, as the GenICam standard's 3D model has it)")
        ->check(CLI::IsMember({"native", "sfnc3d"}))
        ->capture_default_str();
    app->add_option("--interface", options->m_interface, "interface whose discovery broadcasts are heard")
        ->capture_default_str();
    app->add_option("--fault", arguments->m_faults, "a fault of the camera list, such as \"drop_every 100\"");
    app->add_option("--drop", arguments->m_dropPercent, "per cent of the stream packets that get lost")
        ->check(CLI::Range(0.0, 100.0));
    app->add_option("--reorder", arguments->m_reorderPercent,
                    "per cent of the stream packets that swap places")
        ->check(CLI::Range(0.0, 100.0));
    app->add_option("--truncate-frame", arguments->m_truncateFrame, "the frame that ends in its middle")
        ->check(CLI::Range(1, 1000000000));
    app->add_option("--silent-after", arguments->m_silentAfterSeconds,
                    "seconds from the first taking of control until nothing is answered or sent any more")
        ->check(CLI::Range(0.0, 600.0));
    app->add_option("--reboot-after", arguments->m_rebootAfterSeconds,
                    "seconds from the first taking of control until the camera restarts")
        ->check(CLI::Range(0.001, 600.0));
    app->add_option("--corrupt-chunk-length", arguments->m_chunkLengthBytes,
                    "the length that every chunk claims to have")
        ->check(CLI::Range(0, INT32_MAX));
    app->add_flag("--broken-xml", arguments->m_isXmlBroken,
                  "serve a GenICam description that cannot be read");
    app->add_option("--completion", arguments->m_shell, "print what a shell needs to complete this, and end")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    app->add_flag("--manual", arguments->m_isManualWanted, "print this as a manual page, and end");
    app->footer("Example: ox3d-virtual-camera --camera serial=LEFT --camera recording=desk.mcap,speed=0.5 "
                "--drop 0.1");
}

} // namespace

bool ReadOptions(int argc, char** argv, Options* options, int* exitCode) {
    CLI::App app("Virtual RGB-D cameras on the network (GigE Vision). Ends on SIGINT or SIGTERM.");
    Arguments arguments;
    Define(&app, &arguments, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        *exitCode = app.exit(error) == 0 ? 0 : 2;
        return false;
    }
    if (arguments.m_isManualWanted || !arguments.m_shell.empty()) {
        const std::string program = "ox3d-virtual-camera";
        const std::string page = arguments.m_isManualWanted
                                     ? ManualPage(app, program, "puts virtual RGB-D cameras on the network")
                                     : Completion(arguments.m_shell, app, program);
        *exitCode = std::fputs(page.c_str(), stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : 1;
        return false;
    }
    *exitCode = 2;
    if (!ReadCameras(arguments, &options->m_cameras)) {
        return false;
    }
    for (CameraConfig& camera : options->m_cameras) {
        if (camera.m_transport != ETransport::GigE) {
            std::fprintf(stderr, "camera %s: only GigE cameras can be on the network\n",
                         camera.m_serial.c_str());
            return false;
        }
        if (!AddFaults(app, arguments, &camera.m_faults)) {
            return false;
        }
        SetBootTime(&camera.m_faults);
    }
    return true;
}

} // namespace ox3d::gige

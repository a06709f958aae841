// ox3d-virtual-camera: puts virtual RGB-D cameras on the network until it is told to end.
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <pthread.h>

#include "virtual-camera/gige/CameraServer.h"
#include "virtual-camera/gige/Options.h"

namespace {

using namespace ox3d::gige;

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;

int Serve(const Options& options) {
    // Blocked before any thread starts, so that only the wait below takes them.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);

    std::vector<std::unique_ptr<CCameraServer>> servers;
    for (const ox3d::CameraConfig& camera : options.m_cameras) {
        servers.push_back(std::make_unique<CCameraServer>(camera, options.m_interface));
        std::string error;
        if (!servers.back()->Start(&error)) {
            std::fprintf(stderr, "virtual camera %s: %s\n", camera.m_serial.c_str(), error.c_str());
            return kExitFailure;
        }
        std::printf("camera %s (%s) at %s\n", camera.m_serial.c_str(), camera.m_model.c_str(),
                    ox3d::Ipv4Text(camera.m_ip).c_str());
    }
    std::printf("ready\n");
    std::fflush(stdout);
    int signal = 0;
    sigwait(&ends, &signal);
    return kExitSuccess;
}

} // namespace

int main(int argc, char** argv) {
    try {
        Options options;
        int exitCode = 0;
        return ReadOptions(argc, argv, &options, &exitCode) ? Serve(options) : exitCode;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "ox3d-virtual-camera: %s\n", failure.what());
        return kExitFailure;
    }
}

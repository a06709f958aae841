// Ctrl-C and termination as a flag.
#include "tools/ox3d/Interrupt.h"

#include <csignal>

namespace ox3d::tool {
namespace {

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void OnSignal(int) {
    g_interrupted = 1;
}

} // namespace

void InstallInterruptHandler() {
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART; // calls of the camera libraries are not to fail half-way
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
    action.sa_handler = SIG_IGN; // a reader that goes away is no reason to leave a camera open
    sigaction(SIGPIPE, &action, nullptr);
}

bool IsInterrupted() {
    return g_interrupted != 0;
}

} // namespace ox3d::tool

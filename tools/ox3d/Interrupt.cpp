// Ctrl-C and termination as a flag.
#include "tools/ox3d/Interrupt.h"

#include "tools/ox3d/ExitCode.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace ox3d::tool {
namespace {

// timeout(1) sends its signal twice at once: that is one wish.
constexpr int64_t kSameWishMs = 500;

std::atomic<int64_t> g_interruptedMs{0}; // by the monotonic clock; 0: not
static_assert(std::atomic<int64_t>::is_always_lock_free, "a signal handler uses it");

extern "C" void OnSignal(int signal) {
    const int error = errno;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t nowMs = int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000 + 1;
    int64_t firstMs = 0;
    if (!g_interruptedMs.compare_exchange_strong(firstMs, nowMs) && nowMs - firstMs >= kSameWishMs) {
        std::signal(signal, SIG_DFL);
        std::raise(signal); // comes when the handler has returned
    }
    errno = error;
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
    return g_interruptedMs.load() != 0;
}

void CheckInterrupted() {
    if (IsInterrupted()) {
        throw CToolError(EExitCode::Interrupted, "interrupted");
    }
}

} // namespace ox3d::tool

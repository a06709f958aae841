// Scenarios.cpp - see Scenarios.h.
#include "fuzz/session/Scenarios.h"

namespace ox3d::session {
namespace {

constexpr Scenario kScenarios[] = {
    {"camera-errors", "sessions with a failing call", 300, 1000000, RunCameraErrors},
    {"random-sessions", "sessions from random bytes", 300, 100000, RunRandomSessions},
    {"missing-symbols", "sets of missing functions", 50, 1000, RunMissingSymbols},
    {"out-of-memory", "places", 5, 1, RunOutOfMemory},
    {"system-faults", "places", 4, 1, RunSystemFaults},
    {"unplug", "losses", 200, 10000, RunUnplug},
    {"cycles", "times opened and closed", 1500, 100000, RunCycles},
    {"frames", "frames pushed", 50000, 2600000, RunFrames},
    {"frames-of-all-kinds", "frames with every option", 300, 100000, RunFramesOfAllKinds},
    {"threads", "calls from 8 threads", 300000, 5000000, RunThreads},
    {"process-ends", "processes", 10, 1000, RunProcessEnds},
    {"log-kills", "processes killed", 40, 1000, RunLogKills},
    {"log-obstacles", "obstacles", 1, 1, RunLogObstacles},
    {"numbers", "settings", 1, 1, RunNumbers},
#ifdef OX3D_VIRTUAL_CAMERA
    {"network-unplug", "cameras killed", 1, 50, RunNetworkUnplug},
    {"network-returns", "cameras killed and back", 2, 50, RunNetworkReturns},
    {"network-cycles", "times opened and closed", 5, 1000, RunNetworkCycles},
#endif
};

} // namespace

std::span<const Scenario> Scenarios() {
    return kScenarios;
}

} // namespace ox3d::session

// Scenarios.cpp - see Scenarios.h.
#include "fuzz/session/Scenarios.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "fuzz/session/Player.h"

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
    {"threads", "calls from 8 threads", 50000, 1000000, RunThreads},
    {"process-ends", "processes", 10, 1000, RunProcessEnds},
    {"log-kills", "processes killed", 40, 1000, RunLogKills},
    {"log-obstacles", "obstacles", 1, 1, RunLogObstacles},
    {"numbers", "settings", 1, 1, RunNumbers},
#ifdef OX3D_VIRTUAL_CAMERA
    {"network-unplug", "cameras killed", 1, 50, RunNetworkUnplug},
    {"network-returns", "cameras killed and back", 2, 50, RunNetworkReturns},
    {"network-cycles", "times opened and closed", 40, 1000, RunNetworkCycles},
    {"network-attack", "kinds of attack", 0, 100, RunNetworkAttack},
#endif
#ifdef OX3D_VIEWER_TOOL
    {"viewer", "seconds with ten clients", 24, 600, RunViewer},
#endif
};

// Of this process or the largest that it has started, which count once they have ended.
long LargestMemoryKib() {
    rusage own{};
    rusage started{};
    getrusage(RUSAGE_SELF, &own);
    getrusage(RUSAGE_CHILDREN, &started);
    return std::max(own.ru_maxrss, started.ru_maxrss);
}

} // namespace

int RunScenario(const Scenario& scenario, bool isCheck, unsigned long seed) {
    Run run;
    run.m_count = isCheck ? scenario.m_checkCount : scenario.m_soakCount;
    run.m_random.seed(seed);
    const auto begin = std::chrono::steady_clock::now();
    scenario.m_run(run);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    const auto number = [](uint64_t value) { return static_cast<unsigned long long>(value); };
    const std::string holds = run.m_leftOut.empty() ? "holds" : "the rest holds; left out:" + run.m_leftOut;
    printf("| %s | %llu %s | %llu | %.0f | %ld | %s |\n", scenario.m_name, number(run.m_done),
           scenario.m_what, number(run.m_faults), seconds.count(), LargestMemoryKib() / 1024,
           Complaints() == 0 ? holds.c_str() : "DOES NOT HOLD");
    return Complaints() == 0 ? 0 : 1;
}

void LeaveOut(Run& run, const char* what) {
    run.m_leftOut += run.m_leftOut.empty() ? " " : ", ";
    run.m_leftOut += what;
}

std::span<const Scenario> Scenarios() {
    return kScenarios;
}

} // namespace ox3d::session

// Scenarios.h - what is done to the library, each with a number to hold: a table. A scenario runs in a process of its
// own, in a folder of its own, and says by Complain what did not hold. Those whose names begin with "network-" need a
// network of their own and the provider over Aravis, the others the scripted camera.
#ifndef OX3D_FUZZ_SESSION_SCENARIOS_H
#define OX3D_FUZZ_SESSION_SCENARIOS_H

#include <cstdint>
#include <random>
#include <span>
#include <string>

namespace ox3d::session {

// The order to run one scenario, and what it did.
struct Run {
    uint64_t m_count = 0; // as many as the tier asks for; what is counted is the scenario's
    std::mt19937 m_random;
    uint64_t m_done = 0;
    uint64_t m_faults = 0; // that happened
    std::string m_leftOut; // what this machine does not allow
};

struct Scenario {
    const char* m_name;
    const char* m_what;    // is counted
    uint64_t m_checkCount; // in the gate of ./run check; 0: not there
    uint64_t m_soakCount;  // in ./run soak
    void (*m_run)(Run& run);
};

std::span<const Scenario> Scenarios();

// Runs one, prints what was done as a line of a table, and gives the exit code.
int RunScenario(const Scenario& scenario, bool isCheck, unsigned long seed);

// Says that this machine does not allow a part.
void LeaveOut(Run& run, const char* what);

void RunCameraErrors(Run& run);
void RunRandomSessions(Run& run);
void RunMissingSymbols(Run& run);
void RunOutOfMemory(Run& run);
void RunSystemFaults(Run& run);
void RunUnplug(Run& run);
void RunCycles(Run& run);
void RunFrames(Run& run);
void RunFramesOfAllKinds(Run& run);
void RunThreads(Run& run);
void RunProcessEnds(Run& run);
void RunLogKills(Run& run);
void RunLogObstacles(Run& run);
void RunNumbers(Run& run);
void RunNetworkUnplug(Run& run);
void RunNetworkReturns(Run& run);
void RunNetworkCycles(Run& run);
void RunNetworkAttack(Run& run);
void RunViewer(Run& run);

// In a process that a scenario starts: "--child WORK --seed N --folder F".
int RunChild(const char* work, unsigned long seed, const char* folder);

} // namespace ox3d::session

#endif

// Soak.cpp - runs one scenario, or lists them all: soak [--check] [--seed N] [NAME]. The last line of its output is what
// was done; it fails when anything did not hold.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fuzz/session/Player.h"
#include "fuzz/session/Scenarios.h"

namespace {

using namespace ox3d::session;

int RunOne(const Scenario& scenario, bool isCheck, unsigned long seed) {
    Run run;
    run.m_count = isCheck ? scenario.m_checkCount : scenario.m_soakCount;
    run.m_random.seed(seed);
    const auto begin = std::chrono::steady_clock::now();
    scenario.m_run(run);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto number = [](uint64_t value) { return static_cast<unsigned long long>(value); };
    printf("| %s | %llu %s | %llu | %.0f | %ld | %s |\n", scenario.m_name, number(run.m_done),
           scenario.m_what, number(run.m_faults), seconds.count(), usage.ru_maxrss / 1024,
           Complaints() == 0 ? "holds" : "DOES NOT HOLD");
    return Complaints() == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    bool isCheck = false;
    unsigned long seed = 1;
    const char* name = nullptr;
    const char* child = nullptr;
    const char* folder = "";
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--check") == 0) {
            isCheck = true;
        } else if (strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
            seed = strtoul(argv[++i], nullptr, 10);
        } else if (strcmp(argv[i], "--child") == 0 && i + 1 < argc) {
            child = argv[++i];
        } else if (strcmp(argv[i], "--folder") == 0 && i + 1 < argc) {
            folder = argv[++i];
        } else {
            name = argv[i];
        }
    }
    if (child != nullptr) {
        return RunChild(child, seed, folder);
    }
    for (const Scenario& scenario : Scenarios()) {
        if (name == nullptr) {
            puts(scenario.m_name);
        } else if (strcmp(name, scenario.m_name) == 0) {
            return RunOne(scenario, isCheck, seed);
        }
    }
    return name == nullptr ? 0 : 2;
}

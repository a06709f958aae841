// Soak.cpp - runs one scenario, or lists them all: soak [--check] [--seed N] [NAME]. The last line of its output is what
// was done; it fails when anything did not hold.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fuzz/session/Scenarios.h"

using namespace ox3d::session;

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
        if (name == nullptr && (!isCheck || scenario.m_checkCount != 0)) {
            puts(scenario.m_name);
        } else if (name != nullptr && strcmp(name, scenario.m_name) == 0) {
            return RunScenario(scenario, isCheck, seed);
        }
    }
    return name == nullptr ? 0 : 2;
}

// Time.cpp - see Time.h.
#include "src/Common/Time.h"

#include <cmath>

int SetTime() noexcept {
    return 0;
}

void OX_DebugInfo(const char* /*format*/, ...) noexcept {}

void OX_RunInfo(const char* /*format*/, ...) noexcept {}

// Preserved for compatibility: not std::round, since 0.49999999999999994 + 0.5 is 1 in double.
double ox3d::round(double x) noexcept {
    return x > 0.0 ? std::floor(x + 0.5) : std::ceil(x - 0.5);
}

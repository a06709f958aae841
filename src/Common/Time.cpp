// Time hooks and rounding. Relies on nothing; most of it does nothing by intent.
#include "src/Common/Time.h"

#include <cmath>

int SetTime() noexcept {
    return 0;
}

void OX_DebugInfo(const char* /*format*/, ...) noexcept {}

void OX_RunInfo(const char* /*format*/, ...) noexcept {}

// Not std::round: 0.49999999999999994 + 0.5 is 1 in double, and callers get that 1.
double ox3d::round(double x) noexcept {
    return x > 0.0 ? std::floor(x + 0.5) : std::ceil(x - 0.5);
}

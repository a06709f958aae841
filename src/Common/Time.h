// Time.h - time hooks of the frame path, two diagnostic hooks that are switched off, and rounding.
#ifndef OX3D_COMMON_TIME_H
#define OX3D_COMMON_TIME_H

// Preserved for compatibility: 0.0 always, so that the "cost[%f]ms" figures of the frame path read 0 in the
// log.
inline double MyMilliseconds() noexcept {
    return 0.0;
}

// Does nothing; 0.
int SetTime() noexcept;

// Diagnostic hooks that are switched off: the format is checked, nothing is written.
void OX_DebugInfo(const char* format, ...) noexcept __attribute__((format(printf, 1, 2)));
void OX_RunInfo(const char* format, ...) noexcept __attribute__((format(printf, 1, 2)));

namespace ox3d {

// Half away from zero. In a namespace, since <cmath> owns the global name.
double round(double x) noexcept;

} // namespace ox3d

#endif

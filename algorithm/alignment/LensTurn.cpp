// LensTurn.cpp - see LensTurn.h.
#include "algorithm/alignment/LensTurn.h"

namespace ox3d {
namespace {

constexpr double kWidest2 = 25.0; // 79 degrees off the axis: no such lens is described by these terms
constexpr double kScanStep = 0.005;

} // namespace

double MaxRadius2(double k1, double k2, double k3) {
    double r2 = 0.0;
    while (r2 < kWidest2 && 1.0 + r2 * (3.0 * k1 + r2 * (5.0 * k2 + r2 * 7.0 * k3)) > 0.0) {
        r2 += kScanStep;
    }
    return r2;
}

} // namespace ox3d

// Kernels.h - the measured calls of the library's kernels on the images of Images.h, in the tier in use.
#ifndef OX3D_BENCH_KERNELS_H
#define OX3D_BENCH_KERNELS_H

#include "bench/Images.h"

namespace ox3dbench {

// Which outputs and inputs a mode of the data transform has.
struct Mode {
    const char* m_name;
    bool m_hasPoints;
    bool m_hasTarget;
    bool m_isMoved;
    bool m_isDistorted;
};

constexpr Mode kCloud = {"A", true, false, false, false};
constexpr Mode kRegistration = {"C1", false, true, true, false};

void Transform(const Mode& mode, TransformImages& images);
// Where the samples of a registration land, listed part by part and not used.
void Project(const TransformImages& images);
// Filled registration by the threads that are allowed.
void FillByThreads(Size size);
void Interleave(RgbdImages& images);
void ScalePlanes(ScaleImages& images);

} // namespace ox3dbench

#endif

// ImageTiers.cpp - see ImageTiers.h.
#include "algorithm/binostereo/ImageTiers.h"

#include "algorithm/dispatch/KernelChoice.h"

namespace ox3d::stereo {
namespace {

constexpr ImageKernels kReference = {reference::Remap, reference::SmoothRow, reference::SmoothColumns,
                                     reference::Weigh, reference::Fuse,      reference::CountZeros};

constinit CKernelChoice<ImageKernels, kReference, sse2::kImageKernels, avx2::kImageKernels,
                        avx512::kImageKernels>
    g_choice;

} // namespace

const ImageKernels& ImageKernelsInUse() {
    return g_choice.InUse();
}

EKernelTier UseImageKernelTier(EKernelTier tier) {
    return g_choice.Use(tier);
}

} // namespace ox3d::stereo

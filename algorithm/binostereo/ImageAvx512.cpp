// The fast image kernels for processors with AVX-512.
// Relies on ImageFast.h, and on being compiled for AVX-512 F, BW, DQ and VL.
#define OX3D_TIER avx512
#include "algorithm/binostereo/ImageFast.h"

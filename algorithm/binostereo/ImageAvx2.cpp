// The fast image kernels for processors with AVX2.
// Relies on ImageFast.h, and on being compiled for AVX2.
#define OX3D_TIER avx2
#include "algorithm/binostereo/ImageFast.h"

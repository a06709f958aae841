// The filled registration's loops for processors with AVX2.
// Relies on FillFast.h, and on being compiled for AVX2.
#define OX3D_TIER avx2
#include "algorithm/alignment/LanesAvx2.h"

#include "algorithm/alignment/FillFast.h"

// The filled registration's loops for processors with AVX-512.
// Relies on FillFast.h, and on being compiled for AVX-512 F, BW, DQ and VL.
#define OX3D_TIER avx512
#include "algorithm/alignment/LanesAvx512.h"

#include "algorithm/alignment/FillFast.h"

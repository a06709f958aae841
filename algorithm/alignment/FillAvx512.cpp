// The filled registration's loops for processors with AVX-512. Relies on being compiled for these.
#define OX3D_TIER avx512
#include "algorithm/alignment/FillFast.h"

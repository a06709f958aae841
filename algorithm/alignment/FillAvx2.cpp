// The filled registration's loops for processors with AVX2. Relies on being compiled for these.
#define OX3D_TIER avx2
#include "algorithm/alignment/FillFast.h"

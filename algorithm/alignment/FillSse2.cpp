// The filled registration's loops for processors with SSE2. Relies on being compiled for these.
#define OX3D_TIER sse2
#include "algorithm/alignment/FillFast.h"

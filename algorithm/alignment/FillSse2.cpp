// The filled registration's loops for every processor.
// Relies on FillFast.h.
#define OX3D_TIER sse2
#include "algorithm/alignment/LanesPlain.h"

#include "algorithm/alignment/FillFast.h"

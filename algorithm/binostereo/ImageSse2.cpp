// The fast image kernels in plain loops, for every processor.
// Relies on ImageFast.h.
#define OX3D_TIER sse2
#include "algorithm/binostereo/ImageFast.h"

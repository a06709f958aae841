// CloudAvx512.cpp - the loops of a row for processors with AVX-512; static functions only.
#define OX3D_CLOUD_TIER cloud_avx512
#include "algorithm/rgbd/CloudFast.h"

// CloudAvx2.cpp - the loops of a row for processors with AVX2; static functions only.
#define OX3D_CLOUD_TIER cloud_avx2
#include "algorithm/rgbd/CloudFast.h"

// CloudSse2.cpp - the loops of a row for every processor; static functions only.
#define OX3D_CLOUD_TIER cloud_sse2
#include "algorithm/rgbd/CloudFast.h"

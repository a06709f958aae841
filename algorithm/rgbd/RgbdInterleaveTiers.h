// RgbdInterleaveTiers.h - the interleave's loops by tier. The plain loop is the definition; each other one is
// in a unit of its own, compiled for its processors.
#ifndef OX3D_RGBD_INTERLEAVE_TIERS_H
#define OX3D_RGBD_INTERLEAVE_TIERS_H

#include <cstdint>

// Weaves as many of the first `pixels` pixels as it has whole groups of and says how many those are. Every
// source is long enough. `planeBytes` is the distance of the three color planes.
using InterleaveGroups = uint64_t (*)(const uint8_t* color, uint64_t planeBytes, const uint8_t* depth,
                                      uint64_t pixels, uint8_t* out);

uint64_t InterleaveGroupsAvx2(const uint8_t* color, uint64_t planeBytes, const uint8_t* depth,
                              uint64_t pixels, uint8_t* out);
// Needs VBMI besides AVX-512 F and BW.
uint64_t InterleaveGroupsAvx512(const uint8_t* color, uint64_t planeBytes, const uint8_t* depth,
                                uint64_t pixels, uint8_t* out);

// Sets the loop for all later calls; null is the plain one alone.
void UseInterleaveGroups(InterleaveGroups groups);
// The best one for the processor and the environment, or null.
InterleaveGroups ChooseInterleaveGroups();

#endif

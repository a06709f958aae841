// What the features keep in the two memory blocks, and where.
// Relies on the object layout and checked sizes.
#pragma once

#include "algorithm/binostereo/CheckedSize.h"
#include "algorithm/binostereo/Matcher.h"
#include "algorithm/binostereo/Object.h"

namespace ox3d::stereo {

// The fusion-depth persistent region: what makes depth of disparities, the left map, then the right map on the next
// 128-byte boundary. Offsets follow the image size that process type 1 was given, not the ability's, so that the region
// of an object can be carried into one of another ability as it stands.
//
//   +----------+------------------+-------------------+-----+------------------+-------------------+
//   | geometry | left index, 4wh  | left weights, 4wh | pad | right index, 4wh | right weights 4wh |
//   +----------+------------------+-------------------+-----+------------------+-------------------+
enum class ESide { Left = 0, Right = 1 };

struct alignas(kMemAlignment) StereoGeometry {
    float m_focalPixels; // of both rectified cameras
    float m_baseLine;    // how far the right camera lies to the right, in the unit of the translation
};

struct RectMap {
    uint32_t* m_indexPlane;
    uint8_t* m_weightPlane;
};

constexpr CCheckedSize RectMapBytes(int32_t width, int32_t height) {
    return PlaneSize(8, width, height).RoundedUp(kMemAlignment);
}

constexpr CCheckedSize FusionDepthPersistentSize(int32_t width, int32_t height) {
    return RectMapBytes(width, height).Times(2).Plus(CCheckedSize(sizeof(StereoGeometry)));
}

// Only for an object that has the region.
inline StereoGeometry* GeometryOf(const BinoObject& object) {
    return static_cast<StereoGeometry*>(object.m_fusionDepthRegion);
}

// Only for an object that has the region, and a size that fits its ability.
inline RectMap RectMapOf(const BinoObject& object, ZQA_SIZE size, ESide side) {
    auto* base = static_cast<uint8_t*>(object.m_fusionDepthRegion);
    base += sizeof(StereoGeometry);
    base += RectMapBytes(size.width, size.height).Bytes() * static_cast<size_t>(side);
    const size_t pixels = static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
    return {reinterpret_cast<uint32_t*>(base), base + pixels * sizeof(uint32_t)};
}

// Where depth is found: the memory of the matcher, then the depth of each disparity. The map generator, which runs at
// another time, inverts its matrix in the same memory.
struct DepthScratch {
    MatchBuffers m_match;
    int16_t* m_depthOf; // by disparities in sixteenths
};

// In sixteenths.
constexpr int32_t kMaxDisparity = 16 * (kMaxSmallestDisparity + kMaxDisparities);

inline CCheckedSize LayOutDepth(ZQA_SIZE size, int32_t disparities, uint8_t* base, DepthScratch* scratch) {
    const CCheckedSize matching =
        LayOutMatch(size.width, size.height, disparities, base, &scratch->m_match).RoundedUp(kMemAlignment);
    scratch->m_depthOf = base == nullptr ? nullptr : reinterpret_cast<int16_t*>(base + matching.Bytes());
    return matching.Plus(CCheckedSize(sizeof(int16_t) * (kMaxDisparity + 1)));
}

// The fusion-depth scratch need of images up to that size, with as many disparities as there can be: the parameters of
// an object may change as long as it lives.
inline CCheckedSize FusionDepthScratchSize(ZQA_SIZE size) {
    DepthScratch unused{};
    return LayOutDepth(size, kMaxDisparities, nullptr, &unused);
}

} // namespace ox3d::stereo

// What the features keep in the two memory blocks, and where.
// Relies on the object layout and checked sizes.
#pragma once

#include "algorithm/binostereo/CheckedSize.h"
#include "algorithm/binostereo/Object.h"

namespace ox3d::stereo {

// The fusion-depth persistent region: the left map, then the right map on the next 128-byte boundary. Offsets
// follow the image size that process type 1 was given, not the ability's, so the maps of an object can be
// carried into one of another ability as they stand.
//
//   +------------------+-------------------+-----+------------------+-------------------+
//   | left index, 4wh  | left weights, 4wh | pad | right index, 4wh | right weights 4wh |
//   +------------------+-------------------+-----+------------------+-------------------+
enum class ESide { Left = 0, Right = 1 };

struct RectMap {
    uint32_t* m_indexPlane;
    uint8_t* m_weightPlane;
};

constexpr CCheckedSize RectMapBytes(int32_t width, int32_t height) {
    return PlaneSize(8, width, height).RoundedUp(kMemAlignment);
}

constexpr CCheckedSize FusionDepthPersistentSize(int32_t width, int32_t height) {
    return RectMapBytes(width, height).Times(2);
}

// Only for an object that has the region, and a size that fits its ability.
inline RectMap RectMapOf(const BinoObject& object, ZQA_SIZE size, ESide side) {
    auto* base = static_cast<uint8_t*>(object.m_fusionDepthRegion);
    base += RectMapBytes(size.width, size.height).Bytes() * static_cast<size_t>(side);
    const size_t pixels = static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
    return {reinterpret_cast<uint32_t*>(base), base + pixels * sizeof(uint32_t)};
}

// The fusion-depth scratch need: what the map generator inverts its matrix in.
constexpr uint64_t kFusionDepthScratchBytes = OXB3D_BINOSTEREO_RECT_MAP_SCRATCH;

} // namespace ox3d::stereo

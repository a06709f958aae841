// What the features keep in the two memory blocks, and where.
// Relies on the object layout and checked sizes.
#pragma once

#include "algorithm/binostereo/CheckedSize.h"
#include "algorithm/binostereo/Matcher.h"
#include "algorithm/binostereo/Object.h"
#include "algorithm/vision/BoardCalibration.h"
#include "algorithm/vision/SceneCorrection.h"

#include <algorithm>

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

inline CCheckedSize LayOutDepth(const MatchExtent& extent, uint8_t* base, DepthScratch* scratch) {
    const CCheckedSize matching = LayOutMatch(extent, base, &scratch->m_match).RoundedUp(kMemAlignment);
    scratch->m_depthOf = base == nullptr ? nullptr : reinterpret_cast<int16_t*>(base + matching.Bytes());
    return matching.Plus(CCheckedSize(sizeof(int16_t) * (kMaxDisparity + 1)));
}

// The threads of an object's ability, which are checked where it is made.
inline uint32_t MatchThreadsOf(const BinoObject& object) {
    return std::clamp<uint32_t>(object.m_ability.capabilityA, 1, kMaxMatchThreads);
}

// The fusion-depth scratch need of images up to the ability's size, with as many disparities as there can be: the
// parameters of an object may change as long as it lives.
inline CCheckedSize FusionDepthScratchSize(const BinoObject& object) {
    DepthScratch unused{};
    return LayOutDepth(
        {object.m_ability.width, object.m_ability.height, kMaxDisparities, MatchThreadsOf(object)}, nullptr,
        &unused);
}

// The largest board that an object takes, in inner corners. Its words are checked only with the ability to calibrate.
inline ZQA_SIZE LargestBoard(const BinoObject& object) {
    const auto inRange = [](uint32_t word) {
        return static_cast<int32_t>(
            std::clamp<uint32_t>(word, vision::kMinBoardCorners, vision::kMaxBoardCorners));
    };
    return {inRange(object.m_ability.capabilityB), inRange(object.m_ability.capabilityC)};
}

// The scratch need of the saddle scores: what the finder takes, and behind it what is kept of each corner.
inline CCheckedSize SaddleScoreScratchSize(const BinoObject& object) {
    const ZQA_SIZE board = LargestBoard(object);
    return PlaneSize(vision::kBoardBytesAPixel, object.m_ability.width, object.m_ability.height)
        .Plus(CCheckedSize(vision::BoardScratchBytes(0, 0, board.width * board.height)));
}

constexpr int32_t kMaxViews = 40;

// The most views that an object calibrates by.
inline int32_t MostViews(const BinoObject& object) {
    return static_cast<int32_t>(std::clamp<uint32_t>(object.m_ability.capabilityD, 5, kMaxViews));
}

// Where cameras are calibrated by a board: what was seen, what the fit works in, and what the finder does, which an image at a
// time takes and which is free when all are seen.
struct CalibrationScratch {
    vision::Corner* m_corners;
    void* m_fit;
    void* m_finder;
};

inline CCheckedSize LayOutCalibration(size_t boardCorners, int32_t views, int32_t cameras, uint8_t* base,
                                      CalibrationScratch* scratch) {
    const uint64_t seen = boardCorners * static_cast<size_t>(views) * static_cast<size_t>(cameras);
    const CCheckedSize corners = CCheckedSize(seen * sizeof(vision::Corner));
    const CCheckedSize fit =
        corners.Plus(CCheckedSize(vision::CalibrationScratchBytes(boardCorners, views, cameras)))
            .RoundedUp(alignof(double));
    *scratch = base == nullptr ? CalibrationScratch{}
                               : CalibrationScratch{reinterpret_cast<vision::Corner*>(base),
                                                    base + corners.Bytes(), base + fit.Bytes()};
    return fit;
}

// The scratch need of the calibrations by a board, and what a calibration is set right in by scenes.
inline CCheckedSize BoardCalibrationScratchSize(const BinoObject& object, int32_t cameras) {
    const ZQA_SIZE board = LargestBoard(object);
    const size_t corners = static_cast<size_t>(board.width) * static_cast<size_t>(board.height);
    CalibrationScratch unused{};
    return LayOutCalibration(corners, MostViews(object), cameras, nullptr, &unused)
        .Plus(PlaneSize(vision::kBoardBytesAPixel, object.m_ability.width, object.m_ability.height))
        .Plus(CCheckedSize(vision::BoardScratchBytes(0, 0, 0)));
}

// The pairs stand in front of what the correction works in.
inline CCheckedSize ScenePairsSize(int32_t views) {
    return CCheckedSize(sizeof(vision::ScenePair)).Times(views);
}

inline CCheckedSize SceneCorrectionScratchSize(const BinoObject& object) {
    return ScenePairsSize(MostViews(object))
        .Plus(PlaneSize(8, object.m_ability.width, object.m_ability.height))
        .Plus(CCheckedSize(vision::SceneScratchBytes(0, 0)));
}

} // namespace ox3d::stereo

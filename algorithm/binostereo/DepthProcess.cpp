// Process type 2: disparities of a left and a right image, and the depth that they stand for. Images are rectified, or are
// made so through the maps of process type 1. Relies on the matcher, on the
// fusion-depth regions, and on the pool for threads beside the calling one.
#include "algorithm/binostereo/Records.h"
#include "algorithm/binostereo/Regions.h"
#include "base/WorkerPool.h"

#include <algorithm>

using namespace ox3d::stereo;

namespace {

using Pair = OXB3D_BINOSTEREO_IMAGE_PAIR;
using Output = OXB3D_BINOSTEREO_DEPTH_OUTPUT;

constexpr int32_t kOn = 1;  // of filters
constexpr int32_t kRaw = 2; // of images
constexpr int32_t kEightPaths = 2;
constexpr int32_t kSmoothed = 2;

struct Asked {
    ZQA_IMAGE m_image;
    int32_t m_format;
};

int32_t CheckImages(const Pair& in, const Output& out, ZQA_SIZE size) {
    Asked asked[4] = {{in.left, ZQA_FORMAT_GREY8}, {in.right, ZQA_FORMAT_GREY8}, {}, {}};
    size_t count = 2;
    for (const ZQA_IMAGE& wanted : {out.depth, out.disparity}) {
        if (wanted.data[0] != nullptr) {
            asked[count++] = {wanted, ZQA_FORMAT_DEPTH16};
        }
    }
    if (count == 2) {
        return OXB3D_BINOSTEREO_E_IMAGE_PLANE;
    }
    const auto all = [&](auto holds) { return std::all_of(asked, asked + count, holds); };
    if (!all([](const Asked& each) { return each.m_image.format == each.m_format; })) {
        return OXB3D_BINOSTEREO_E_IMAGE_FORMAT;
    }
    if (!all([&](const Asked& each) {
            return each.m_image.width == size.width && each.m_image.height == size.height;
        })) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    int32_t status = OXB3D_BINOSTEREO_OK;
    for (size_t i = 0; status == OXB3D_BINOSTEREO_OK && i < count; ++i) {
        status = OXB_ZqaStatusToOxbAlgStatus(ZQA_CheckImage(&asked[i].m_image));
    }
    return status;
}

MatchSettings SettingsOf(void* handle, ZQA_SIZE size) {
    const auto valueOf = [handle](EParam param) { return ParamOf(handle, param); };
    MatchSettings s{};
    s.m_width = size.width;
    s.m_height = size.height;
    s.m_window = valueOf(EParam::Param1);
    s.m_smallest = valueOf(EParam::SmallestDisparity);
    s.m_disparities = (valueOf(EParam::Param3) + 15) / 16 * 16;
    s.m_scansBothWays = valueOf(EParam::Paths) == kEightPaths;
    s.m_toleranceSixteenths = valueOf(EParam::Tolerance);
    s.m_hasMedian = valueOf(EParam::MedianFilter) == kOn;
    s.m_dropsIslands = valueOf(EParam::IslandFilter) == kOn;
    s.m_islandPixels = valueOf(EParam::IslandSide) * valueOf(EParam::IslandSide);
    s.m_islandStepSixteenths = valueOf(EParam::IslandStep);
    SetPenalties(valueOf(EParam::Smoothness), valueOf(EParam::LargeStepPercent),
                 valueOf(EParam::LargeStepFalls), valueOf(EParam::LargeStepFallen), &s);
    return s;
}

// What the pool takes for pixels: each disparity of one is more work than a pixel of other images.
uint64_t WorkOf(const MatchSettings& settings) {
    return uint64_t{1} * static_cast<uint32_t>(settings.m_width) * static_cast<uint32_t>(settings.m_height) *
           static_cast<uint32_t>(settings.m_disparities);
}

// One run of the process on an object that has its maps.
class CDepth {
public:
    CDepth(void* handle, const MatchSettings& settings)
        : m_object(*ObjectOf(handle)), m_set(settings), m_size(m_object.m_imageSize),
          m_isRaw(ParamOf(handle, EParam::Images) == kRaw),
          m_isSmoothed(ParamOf(handle, EParam::Smoothing) == kSmoothed) {
        LayOutDepth({m_size.width, m_size.height, settings.m_disparities, MatchThreadsOf(m_object)},
                    static_cast<uint8_t*>(m_object.m_scratchRegion), &m_scratch);
    }

    void Run(const Pair& in, const Output& out) const {
        FillViewOf(ESide::Left, in.left);
        FillViewOf(ESide::Right, in.right);
        const DisparityMap& found = Match(m_set, m_scratch.m_match, ox3d::CPoolTurn(WorkOf(m_set)));
        if (m_isRaw) {
            DropUnseen(found);
        }
        if (out.depth.data[0] != nullptr) {
            FillDepths();
            WriteRows(found, out.depth,
                      [this](int32_t d16) { return d16 > 0 ? m_scratch.m_depthOf[d16] : int16_t{0}; });
        }
        if (out.disparity.data[0] != nullptr) {
            WriteRows(found, out.disparity,
                      [](int32_t d16) { return static_cast<int16_t>(std::max(d16, 0)); });
        }
    }

private:
    // The paths are not needed yet: images are made ready in their memory, which at 16 disparities holds six.
    void FillViewOf(ESide side, const ZQA_IMAGE& image) const {
        const BorderedView& view = side == ESide::Left ? m_scratch.m_match.m_left : m_scratch.m_match.m_right;
        const auto* pixels = static_cast<const uint8_t*>(image.data[0]);
        ptrdiff_t pitch = image.step[0];
        if (m_isRaw) {
            pixels = Rectified(side, pixels, pitch);
            pitch = m_size.width;
        }
        FillView(pixels, pitch, m_size.width, m_size.height, side == ESide::Right, view);
        if (m_isSmoothed) {
            SmoothView(m_size.width, m_size.height, view, m_scratch.m_match.m_paths);
        }
    }

    // The maps name pixels of images without padding.
    const uint8_t* Rectified(ESide side, const uint8_t* pixels, ptrdiff_t pitch) const {
        uint8_t* const rectified = m_scratch.m_match.m_paths;
        if (pitch != m_size.width) {
            uint8_t* const packed = rectified + PlaneSize(1, m_size.width, m_size.height).Bytes();
            for (ptrdiff_t y = 0; y < m_size.height; ++y) {
                std::copy_n(pixels + y * pitch, m_size.width, packed + y * m_size.width);
            }
            pixels = packed;
        }
        const RectMap map = RectMapOf(m_object, m_size, side);
        OXB3D_BINOSTEREO_RCT_RectifyImage(pixels, map.m_indexPlane, map.m_weightPlane, m_size.width,
                                          m_size.height, rectified);
        return rectified;
    }

    // What the left camera does not see has no depth, whatever its black matches.
    void DropUnseen(const DisparityMap& found) const {
        const uint32_t* index = RectMapOf(m_object, m_size, ESide::Left).m_indexPlane;
        for (int32_t y = 0; y < m_size.height; ++y) {
            int16_t* const row = found.Row(y);
            for (int32_t x = 0; x < m_size.width; ++x, ++index) {
                row[x] = *index == 0 ? int16_t{0} : row[x];
            }
        }
    }

    void FillDepths() const {
        const StereoGeometry& geometry = *GeometryOf(m_object);
        const double product =
            static_cast<double>(geometry.m_focalPixels) * static_cast<double>(geometry.m_baseLine) * 16;
        const int32_t last = 16 * (m_set.m_smallest + m_set.m_disparities);
        for (int32_t d16 = 1; d16 <= last; ++d16) {
            const double depth = product / d16 + 0.5;
            m_scratch.m_depthOf[d16] = depth < 32768 ? static_cast<int16_t>(depth) : int16_t{0};
        }
    }

    template <typename TValue>
    void WriteRows(const DisparityMap& found, const ZQA_IMAGE& image, TValue valueOf) const {
        auto* out = static_cast<int16_t*>(image.data[0]);
        for (int32_t y = 0; y < m_size.height; ++y, out += image.step[0]) {
            const int16_t* const row = found.Row(y);
            std::transform(row, row + m_size.width, out, valueOf);
        }
    }

    const BinoObject& m_object;
    const MatchSettings& m_set;
    const ZQA_SIZE m_size;
    const bool m_isRaw;
    const bool m_isSmoothed;
    DepthScratch m_scratch{};
};

} // namespace

int32_t OXB3D_BINOSTEREO_DepthProcess(void* handle, void* input, int32_t inputSize, void* output,
                                      int32_t outputSize) {
    int32_t status = CheckRecords<Pair, Output>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const BinoObject& object = *ObjectOf(handle);
    if (object.m_initialised == 0 || !(GeometryOf(object)->m_baseLine > 0)) {
        return OXB3D_BINOSTEREO_E_GENERAL;
    }
    const auto in = ReadRecord<Pair>(input);
    const auto out = ReadRecord<Output>(output);
    status = CheckImages(in, out, object.m_imageSize);
    if (status == OXB3D_BINOSTEREO_OK) {
        const MatchSettings settings = SettingsOf(handle, object.m_imageSize);
        const ox3d::CThreadsAllowed threads(MatchThreadsOf(object));
        CDepth(handle, settings).Run(in, out);
    }
    return status;
}

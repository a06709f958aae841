// Depth fill score, and the processes 3 (one region) and 13 (several regions) over it.
// Relies on the object for nothing but being given: the score uses no memory of it.
#include "algorithm/binostereo/ImageTiers.h"
#include "algorithm/binostereo/Object.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

using Region = OXB3D_BINOSTEREO_REGION;
using Input = OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT;
using Output = OXB3D_BINOSTEREO_DEPTH_SCORE_OUTPUT;
using MroiInput = OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT;
using MroiOutput = OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT;

constexpr int32_t kCells = 3; // along each side of the region

bool IsInside(const Region& r, int32_t imageWidth, int32_t imageHeight) {
    return r.x >= 0 && r.y >= 0 && static_cast<int64_t>(r.x) + r.width <= imageWidth &&
           static_cast<int64_t>(r.y) + r.height <= imageHeight && r.x < imageWidth && r.y < imageHeight;
}

bool IsScorable(const Region& r) {
    return r.width >= kCells && r.height >= kCells;
}

// A third of the region along one axis. The count that remains is taken one short, deliberately: where it is
// a multiple of three the last cell is one narrower.
struct Cells {
    int32_t first;
    int32_t length;
    int32_t count;

    // The first row and column of the image never count.
    Cells(int32_t origin, int32_t extent)
        : first(std::max(origin, 1)), length(origin + extent - first), count(length / kCells) {}

    int32_t Start(int32_t cell) const { return first + cell * count; }
    int32_t Size(int32_t cell) const { return std::min(count, length - 1 - cell * count); }
};

// Percent of non-zero samples; a cell without pixels gives the conversion of 0/0, the smallest integer.
int32_t FillOf(const int16_t* samples, int32_t step, const Cells& columns, int32_t column, const Cells& rows,
               int32_t row) {
    const int32_t width = columns.Size(column);
    const int32_t height = rows.Size(row);
    int64_t filled = 0;
    for (int32_t y = 0; y < height; ++y) {
        const int16_t* line =
            samples + static_cast<int64_t>(rows.Start(row) + y) * step + columns.Start(column);
        filled += width - oxb3d::ImageKernelsInUse().countZeros(line, width);
    }
    const auto pixels = static_cast<float>(static_cast<int64_t>(width) * height);
    return oxb3d::FloatToInt32(static_cast<float>(filled) * 100.0F / pixels);
}

// What both processes ask of the image; inside stands between format and image check in the order of
// statuses.
int32_t CheckDepthImage(const ZQA_IMAGE& depth, bool inside) {
    if (depth.format != ZQA_FORMAT_DEPTH16) {
        return OXB3D_BINOSTEREO_E_IMAGE_FORMAT;
    }
    return inside ? ZQA_CheckImage(&depth) : OXB3D_BINOSTEREO_E_REGION;
}

int32_t ScoreRegion(void* handle, const ZQA_IMAGE& depth, const Region& region, int32_t* score) {
    OXB3D_BINOSTEREO_PARAM param1{1, 0};
    OXB3D_BINOSTEREO_PARAM param3{3, 0};
    OXB3D_BINOSTEREO_GetSingleParam(handle, &param1);
    OXB3D_BINOSTEREO_GetSingleParam(handle, &param3);
    const int32_t param3Aligned = (param3.value + 15) / 16 * 16;
    return OXB3D_BINOSTEREO_DepthScore(static_cast<const int16_t*>(depth.data[0]), depth.step[0],
                                       {depth.width, depth.height}, param1.value, param3Aligned, score,
                                       {region.x, region.y}, {region.width, region.height});
}

} // namespace

int64_t oxb3d::reference::CountZeros(const int16_t* samples, int64_t count) {
    return std::count(samples, samples + count, int16_t{0});
}

int32_t OXB3D_BINOSTEREO_DepthScore(const int16_t* samples, int32_t step, ZQA_SIZE imageSize,
                                    int32_t /*param1*/, int32_t /*param3Aligned*/, int32_t* score,
                                    ZQA_POINT origin, ZQA_SIZE region) {
    if (samples == nullptr || score == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const Region bounds{origin.x, origin.y, region.width, region.height};
    if (!IsInside(bounds, imageSize.width, imageSize.height) || !IsScorable(bounds)) {
        return OXB3D_BINOSTEREO_E_REGION;
    }
    if (step < imageSize.width) {
        return OXB3D_BINOSTEREO_E_IMAGE_STEP;
    }
    const Cells columns(origin.x, region.width);
    const Cells rows(origin.y, region.height);
    int32_t worst = std::numeric_limits<int32_t>::max();
    for (int32_t row = 0; row < kCells; ++row) {
        for (int32_t column = 0; column < kCells; ++column) {
            worst = std::min(worst, FillOf(samples, step, columns, column, rows, row));
        }
    }
    *score = worst;
    return OXB3D_BINOSTEREO_OK;
}

int32_t OXB3D_BINOSTEREO_DepthScoreProcess(void* handle, void* input, int32_t inputSize, void* output,
                                           int32_t outputSize) {
    int32_t status =
        oxb3d::CheckRecords(handle, input, inputSize, sizeof(Input), output, outputSize, sizeof(Output));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    Input in;
    std::memcpy(&in, input, sizeof in);
    status = CheckDepthImage(in.depth, IsInside(in.region, in.depth.width, in.depth.height));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    Output out{};
    status = ScoreRegion(handle, in.depth, in.region, &out.score);
    if (status == OXB3D_BINOSTEREO_OK) {
        std::memcpy(output, &out, sizeof out);
    }
    return status;
}

int32_t OXB3D_BINOSTEREO_DepthScoreMroiProcess(void* handle, void* input, int32_t inputSize, void* output,
                                               int32_t outputSize) {
    int32_t status = oxb3d::CheckRecords(handle, input, inputSize, sizeof(MroiInput), output, outputSize,
                                         sizeof(MroiOutput));
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    MroiInput in;
    MroiOutput out;
    std::memcpy(&in, input, sizeof in);
    std::memcpy(&out, output, sizeof out);
    if (in.regions == nullptr || out.scores == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    // All regions are checked before the first score is written.
    const auto usable = [&in](const Region& region) {
        return IsInside(region, in.depth.width, in.depth.height) && IsScorable(region);
    };
    status =
        CheckDepthImage(in.depth, in.count >= 1 && std::all_of(in.regions, in.regions + in.count, usable));
    for (int32_t i = 0; status == OXB3D_BINOSTEREO_OK && i < in.count; ++i) {
        status = ScoreRegion(handle, in.depth, in.regions[i], &out.scores[i]);
    }
    return status;
}

// DepthScore.cpp - see DepthScore.h; and the fill score itself.
#include "algorithm/binostereo/DepthScore.h"

#include "algorithm/binostereo/ImageTiers.h"

#include <algorithm>
#include <limits>

using namespace ox3d::stereo;

namespace {

using Region = OXB3D_BINOSTEREO_REGION;

constexpr int32_t kCells = 3; // along each side of the region
constexpr int32_t kFullPercent = 100;

// A third of the region along one axis. The count that remains is taken one short, deliberately: where it is
// a multiple of three the last cell is one narrower.
struct Cells {
    int32_t m_first;
    int32_t m_length;
    int32_t m_count;

    // The first row and column of the image never count.
    Cells(int32_t origin, int32_t extent)
        : m_first(std::max(origin, 1)), m_length(origin + extent - m_first), m_count(m_length / kCells) {}

    int32_t Start(int32_t cell) const { return m_first + cell * m_count; }
    int32_t Size(int32_t cell) const { return std::min(m_count, m_length - 1 - cell * m_count); }
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
        filled += width - ImageKernelsInUse().m_countZeros(line, width);
    }
    const int64_t pixels = static_cast<int64_t>(width) * height;
    if (filled == pixels && pixels > 0) {
        return kFullPercent; // of some numbers of pixels single precision makes a little less
    }
    return FloatToInt32(static_cast<float>(filled) * static_cast<float>(kFullPercent) /
                        static_cast<float>(pixels));
}

} // namespace

bool ox3d::stereo::IsInside(const Region& r, int32_t imageWidth, int32_t imageHeight) {
    return r.x >= 0 && r.y >= 0 && static_cast<int64_t>(r.x) + r.width <= imageWidth &&
           static_cast<int64_t>(r.y) + r.height <= imageHeight && r.x < imageWidth && r.y < imageHeight;
}

bool ox3d::stereo::IsScorable(const Region& r) {
    return r.width >= kCells && r.height >= kCells;
}

int64_t ox3d::stereo::reference::CountZeros(const int16_t* samples, int64_t count) {
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

// PinholeFit.cpp - columns and rows are two lines of their own: u = fx * X / Z + cx, and v likewise.
#include "providers/aravis/PinholeFit.h"

#include <arv.h>

#include <algorithm>
#include <cmath>

namespace ox3d {
namespace {

constexpr uint32_t kMaxRaysOfSide = 64;
constexpr size_t kMinRays = 100;
constexpr double kMinSpan = 0.25; // of either side: what is fitted to less says little of the rest
constexpr double kMaxOffPixels = 1.0;
constexpr size_t kOneInOff = 20;
constexpr double kMaxSlope = 100.0; // of a ray; no lens sees further to the side
constexpr double kMinStep = 1e-9;   // between rays that tell a focal length

struct Line {
    double m_slope = 0.0;
    double m_offset = 0.0;
};

struct Sample {
    double m_at = 0.0;
    double m_pixel = 0.0;
};

double OffBy(const Line& line, const Sample& sample) {
    return std::abs(line.m_slope * sample.m_at + line.m_offset - sample.m_pixel);
}

// There is one at least.
double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// The median of slopes over half of the samples each: one sample in four may be anything.
Line MedianLine(std::vector<Sample>* samples) {
    std::sort(samples->begin(), samples->end(),
              [](const Sample& a, const Sample& b) { return a.m_at < b.m_at; });
    const size_t half = samples->size() / 2;
    std::vector<double> values;
    for (size_t i = 0; i < half; ++i) {
        const Sample& near = (*samples)[i];
        const Sample& far = (*samples)[i + half];
        if (far.m_at - near.m_at > kMinStep) {
            values.push_back((far.m_pixel - near.m_pixel) / (far.m_at - near.m_at));
        }
    }
    Line line;
    if (values.empty()) {
        return line; // all see one direction
    }
    line.m_slope = Median(values);
    values.clear();
    for (const Sample& sample : *samples) {
        values.push_back(sample.m_pixel - line.m_slope * sample.m_at);
    }
    line.m_offset = Median(std::move(values));
    return line;
}

// Least squares over the samples that the line meets; the line as it is where those say nothing.
Line Refined(const Line& line, std::span<const Sample> samples) {
    double count = 0.0;
    double meanAt = 0.0;
    double meanPixel = 0.0;
    const auto isMet = [&](const Sample& sample) { return OffBy(line, sample) <= kMaxOffPixels; };
    for (const Sample& sample : samples) {
        if (isMet(sample)) {
            count += 1.0;
            meanAt += (sample.m_at - meanAt) / count;
            meanPixel += (sample.m_pixel - meanPixel) / count;
        }
    }
    double squares = 0.0;
    double products = 0.0;
    for (const Sample& sample : samples) {
        if (isMet(sample)) {
            squares += (sample.m_at - meanAt) * (sample.m_at - meanAt);
            products += (sample.m_at - meanAt) * (sample.m_pixel - meanPixel);
        }
    }
    if (squares <= 0.0) {
        return line;
    }
    const double slope = products / squares;
    return {slope, meanPixel - slope * meanAt};
}

Line Fit(std::vector<Sample> samples) {
    Line line = MedianLine(&samples);
    for (int round = 0; round < 2; ++round) {
        line = Refined(line, samples);
    }
    return line;
}

bool IsSpread(std::span<const Ray> rays, const ImageShape& shape) {
    const auto [left, right] = std::minmax_element(rays.begin(), rays.end(),
                                                   [](const Ray& a, const Ray& b) { return a.m_u < b.m_u; });
    const auto [top, bottom] = std::minmax_element(rays.begin(), rays.end(),
                                                   [](const Ray& a, const Ray& b) { return a.m_v < b.m_v; });
    return right->m_u - left->m_u >= kMinSpan * shape.m_width &&
           bottom->m_v - top->m_v >= kMinSpan * shape.m_height;
}

// Calls visit(x, y) for pixels of a grid all over the image.
template <typename Visit>
void VisitGrid(const ImageShape& shape, Visit visit) {
    const uint32_t stepX = (shape.m_width + kMaxRaysOfSide - 1) / kMaxRaysOfSide;
    const uint32_t stepY = (shape.m_height + kMaxRaysOfSide - 1) / kMaxRaysOfSide;
    for (uint32_t y = stepY / 2; y < shape.m_height; y += stepY) {
        for (uint32_t x = stepX / 2; x < shape.m_width; x += stepX) {
            visit(x, y);
        }
    }
}

void AddRay(uint32_t u, uint32_t v, double x, double y, std::vector<Ray>* rays) {
    if (std::abs(x) <= kMaxSlope && std::abs(y) <= kMaxSlope) { // NaN is none
        rays->push_back({static_cast<double>(u), static_cast<double>(v), x, y});
    }
}

bool IsMap(const SentImage& map) {
    constexpr uint32_t kFormats[] = {ARV_PIXEL_FORMAT_COORD3D_A_32F, ARV_PIXEL_FORMAT_COORD3D_B_32F,
                                     ARV_PIXEL_FORMAT_COORD3D_C_32F};
    const uint64_t bytes = BytesOfImage(32, map.m_shape);
    return std::find(std::begin(kFormats), std::end(kFormats), map.m_format) != std::end(kFormats) &&
           bytes > 0 && bytes <= map.m_bytes.size();
}

} // namespace

std::vector<Ray> RaysOfPoints(const DepthRule& rule, const SentImage& points) {
    std::vector<Ray> rays;
    const DepthFormat* format = FindDepthFormat(points.m_format);
    const uint64_t bytes = format == nullptr ? 0 : BytesOfImage(*format, points.m_shape);
    if (bytes == 0 || bytes > points.m_bytes.size() || !HasCoordinate(*format, ECoordinate::B)) {
        return rays;
    }
    VisitGrid(points.m_shape, [&](uint32_t x, uint32_t y) {
        double point[3] = {};
        for (const ECoordinate coordinate : {ECoordinate::A, ECoordinate::B, ECoordinate::C}) {
            const auto axis = static_cast<size_t>(coordinate);
            const SampleRule& side = rule.m_coordinates[axis];
            const double sent =
                SampleAt(*format, points.m_bytes, GridOf(*format, points.m_shape, coordinate), x, y);
            if (IsInvalid(side, sent)) {
                return;
            }
            point[axis] = sent * side.m_scale + side.m_offset;
        }
        if (point[2] > 0.0) {
            AddRay(x, y, point[0] / point[2], point[1] / point[2], &rays);
        }
    });
    return rays;
}

std::vector<Ray> RaysOfMaps(const SentImage& mapX, const SentImage& mapY) {
    std::vector<Ray> rays;
    if (!IsMap(mapX) || !IsMap(mapY) || mapX.m_shape.m_width != mapY.m_shape.m_width ||
        mapX.m_shape.m_height != mapY.m_shape.m_height) {
        return rays;
    }
    const DepthFormat& format = *FindDepthFormat(ARV_PIXEL_FORMAT_COORD3D_C_32F); // whose samples lie alike
    VisitGrid(mapX.m_shape, [&](uint32_t x, uint32_t y) {
        const auto at = [&](const SentImage& map) {
            return SampleAt(format, map.m_bytes, GridOf(format, map.m_shape, ECoordinate::C), x, y);
        };
        const double toRight = at(mapX);
        const double down = at(mapY);
        if (toRight != 0.0 || down != 0.0) { // one pixel at most sees straight ahead; else nothing is told
            AddRay(x, y, toRight, down, &rays);
        }
    });
    return rays;
}

const char* FitPinhole(std::span<const Ray> rays, const ImageShape& shape, RgbdIntrinsics* lens) {
    if (rays.size() < kMinRays || !IsSpread(rays, shape)) {
        return "there are too few points in the image";
    }
    std::vector<Sample> columns;
    std::vector<Sample> rows;
    for (const Ray& ray : rays) {
        columns.push_back({ray.m_x, ray.m_u});
        rows.push_back({ray.m_y, ray.m_v});
    }
    const Line column = Fit(columns);
    const Line row = Fit(rows);
    size_t off = 0;
    for (size_t i = 0; i < rays.size(); ++i) {
        const bool isMet = std::hypot(OffBy(column, columns[i]), OffBy(row, rows[i])) <= kMaxOffPixels;
        off += isMet ? 0 : 1;
    }
    if (!(column.m_slope > 0.0 && row.m_slope > 0.0) || off > rays.size() / kOneInOff) {
        return "its pixels are those of no pinhole";
    }
    *lens = {column.m_slope, row.m_slope, column.m_offset, row.m_offset};
    return nullptr;
}

} // namespace ox3d

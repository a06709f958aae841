// A character stands for the middle one of the depths in its cell.
#include "tools/ox3d/pictures/DepthText.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace ox3d::tool {
namespace {

constexpr std::string_view kRamp = "@#*+=-:."; // from near to far
constexpr uint32_t kSamplesAside = 8;          // of a cell, at most, each way

// The first pixel of a cell of `count` over `pixels`.
uint32_t Edge(uint32_t cell, uint32_t count, uint32_t pixels) {
    return static_cast<uint32_t>(uint64_t{cell} * pixels / count);
}

uint16_t MiddleOf(std::vector<uint16_t>* depths) {
    if (depths->empty()) {
        return 0;
    }
    const auto middle = depths->begin() + static_cast<std::ptrdiff_t>(depths->size() / 2);
    std::nth_element(depths->begin(), middle, depths->end());
    return *middle;
}

uint16_t DepthOfCell(const DepthImage& depth, uint32_t left, uint32_t right, uint32_t top, uint32_t bottom) {
    std::vector<uint16_t> depths;
    const uint32_t stepX = std::max(1U, (right - left) / kSamplesAside);
    const uint32_t stepY = std::max(1U, (bottom - top) / kSamplesAside);
    for (uint32_t y = top; y < bottom; y += stepY) {
        for (uint32_t x = left; x < right; x += stepX) {
            if (depth.At(x, y) != 0) {
                depths.push_back(depth.At(x, y));
            }
        }
    }
    return MiddleOf(&depths);
}

DepthImage Cells(const DepthImage& depth, uint32_t columns) {
    columns = std::min(columns, depth.m_width);
    const uint64_t rows = uint64_t{columns} * depth.m_height / depth.m_width / 2;
    DepthImage cells(columns, static_cast<uint32_t>(std::clamp<uint64_t>(rows, 1, depth.m_height)));
    for (uint32_t y = 0; y < cells.m_height; ++y) {
        for (uint32_t x = 0; x < columns; ++x) {
            cells.At(x, y) = DepthOfCell(
                depth, Edge(x, columns, depth.m_width), Edge(x + 1, columns, depth.m_width),
                Edge(y, cells.m_height, depth.m_height), Edge(y + 1, cells.m_height, depth.m_height));
        }
    }
    return cells;
}

} // namespace

std::string DepthText(const DepthImage& depth, uint32_t columns) {
    if (depth.IsEmpty() || columns == 0) {
        return "";
    }
    const DepthImage cells = Cells(depth, columns);
    uint16_t nearest = UINT16_MAX;
    uint16_t farthest = 0;
    for (const uint16_t sample : cells.m_samples) {
        nearest = sample != 0 ? std::min(nearest, sample) : nearest;
        farthest = std::max(farthest, sample);
    }
    const uint32_t span = farthest > nearest ? farthest - nearest + 1U : 1U;
    std::string text;
    for (uint32_t y = 0; y < cells.m_height; ++y) {
        for (uint32_t x = 0; x < cells.m_width; ++x) {
            const uint16_t sample = cells.At(x, y);
            text += sample == 0 ? ' ' : kRamp[(sample - nearest) * kRamp.size() / span];
        }
        text += '\n';
    }
    return farthest == 0 ? text + "no depth\n"
                         : text + kRamp.front() + " = " + std::to_string(nearest) + " mm, " + kRamp.back() +
                               " = " + std::to_string(farthest) + " mm\n";
}

} // namespace ox3d::tool

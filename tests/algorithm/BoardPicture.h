// Pictures of a checkerboard whose edges are blurred by a Gaussian of known width: in closed form, so that no blurring kernel
// and no sampling stands between the truth and the pixels.
#pragma once

#include "tests/algorithm/TestObject.h"

#include <cmath>
#include <random>

namespace ox3d::test {

struct BoardPicture {
    double m_sigma;          // pixels
    double m_degrees = 20;   // by which the rows of squares are turned
    double m_contrast = 140; // between black and white
    double m_noise = 0;      // standard deviation, grey values
    double m_square = 60;    // pixels
};

// 1 in even squares, -1 in odd ones, along one side of the board.
inline double Blurred(double at, const BoardPicture& board) {
    const double base = std::floor(at / board.m_square);
    double value = 0;
    for (int32_t i = -2; i <= 2; ++i) {
        const double edge = base + i;
        value += (std::fmod(std::abs(edge), 2) == 1 ? 1 : -1) *
                 std::erf((at - edge * board.m_square) / (board.m_sigma * std::sqrt(2.0)));
    }
    return value;
}

inline std::vector<uint8_t> Drawn(const BoardPicture& board, int32_t width = 640, int32_t height = 480) {
    const double cosine = std::cos(board.m_degrees * 3.14159265358979 / 180);
    const double sine = std::sin(board.m_degrees * 3.14159265358979 / 180);
    std::mt19937 random(7);
    std::normal_distribution<double> sensor(0, 1);
    std::vector<uint8_t> pixels;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const double field =
                Blurred(x * cosine + y * sine + 0.3, board) * Blurred(y * cosine - x * sine + 0.45, board);
            const double grey = 128 + board.m_contrast / 2 * field + board.m_noise * sensor(random);
            pixels.push_back(static_cast<uint8_t>(std::clamp(std::lround(grey), 0L, 255L)));
        }
    }
    return pixels;
}

} // namespace ox3d::test

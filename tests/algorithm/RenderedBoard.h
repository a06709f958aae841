// Pictures of a checkerboard through a camera whose numbers are known, and the exact places of its corners.
// Relies on the finder's corners.
#pragma once

#include "algorithm/vision/BoardFinder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace ox3d::test {

struct BoardCamera {
    int32_t width = 640, height = 480;
    double fx = 600, fy = 600, cx = 319.5, cy = 239.5;
    std::array<double, 5> distortion{}; // k1 k2 p1 p2 k3
};

// Takes a point of the board, in units of its own, into the camera's frame. Columns run along x, rows along y; z points away from the
// camera that looks at it.
struct BoardPose {
    std::array<double, 9> rotation{1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::array<double, 3> translation{};
};

struct BoardLook {
    int32_t columns = 9, rows = 6; // inner corners
    double square = 30;
    double dark = 40, bright = 210,
           around = 120; // grey values; a bright margin of one square lies around the board
    double blur = 0.7;   // pixels, standard deviation
    double noise = 0;    // grey values, standard deviation
    uint32_t seed = 1;
};

// Turns about x, then y, then z, in degrees, with the middle of the corners at this place.
inline BoardPose PoseOf(const BoardLook& look, double aboutX, double aboutY, double aboutZ,
                        const std::array<double, 3>& middle) {
    const auto cosine = [](double degrees) { return std::cos(degrees * 3.14159265358979 / 180); };
    const auto sine = [](double degrees) { return std::sin(degrees * 3.14159265358979 / 180); };
    const double ca = cosine(aboutX), sa = sine(aboutX), cb = cosine(aboutY), sb = sine(aboutY),
                 cc = cosine(aboutZ), sc = sine(aboutZ);
    BoardPose pose;
    pose.rotation = {cc * cb,
                     cc * sb * sa - sc * ca,
                     cc * sb * ca + sc * sa,
                     sc * cb,
                     sc * sb * sa + cc * ca,
                     sc * sb * ca - cc * sa,
                     -sb,
                     cb * sa,
                     cb * ca};
    const double x = (look.columns - 1) * look.square / 2;
    const double y = (look.rows - 1) * look.square / 2;
    for (size_t i = 0; i < 3; ++i) {
        pose.translation[i] = middle[i] - pose.rotation[3 * i] * x - pose.rotation[3 * i + 1] * y;
    }
    return pose;
}

inline vision::Corner Distorted(const BoardCamera& camera, double x, double y) {
    const auto& d = camera.distortion;
    const double r2 = x * x + y * y;
    const double radial = 1 + r2 * (d[0] + r2 * (d[1] + r2 * d[4]));
    return {x * radial + 2 * d[2] * x * y + d[3] * (r2 + 2 * x * x),
            y * radial + d[2] * (r2 + 2 * y * y) + 2 * d[3] * x * y};
}

inline vision::Corner Project(const BoardCamera& camera, const BoardPose& pose, double x, double y) {
    const auto& r = pose.rotation;
    const auto along = [&](size_t i) { return r[3 * i] * x + r[3 * i + 1] * y + pose.translation[i]; };
    const vision::Corner at = Distorted(camera, along(0) / along(2), along(1) / along(2));
    return {camera.fx * at.x + camera.cx, camera.fy * at.y + camera.cy};
}

// Row by row.
inline std::vector<vision::Corner> TrueCorners(const BoardCamera& camera, const BoardPose& pose,
                                               const BoardLook& look) {
    std::vector<vision::Corner> corners;
    corners.reserve(static_cast<size_t>(look.columns) * static_cast<size_t>(look.rows));
    for (int32_t row = 0; row < look.rows; ++row) {
        for (int32_t column = 0; column < look.columns; ++column) {
            corners.push_back(Project(camera, pose, column * look.square, row * look.square));
        }
    }
    return corners;
}

// What a place of the image shows of the board's plane, in squares from its first corner.
inline vision::Corner OnBoard(const BoardCamera& camera, const BoardPose& pose, const BoardLook& look,
                              double u, double v) {
    const double wantedX = (u - camera.cx) / camera.fx;
    const double wantedY = (v - camera.cy) / camera.fy;
    double x = wantedX;
    double y = wantedY;
    double rest = 1;
    for (int32_t i = 0; i < 20 && rest > 1e-8; ++i) {
        const vision::Corner seen = Distorted(camera, x, y);
        x += wantedX - seen.x;
        y += wantedY - seen.y;
        rest = std::abs(wantedX - seen.x) + std::abs(wantedY - seen.y);
    }
    const auto& r = pose.rotation;
    const auto& t = pose.translation;
    const double depth = (r[2] * t[0] + r[5] * t[1] + r[8] * t[2]) / (r[2] * x + r[5] * y + r[8]);
    const double p[] = {x * depth - t[0], y * depth - t[1], depth - t[2]};
    return {(r[0] * p[0] + r[3] * p[1] + r[6] * p[2]) / look.square,
            (r[1] * p[0] + r[4] * p[1] + r[7] * p[2]) / look.square};
}

// The square before the first corner is dark.
inline double GreyAt(const BoardLook& look, const vision::Corner& at) {
    const double x = std::floor(at.x) + 1;
    const double y = std::floor(at.y) + 1;
    if (x >= 0 && y >= 0 && x <= look.columns && y <= look.rows) {
        return std::fmod(x + y, 2) == 0 ? look.dark : look.bright;
    }
    return x >= -1 && y >= -1 && x <= look.columns + 1 && y <= look.rows + 1 ? look.bright : look.around;
}

// The mean over a pixel, whose four corners are given: 64 places, none above another.
inline double MeanOver(const BoardLook& look, const vision::Corner (&corner)[4]) {
    const auto isFlat = [&](double vision::Corner::*side) {
        const auto [least, most] =
            std::minmax({corner[0].*side, corner[1].*side, corner[2].*side, corner[3].*side});
        return std::floor(least) == std::floor(most);
    };
    if (isFlat(&vision::Corner::x) && isFlat(&vision::Corner::y)) {
        return GreyAt(look, corner[0]);
    }
    double sum = 0;
    for (int32_t i = 0; i < 64; ++i) {
        const int32_t line = i / 8;
        const double a = (i % 8 + (line + 0.5) / 8) / 8;
        const double b = (line + (i % 8 + 0.5) / 8) / 8;
        const auto between = [&](double vision::Corner::*side) {
            return (1 - b) * ((1 - a) * corner[0].*side + a * corner[1].*side) +
                   b * ((1 - a) * corner[2].*side + a * corner[3].*side);
        };
        sum += GreyAt(look, {between(&vision::Corner::x), between(&vision::Corner::y)});
    }
    return sum / 64;
}

// Along rows and, in a second call, along the columns that it has turned into rows.
inline std::vector<double> BlurredAndTurned(const std::vector<double>& image, size_t width, double sigma) {
    const auto reach = static_cast<ptrdiff_t>(std::ceil(4 * sigma));
    std::vector<double> kernel;
    for (ptrdiff_t i = -reach; i <= reach; ++i) {
        kernel.push_back(std::exp(-0.5 * static_cast<double>(i * i) / (sigma * sigma)));
    }
    double total = 0;
    for (const double weight : kernel) {
        total += weight;
    }
    const size_t height = image.size() / width;
    std::vector<double> turned(image.size());
    for (size_t y = 0; y < height; ++y) {
        for (size_t x = 0; x < width; ++x) {
            double sum = 0;
            for (ptrdiff_t i = -reach; i <= reach; ++i) {
                const auto at = std::clamp<ptrdiff_t>(static_cast<ptrdiff_t>(x) + i, 0,
                                                      static_cast<ptrdiff_t>(width) - 1);
                sum += kernel[static_cast<size_t>(i + reach)] * image[y * width + static_cast<size_t>(at)];
            }
            turned[x * height + y] = sum / total;
        }
    }
    return turned;
}

inline std::vector<uint8_t> Rendered(const BoardCamera& camera, const BoardPose& pose,
                                     const BoardLook& look) {
    const auto width = static_cast<size_t>(camera.width);
    const auto height = static_cast<size_t>(camera.height);
    std::vector<vision::Corner> between; // at the corners of pixels
    between.reserve((width + 1) * (height + 1));
    for (int32_t y = 0; y <= camera.height; ++y) {
        for (int32_t x = 0; x <= camera.width; ++x) {
            between.push_back(OnBoard(camera, pose, look, x - 0.5, y - 0.5));
        }
    }
    std::vector<double> image(width * height);
    for (size_t i = 0; i < image.size(); ++i) {
        const vision::Corner* const at = &between[i / width * (width + 1) + i % width];
        image[i] = MeanOver(look, {at[0], at[1], at[width + 1], at[width + 2]});
    }
    if (look.blur > 0) {
        image = BlurredAndTurned(BlurredAndTurned(image, width, look.blur), height, look.blur);
    }
    std::mt19937 random(look.seed);
    std::normal_distribution<double> sensor(0, 1);
    std::vector<uint8_t> pixels;
    for (const double grey : image) {
        const double noisy = grey + look.noise * sensor(random);
        pixels.push_back(static_cast<uint8_t>(std::clamp(std::lround(noisy), 0L, 255L)));
    }
    return pixels;
}

} // namespace ox3d::test

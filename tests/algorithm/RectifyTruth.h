// What rectification is judged by: the virtual camera's room seen by a rig of distorted cameras, pictures, and how
// far off its row a thing is found again. Relies on the room's ray casting.
#pragma once

#include "base/PngFile.h"
#include "tests/algorithm/StereoRig.h"
#include "tests/algorithm/TestObject.h"
#include "virtual-camera/frames/SceneModel.h"
#include "virtual-camera/frames/SceneShading.h"

#include <optional>
#include <string>
#include <vector>

namespace algorithm_test {

using Grey = std::vector<uint8_t>;

// The virtual camera's room as a rig sees it whose left camera stands in the place of the depth camera.
class CRoom {
public:
    struct Sight {
        Vector3 point; // in the left camera's frame
        uint8_t grey;
    };

    Sight Look(const Vector3& from, const Vector3& along) const {
        const auto toRoom = [this](const Vector3& v) {
            return m_Pose.m_toRoom * ox3d::Vec3{v[0], v[1], v[2]};
        };
        const ox3d::Ray ray{toRoom(from), toRoom(along)};
        const ox3d::SceneHit hit = m_Model.Cast(ray, m_Ball);
        const ox3d::ScenePaint paint = hit.m_object == ox3d::kSceneBall
                                           ? PaintBall(m_Model, m_Ball, hit.m_normal, ray.m_origin)
                                           : PaintStatic(m_Model, hit, ray.At(hit.m_depth));
        const ox3d::Vec3 light = paint.m_direct + paint.m_ambient;
        const double z = hit.m_depth;
        return {{from[0] + z * along[0], from[1] + z * along[1], from[2] + z * along[2]},
                ox3d::EncodeLight(0.3 * light.x + 0.59 * light.y + 0.11 * light.z)};
    }
    Sight LookLeft(const StereoRig& rig, const Pixel& at) const {
        return Look({}, RayOf(rig.input.left, at));
    }
    Sight LookRight(const StereoRig& rig, const Pixel& at) const {
        return Look(rig.RightCentre(), rig.TurnedToLeft(RayOf(rig.input.right, at)));
    }
    // Both images, four rays a pixel.
    std::pair<Grey, Grey> Render(const StereoRig& rig) const {
        std::pair<Grey, Grey> images;
        for (int32_t i = 0; i < rig.input.width * rig.input.height; ++i) {
            int left = 2;
            int right = 2;
            for (const auto& [dx, dy] : {Pixel{-.25, -.25}, {.25, -.25}, {-.25, .25}, {.25, .25}}) {
                const int32_t row = i / rig.input.width;
                const Pixel at{i % rig.input.width + dx, row + dy};
                left += LookLeft(rig, at).grey;
                right += LookRight(rig, at).grey;
            }
            images.first.push_back(static_cast<uint8_t>(left / 4));
            images.second.push_back(static_cast<uint8_t>(right / 4));
        }
        return images;
    }

private:
    const ox3d::CSceneModel& m_Model = ox3d::CSceneModel::Get();
    ox3d::SceneBall m_Ball = m_Model.BallAt(0);
    ox3d::PinholeCamera m_Pose = m_Model.DepthCamera(640, 480);
};

// A thing that both cameras see: where it is, and where the source images show it.
struct Match {
    Vector3 point;
    Pixel left;
    Pixel right;
};

// A grid of places on the left image whose surroundings (so many pixels each way) lie at one distance, to a
// hundredth, and which nothing hides from the right camera.
inline std::vector<Match> MatchesInRoom(const CRoom& room, const StereoRig& rig, int32_t grid,
                                        double around) {
    std::vector<Match> matches;
    for (int32_t i = 0; i < rig.input.width / grid * (rig.input.height / grid); ++i) {
        const int32_t row = i / (rig.input.width / grid);
        const Pixel at{i % (rig.input.width / grid) * grid, row * grid};
        const CRoom::Sight sight = room.LookLeft(rig, at);
        const Vector3 fromRight = rig.ToRight(sight.point);
        const Pixel right = Project(rig.input.right, fromRight);
        bool clear = ox3d::stereo::Norm(rig.ToRight(room.LookRight(rig, right).point)) >
                     ox3d::stereo::Norm(fromRight) - 1;
        for (const auto& [dx, dy] : {Pixel{-1, -1}, {1, -1}, {-1, 1}, {1, 1}}) {
            const Pixel aside{at.first + around * dx, at.second + around * dy};
            clear &= std::fabs(room.LookLeft(rig, aside).point[2] / sight.point[2] - 1) < 0.01;
        }
        if (clear) {
            matches.push_back({sight.point, at, right});
        }
    }
    return matches;
}

struct Picture {
    int32_t width;
    int32_t height;
    std::vector<uint16_t> pixels;

    double At(double x, double y) const { // bilinear, black outside
        const double fx = std::floor(x);
        const double fy = std::floor(y);
        if (!(fx >= 0 && fy >= 0 && fx + 1 < width && fy + 1 < height)) {
            return 0;
        }
        const auto stride = static_cast<size_t>(width);
        const uint16_t* p = &pixels[static_cast<size_t>(fy) * stride + static_cast<size_t>(fx)];
        const double a = x - fx;
        return (1 - y + fy) * ((1 - a) * p[0] + a * p[1]) +
               (y - fy) * ((1 - a) * p[stride] + a * p[stride + 1]);
    }
};

inline Picture PictureOf(const Grey& grey, int32_t width) {
    return {width, static_cast<int32_t>(grey.size()) / width, {grey.begin(), grey.end()}};
}

// The green of a color image.
inline Picture ReadPicture(const std::string& path) {
    ox3d::PngSize size;
    Grey planes;
    std::string error;
    EXPECT_TRUE(ox3d::ReadColorPng(path, &size, &planes, &error)) << error;
    const size_t pixels = planes.size() / 3;
    return PictureOf({&planes[pixels], &planes[2 * pixels]}, static_cast<int32_t>(size.m_width));
}

// How many rows lower the second image shows the patch around a pixel of the first, to a quarter of a row.
// No value where the patch is smooth, an edge, or not found again.
inline std::optional<double> RowOffset(const Picture& first, const Picture& second, const Pixel& at,
                                       double secondColumn) {
    constexpr int32_t kHalf = 5;
    const double column = std::round(at.first);
    const double row = std::round(at.second);
    const double shift = secondColumn - at.first;
    if (std::min({column, column + shift, row}) < 10 || std::max(column, column + shift) > first.width - 11 ||
        row > first.height - 11) {
        return std::nullopt;
    }
    // Variance of the difference, so that the exposures need not agree.
    const auto difference = [&](double dx, double dy) {
        double sum = 0;
        double squares = 0;
        for (int32_t v = -kHalf; v <= kHalf; ++v) {
            for (int32_t u = -kHalf; u <= kHalf; ++u) {
                const double d =
                    first.At(column + u, row + v) - second.At(column + u + shift + dx, row + v + dy);
                sum += d;
                squares += d * d;
            }
        }
        return squares / 121 - std::pow(sum / 121, 2);
    };
    double best = 0;
    double here = difference(0, 0);
    for (int32_t quarters = -12; quarters <= 12; ++quarters) {
        const double there = difference(0, quarters / 4.0);
        if (there < here) {
            best = quarters / 4.0;
            here = there;
        }
    }
    constexpr int32_t kAside[4][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 1}};
    for (const auto& [dx, dy] : kAside) { // along an edge a patch is found again anywhere
        if (difference(dx, best + dy) + difference(-dx, best - dy) < 4 * here + 120) {
            return std::nullopt;
        }
    }
    return best;
}

} // namespace algorithm_test

// Checkerboards in rendered pictures: found to a small part of a pixel however the board is tilted, in the order that its colors
// give, and not found where the board that is asked for is not.
#include "algorithm/vision/BoardShape.h"
#include "tests/algorithm/RenderedBoard.h"
#include "tests/algorithm/TestObject.h"

#include <numeric>

using namespace ox3d::test;
using ox3d::vision::BoardScratchBytes;
using ox3d::vision::Corner;

namespace {

const BoardCamera kLens = {480, 360, 450, 447, 241.5, 177, {-0.21, 0.07, 0.001, -0.0005, 0}};
const BoardCamera kSmallLens = {240, 180, 225, 225, 120, 90, {-0.1, 0, 0, 0, 0}};

// In memory of exactly the size that is asked for, with nothing to touch behind pixels and scratch. Empty where no board is.
std::vector<Corner> Found(const std::vector<uint8_t>& pixels, int32_t width, int32_t columns, int32_t rows) {
    const auto height = static_cast<int32_t>(pixels.size() / static_cast<size_t>(width));
    const CPlane<uint8_t> image(pixels);
    const CGuardedBlock scratch(BoardScratchBytes(width, height, 0));
    std::vector<Corner> corners(static_cast<size_t>(columns * rows));
    std::vector<float> contrasts(corners.size());
    if (!ox3d::vision::FindBoard({image.Data(), width, width, height}, columns, rows, scratch.Data(),
                                 corners.data(), contrasts.data())) {
        return {};
    }
    EXPECT_GT(*std::min_element(contrasts.begin(), contrasts.end()), 10);
    return corners;
}

// The root of the mean square of distances; a board that is not found, or another, is far away.
double ErrorOf(const std::vector<Corner>& found, const std::vector<Corner>& truth) {
    if (found.size() != truth.size()) {
        return INFINITY;
    }
    return std::sqrt(std::transform_reduce(found.begin(), found.end(), truth.begin(), 0.0, std::plus<>(),
                                           [](const Corner& a, const Corner& b) {
                                               return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y);
                                           }) /
                     static_cast<double>(truth.size()));
}

TEST(BoardFinder, FindsCornersToASmallPartOfAPixelAndWhatIsLeftIsNoShapeOfAPlane) {
    const struct {
        double aboutX, aboutY, aboutZ, distance, blur, noise, contrast, tolerance;
    } views[] = {{0, 0, 0, 700, 0.7, 0, 170, 0.03},   {35, -30, 5, 700, 0.7, 2, 170, 0.04},
                 {-10, 55, 20, 800, 1, 2, 170, 0.04}, {20, 20, -40, 1200, 0.5, 2, 170, 0.05},
                 {10, -20, 10, 700, 2, 4, 170, 0.08}, {15, 15, 0, 700, 1, 2, 24, 0.12},
                 {-45, 5, 0, 620, 0.7, 8, 170, 0.08}};
    for (const auto& view : views) {
        BoardLook look;
        look.blur = view.blur;
        look.noise = view.noise;
        look.dark = 120 - view.contrast / 2;
        look.bright = 120 + view.contrast / 2;
        const BoardPose pose = PoseOf(look, view.aboutX, view.aboutY, view.aboutZ, {10, -8, view.distance});
        const std::vector<Corner> found = Found(Rendered(kLens, pose, look), 480, 9, 6);
        EXPECT_LT(ErrorOf(found, TrueCorners(kLens, pose, look)), view.tolerance) << view.aboutX;
        float distances[54];
        ASSERT_TRUE(found.size() == 54 && MeasureShape(found.data(), 9, 6, {241.5, 177}, distances));
        EXPECT_LT(*std::max_element(distances, distances + 54), 4 * view.tolerance + 0.1) << view.aboutX;
    }
}

TEST(BoardFinder, BeginsWhereTheBoardsColorsSayAndElseWithRowsThatRunToTheRight) {
    const struct {
        int32_t columns, rows;
        bool isOneWay; // no turn of it looks the same
    } boards[] = {{9, 6, true},  {6, 9, true},  {7, 5, false}, {8, 4, false},
                  {5, 5, false}, {4, 4, false}, {2, 3, true}};
    for (const auto& board : boards) {
        for (const double degrees :
             board.isOneWay ? std::vector{3.0, 80.0, 185.0, 268.0} : std::vector{3.0, 185.0}) {
            BoardLook look;
            look.columns = board.columns;
            look.rows = board.rows;
            const BoardPose pose = PoseOf(look, 10, 10, degrees, {0, 0, 480});
            const std::vector<Corner> found =
                Found(Rendered(kSmallLens, pose, look), 240, board.columns, board.rows);
            const std::vector<Corner> truth = TrueCorners(kSmallLens, pose, look);
            if (board.isOneWay) {
                EXPECT_LT(ErrorOf(found, truth), 0.05) << board.columns << ' ' << degrees;
                continue;
            }
            ASSERT_EQ(found.size(), truth.size()) << board.columns << ' ' << degrees;
            const Corner& first = found.front();
            const Corner& right = found[static_cast<size_t>(board.columns) - 1];
            const Corner& below = found[found.size() - static_cast<size_t>(board.columns)];
            EXPECT_GT((right.x - first.x) * (below.y - first.y), (right.y - first.y) * (below.x - first.x));
            EXPECT_GT(right.x - first.x, 0) << board.columns << ' ' << degrees;
        }
    }
}

TEST(BoardFinder, FindsNothingWhereTheBoardIsNotOrNotWhole) {
    const BoardLook look;
    const std::vector<uint8_t> whole = Rendered(kLens, PoseOf(look, 10, 10, 5, {0, 0, 700}), look);
    EXPECT_EQ(Found(whole, 480, 9, 6).size(), 54U);
    for (const auto& [columns, rows] : {std::pair{9, 5}, {8, 6}, {10, 6}, {9, 7}, {3, 3}, {50, 50}}) {
        EXPECT_TRUE(Found(whole, 480, columns, rows).empty()) << columns << ' ' << rows;
    }
    EXPECT_TRUE(Found(Rendered(kLens, PoseOf(look, 10, 10, 5, {300, 0, 700}), look), 480, 9, 6).empty());
    std::mt19937 random(3);
    std::vector<uint8_t> noise(whole.size());
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<uint8_t>(random() >> 8); });
    EXPECT_TRUE(Found(noise, 480, 2, 2).empty() || Found(noise, 480, 4, 3).empty());
    for (const int32_t width : {1, 2, 3, 15, 16, 31}) {
        for (const int32_t height : {1, 2, 15, 29}) {
            EXPECT_TRUE(Found({noise.begin(), noise.begin() + width * height}, width, 5, 4).empty());
        }
    }
}

} // namespace

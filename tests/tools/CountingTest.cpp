// What a grab counts and says about it.
#include "tools/ox3d/FrameStats.h"
#include "tools/ox3d/Progress.h"
#include "tools/ox3d/Status.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <ox3drgbd/Ox3dRgbdDefine.h>
#include <vector>

using namespace ox3dtool;

namespace {

TEST(FrameStats, CountsTheGapsInTheFrameNumbers) {
    const struct {
        std::vector<uint32_t> numbers;
        uint64_t lost;
    } rows[] = {{{1, 2, 3}, 0}, {{1, 4}, 2},       {{5, 6}, 0},          {{7, 8, 1, 2}, 0},
                {{3, 3}, 0},    {{1, 3, 1, 4}, 3}, {{4294967295U, 1}, 0}};
    for (const auto& row : rows) {
        CFrameStats stats;
        for (const uint32_t number : row.numbers) {
            stats.Add(number, 0.0, {});
        }
        EXPECT_EQ(stats.LostFrames(), row.lost)
            << "beginning with " << row.numbers[0] << ", " << row.numbers[1];
        EXPECT_EQ(stats.Frames(), row.numbers.size());
    }
}

TEST(FrameStats, MeasuresTheRateFromTheFirstFrameToTheLast) {
    CFrameStats stats;
    EXPECT_EQ(stats.FrameRate(), 0.0);
    stats.Add(1, 100.0, {});
    EXPECT_EQ(stats.FrameRate(), 0.0);
    stats.Add(2, 100.1, {});
    stats.Add(3, 100.2, {});
    EXPECT_NEAR(stats.FrameRate(), 10.0, 1e-6);
}

TEST(FrameStats, SummarisesAllFrames) {
    DepthImage half(10, 1);
    std::fill_n(half.m_samples.begin(), 5, uint16_t{800});
    CFrameStats stats;
    stats.Add(1, 0.0, half);
    EXPECT_EQ(stats.Summary(), "1 frame, 0.0 frames/s, 0 lost, 50.0 % of depth valid");
    stats.Add(4, 0.5, DepthImage(10, 1));
    stats.AddBad();
    EXPECT_EQ(stats.Summary(),
              "2 frames, 2.0 frames/s, 2 lost, 25.0 % of depth valid, 1 that could not be assembled");
}

TEST(Progress, FillsItsBarAndNoFurther) {
    CFrameStats stats;
    EXPECT_EQ(ProgressLine(stats, 2), "[............................] 0/2  0.0 frames/s  0 lost");
    stats.Add(1, 0.0, {});
    EXPECT_EQ(ProgressLine(stats, 2), "[##############..............] 1/2  0.0 frames/s  0 lost");
    EXPECT_EQ(ProgressLine(stats, 0), "1 frames  0.0 frames/s  0 lost");
    stats.Add(2, 0.5, {});
    stats.Add(3, 1.0, {});
    EXPECT_EQ(ProgressLine(stats, 2), "[############################] 3/2  2.0 frames/s  0 lost");
}

TEST(Status, SaysWhatHappenedAndTheCode) {
    EXPECT_EQ(StatusText(OX3D_RGBD_E_NO_DATA), "no data (0x80060006)");
    EXPECT_EQ(StatusText(0x8006000A), "code of the camera-control library (0x8006000a)");
}

} // namespace

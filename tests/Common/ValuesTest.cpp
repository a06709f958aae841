// Fixed text fields, rounding and the build stamp.
#include <gtest/gtest.h>

#include <utility>

#include "base/BoundedText.h"
#include "src/Common/Time.h"
#include "src/Common/Version.h"

TEST(FixedText, EndsAtItsTerminatorOrItsField) {
    const char open[4] = {'a', 'b', 'c', 'd'};
    const char closed[4] = {'a', '\0', 'x', 'y'};
    EXPECT_STREQ(ox3d::FixedText(open).c_str(), "abcd");
    EXPECT_STREQ(ox3d::FixedText(closed).c_str(), "a");
}

TEST(Round, GoesHalfAwayFromZero) {
    const std::pair<double, double> aCases[] = {{-2.5, -3}, {2.5, 3}, {0.0, 0}, {-0.4, 0}, {1.49, 1}};
    for (const auto& [x, expected] : aCases) {
        EXPECT_EQ(ox3d::round(x), expected) << x;
    }
}

TEST(BuildStamp, TurnsTheCompilersDateIntoDigits) {
    const std::pair<const char*, const char*> aCases[] = {
        {"Jan  5 2024", "240105_t"}, {"Dec 31 2031", "311231_t"}, {"??? 07 2024", "240007_t"}};
    for (const auto& [date, wanted] : aCases) {
        char out[256] = {};
        ox3d::FormatBuildStamp(date, "t", out);
        EXPECT_STREQ(out, wanted);
    }
}

// Numbers, fixed text fields, rounding and the build stamp.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "Common/FixedText.h"
#include "Common/Number.h"
#include "Common/Time.h"
#include "Common/Version.h"

TEST(FloatToInt32, TruncatesInRangeAndGivesTheSmallestIntegerElsewhere) {
    EXPECT_EQ(ox3d::FloatToInt32(2.9), 2);
    EXPECT_EQ(ox3d::FloatToInt32(-2.9F), -2);
    EXPECT_EQ(ox3d::FloatToInt32(2147483647.5), INT32_MAX);
    const double dInfinity = std::numeric_limits<double>::infinity();
    for (const double x : {2147483648.0, -2147483648.9, -2147483649.0, dInfinity, -dInfinity, std::nan("")}) {
        EXPECT_EQ(ox3d::FloatToInt32(x), INT32_MIN) << x;
        EXPECT_EQ(ox3d::FloatToInt32(static_cast<float>(x)), INT32_MIN) << x;
    }
}

TEST(FixedText, EndsAtItsTerminatorOrItsFieldAndACopyFillsItsDestination) {
    const char achOpen[4] = {'a', 'b', 'c', 'd'};
    const char achClosed[4] = {'a', '\0', 'x', 'y'};
    EXPECT_STREQ(ox3d::FixedText(achOpen).c_str(), "abcd");
    EXPECT_STREQ(ox3d::FixedText(achClosed).c_str(), "a");
    char achLonger[6] = {'#', '#', '#', '#', '#', '#'};
    ox3d::CopyFixed(achLonger, achOpen);
    EXPECT_EQ(std::string(achLonger, 6), std::string("abcd\0\0", 6));
    char achShorter[3];
    ox3d::CopyFixed(achShorter, achOpen);
    EXPECT_EQ(std::string(achShorter, 3), "abc");
    ox3d::CopyFixed(achShorter, achClosed);
    EXPECT_EQ(std::string(achShorter, 3), std::string("a\0\0", 3))
        << "nothing behind the terminator is copied";
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
    for (const auto& [pDate, pExpected] : aCases) {
        char achOut[256] = {};
        ox3d::FormatBuildStamp(pDate, "t", achOut);
        EXPECT_STREQ(achOut, pExpected);
    }
}

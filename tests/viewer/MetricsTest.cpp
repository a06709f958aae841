// What Prometheus is told of cameras, whatever they call themselves.
#include "tools/ox3d/view/ViewMetrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>

namespace ox3d::tool {
namespace {

using namespace ::testing;

TEST(ViewMetrics, AreLinesOfTheFormatWhateverASerialNumberHas) {
    ViewMetric camera{"V\n\"1\\\xff", {}, {}};
    camera.m_figures.m_frames = (uint64_t{1} << 53U) - 1;
    camera.m_encoded.m_validDepth = 0.25;
    const std::string text = MetricsText({camera, {"W", {}, {}}});
    const std::string label = R"({camera="V\n\"1\\)"
                              "\xEF\xBF\xBD\"} "; // what is no UTF-8 would cost all of the figures
    EXPECT_THAT(text, HasSubstr("\nox3d_frames_total" + label + "9007199254740991\n"));
    EXPECT_THAT(text, HasSubstr("\nox3d_valid_depth_ratio" + label + "0.25\n"));
    const std::regex line(
        R"(# (HELP|TYPE) ox3d_\w+ .+|ox3d_\w+\{camera="(\\[\\"n]|[^\\"])*"\} [0-9][-+.e0-9]*)");
    std::istringstream lines(text);
    for (std::string one; std::getline(lines, one);) {
        EXPECT_TRUE(std::regex_match(one, line)) << one;
    }
}

} // namespace
} // namespace ox3d::tool

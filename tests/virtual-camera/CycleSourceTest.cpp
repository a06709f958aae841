// The first frames of a source, kept and shown over and over.
#include <gtest/gtest.h>

#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/frames/CycleSource.h"

namespace ox3d::test {
namespace {

TEST(CycleSource, shows_the_first_frames_over_and_over_with_what_is_wanted_of_them) {
    std::string error;
    const auto source = CCycleSource::Create(std::make_unique<CFakeSource>(100), 3, &error);
    ASSERT_NE(source, nullptr) << error;
    FrameImages images;
    for (const uint64_t index : {0U, 1U, 2U, 3U, 7U}) {
        ASSERT_TRUE(source->Render(index, index != 1, index == 7, &images));
        EXPECT_EQ(images.m_depth[31], 1000 + index % 3);
        EXPECT_EQ(images.m_colorWidth, index != 1 ? 6U : 0U);
        EXPECT_TRUE(index == 1 || images.m_color[35] == index % 3);
        EXPECT_TRUE(index != 7 || images.m_greyPair[63] == 100 + index % 3);
    }
}

TEST(CycleSource, is_as_short_as_its_source_and_refuses_an_empty_one) {
    std::string error;
    const auto source = CCycleSource::Create(std::make_unique<CFakeSource>(2), 10, &error);
    FrameImages images;
    ASSERT_TRUE(source->Render(2, false, false, &images));
    EXPECT_EQ(images.m_depth[0], 1000);
    EXPECT_EQ(CCycleSource::Create(std::make_unique<CFakeSource>(0), 10, &error), nullptr);
    EXPECT_FALSE(error.empty());
}

} // namespace
} // namespace ox3d::test

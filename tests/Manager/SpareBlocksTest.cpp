// Memory of frames that was given back: who gets it again, and that none is kept for nobody.
#include "src/Manager/SpareBlocks.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace {

constexpr uint64_t kBytes = 3 << 20;

TEST(SpareBlocks, AreUsedAgainWhereTheyFitAndAsLongAsADeviceMayWantThem) {
    CSpareBlocks& spare = CSpareBlocks::Shared();
    std::optional<CSpareUse> use(std::in_place);
    use->Begin();
    std::vector<ox3d::ImageBlock> blocks;
    for (int i = 0; i < 10; ++i) {
        blocks.push_back(spare.Take(kBytes));
        ASSERT_NE(blocks.back(), nullptr);
    }
    std::vector<const void*> places;
    for (ox3d::ImageBlock& block : blocks) {
        places.push_back(block.get());
        spare.Keep(std::move(block));
    }
    EXPECT_NE(spare.Take(kBytes / 8).get(), places.back()) << "it would waste more than it gives";
    for (size_t i = 10; i-- > 2;) { // eight are kept, the newest comes first
        blocks[i] = spare.Take(kBytes - i);
        EXPECT_EQ(blocks[i].get(), places[i]) << i;
    }
    spare.Keep(std::move(blocks[9]));
    use.reset();
    spare.Keep(std::move(blocks[8])); // nobody is there to want it
    use.emplace();
    use->Begin();
    spare.Keep(std::move(blocks[7]));
    EXPECT_EQ(spare.Take(kBytes).get(), places[7]);
    const ox3d::ImageBlock none = spare.Take(UINT64_MAX);
    EXPECT_EQ(none, nullptr);
}

} // namespace

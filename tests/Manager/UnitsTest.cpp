// Buffers, chunks, callbacks, address texts and the conversion engine, each by itself.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "base/CallbackSlot.h"
#include "src/BasicComponent/Algorithm/DepthConvertVm/DepthConvertVm.h"
#include "src/Manager/ChunkImage.h"
#include "src/Manager/GrowBuffer.h"
#include "src/Manager/Ipv4Text.h"
#include "tests/support/OpenThings.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

// Sanitizers abort on a block that cannot be had; the library has to get null, as without them.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

using Bytes = std::vector<uint8_t>;

TEST(GrowBuffer, GrowsToTheByteAndNeverShrinks) {
    CGrowBuffer buffer(16);
    EXPECT_EQ(buffer.Data(), nullptr);
    ASSERT_TRUE(buffer.EnsureExists());
    EXPECT_EQ(Bytes(buffer.Data(), buffer.Data() + 16), Bytes(16, 0));
    ASSERT_TRUE(buffer.Grow(16));
    EXPECT_EQ(buffer.Capacity(), 16u);
    ASSERT_TRUE(buffer.Grow(17));
    EXPECT_EQ(buffer.Capacity(), 17u);
    const uint8_t* const grown = buffer.Data();
    ASSERT_TRUE(buffer.Grow(1));
    EXPECT_EQ(buffer.Data(), grown);
    buffer.Free();
    EXPECT_EQ(buffer.Data(), nullptr);
    EXPECT_EQ(buffer.Capacity(), 16u) << "as at the beginning";
}

TEST(GrowBuffer, WithoutMemoryStaysAsItWas) {
    CGrowBuffer buffer(16);
    ASSERT_TRUE(buffer.EnsureExists());
    buffer.Data()[15] = 7;
    EXPECT_FALSE(buffer.Grow(uint64_t{1} << 62));
    EXPECT_EQ(buffer.Capacity(), 16u);
    EXPECT_EQ(buffer.Data()[15], 7);
}

TEST(ChunkImage, OfNothingButItsHeaderIsAnEmptyImage) {
    Bytes bytes(1 + 32, 0xEE); // at an odd address
    CGrowBuffer buffer(16);
    ChunkImage slot;
    OX_CHUNK_DATA_CONTENT chunk = {bytes.data() + 1, OX_CHUNK_EXTENDED_IMAGE, 32, {}};
    EXPECT_EQ(TakeChunkImage(chunk, 32, &buffer, &slot), EChunkResult::Copied);
    EXPECT_TRUE(slot.m_isPresent);
    EXPECT_EQ(slot.m_imageType, 0xEEEEEEEEu);
    EXPECT_EQ(slot.m_lengthBytes, 0u);
    EXPECT_EQ(Bytes(bytes.begin() + 12, bytes.begin() + 18), (Bytes{0xEE, 0, 0, 0, 0, 0xEE}));
}

TEST(ChunkImage, ThatCannotBeCopiedLeavesSlotAndChunkAlone) {
    Bytes bytes(40, 0xEE);
    CGrowBuffer buffer(uint64_t{1} << 62); // not to be had
    ChunkImage slot = {true, 1, 2, 3, 4, 5};
    OX_CHUNK_DATA_CONTENT chunk = {bytes.data(), OX_CHUNK_EXTENDED_IMAGE, 40, {}};
    EXPECT_EQ(TakeChunkImage(chunk, 32, &buffer, &slot), EChunkResult::NoBuffer);
    chunk.nChunkLen = 31;
    EXPECT_EQ(TakeChunkImage(chunk, 32, &buffer, &slot), EChunkResult::TooShort);
    EXPECT_EQ(slot.m_width, 3u);
    EXPECT_EQ(bytes, Bytes(40, 0xEE));
}

using Callback = void (*)(int*, void*);

TEST(CallbackSlot, WaitsForOtherThreadsAndNotForItself) {
    ox3d::CCallbackSlot<Callback> slot;
    slot.Publish({[](int*, void*) {}, nullptr});
    int owner = 0;
    ox3d::CCallbackCall outer(slot, &owner);
    const ox3d::CCallbackCall inner(slot, &owner);
    EXPECT_TRUE(ox3d::CCallbackScope::IsInsideOwner(&owner));
    EXPECT_FALSE(slot.IsBusyElsewhere());
    slot.WaitIdle();
    bool isInside = true;
    bool isBusy = false;
    std::thread([&] {
        isInside = ox3d::CCallbackScope::IsInsideOwner(&owner);
        isBusy = slot.IsBusyElsewhere();
    }).join();
    EXPECT_FALSE(isInside);
    EXPECT_TRUE(isBusy);
    std::thread([&] {
        EXPECT_TRUE(slot.WaitFormer(0)) << "the callback in force is not waited for";
        slot.Publish({});
        EXPECT_FALSE(slot.WaitFormer(0)) << "now it is a former one";
    }).join();
}

TEST(Ipv4Text, FollowsTheDottedQuad) {
    for (const char* text : {"1.2.3.4", "0.0.0.0", "255.255.255.255", "010.001.000.255"}) {
        EXPECT_EQ(IsValidIpv4(text), 1) << text;
    }
    for (const char* text :
         {"",         ".",        "...",       "1.2.3",     "1.2.3.",     "1.2.3.4.",   "1.2.3.4.5",
          ".1.2.3",   "1..2.3",   "256.1.1.1", "1.1.1.256", "0001.2.3.4", "1.2.3.0004", "+1.2.3.4",
          "1.2.3.-4", " 1.2.3.4", "1.2.3.4 ",  "0x1.2.3.4", "1.2.3.a",    "1,2,3,4"}) {
        EXPECT_EQ(IsValidIpv4(text), 0) << text;
    }
    EXPECT_EQ(IsValidIpv4(nullptr), 0);
}

TEST(DepthConverter, NeedsRecordsAndAnObject) {
    CDepthConvertVm engine;
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT input = {};
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT output = {};
    EXPECT_NE(engine.HfrVmCalProcess(&input, &output), 0u) << "there is no object yet";
    EXPECT_EQ(engine.Init(), 0u);
    // The object before goes.
    ox3d::test::ExpectRoundsLeaveNothing(5, 100, 4096, [&] { EXPECT_EQ(engine.Init(), 0u); });
    EXPECT_EQ(engine.HfrVmCalProcess(nullptr, &output), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(engine.HfrVmCalProcess(&input, nullptr), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(engine.HfrVmCalProcess(&input, &output), 0x10000014u) << "the algorithm's own status";
    engine.DeInit();
    engine.DeInit();
    EXPECT_NE(engine.HfrVmCalProcess(&input, &output), 0u);
}

} // namespace

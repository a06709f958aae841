// ChunkWalkTest.cpp - payloads with chunks, good ones and such as a broken camera might send.
#include <gtest/gtest.h>

#include <string>

#include "providers/aravis/AravisStream.h"
#include "providers/aravis/ChunkWalk.h"

using namespace ox3d;

namespace {

std::string Chunk(bool isBigEndian, uint32_t id, uint32_t dataBytes, uint32_t declaredBytes) {
    std::string chunk(dataBytes, 'x');
    for (const uint32_t word : {id, declaredBytes}) {
        for (int i = 0; i < 4; ++i) {
            chunk += static_cast<char>(word >> (isBigEndian ? 24 - 8 * i : 8 * i));
        }
    }
    return chunk;
}

bool Walk(const std::string& payload, bool isBigEndian, std::vector<ChunkSpan>* spans) {
    const std::vector<uint8_t> bytes(payload.begin(), payload.end()); // a sanitizer sees every step beyond
    return WalkChunks(bytes, isBigEndian, spans);
}

TEST(ChunkWalk, FindsAllChunksInBothByteOrders) {
    for (const bool isBig : {true, false}) {
        std::vector<ChunkSpan> spans;
        const std::string first = Chunk(isBig, 1, 100, 100);
        EXPECT_FALSE(Walk(first, !isBig, &spans));
        ASSERT_TRUE(Walk(first + Chunk(isBig, 0xA5A53D0B, 40, 40) + Chunk(isBig, 7, 0, 0), isBig, &spans));
        ASSERT_EQ(spans.size(), 3u);
        EXPECT_EQ(spans[0].m_offset, 0u);
        EXPECT_EQ(spans[0].m_lengthBytes, 100u);
        EXPECT_EQ(spans[1].m_id, 0xA5A53D0Bu);
        EXPECT_EQ(spans[1].m_offset, 108u);
        EXPECT_EQ(spans[2].m_lengthBytes, 0u);
    }
}

TEST(ChunkWalk, RefusesLengthsThatDoNotAddUp) {
    std::vector<ChunkSpan> spans;
    for (const uint32_t declared : {41u, 39u, 149u, 0x7FFFFFFFu, 0xFFFFFFF8u, 0xFFFFFFFFu}) {
        EXPECT_FALSE(Walk(Chunk(true, 1, 100, 100) + Chunk(true, 2, 40, declared), true, &spans)) << declared;
    }
    EXPECT_FALSE(Walk("", true, &spans));
    EXPECT_FALSE(Walk(std::string(7, '\0'), true, &spans));
    EXPECT_TRUE(Walk(std::string(8 * kMaxChunks, '\0'), true, &spans));
    EXPECT_FALSE(Walk(std::string(8 * kMaxChunks + 8, '\0'), true, &spans));
}

TEST(FrameCounter, NumbersFramesFromOneAndShowsGaps) {
    using Numbers = std::vector<uint64_t>;
    const struct {
        uint64_t m_firstId;
        Numbers m_ids;
        Numbers m_numbers;
        Numbers m_times = {1, 2, 3, 4};
    } kRows[] = {{1, {1, 2, 5}, {1, 2, 5}},
                 {0, {0, 1, 2}, {1, 2, 3}},
                 {1, {3, 4}, {3, 4}},                                    // the first two were lost
                 {1, {65401, 65402}, {1, 2}},                            // counts on from before
                 {1, {65534, 65535, 1, 3}, {1, 2, 3, 5}},                // 16 bits, without 0
                 {1, {5, 6, 4, 6, 7}, {5, 6, 0, 0, 7}, {5, 6, 4, 6, 7}}, // some come again
                 {1, {65535, 1, 65530, 2}, {1, 2, 0, 3}, {8, 9, 6, 10}},
                 {1, {5, 6, 1, 2}, {5, 6, 7, 8}},
                 {1, {1, 1, 1}, {1, 2, 3}},         // counts anew for every frame
                 {1, {70000, 70001, 1}, {1, 2, 3}}, // starts again in the middle
                 {0, {0xFFFFFFFF, 0x100000000}, {1, 2}}};
    for (const auto& row : kRows) {
        CFrameCounter counter(row.m_firstId);
        for (size_t i = 0; i < row.m_ids.size(); ++i) {
            EXPECT_EQ(counter.Next(row.m_ids[i], row.m_times[i]), row.m_numbers[i]) << row.m_ids[i];
        }
    }
}

} // namespace

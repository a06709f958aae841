// ChunkWalkTest.cpp - payloads with chunks, good ones and such as a broken camera might send.
#include <gtest/gtest.h>

#include "providers/aravis/AravisStream.h"
#include "providers/aravis/ChunkWalk.h"

using namespace ox3d;

namespace {

class CPayload {
public:
    explicit CPayload(bool isBigEndian) : m_isBigEndian(isBigEndian) {}
    CPayload& Add(uint32_t id, uint32_t dataBytes, uint32_t declaredBytes) {
        m_bytes.insert(m_bytes.end(), dataBytes, 0xAB);
        Word(id);
        Word(declaredBytes);
        return *this;
    }
    CPayload& Add(uint32_t id, uint32_t dataBytes) { return Add(id, dataBytes, dataBytes); }
    // Exactly as long as the payload, so that a sanitizer sees every step beyond it.
    bool Walk(std::vector<ChunkSpan>* spans) const { return WalkChunks(m_bytes, m_isBigEndian, spans); }
    std::vector<uint8_t> m_bytes;

private:
    void Word(uint32_t word) {
        for (int i = 0; i < 4; ++i) {
            m_bytes.push_back(static_cast<uint8_t>(word >> (m_isBigEndian ? 24 - 8 * i : 8 * i)));
        }
    }
    const bool m_isBigEndian;
};

TEST(ChunkWalk, FindsAllChunksInBothByteOrders) {
    for (const bool isBigEndian : {true, false}) {
        std::vector<ChunkSpan> spans;
        ASSERT_TRUE(CPayload(isBigEndian).Add(1, 100).Add(0xA5A53D0B, 40).Add(7, 0).Walk(&spans));
        ASSERT_EQ(spans.size(), 3u);
        EXPECT_EQ(spans[0].m_offset, 0u);
        EXPECT_EQ(spans[0].m_lengthBytes, 100u);
        EXPECT_EQ(spans[1].m_id, 0xA5A53D0Bu);
        EXPECT_EQ(spans[1].m_offset, 108u);
        EXPECT_EQ(spans[2].m_lengthBytes, 0u);
        std::vector<ChunkSpan> others;
        EXPECT_FALSE(WalkChunks(CPayload(isBigEndian).Add(1, 100).m_bytes, !isBigEndian, &others));
    }
}

TEST(ChunkWalk, RefusesLengthsThatDoNotAddUp) {
    for (const uint32_t declared : {41u, 39u, 149u, 0x7FFFFFFFu, 0xFFFFFFF8u, 0xFFFFFFFFu}) {
        std::vector<ChunkSpan> spans;
        EXPECT_FALSE(CPayload(true).Add(1, 100).Add(2, 40, declared).Walk(&spans)) << declared;
    }
    std::vector<ChunkSpan> spans;
    EXPECT_FALSE(WalkChunks({}, true, &spans));
    EXPECT_FALSE(WalkChunks(std::vector<uint8_t>(7), true, &spans));
    CPayload many(true);
    for (size_t i = 0; i <= kMaxChunks; ++i) {
        many.Add(1, 0);
    }
    EXPECT_FALSE(many.Walk(&spans));
}

TEST(FrameCounter, NumbersFramesFromOneAndShowsGaps) {
    const struct {
        uint64_t m_firstId;
        std::vector<uint64_t> m_ids;
        std::vector<uint64_t> m_numbers;
    } kRows[] = {{1, {1, 2, 5}, {1, 2, 5}},
                 {0, {0, 1, 2}, {1, 2, 3}},
                 {1, {3, 4}, {3, 4}},                     // the first two were lost
                 {1, {65401, 65402}, {1, 2}},             // counts on from before
                 {1, {65534, 65535, 1, 3}, {1, 2, 3, 5}}, // 16 bits, without 0
                 {1, {70000, 70001, 1}, {1, 2, 3}},       // starts again in the middle
                 {0, {0xFFFFFFFF, 0x100000000}, {1, 2}}};
    for (const auto& row : kRows) {
        CFrameCounter counter(row.m_firstId);
        std::vector<uint64_t> numbers;
        for (const uint64_t id : row.m_ids) {
            numbers.push_back(counter.Next(id));
        }
        EXPECT_EQ(numbers, row.m_numbers);
    }
}

} // namespace

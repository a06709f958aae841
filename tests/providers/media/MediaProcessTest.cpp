// The scaling library as an application meets it: through its functions only.
#include <ox3drgbd/OxMediaProcess.h>

#include <algorithm>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <vector>

namespace {

using Plane = std::vector<uint8_t>;

OX_MP_SCALING_PARAM Scaling(uint32_t width, uint32_t height, Plane& src, uint32_t dstWidth,
                            uint32_t dstHeight, Plane& dst) {
    const auto srcBytes = static_cast<uint32_t>(src.size());
    const auto dstBytes = static_cast<uint32_t>(dst.size());
    return {width, height,     src.data(), srcBytes, dstWidth, dstHeight,
            0,     dst.data(), dstBytes,   0,        0,        OX_MP_METHOD_BILINEAR,
            {}};
}

class MediaProcess : public ::testing::Test {
protected:
    ~MediaProcess() override { OX_MP_DestroyHandle(m_handle); }
    void* m_handle = OX_MP_CreateHandle();
    Plane m_src = Plane(64, 9), m_dst = Plane(16);
    OX_MP_SCALING_PARAM m_param = Scaling(8, 8, m_src, 4, 4, m_dst);
};

TEST_F(MediaProcess, ScalesWithExactWeightsAndRoundsHalfUp) {
    const auto scaled = [&](uint32_t width, uint32_t height, Plane src, uint32_t dstWidth,
                            uint32_t dstHeight) {
        Plane dst(size_t{dstWidth} * dstHeight);
        OX_MP_SCALING_PARAM param = Scaling(width, height, src, dstWidth, dstHeight, dst);
        EXPECT_EQ(OX_MP_Scaling(m_handle, &param), OX_MP_OK);
        EXPECT_EQ(param.nDstLen, dstWidth * dstHeight);
        const Plane whole = dst;
        std::fill(dst.begin(), dst.end(), uint8_t{0});
        for (uint32_t row = dstHeight; row > 0; --row) {
            EXPECT_EQ(OX_MP_ScalingRows(m_handle, &param, row - 1, 1), OX_MP_OK);
        }
        EXPECT_EQ(dst, whole) << "row by row";
        return dst;
    };
    // 3:2 lies on quarters: sixteenths, here with sums of 8 and 24 sixteenths.
    EXPECT_EQ(scaled(3, 3, {8, 0, 0, 0, 0, 0, 0, 0, 0}, 2, 2), (Plane{5, 0, 0, 0}));
    EXPECT_EQ(scaled(3, 3, {0, 8, 0, 0, 0, 0, 0, 0, 8}, 2, 2), (Plane{2, 2, 0, 5}));
    EXPECT_EQ(scaled(2, 2, {1, 2, 2, 1}, 1, 1), Plane{2});
    EXPECT_EQ(scaled(2, 1, {10, 20}, 4, 2), (Plane{10, 13, 18, 20, 10, 13, 18, 20}));
    EXPECT_EQ(scaled(3, 1, {0, 255, 0}, 5, 1), (Plane{0, 102, 255, 102, 0})) << "fifths, in 128ths";
    EXPECT_EQ(scaled(1, 1, {7}, 2, 2), (Plane{7, 7, 7, 7}));
    EXPECT_EQ(scaled(3, 2, {1, 2, 3, 4, 5, 250}, 3, 2), (Plane{1, 2, 3, 4, 5, 250}));
}

TEST_F(MediaProcess, RefusesWhatDoesNotFit) {
    using P = OX_MP_SCALING_PARAM&;
    const struct {
        int m_status;
        void (*m_spoil)(P);
    } faults[] = {{OX_MP_E_PARAMETER, [](P p) { p.pSrcData = nullptr; }},
                  {OX_MP_E_PARAMETER, [](P p) { p.pDstData = nullptr; }},
                  {OX_MP_E_SIZE, [](P p) { p.nSrcWidth = 0; }},
                  {OX_MP_E_SIZE, [](P p) { p.nDstHeight = 0; }},
                  {OX_MP_E_SIZE, [](P p) { p.nDstWidth = OX_MP_MAX_SIDE + 1; }},
                  {OX_MP_E_SIZE, [](P p) { p.nSrcWidth = p.nSrcHeight = 65536; }}, // above 32 bits
                  {OX_MP_E_SOURCE_LEN, [](P p) { p.nSrcLen = 63; }},
                  {OX_MP_E_DEST_LEN, [](P p) { p.nDstBufSize = 15; }},
                  {OX_MP_E_METHOD, [](P p) { p.nMethod = 0; }},
                  {OX_MP_E_METHOD, [](P p) { p.nMethod = 2; }},
                  {OX_MP_E_PARAMETER, [](P p) { p.pDstData = p.pSrcData + 63; }}};
    for (const auto& fault : faults) {
        OX_MP_SCALING_PARAM param = m_param;
        fault.m_spoil(param);
        EXPECT_EQ(OX_MP_Scaling(m_handle, &param), fault.m_status) << &fault - faults;
        EXPECT_EQ(param.nDstLen, 0U);
    }
    EXPECT_EQ(OX_MP_Scaling(m_handle, nullptr), OX_MP_E_PARAMETER);
    for (const uint32_t first : {0U, 1U, 5U, UINT32_MAX}) {
        EXPECT_EQ(OX_MP_ScalingRows(m_handle, &m_param, first, first == 0 ? 5 : UINT32_MAX), OX_MP_E_SIZE);
    }
    m_param.nSrcWidth = m_param.nDstHeight = OX_MP_MAX_SIDE;
    EXPECT_EQ(OX_MP_Scaling(m_handle, &m_param), OX_MP_E_SOURCE_LEN);
}

TEST_F(MediaProcess, RefusesWhatIsNotALiveHandle) {
    void* const closed = OX_MP_CreateHandle();
    EXPECT_NE(closed, m_handle);
    EXPECT_EQ(OX_MP_DestroyHandle(closed), OX_MP_OK);
    for (void* handle : {static_cast<void*>(nullptr), static_cast<void*>(&m_param), closed}) {
        EXPECT_EQ(OX_MP_Scaling(handle, &m_param), OX_MP_E_HANDLE);
        EXPECT_EQ(OX_MP_DestroyHandle(handle), OX_MP_E_HANDLE);
    }
    EXPECT_EQ(OX_MP_Scaling(m_handle, &m_param), OX_MP_OK);
}

// The linker writes the name into every program that needs the library, this one among them.
TEST(MediaProcessLibrary, IsNeededUnderItsPlainName) {
    EXPECT_NE(dlopen("libMediaProcess.so", RTLD_LAZY | RTLD_NOLOAD), nullptr);
}

} // namespace

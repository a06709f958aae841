// The scaling library as an application meets it: through its three functions only.
#include <ox3drgbd/OxMediaProcess.h>

#include <algorithm>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <vector>

namespace {

// A well-formed scaling of a plane of `value`, in buffers with a guard byte behind the destination.
struct Scaling {
    Scaling(uint32_t srcWidth, uint32_t srcHeight, uint32_t dstWidth, uint32_t dstHeight)
        : m_src(size_t{srcWidth} * srcHeight), m_dst(size_t{dstWidth} * dstHeight + 1, 0xEE) {
        m_param.nSrcWidth = srcWidth;
        m_param.nSrcHeight = srcHeight;
        m_param.pSrcData = m_src.data();
        m_param.nSrcLen = static_cast<uint32_t>(m_src.size());
        m_param.nDstWidth = dstWidth;
        m_param.nDstHeight = dstHeight;
        m_param.pDstData = m_dst.data();
        m_param.nDstBufSize = dstWidth * dstHeight;
        m_param.nMethod = OX_MP_METHOD_BILINEAR;
    }
    std::vector<uint8_t> m_src;
    std::vector<uint8_t> m_dst;
    OX_MP_SCALING_PARAM m_param{};
};

class MediaProcess : public ::testing::Test {
protected:
    MediaProcess() : m_handle(OX_MP_CreateHandle()) {}
    ~MediaProcess() override { OX_MP_DestroyHandle(m_handle); }
    void* m_handle;
};

TEST_F(MediaProcess, ScalesALinearRampToALinearRamp) {
    for (const auto& [width, height] : {std::pair{32U, 12U}, {128U, 40U}, {100U, 7U}}) {
        Scaling s(64, 16, width, height);
        for (size_t i = 0; i < s.m_src.size(); ++i) {
            s.m_src[i] = static_cast<uint8_t>(2 + i % 64 * 3 + i / 64 * 4);
        }
        ASSERT_EQ(OX_MP_Scaling(m_handle, &s.m_param), OX_MP_OK);
        EXPECT_EQ(s.m_param.nDstLen, width * height);
        for (uint32_t i = 0; i < width * height; ++i) {
            // Pixel centres coincide, and beyond the outermost ones nothing changes.
            const uint32_t row = i / width;
            const double x = std::clamp((i % width + 0.5) * 64.0 / width - 0.5, 0.0, 63.0);
            const double y = std::clamp((row + 0.5) * 16.0 / height - 0.5, 0.0, 15.0);
            // Half a step of rounding, and half a 128th of both slopes.
            ASSERT_NEAR(s.m_dst[i], 2 + x * 3 + y * 4, 0.5 + 7.01 / 256) << width << ", sample " << i;
        }
        EXPECT_EQ(s.m_dst.back(), 0xEE) << "wrote behind the destination";
    }
}

TEST_F(MediaProcess, CopiesWhenTheSizesAreEqual) {
    Scaling s(7, 5, 7, 5);
    for (size_t i = 0; i < s.m_src.size(); ++i) {
        s.m_src[i] = static_cast<uint8_t>(i * 37);
    }
    ASSERT_EQ(OX_MP_Scaling(m_handle, &s.m_param), OX_MP_OK);
    EXPECT_TRUE(std::equal(s.m_src.begin(), s.m_src.end(), s.m_dst.begin()));
}

TEST_F(MediaProcess, RefusesWhatDoesNotFit) {
    const struct {
        const char* what;
        int status;
        void (*spoil)(OX_MP_SCALING_PARAM&);
    } rows[] = {
        {"null source", OX_MP_E_PARAMETER, [](auto& p) { p.pSrcData = nullptr; }},
        {"null destination", OX_MP_E_PARAMETER, [](auto& p) { p.pDstData = nullptr; }},
        {"overlap", OX_MP_E_PARAMETER, [](auto& p) { p.pDstData = p.pSrcData + 63; }},
        {"width 0", OX_MP_E_SIZE, [](auto& p) { p.nSrcWidth = 0; }},
        {"height 0", OX_MP_E_SIZE, [](auto& p) { p.nDstHeight = 0; }},
        {"width too large", OX_MP_E_SIZE, [](auto& p) { p.nDstWidth = OX_MP_MAX_SIDE + 1; }},
        {"source one byte short", OX_MP_E_SOURCE_LEN, [](auto& p) { p.nSrcLen = 63; }},
        {"destination one byte short", OX_MP_E_DEST_LEN, [](auto& p) { p.nDstBufSize = 15; }},
        {"product above 32 bits", OX_MP_E_SIZE, [](auto& p) { p.nSrcWidth = p.nSrcHeight = 65536; }},
        {"method 0", OX_MP_E_METHOD, [](auto& p) { p.nMethod = 0; }},
        {"method 2", OX_MP_E_METHOD, [](auto& p) { p.nMethod = 2; }},
    };
    for (const auto& row : rows) {
        Scaling s(8, 8, 4, 4);
        row.spoil(s.m_param);
        EXPECT_EQ(OX_MP_Scaling(m_handle, &s.m_param), row.status) << row.what;
        EXPECT_EQ(s.m_param.nDstLen, 0u) << row.what;
    }
    EXPECT_EQ(OX_MP_Scaling(m_handle, nullptr), OX_MP_E_PARAMETER);
}

TEST_F(MediaProcess, RefusesWhatIsNotALiveHandle) {
    Scaling s(8, 8, 4, 4);
    void* const closed = OX_MP_CreateHandle();
    EXPECT_NE(closed, m_handle);
    EXPECT_EQ(OX_MP_DestroyHandle(closed), OX_MP_OK);
    int foreign = 0;
    for (void* handle : {static_cast<void*>(nullptr), static_cast<void*>(&foreign), closed}) {
        EXPECT_EQ(OX_MP_Scaling(handle, &s.m_param), OX_MP_E_HANDLE);
        EXPECT_EQ(OX_MP_DestroyHandle(handle), OX_MP_E_HANDLE);
    }
    EXPECT_EQ(OX_MP_Scaling(m_handle, &s.m_param), OX_MP_OK);
}

// The linker writes the name into every program that needs the library, this one among them.
TEST(MediaProcessLibrary, IsNeededUnderItsPlainName) {
    EXPECT_NE(dlopen("libMediaProcess.so", RTLD_LAZY | RTLD_NOLOAD), nullptr);
}

} // namespace

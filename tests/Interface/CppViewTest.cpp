// The C++ header without a camera: statuses, results, and images whose length is not that of their size.
#include <ox3drgbd/ox3d.hpp>

#include <gtest/gtest.h>

namespace {

TEST(CppStatus, HasANameAndASentence) {
    const ox3d::Status status(OX3D_RGBD_E_CAMERA_0F);
    EXPECT_EQ(status.name(), "OX3D_RGBD_E_CAMERA_0F");
    EXPECT_EQ(status.sentence(), "value out of the feature's range");
    EXPECT_EQ(ox3d::Status(12345).name(), "");
    EXPECT_EQ(ox3d::Status(12345).sentence(), ox3d::Status(12345).text());
}

TEST(CppResult, IsAValueOrAnErrorAndASuccessIsNoError) {
    ox3d::Result<std::string> result{ox3d::Status()};
    EXPECT_FALSE(result);
    EXPECT_EQ(result.error().code(), OX3D_RGBD_E_HANDLE);
    EXPECT_EQ(result.value_or("other"), "other");
    EXPECT_EXIT(result->size(), testing::KilledBySignal(SIGABRT), "OX3D_RGBD_E_HANDLE");
    result = std::string("own");
    EXPECT_EQ(*result + result.value_or("other"), "ownown");
    EXPECT_TRUE(result.error());
}

TEST(CppNumber, BecomesWhatAFeatureIsOrIsRefused) {
    using ox3d::detail::Number;
    const auto put = [](uint32_t type, Number number) {
        OX3D_RGBD_PARAM param = {};
        param.enParamType = type;
        return ox3d::detail::put(number, &param);
    };
    const Number whole{true, 1LL << 32, 0};
    const Number half{false, 0, 0.5};
    const Number large{false, 0, 9.3e18};
    const Number none{false, 0, std::nan("")};
    for (const auto& [type, takes] : {std::pair(OX3D_RGBD_PARAM_BOOL, "0000"),
                                      {OX3D_RGBD_PARAM_INT, "1000"},
                                      {OX3D_RGBD_PARAM_FLOAT, "1110"},
                                      {OX3D_RGBD_PARAM_ENUM, "0000"},
                                      {OX3D_RGBD_PARAM_STRING, "0000"}}) {
        std::string taken;
        for (const Number& number : {whole, half, large, none}) {
            taken += put(type, number) ? '1' : '0';
        }
        EXPECT_EQ(taken, takes) << type;
    }
    EXPECT_TRUE(put(OX3D_RGBD_PARAM_INT, {false, 0, -3.0}));
    EXPECT_TRUE(put(OX3D_RGBD_PARAM_BOOL, {true, 1, 0}));
    EXPECT_FALSE(put(OX3D_RGBD_PARAM_FLOAT, {false, 0, 1e300}));
}

TEST(CppImage, IsRefusedWhenItsLengthIsNotThatOfItsSize) {
    alignas(8) uint8_t bytes[12] = {};
    struct Case {
        uint8_t* m_data;
        uint32_t m_width, m_height, m_lengthBytes, m_status;
    };
    for (const Case& image :
         {Case{bytes, 3, 2, 12, OX3D_RGBD_OK}, Case{bytes, 3, 2, 11, OX3D_RGBD_E_PARAMETER},
          Case{bytes, 3, 2, 13, OX3D_RGBD_E_PARAMETER},
          Case{bytes, 0x80000001, 0x80000000, 0, OX3D_RGBD_E_PARAMETER},
          Case{bytes, 0x80000000, 0x80000000, 0x80000000, OX3D_RGBD_E_PARAMETER},
          Case{bytes + 1, 1, 1, 2, OX3D_RGBD_E_PARAMETER}, Case{bytes, 0, 2, 0, OX3D_RGBD_E_NO_DATA},
          Case{nullptr, 3, 2, 12, OX3D_RGBD_E_NO_DATA}}) {
        OX3D_RGBD_IMAGE_DATA record = {};
        record.pData = image.m_data;
        record.nWidth = image.m_width;
        record.nHeight = image.m_height;
        record.nDataLen = image.m_lengthBytes;
        EXPECT_EQ(ox3d::ImageView<uint16_t>::of(record).error().code(), image.m_status)
            << image.m_width << " x " << image.m_height << ", " << image.m_lengthBytes;
    }
    OX3D_RGBD_IMAGE_DATA record = {};
    record.pData = bytes;
    record.nWidth = record.nHeight = 2;
    record.nDataLen = 12;
    OX3D_RGBD_IMAGE_DATA vast = record; // of 2^64 bytes, which is 0 where it wraps
    vast.nWidth = vast.nHeight = 0x80000000;
    vast.nDataLen = 0;
    EXPECT_FALSE(ox3d::ImageView<uint32_t>::of(vast));
    const auto plane = ox3d::ImageView<uint8_t>::of(record, 2, 3);
    ASSERT_TRUE(plane);
    EXPECT_EQ(plane->row(1), bytes + 10);
    EXPECT_EQ(plane->row(2), nullptr);
    EXPECT_EQ(plane->stride(), 2u);
    EXPECT_FALSE(ox3d::ImageView<uint8_t>::of(record, 3, 3));
}

} // namespace

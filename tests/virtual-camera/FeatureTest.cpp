// FeatureTest.cpp - features by name and by address: ranges, access, selectors, and one truth for both ways.
#include <gtest/gtest.h>

#include "tests/virtual-camera/FakeSource.h"

using namespace ox3d;
using ox3d::test::CFakeCamera;
using ox3d::test::FakeConfig;
using enum EModelStatus;

namespace {

uint32_t AddressOf(const char* name, ETransport transport = ETransport::GigE) {
    return CFeatureMap(transport).Find(name)->m_address;
}

int64_t Integer(CCameraModel& camera, const char* name) {
    IntegerValue value;
    EXPECT_EQ(camera.GetInteger(name, &value), Ok) << name;
    return value.m_value;
}

bool Boolean(CCameraModel& camera, const char* name) {
    bool value = false;
    EXPECT_EQ(camera.GetBoolean(name, &value), Ok) << name;
    return value;
}

TEST(Feature, KeepsAValueForEveryEntryOfItsSelectorAndKnowsOnlyItsTransports) {
    CFakeCamera camera(FakeConfig(ETransport::Usb));
    IntegerValue value;
    EXPECT_EQ(camera.GetInteger("GevSCPD", &value), UnknownFeature);
    EXPECT_EQ(CFakeCamera().SetEnum("ChunkSelector", 19), Range); // the demosaic pair
    ASSERT_EQ(camera.SetEnum("ChunkSelector", 24), Ok);
    ASSERT_EQ(camera.SetBoolean("ChunkEnable", true), Ok);
    ASSERT_EQ(camera.SetEnum("ChunkSelector", 19), Ok);
    EXPECT_FALSE(Boolean(camera, "ChunkEnable"));
    ASSERT_EQ(camera.SetEnum("ChunkSelector", 24), Ok);
    EXPECT_TRUE(Boolean(camera, "ChunkEnable"));
}

TEST(Feature, FollowsFromOthersWhereItIsComputed) {
    CFakeCamera camera;
    EXPECT_EQ(Integer(camera, "PayloadSize"), 8 * 4 * 2);
    ASSERT_EQ(camera.SetEnum("CameraWorkingMode", 4), Ok);
    ASSERT_EQ(camera.SetBoolean("ChunkModeActive", true), Ok);
    ASSERT_EQ(camera.SetBoolean("ChunkEnable", true), Ok);
    EXPECT_EQ(Integer(camera, "PayloadSize"), 8 * 4 * 2 + 8 + 32 + 6 * 2 * 3 + 8);
    FloatValue rate;
    ASSERT_EQ(camera.SetFloat("ExposureTime", 100000), Ok);
    ASSERT_EQ(camera.GetFloat("ResultingFrameRate", &rate), Ok);
    EXPECT_FLOAT_EQ(rate.m_value, 10);
    ASSERT_EQ(camera.SetEnum("ExposureAuto", 2), Ok);
    EXPECT_EQ(camera.SetFloat("ExposureTime", 100), Access);
}

TEST(Register, ShowsEveryNumberAsTheFeatureDoes) {
    for (const ETransport transport : {ETransport::GigE, ETransport::Usb}) {
        CFakeCamera camera(FakeConfig(transport));
        const CRegisterFile codec(transport == ETransport::GigE);
        const CFeatureMap map(transport);
        size_t compared = 0;
        for (const MappedFeature& feature : map.Features()) {
            const FeatureRow& row = *feature.m_row;
            IntegerValue value;
            if (row.m_type != EFeatureType::Integer) {
                continue;
            }
            std::vector<uint8_t> bytes(row.m_lengthBytes);
            ASSERT_EQ(camera.ReadMemory(feature.m_address, bytes.data(), bytes.size()), Ok) << row.m_name;
            ASSERT_EQ(camera.GetInteger(row.m_name, &value), Ok) << row.m_name;
            uint64_t number = codec.Decode(bytes.data(), row.m_lengthBytes);
            number = row.m_bits == 0 ? number : (number >> row.m_shift) & ((uint64_t{1} << row.m_bits) - 1);
            EXPECT_EQ(static_cast<int64_t>(number), value.m_value) << row.m_name;
            ++compared;
        }
        EXPECT_GT(compared, 10u);
    }
}

TEST(Register, WritesWhatTheNameThenReads) {
    CFakeCamera camera;
    const uint8_t packet[] = {0x00, 0x00, 0x1F, 0x40}; // big-endian 8000, "don't fragment" off
    ASSERT_EQ(camera.WriteMemory(0x0D04, packet, sizeof(packet)), Ok);
    EXPECT_EQ(Integer(camera, "GevSCPSPacketSize"), 8000);
    EXPECT_FALSE(Boolean(camera, "GevSCPSDoNotFragment"));
    ASSERT_EQ(camera.WriteMemory(0x00E8, "bench camera", 13), Ok);
    StringValue name;
    ASSERT_EQ(camera.GetString("DeviceUserID", &name), Ok);
    EXPECT_EQ(name.m_value, "bench camera");
    const uint8_t one[] = {0, 0, 0, 1};
    ASSERT_EQ(camera.WriteMemory(AddressOf("ChunkEnable") + 24 * 4, one, 4), Ok);
    EXPECT_TRUE(Boolean(camera, "ChunkEnable"));
    ASSERT_EQ(camera.WriteMemory(AddressOf("AcquisitionStart"), one, 4), Ok);
    EXPECT_TRUE(Boolean(camera, "AcquisitionActive"));
}

TEST(Register, TakesAllOfAWriteOrNothing) {
    CFakeCamera camera;
    // Packet delay is writable, the gap behind it is not.
    const uint8_t bytes[8] = {0, 0, 0, 9};
    EXPECT_EQ(camera.WriteMemory(0x0D08, bytes, 8), Access);
    EXPECT_EQ(Integer(camera, "GevSCPD"), 0);
    EXPECT_EQ(camera.WriteMemory(0x0D08, bytes, 4), Ok);
    EXPECT_EQ(Integer(camera, "GevSCPD"), 9);
    for (const auto& [address, length] :
         {std::pair<uint64_t, uint64_t>{kFileBuffer + kFileBufferBytes - 4, 8},
          {UINT64_MAX - 3, 8},
          {0x0D04, 0}}) {
        uint8_t out[8] = {};
        EXPECT_EQ(camera.WriteMemory(address, bytes, length), Argument);
        EXPECT_EQ(camera.ReadMemory(address, out, length), Argument);
    }
}

} // namespace

// FeatureTest.cpp - features by name and by address: ranges, access, selectors, and one truth for both ways.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

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

TEST(Feature, RefusesIntegersOutsideTheirRangeAndBetweenTheirSteps) {
    CFakeCamera camera;
    IntegerValue value;
    ASSERT_EQ(camera.GetInteger("GevSCPSPacketSize", &value), Ok);
    EXPECT_EQ(value.m_inc, 4);
    EXPECT_EQ(camera.SetInteger("GevSCPSPacketSize", value.m_min), Ok);
    EXPECT_EQ(camera.SetInteger("GevSCPSPacketSize", value.m_max), Ok);
    for (const int64_t bad : {value.m_min - 1, value.m_min - 4, value.m_min + 2, value.m_max + 4, int64_t{-4},
                              std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()}) {
        EXPECT_EQ(camera.SetInteger("GevSCPSPacketSize", bad), Range) << bad;
    }
    EXPECT_EQ(Integer(camera, "GevSCPSPacketSize"), value.m_max);
}

TEST(Feature, RefusesFloatsThatAreNoNumberOrOutOfRange) {
    CFakeCamera camera;
    FloatValue value;
    ASSERT_EQ(camera.GetFloat("ExposureTime", &value), Ok);
    EXPECT_EQ(camera.SetFloat("ExposureTime", value.m_max), Ok);
    for (const float bad :
         {value.m_min / 2, value.m_max * 2, -1.0F, std::nanf(""), std::numeric_limits<float>::infinity()}) {
        EXPECT_EQ(camera.SetFloat("ExposureTime", bad), Range) << bad;
    }
    ASSERT_EQ(camera.GetFloat("ExposureTime", &value), Ok);
    EXPECT_EQ(value.m_value, value.m_max);
}

TEST(Feature, AcceptsOnlyTheEntriesOfAnEnumeration) {
    CFakeCamera gige;
    CFakeCamera usb(FakeConfig(ETransport::Usb));
    EXPECT_EQ(gige.SetEnum("TriggerSource", 7), Ok);
    EXPECT_EQ(gige.SetEnum("TriggerSource", 6), Range);
    EXPECT_EQ(gige.SetEnumByName("TriggerMode", "On"), Ok);
    EXPECT_EQ(gige.SetEnumByName("TriggerMode", "on"), Range);
    // The demosaic pair is sent by USB cameras only.
    EXPECT_EQ(gige.SetEnum("ChunkSelector", 19), Range);
    EXPECT_EQ(usb.SetEnum("ChunkSelector", 19), Ok);
}

TEST(Feature, ReportsUnknownNamesAndWrongTypesApart) {
    CFakeCamera camera;
    IntegerValue value;
    EXPECT_EQ(camera.GetInteger("NoSuchFeature", &value), UnknownFeature);
    EXPECT_EQ(camera.GetInteger("width", &value), UnknownFeature);
    EXPECT_EQ(camera.GetInteger("Gain", &value), WrongType);
    EXPECT_EQ(camera.GetInteger("DeviceControl", &value), WrongType);
    EXPECT_EQ(camera.Execute("Width"), WrongType);
    EXPECT_EQ(camera.SetFloat("TriggerMode", 1), WrongType);
    EXPECT_EQ(CFakeCamera(FakeConfig(ETransport::Usb)).GetInteger("GevSCPD", &value), UnknownFeature);
}

TEST(Feature, CannotBeWrittenWhileReadOnlyOrLocked) {
    CFakeCamera camera;
    EAccess access{};
    EXPECT_EQ(camera.SetInteger("Width", 8), Access);
    EXPECT_EQ(camera.SetString("DeviceModelName", "X"), Access);
    ASSERT_EQ(camera.SetEnum("ExposureAuto", 2), Ok);
    EXPECT_EQ(camera.SetFloat("ExposureTime", 100), Access);
    ASSERT_EQ(camera.SetEnum("ExposureAuto", 0), Ok);
    EXPECT_EQ(camera.SetFloat("ExposureTime", 100), Ok);
    ASSERT_EQ(camera.Execute("AcquisitionStart"), Ok);
    EXPECT_EQ(camera.SetBoolean("ChunkModeActive", true), Access);
    ASSERT_EQ(camera.AccessOf("ChunkModeActive", &access), Ok);
    EXPECT_EQ(access, EAccess::ReadOnly);
    EXPECT_EQ(camera.SetEnum("TriggerMode", 1), Ok); // triggers may be set up while frames come
    ASSERT_EQ(camera.Execute("AcquisitionStop"), Ok);
    EXPECT_EQ(camera.SetBoolean("ChunkModeActive", true), Ok);
}

TEST(Feature, KeepsAValueForEveryEntryOfItsSelector) {
    CFakeCamera camera(FakeConfig(ETransport::Usb));
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

TEST(Register, RefusesWhatTheNameWouldRefuse) {
    CFakeCamera camera;
    const std::vector<uint8_t> bytes(64, 0xFF);
    struct {
        const char* m_what;
        uint64_t m_address;
        uint64_t m_length;
        EModelStatus m_expected;
    } const cases[] = {
        {"a value out of range", 0x0D04, 4, Range},
        {"an entry that does not exist", AddressOf("TriggerSource"), 4, Range},
        {"a read-only number", AddressOf("Width"), 4, Access},
        {"a read-only text", 0x00D8, 4, Access},
        {"half a number", 0x0D04, 2, Argument},
        {"a gap between registers", 0x0D20, 4, Access},
        {"the description", kXmlArea, 4, Access},
        {"a range beyond its area", kFileBuffer + kFileBufferBytes - 4, 8, Argument},
        {"an address that is nowhere", 0x00900000, 4, Argument},
        {"an address that wraps around", UINT64_MAX - 3, 8, Argument},
        {"nothing", 0x0D04, 0, Argument},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(camera.WriteMemory(c.m_address, bytes.data(), c.m_length), c.m_expected) << c.m_what;
    }
    uint8_t out[8] = {};
    EXPECT_EQ(camera.ReadMemory(0x00900000, out, 4), Argument);
    EXPECT_EQ(camera.ReadMemory(UINT64_MAX - 3, out, 8), Argument);
    EXPECT_EQ(camera.ReadMemory(kXmlArea + camera.Xml().size() - 4, out, 8), Argument);
}

TEST(Register, TakesAllOfAWriteOrNothing) {
    CFakeCamera camera;
    // Packet delay is writable, the gap behind it is not.
    const uint8_t bytes[8] = {0, 0, 0, 9};
    EXPECT_EQ(camera.WriteMemory(0x0D08, bytes, 8), Access);
    EXPECT_EQ(Integer(camera, "GevSCPD"), 0);
    EXPECT_EQ(camera.WriteMemory(0x0D08, bytes, 4), Ok);
    EXPECT_EQ(Integer(camera, "GevSCPD"), 9);
}

} // namespace

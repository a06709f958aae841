// FeatureTest.cpp - descriptions that are refused, what Aravis's errors become, and steps of values.
#include <gtest/gtest.h>

#include <cfloat>
#include <filesystem>
#include <sstream>
#include <string>

#include "fuzz/FakeDevice.h"
#include "providers/aravis/ArvError.h"
#include "providers/aravis/Description.h"
#include "providers/aravis/Features.h"
#include "providers/aravis/UsbDevices.h"
#include "providers/common/Status.h"
#include "tests/support/Files.h"

using namespace ox3d;

namespace {

TEST(ArvErrors, BecomeCodesOfTheInterface) {
    const struct {
        GQuark m_domain;
        int m_error;
        uint32_t m_code;
    } kRows[] = {{ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_FEATURE_NOT_FOUND, OX_CC_E_GC_ARGUMENT},
                 {ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_WRONG_FEATURE, OX_CC_E_GC_DYNAMIC_CAST},
                 {ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_TIMEOUT, OX_CC_E_PRECONDITION},
                 {ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_NOT_CONTROLLER, OX_CC_E_ACCESS_DENIED},
                 {ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT, OX_CC_E_GC_ACCESS},
                 {ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS, OX_CC_E_PARAMETER},
                 {ARV_GC_ERROR, ARV_GC_ERROR_OUT_OF_RANGE, OX_CC_E_GC_RANGE},
                 {ARV_GC_ERROR, ARV_GC_ERROR_READ_ONLY, OX_CC_E_GC_ACCESS},
                 {ARV_GC_ERROR, ARV_GC_ERROR_INVALID_SYNTAX, OX_CC_E_GC_GENERIC},
                 {G_FILE_ERROR, 1, OX_CC_E_UNKNOWN}};
    for (const auto& row : kRows) {
        GError* error = g_error_new_literal(row.m_domain, row.m_error, "");
        EXPECT_EQ(CodeOf(error), Code(row.m_code)) << row.m_error;
        g_error_free(error);
    }
    EXPECT_EQ(CodeOf(nullptr), kOk);
}

bool IsUsable(const std::string& nodes) {
    const test::CTempFolder folder;
    test::WriteFile(folder.File("camera.xml"),
                    "<RegisterDescription><Category Name=\"Root\"/>" + nodes + "</RegisterDescription>");
    return IsUsableDescription(fuzz::MakeFakeDevice(folder.File("camera.xml")).get());
}

// Each node asks the one before twice.
std::string Doublings(int count) {
    std::ostringstream nodes;
    nodes << R"(<Integer Name="N0"><Value>1</Value></Integer>)";
    for (int i = 1; i <= count; ++i) {
        nodes << "<IntSwissKnife Name=\"N" << i << "\"><pVariable Name=\"X\">N" << i - 1
              << "</pVariable><pVariable Name=\"Y\">N" << i - 1
              << "</pVariable><Formula>X+Y</Formula></IntSwissKnife>";
    }
    return nodes.str();
}

std::string Registers(int count, int bytes) {
    std::string nodes;
    for (int i = 0; i < count; ++i) {
        nodes += "<StringReg Name=\"S" + std::to_string(i) + "\"><Address>512</Address><Length>" +
                 std::to_string(bytes) + "</Length></StringReg>";
    }
    return nodes;
}

TEST(Description, MayNotAskForMoreThanThereIsTimeAndMemoryFor) {
    constexpr int kMaxBytes = 64 << 20;
    EXPECT_TRUE(IsUsable(Doublings(10)));
    EXPECT_FALSE(IsUsable(Doublings(60)));
    EXPECT_TRUE(IsUsable(Registers(4, kMaxBytes)));
    EXPECT_FALSE(IsUsable(Registers(1, kMaxBytes + 1)));
    EXPECT_FALSE(IsUsable(Registers(5, kMaxBytes)));
}

TEST(FeatureSteps, AreHeldWithoutOverflow) {
    EXPECT_TRUE(features::IsOnGrid(int64_t{12}, 4, 4));
    EXPECT_FALSE(features::IsOnGrid(int64_t{13}, 4, 4));
    EXPECT_TRUE(features::IsOnGrid(INT64_MAX, INT64_MIN, 1));
    EXPECT_FALSE(features::IsOnGrid(INT64_MAX, INT64_MIN, 2));
    EXPECT_TRUE(features::IsOnGrid(int64_t{5}, 0, -3));                   // no such increment
    EXPECT_TRUE(features::IsOnGrid(static_cast<double>(0.3f), 0.0, 0.1)); // as near as a float comes
    EXPECT_FALSE(features::IsOnGrid(0.35, 0.0, 0.1));
    EXPECT_TRUE(features::IsOnGrid(0.35, 0.0, DBL_MIN));
}

TEST(Sysfs, TellsWhatAravisDoesNot) {
    const test::CTempFolder folder;
    for (const auto& [file, text] : {std::pair{"2-1/serial", "S1"},
                                     {"2-1/idVendor", "1209"},
                                     {"2-1/idProduct", "00a1"},
                                     {"2-1/version", " 3.20"},
                                     {"2-1:1.0/bInterfaceClass", "ef"},
                                     {"2-1:1.0/bInterfaceSubClass", "05"},
                                     {"2-1:1.0/bInterfaceProtocol", "00"},
                                     {"2-1:1.0/ep_81/bEndpointAddress", "81"},
                                     {"2-1:1.0/ep_01/bEndpointAddress", "01"},
                                     {"2-1:1.1/bInterfaceClass", "ef"},
                                     {"2-1:1.1/bInterfaceSubClass", "05"},
                                     {"2-1:1.1/bInterfaceProtocol", "02"},
                                     {"2-1:1.1/ep_83/bEndpointAddress", "83"}}) {
        std::filesystem::create_directories((folder.Path() / file).parent_path());
        test::WriteFile(folder.File(file), std::string(text) + '\n');
    }
    OX_CC_USB_DEVICE_INFO device{};
    device.chSerialNumber[0] = 'S';
    FillFromSysfs(folder.Path(), &device);
    EXPECT_EQ(device.nVendorId, 0); // another serial number
    device.chSerialNumber[1] = '1';
    FillFromSysfs(folder.Path(), &device);
    EXPECT_EQ(device.nVendorId, 0x1209);
    EXPECT_EQ(device.nProductId, 0x00A1);
    EXPECT_EQ(device.nBcdUsb, 0x0320u);
    EXPECT_EQ(device.nCrtlInEndPoint, 0x81);
    EXPECT_EQ(device.nCrtlOutEndPoint, 0x01);
    EXPECT_EQ(device.nStreamEndPoint, 0x83);
}

} // namespace

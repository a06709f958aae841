// CameraListTest.cpp - the text file that lists cameras: what it says, and what is wrong with it.
#include <gmock/gmock.h>

#include "virtual-camera/CameraConfig.h"

using namespace ox3d;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

struct Reading {
    std::vector<CameraConfig> m_cameras;
    std::vector<std::string> m_errors;
};

Reading Read(const std::string& text) {
    Reading reading;
    reading.m_cameras = ParseCameraList(text, "list.ini", "/base", &reading.m_errors);
    return reading;
}

TEST(CameraList, DescribesEveryPropertyOfACamera) {
    const Reading reading =
        Read("\xEF\xBB\xBF# two cameras\n"
             "[camera]\n"
             "transport = usb\nserial = U7\nmodel=M\nmanufacturer = Some One\nuser_name = front\n"
             "device_version = 2.5\nwidth = 800\nheight = 600\ncolor_width = 1600\n"
             "color_height = 1200\nfps = 12.5\nnoise = no\nloop = no\n"
             "fault = drop_every 5\nfault = deny_open\n"
             "\n[camera]\r\nserial = G8\r\nip = 10.0.0.7\r\nmask = 255.0.0.0\r\n"
             "gateway = 10.0.0.1\nhost_ip = 10.0.0.2\nmac = 02:00:00:ab:cd:ef\n");
    ASSERT_THAT(reading.m_errors, ElementsAre());
    ASSERT_EQ(reading.m_cameras.size(), 2u);
    const CameraConfig& usb = reading.m_cameras[0];
    EXPECT_EQ(usb.m_transport, ETransport::Usb);
    EXPECT_EQ(usb.m_serial + usb.m_model + usb.m_manufacturer + usb.m_userName + usb.m_deviceVersion,
              "U7MSome Onefront2.5");
    EXPECT_EQ(usb.m_source.m_depthWidth * 10000 + usb.m_source.m_depthHeight, 8000600u);
    EXPECT_EQ(usb.m_source.m_colorWidth * 10000 + usb.m_source.m_colorHeight, 16001200u);
    EXPECT_DOUBLE_EQ(usb.m_fps, 12.5);
    EXPECT_FALSE(usb.m_source.m_noise || usb.m_source.m_loop || usb.m_source.m_isRecording);
    EXPECT_EQ(usb.m_faults.m_dropEvery, 5u);
    EXPECT_EQ(usb.m_faults.m_isOpenDenied, 1u);
    const CameraConfig& gige = reading.m_cameras[1];
    EXPECT_EQ(gige.m_transport, ETransport::GigE);
    EXPECT_EQ(gige.m_ip, 0x0A000007u);
    EXPECT_EQ(gige.m_mask, 0xFF000000u);
    EXPECT_EQ(gige.m_gateway, 0x0A000001u);
    EXPECT_EQ(gige.m_hostIp, 0x0A000002u);
    EXPECT_EQ(gige.m_mac, 0x020000ABCDEFu);
    EXPECT_TRUE(gige.m_faults == FaultSet{});
}

TEST(CameraList, GivesEachUnnamedCameraItsOwnSerialNumberAndAddress) {
    const Reading reading = Read("[camera]\n[camera]\n");
    ASSERT_EQ(reading.m_cameras.size(), 2u);
    EXPECT_EQ(reading.m_cameras[0].m_serial, "VC00000001");
    EXPECT_EQ(reading.m_cameras[1].m_serial, "VC00000002");
    EXPECT_NE(reading.m_cameras[0].m_ip, reading.m_cameras[1].m_ip);
    EXPECT_NE(reading.m_cameras[0].m_mac, reading.m_cameras[1].m_mac);
}

TEST(CameraList, TakesRelativeRecordingFoldersFromTheListsOwnFolder) {
    const Reading reading = Read("[camera]\nsource = recording\nrecording = nowhere # at all\n");
    EXPECT_THAT(reading.m_errors, ElementsAre("list.ini:1: there is no folder /base/nowhere # at all"));
}

struct BadLine {
    const char* m_line;
    const char* m_expected;
};
class CameraListFault : public testing::TestWithParam<BadLine> {};

TEST_P(CameraListFault, NamesTheLineAndLeavesOutThatCameraOnly) {
    const Reading reading = Read(std::string("[camera]\nserial = A\n\n[camera]\nserial = B\n") +
                                 GetParam().m_line + "\n[camera]\nserial = C\n");
    ASSERT_EQ(reading.m_errors.size(), 1u);
    EXPECT_THAT(reading.m_errors[0], HasSubstr("list.ini:6: "));
    EXPECT_THAT(reading.m_errors[0], HasSubstr(GetParam().m_expected));
    ASSERT_EQ(reading.m_cameras.size(), 2u);
    EXPECT_EQ(reading.m_cameras[1].m_serial, "C");
}

INSTANTIATE_TEST_SUITE_P(
    Lines, CameraListFault,
    testing::Values(
        BadLine{"color = red", "unknown key 'color'"}, BadLine{"serial", "expected key = value"},
        BadLine{"serial =", "serial must be"}, BadLine{"serial = 1234567890123456", "serial must be"},
        BadLine{"model = \x07", "model must be"}, BadLine{"transport = wifi", "gige or usb"},
        BadLine{"ip = 1.2.3", "IPv4"}, BadLine{"ip = 1.2.3.256", "IPv4"}, BadLine{"ip = 1.2.3.4.5", "IPv4"},
        BadLine{"mac = 02:00:00:00:00", "six bytes"}, BadLine{"mac = 02:00:00:00:00:0g", "six bytes"},
        BadLine{"mac = 02:00:00:00:00:01:02", "six bytes"}, BadLine{"width = 639", "from 640 to 4000"},
        BadLine{"width = 4001", "from 640 to 4000"}, BadLine{"height = -480", "from 480 to 3000"},
        BadLine{"height = 480px", "from 480 to 3000"},
        BadLine{"height = 99999999999999999999", "from 480 to 3000"}, BadLine{"fps = 0", "0.1 to 240"},
        BadLine{"fps = nan", "0.1 to 240"}, BadLine{"loop = maybe", "yes or no"},
        BadLine{"fault = meteor", "unknown fault 'meteor'"}, BadLine{"fault = drop_every", "from 2 to"},
        BadLine{"fault = drop_every 1", "from 2 to"}, BadLine{"fault = deny_open 3", "takes no number"},
        BadLine{"fault =", "unknown fault"}));

struct BadSection {
    const char* m_text;
    const char* m_error;
};
class CameraListSection : public testing::TestWithParam<BadSection> {};

TEST_P(CameraListSection, IsRefusedAsAWhole) {
    const Reading reading = Read(GetParam().m_text);
    EXPECT_THAT(reading.m_errors, ElementsAre(HasSubstr(GetParam().m_error)));
    EXPECT_EQ(reading.m_cameras.size(),
              std::string(GetParam().m_text).find("first") == std::string::npos ? 0u : 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CameraListSection,
    testing::Values(BadSection{"serial = A\n", "list.ini:1: a line outside"},
                    BadSection{"[lens]\nserial = A\n", "list.ini:1: unknown section [lens]"},
                    BadSection{"[camera]\nsource = recording\n", "list.ini:1: source = recording needs"},
                    BadSection{"[camera]\ncolor_width = 0\n", "list.ini:1: color_width and color_height"},
                    BadSection{"[camera]\nserial = first\n[camera]\nserial = first\n",
                               "list.ini:3: serial first"}));

} // namespace

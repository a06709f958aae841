// CameraListTest.cpp - the text file that lists cameras: what it says, and what is wrong with it.
#include <gmock/gmock.h>

#include <sstream>

#include "virtual-camera/CameraConfig.h"

using namespace ox3d;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

std::vector<CameraConfig> Read(const std::string& text, std::vector<std::string>* errors) {
    return ParseCameraList(text, "list.ini", "/base", errors);
}

TEST(CameraList, DescribesCamerasAsAnyEditorWritesThem) {
    std::vector<std::string> errors;
    const auto cameras =
        Read("\xEF\xBB\xBF# three cameras\n[camera]\ntransport = usb\nuser_name = front door\n"
             "width = 640\nheight = 3000\ncolor_width = 4000\ncolor_height = 480\n"
             "fps = 240\nnoise = no\nloop = no\nfault = drop_every 5\nfault = deny_open\n"
             "\n[camera]\r\nserial=G8\r\nmask = 255.0.0.0\r\n"
             "mac = 02:00:00:ab:cd:ef\n[camera]",
             &errors);
    ASSERT_THAT(errors, ElementsAre());
    ASSERT_EQ(cameras.size(), 3U);
    const CameraConfig& usb = cameras[0];
    EXPECT_EQ(usb.m_transport, ETransport::Usb);
    EXPECT_EQ(usb.m_userName, "front door");
    EXPECT_EQ(usb.m_source.m_depthWidth * 10000 + usb.m_source.m_depthHeight, 6403000U);
    EXPECT_EQ(usb.m_source.m_colorWidth * 10000 + usb.m_source.m_colorHeight, 40000480U);
    EXPECT_DOUBLE_EQ(usb.m_fps, 240);
    EXPECT_FALSE(usb.m_source.m_noise || usb.m_source.m_loop || usb.m_source.m_isRecording);
    EXPECT_EQ(usb.m_faults.m_dropEvery, 5U);
    EXPECT_EQ(usb.m_faults.m_isOpenDenied, 1U);
    const CameraConfig& gige = cameras[1];
    EXPECT_EQ(gige.m_transport, ETransport::GigE);
    EXPECT_EQ(gige.m_mask, 0xFF000000U);
    EXPECT_EQ(gige.m_mac, 0x020000ABCDEFU);
    EXPECT_TRUE(gige.m_faults == FaultSet{});
    const CameraConfig& unnamed = cameras[2]; // what it has in its own right
    EXPECT_EQ(usb.m_serial + gige.m_serial + unnamed.m_serial, "VC00000001G8VC00000003");
    EXPECT_EQ(unnamed.m_ip, usb.m_ip + 2);
    EXPECT_EQ(unnamed.m_mac, 0x020000000003U);
}

TEST(CameraList, NamesTheLineOfAnErrorAndLeavesOutThatCameraOnly) {
    const std::pair<const char*, const char*> rows[] = {{"color = red", "unknown key 'color'"},
                                                        {"serial", "expected key = value"},
                                                        {"serial =", "serial must be"},
                                                        {"serial = 1234567890123456", "serial must be"},
                                                        {"model = \x07", "model must be"},
                                                        {"transport = wifi", "gige or usb"},
                                                        {"ip = 1.2.3", "IPv4"},
                                                        {"ip = 1.2.3.256", "IPv4"},
                                                        {"ip = 1.2.3.4.5", "IPv4"},
                                                        {"mac = 02:00:00:00:00", "six bytes"},
                                                        {"mac = 02:00:00:00:00:0g", "six bytes"},
                                                        {"width = 639", "from 640 to 4000"},
                                                        {"height = -480", "from 480 to 3000"},
                                                        {"height = 480px", "from 480 to 3000"},
                                                        {"height = 99999999999999999999", "from 480 to 3000"},
                                                        {"width = 4001", "from 640 to 4000"},
                                                        {"color_height = 3001", "from 480 to 3000"},
                                                        {"cycle = 241", "up to 240"},
                                                        {"user_name = 1234567890123456", "user_name must"},
                                                        {"fps = nan", "0.1 to 240"},
                                                        {"fps = 241", "0.1 to 240"},
                                                        {"loop = maybe", "yes or no"},
                                                        {"fault = meteor", "unknown fault 'meteor'"},
                                                        {"fault = drop_every 1", "from 2 to"},
                                                        {"fault = drop_packets 1001", "from 0 to 1000"},
                                                        {"fault = deny_open 3", "takes no number"}};
    for (const auto& [line, expected] : rows) {
        std::vector<std::string> errors;
        const auto cameras = Read(std::string("[camera]\nserial = A\n\n[camera]\nserial = B\n") + line +
                                      "\n[camera]\nserial = C\n",
                                  &errors);
        EXPECT_THAT(errors, ElementsAre(testing::AllOf(HasSubstr("list.ini:6: "), HasSubstr(expected))));
        ASSERT_EQ(cameras.size(), 2U) << line;
        EXPECT_EQ(cameras[1].m_serial, "C");
    }
}

TEST(CameraList, HasCamerasOfTheStandards3dModelOnlyOnAWireAndOnlyWithAScene) {
    const std::pair<const char*, const char*> rows[] = {
        {"kind = sfnc3d\nsource = recording\nrecording = /\n", "the scene"},
        {"kind = sfnc3d\ninvalid = confidence\n", "needs confidence"},
        {"kind = sfnc3d\nscale = 0\n", "scale must be"},
        {"kind = sfnc3d\ndepth = flat\n", "depth must be"}};
    NetworkDefaults wire;
    wire.m_isWire = true;
    for (const auto& [keys, why] : rows) {
        std::vector<std::string> errors;
        EXPECT_TRUE(
            ParseCameraList(std::string("[camera]\n") + keys, "list.ini", "/base", &errors, wire).empty());
        EXPECT_NE(errors.at(0).find(why), std::string::npos) << errors[0];
    }
    std::vector<std::string> errors;
    EXPECT_EQ(ParseCameraList("[camera]\nkind = sfnc3d\n", "list.ini", "/base", &errors, wire).size(), 1U);
    EXPECT_TRUE(ParseCameraList("[camera]\nkind = sfnc3d\n", "list.ini", "/base", &errors).empty());
}

TEST(CameraList, SeesEveryChangeOfACamera) {
    std::vector<std::string> errors;
    const CameraConfig camera = Read("[camera]\nserial = A", &errors).at(0);
    EXPECT_TRUE(IsSameCamera(camera, Read("[camera]\nserial = A", &errors).at(0)));
    std::istringstream lines("transport = usb\nserial = B\nmodel = B\nmanufacturer = B\nuser_name = B\n"
                             "device_version = 2\nmac = 02:00:00:00:00:09\nip = 10.0.0.9\nmask = 255.0.0.0\n"
                             "gateway = 10.0.0.9\nhost_ip = 10.0.0.9\nwidth = 800\nheight = 600\n"
                             "color_width = 800\ncolor_height = 600\nrecording = /\nloop = no\nnoise = no\n"
                             "cycle = 9\nfps = 12.5\nfault = deny_start");
    for (std::string line; std::getline(lines, line);) {
        EXPECT_FALSE(IsSameCamera(camera, Read("[camera]\nserial = A\n" + line, &errors).at(0))) << line;
    }
}

TEST(CameraList, RefusesSectionsAsAWhole) {
    const std::pair<const char*, const char*> rows[] = {
        {"serial = A\n", "list.ini:1: a line outside"},
        {"[lens]\nserial = A\n", "list.ini:1: unknown section [lens]"},
        {"[camera]\nsource = recording\n", "list.ini:1: source = recording needs"},
        {"[camera]\nsource = recording\nrecording = nowhere # at all\n",
         "list.ini:1: there is no folder /base/nowhere # at all"},
        {"[camera]\ncolor_width = 0\n", "list.ini:1: color_width and color_height"},
        {"[camera]\nserial = A\n[camera]\nserial = A\n", "list.ini:3: serial A"}};
    for (const auto& [text, error] : rows) {
        std::vector<std::string> errors;
        const auto cameras = Read(text, &errors);
        EXPECT_THAT(errors, ElementsAre(HasSubstr(error)));
        EXPECT_EQ(cameras.size(), std::string(error).find(":3:") == std::string::npos ? 0U : 1U);
    }
}

} // namespace

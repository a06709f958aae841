// The calibration file: what is read from it, what is missing in it, and files that are none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <clocale>
#include <cstring>
#include <string>
#include <tuple>

#include "src/Manager/CalibrationFile.h"
#include "tests/support/Files.h"

namespace {

using namespace ox3d::test;
using ::testing::ElementsAre;

const std::string kFile = R"(<Anything>
 <RGBD_1><Camera img_w="640" img_h="480"/>
  <Left_correct><Intrins fx="1.5" fy="2.5" cx="3" cy="4"/></Left_correct>
  <Left_correct_2_RGB><RotMat r00="1" r01="2" r02="3" r10="4" r11="5" r12="6" r20="7" r21="8" r22="9"/>
   <TVec t0="10" t1="11" t2="1.25e1"/></Left_correct_2_RGB>
  <RGB><Intrins fx="13" fy="14" cx="15"/><Distort k1="17" k2="18" p1="19" p2="20" p3="21"/></RGB>
 </RGBD_1>
 <RGBD_2><Left_correct><Intrins fx="99"/></Left_correct><Left_correct_2_RGB><RotMat/><TVec/></Left_correct_2_RGB>
  <RGB><Intrins/><Distort/></RGB></RGBD_2>
</Anything>)";

class Calibration : public testing::Test {
protected:
    const char* Load(const std::string& text, uint32_t width = 640) {
        WriteFile(m_name, text);
        return LoadDepthCalibration(m_name.c_str(), width, &m_out);
    }
    // The file without the first element of the name from the position on.
    static std::string Without(const std::string& element, const std::string& after = "<") {
        std::string text = kFile;
        text.replace(text.find("<" + element, text.find(after)), element.size() + 1, "<Other");
        return text;
    }
    CTempFolder m_folder;
    const std::string m_name = m_folder.File("file.xml");
    DepthCalibration m_out = {{7, 7, 7, 7}, {}, {}};
};

TEST_F(Calibration, IsReadIntoIntrinsicsTransformAndDistortion) {
    ASSERT_EQ(Load(kFile), nullptr);
    EXPECT_THAT(m_out.m_depthIntrinsics, ElementsAre(1.5f, 2.5f, 3, 4));
    EXPECT_THAT(m_out.m_depthToColor, ElementsAre(1, 2, 3, 10, 4, 5, 6, 11, 7, 8, 9, 12.5f, 0, 0, 0, 1));
    EXPECT_THAT(m_out.m_colorIntrinsics, ElementsAre(13, 14, 15, 0, 17, 18, 19, 20, 21))
        << "a missing attribute is 0";
    ASSERT_EQ(Load(kFile, 1280), nullptr) << "any other width takes the second set";
    EXPECT_EQ(m_out.m_depthIntrinsics[0], 99.0f);
    EXPECT_EQ(m_out.m_depthToColor[15], 1.0f);
}

TEST_F(Calibration, OfDepthThatIsNotRegisteredNeedsNoCameras) {
    const std::string left = R"(<A><RGBD_1><Camera img_w="640" img_h="480" registration="none"/>
        <Left_correct><Intrins fx="1.5" fy="2.5" cx="3" cy="4"/></Left_correct></RGBD_1>
        <RGBD_2><Camera registration="none"/></RGBD_2></A>)";
    ASSERT_EQ(Load(left), nullptr);
    EXPECT_THAT(m_out.m_depthIntrinsics, ElementsAre(1.5f, 2.5f, 3, 4));
    EXPECT_TRUE(m_out.m_isDepthLeft && m_out.m_hasDepth && !m_out.m_hasColor);
    ASSERT_EQ(Load(left, 320), nullptr);
    EXPECT_TRUE(m_out.m_isDepthLeft && !m_out.m_hasDepth && !m_out.m_hasColor);
    std::string whole = kFile;
    ASSERT_EQ(Load(whole.insert(whole.find("/>"), " registration=\"none\"")), nullptr);
    EXPECT_TRUE(m_out.m_isDepthLeft && m_out.m_hasDepth && m_out.m_hasColor);
    ASSERT_EQ(Load(whole.replace(whole.find("none"), 4, "some")), nullptr);
    EXPECT_FALSE(m_out.m_isDepthLeft);
    OX3D_RGBD_CALIB_INFO info = {};
    ASSERT_EQ(Load(left), nullptr);
    EXPECT_TRUE(LoadSensorCalibration(m_name.c_str(), 640, OX3D_RGBD_CALIB_DEPTH, &info));
    EXPECT_FALSE(LoadSensorCalibration(m_name.c_str(), 640, OX3D_RGBD_CALIB_COLOR, &info));
}

TEST_F(Calibration, TheFifthDistortionTermHasTwoNames) {
    const std::tuple<const char*, float, float> rows[] = {
        {"p3=\"21\"", 21, 21}, {"k3=\"21\"", 21, 21}, {"k3=\"22\" p3=\"21\"", 21, 22}, {"", 0, 0}};
    for (const auto& [attributes, aligned, reported] : rows) {
        std::string text = kFile;
        ASSERT_EQ(Load(text.replace(text.find("p3="), 7, attributes)), nullptr);
        EXPECT_EQ(m_out.m_colorIntrinsics[8], aligned) << attributes;
        OX3D_RGBD_CALIB_INFO info = {};
        EXPECT_TRUE(LoadSensorCalibration(m_name.c_str(), 640, OX3D_RGBD_CALIB_COLOR, &info));
        EXPECT_EQ(info.fK3, reported) << attributes;
    }
}

TEST_F(Calibration, EachMissingElementHasItsLine) {
    const std::string set = "<A><RGBD_1><Camera img_w='640'/><Left_correct><Intrins/></Left_correct>";
    const std::string end = "</RGBD_1></A>";
    const std::pair<std::string, std::string> rows[] = {
        {"<?xml version=\"1.0\"?>", "pArithConfig is null."},
        {"<A/>", "pRGBD_2 is null."},
        {"<A><RGBD_1/></A>", "camera is null."},
        {"<A><RGBD_1><Camera img_w=\"9\"/></RGBD_1></A>", "pRGBD_2 is null."},
        {"<A><RGBD_1><Camera/></RGBD_1><RGBD_2/></A>", "Left_correct is null."},
        {Without("Intrins", "<Left_correct>"), "ty is null."},
        {set + end, "Left_correct is null."},
        {Without("RotMat"), "pRotMat is null."},
        {Without("TVec"), "pTVec is null."},
        {Without("Intrins", "<RGB>"), "pRgbData is null."},
        {Without("Distort"), "pRgbDistort is null."},
        {set + "<Left_correct_2_RGB><RotMat/><TVec/></Left_correct_2_RGB>" + end, "pRGB is null."},
    };
    for (const auto& [text, line] : rows) {
        const char* const missing = Load(text);
        ASSERT_NE(missing, nullptr) << text;
        EXPECT_EQ(missing, "[DepthMapConvert] " + line + "\r\n") << text;
        EXPECT_EQ(m_out.m_depthIntrinsics[0], 7.0f) << "nothing is written";
    }
}

TEST_F(Calibration, IsTakenFromRegularFilesOfReasonableSizeOnly) {
    const char* const line = "[DepthMapConvert] cfg_file is not exist.\r\n";
    EXPECT_STREQ(LoadDepthCalibration(m_name.c_str(), 640, &m_out), line);
    EXPECT_STREQ(LoadDepthCalibration(m_folder.Path().c_str(), 640, &m_out), line);
    const std::string pipe = m_folder.File("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_STREQ(LoadDepthCalibration(pipe.c_str(), 640, &m_out), line) << "without waiting for a writer";
    EXPECT_EQ(Load(kFile + std::string((1 << 20) - kFile.size(), ' ')), nullptr);
    EXPECT_STREQ(Load(kFile + std::string((1 << 20) + 1 - kFile.size(), ' ')), line);
    EXPECT_STREQ(Load(""), line);
    EXPECT_STREQ(Load(std::string("\0\xFF\xFE<A", 5)), line);
    EXPECT_STREQ(Load(kFile.substr(0, kFile.size() / 2)), line);
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<a>";
    }
    EXPECT_STREQ(Load(deep), line);
}

TEST_F(Calibration, NumbersHaveAPointWhateverTheLocale) {
    const std::string make = "localedef -i de_DE -f UTF-8 " + m_folder.File("de_DE.UTF-8");
    setenv("LOCPATH", m_folder.Path().c_str(), 1); // a machine without German is given some
    const int made = system((make + " >/dev/null 2>&1").c_str());
    const bool isGerman = setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    unsetenv("LOCPATH");
    if (!isGerman) {
        GTEST_SKIP() << "no German locale, and none to be made: " << made;
    }
    EXPECT_STREQ(localeconv()->decimal_point, ",");
    const char* const missing = Load(kFile);
    setlocale(LC_ALL, "C");
    ASSERT_EQ(missing, nullptr);
    EXPECT_EQ(m_out.m_depthIntrinsics[0], 1.5f);
}

TEST_F(Calibration, ItsNameStaysInTheFolder) {
    const std::pair<const char*, const char*> rows[] = {{"SN1", "RGBDSensorCali_SN1.xml"},
                                                        {"../a\tb\x7F", "RGBDSensorCali_.._a_b_.xml"},
                                                        {"", "RGBDSensorCali_.xml"},
                                                        {"\xC3\xA9", "RGBDSensorCali_\xC3\xA9.xml"}};
    for (const auto& [serial, expected] : rows) {
        char name[kCalibrationNameBytes];
        CalibrationFileName(serial, name);
        EXPECT_STREQ(name, expected);
    }
}

} // namespace

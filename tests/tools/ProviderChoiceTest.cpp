// Which camera control the tool takes, and how it plays a recording.
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Provider.h"
#include "tools/ox3d/Recording.h"
#include "tools/ox3d/TempFiles.h"

#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ox3dtool;
using ::testing::HasSubstr;

namespace {

class ProviderChoiceTest : public ::testing::Test {
protected:
    // A folder with a camera-control library in it.
    std::filesystem::path AddProvider(const char* name) const {
        std::filesystem::path folder = m_root.Path() / name;
        std::filesystem::create_directories(folder);
        std::ofstream(folder / "libOxCameraControl.so") << "not looked into";
        return folder;
    }
    std::string MessageOf(const std::string& request) const {
        try {
            ChooseProvider(request, m_root.Path(), "");
        } catch (const CToolError& error) {
            EXPECT_EQ(error.Code(), kExitProvider);
            return error.what();
        }
        return "no error";
    }
    CTempFolder m_root;
};

TEST_F(ProviderChoiceTest, GoesByRequestThenLibraryPathThenWhatIsInstalled) {
    const auto& root = m_root.Path();
    const auto virtualFolder = AddProvider("virtual");
    const auto own = AddProvider("own");
    EXPECT_EQ(ChooseProvider("", root, "").m_name, "virtual");
    const auto aravis = AddProvider("aravis");
    EXPECT_EQ(ChooseProvider("", root, "").m_name, "aravis");
    EXPECT_EQ(ChooseProvider("", root, "/nowhere::" + own.string()).m_folder, own);
    EXPECT_EQ(ChooseProvider("", root, virtualFolder.string()).m_name, "virtual");
    EXPECT_EQ(ChooseProvider("virtual", root, own.string()).m_folder, virtualFolder);
    EXPECT_EQ(ChooseProvider(own.string(), root, "").m_folder, own);
    EXPECT_EQ(ChooseProvider((own / "libOxCameraControl.so").string(), root, "").m_folder, own);
}

TEST_F(ProviderChoiceTest, SaysWhatIsMissing) {
    EXPECT_THAT(MessageOf(""), HasSubstr("none installed"));
    EXPECT_THAT(MessageOf("aravis"), HasSubstr("\"aravis\" is not installed"));
    EXPECT_THAT(MessageOf("/no/such"), HasSubstr("no libOxCameraControl.so at /no/such"));
    EXPECT_THAT(MessageOf(AddProvider("with:colon").string()), HasSubstr("must not contain"));
}

TEST(LibraryPath, GetsTheProviderInFrontAndNoEmptyEntry) {
    EXPECT_EQ(PathWithFirst("/a", ""), "/a"); // an empty entry would mean the working directory
    EXPECT_EQ(PathWithFirst("/a", "/b:/c"), "/a:/b:/c");
}

TEST_F(ProviderChoiceTest, ARecordingNeedsDepthAndCalibration) {
    const auto messageOf = [](const std::filesystem::path& folder) {
        try {
            CheckRecording(folder);
        } catch (const CToolError& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    const auto& root = m_root.Path();
    EXPECT_THAT(messageOf(root / "none"), HasSubstr("no such recording folder"));
    EXPECT_THAT(messageOf(root), HasSubstr("has no depth"));
    std::filesystem::create_directory(root / "depth");
    EXPECT_THAT(messageOf(root), HasSubstr("has no calibration.xml"));
    std::ofstream(root / "calibration.xml") << "<x/>";
    EXPECT_EQ(messageOf(root), "");
    EXPECT_THAT(messageOf("/a\n[camera]"), HasSubstr("control characters"));
}

TEST_F(ProviderChoiceTest, TheListOfARecordingLivesAsLongAsItsCamera) {
    std::string list;
    {
        const CRecordingCamera camera("/some/folder");
        list = std::getenv("OX3D_VIRTUAL_CAMERAS");
        std::ifstream in(list);
        const std::string text((std::istreambuf_iterator<char>(in)), {});
        EXPECT_THAT(text, HasSubstr("\nrecording = /some/folder\n"));
    }
    EXPECT_FALSE(std::filesystem::exists(list));
    unsetenv("OX3D_VIRTUAL_CAMERAS");
}

} // namespace

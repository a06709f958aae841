// Which camera control the tool takes, and how it has a recording played.
#include "tools/ox3d/Provider.h"
#include "tests/support/Files.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/PlayedRecording.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Provider : public ::testing::Test {
protected:
    // A folder with a camera-control library in it.
    fs::path Add(const char* name) const {
        fs::create_directories(m_root / name);
        test::WriteFile(m_root / name / "libOxCameraControl.so", "not looked into");
        return m_root / name;
    }
    ProviderChoice Choose(const std::string& request, const std::string& libraryPath = "") const {
        return ChooseProvider(request, m_root, libraryPath);
    }
    static std::string RefusalOf(const std::function<void()>& call, EExitCode code) {
        try {
            call();
        } catch (const CToolError& error) {
            EXPECT_EQ(error.Code(), code) << error.what();
            return error.what();
        }
        return "no refusal";
    }
    test::CTempFolder m_folder;
    fs::path m_root = m_folder.Path();
};

TEST_F(Provider, IsChosenByRequestThenLibraryPathThenWhatIsInstalledTheVirtualOneLast) {
    fs::create_directory(m_root / "empty");
    const fs::path player = Add("virtual");
    const fs::path own = Add("own");
    EXPECT_EQ(Choose("").m_name, "own");
    Add("zoo");
    Add("aravis");
    EXPECT_THAT(ProvidersIn(m_root), ElementsAre("aravis", "own", "zoo", "virtual"));
    EXPECT_EQ(Choose("").m_name, "aravis");
    EXPECT_EQ(Choose("zoo").m_folder, m_root / "zoo");
    EXPECT_EQ(Choose("", "/nowhere::" + own.string()).m_folder, own);
    EXPECT_EQ(Choose("", player.string()).m_name, "virtual");
    EXPECT_EQ(Choose("virtual", own.string()).m_folder, player);
    EXPECT_EQ(Choose(own.string()).m_folder, own);
    EXPECT_EQ(Choose(own.string() + "/").m_folder, own);
    EXPECT_EQ(Choose((own / "libOxCameraControl.so").string()).m_folder, own);
}

TEST_F(Provider, ThatIsMissingIsRefusedWithThoseThatAreThere) {
    const auto refusal = [this](const std::string& request) {
        return RefusalOf([&] { Choose(request); }, EExitCode::Provider);
    };
    EXPECT_THAT(refusal(""), HasSubstr("none installed"));
    Add("zoo");
    EXPECT_THAT(refusal("aravis"),
                HasSubstr("no libOxCameraControl.so at aravis; installed in " + m_root.string() + ": zoo"));
    EXPECT_THAT(refusal((Add("with:colon") / "").string()), HasSubstr("must not contain"));
}

TEST_F(Provider, ComesFirstInTheLibraryPathWhichGetsNoEmptyEntry) {
    EXPECT_EQ(PathWithFirst("/a", ""), "/a"); // an empty entry would mean the working directory
    EXPECT_EQ(PathWithFirst("/a", "/b:/c"), "/a:/b:/c");
}

TEST_F(Provider, PlaysARecordingThatHasDepthAndCalibration) {
    const auto refusal = [](const fs::path& folder) {
        return RefusalOf([&] { CheckRecording(folder); }, EExitCode::Usage);
    };
    EXPECT_THAT(refusal(m_root / "none"), HasSubstr("no such recording folder"));
    EXPECT_THAT(refusal(m_root), HasSubstr("has no depth"));
    fs::create_directory(m_root / "depth");
    EXPECT_THAT(refusal(m_root), HasSubstr("has no calibration.xml"));
    test::WriteFile(m_root / "calibration.xml", "<x/>");
    EXPECT_NO_THROW(CheckRecording(m_root));
    EXPECT_THAT(refusal("/a\n[camera]"), HasSubstr("control characters"));
}

} // namespace
} // namespace ox3d::tool

// Which camera control the tool takes, how it has a recording played, and what it saves from a scratch folder.
#include "tools/ox3d/Provider.h"
#include "tests/support/Files.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/PlayedRecording.h"
#include "tools/ox3d/TargetFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;
using namespace ::testing;

class Provider : public Test {
protected:
    // A folder with a camera-control library in it.
    fs::path Add(const char* name) const {
        fs::create_directories(m_root / name);
        test::WriteFile(m_root / name / "libOxCameraControl.so", "not looked into");
        return m_root / name;
    }
    ProviderChoice Choose(const std::string& request, const std::string& libraryPath = "",
                          const std::string& variable = "") const {
        return ChooseProvider(request, m_root, {variable, libraryPath});
    }
    test::CWorkFolder m_folder;
    fs::path m_root = m_folder.Path();
};

// Refuses with the code and a message that says this.
auto Refuses(EExitCode code, const std::string& message) {
    return Throws<CToolError>(
        AllOf(Property(&CToolError::Code, code), Property(&CToolError::what, HasSubstr(message))));
}

TEST_F(Provider, IsChosenByRequestThenVariableThenLibraryPathThenWhatIsInstalledTheVirtualOneLast) {
    fs::create_directory(m_root / "empty");
    const fs::path player = Add("virtual");
    const fs::path own = Add("own");
    EXPECT_EQ(Choose("").m_name, "own");
    Add("zoo");
    Add("aravis");
    EXPECT_THAT(ProvidersIn(m_root), ElementsAre("aravis", "own", "zoo", "virtual"));
    EXPECT_EQ(Choose("").m_name, "aravis");
    const fs::path file = own / "libOxCameraControl.so";
    EXPECT_EQ(Choose("zoo").m_file, m_root / "zoo" / "libOxCameraControl.so");
    EXPECT_EQ(Choose("", "/nowhere::" + own.string()).m_file, file);
    EXPECT_EQ(Choose("", player.string()).m_name, "virtual");
    EXPECT_EQ(Choose("", own.string(), "virtual").m_name, "virtual");
    EXPECT_EQ(Choose("", player.string(), "own").m_file, file) << "a folder in the working folder";
    EXPECT_EQ(Choose("aravis", "", own.string()).m_name, "aravis");
    EXPECT_EQ(Choose("virtual", own.string()).m_file, player / "libOxCameraControl.so");
    EXPECT_EQ(Choose(own.string()).m_file, file);
    EXPECT_EQ(Choose(own.string() + "/").m_file, file);
    EXPECT_EQ(Choose(file.string()).m_file, file);
    EXPECT_EQ(Choose(Add("a:b$c").string()).m_file, m_root / "a:b$c" / "libOxCameraControl.so");
}

TEST_F(Provider, ThatIsMissingIsRefusedWithThoseThatAreThere) {
    const auto refuses = [](const char* message) { return Refuses(EExitCode::Provider, message); };
    EXPECT_THAT([&] { Choose(""); }, refuses("none installed"));
    Add("zoo");
    EXPECT_THAT([&] { Choose("aravis"); }, refuses("no libOxCameraControl.so at aravis; installed in "));
    EXPECT_THAT([&] { Choose("./aravis"); }, refuses(": zoo"));
    EXPECT_THAT([&] { Choose("", "", "none"); }, refuses("/none, where OX3D_PROVIDER leads; installed in "));
    // A folder of that name is here, but none that is installed.
    EXPECT_THAT([&] { ChooseProvider("zoo", "/none", {}); }, refuses("at zoo; installed in /none: none"));
}

TEST_F(Provider, PlaysARecordingThatHasDepthAndCalibration) {
    const auto refuses = [](const char* message) { return Refuses(EExitCode::File, message); };
    EXPECT_THAT([&] { CheckRecording(m_root / "none"); }, refuses("no such file or folder"));
    EXPECT_THAT([&] { CheckRecording(m_root); }, refuses("has no depth"));
    fs::create_directory(m_root / "depth");
    EXPECT_THAT([&] { CheckRecording(m_root); }, refuses("has no calibration.xml"));
    test::WriteFile(m_root / "calibration.xml", "<x/>");
    EXPECT_NO_THROW(CheckRecording(m_root));
    EXPECT_THAT([&] { CheckRecording("/a\n[camera]"); }, Refuses(EExitCode::Usage, "control characters"));
}

TEST(SaveBeside, TakesAFreeNameAndTheTemporaryFilesWhereTheFolderTakesNone) {
    const test::CWorkFolder folder;
    const std::string mine = folder.Path() / "mine";
    test::WriteFile(mine, "former");
    for (const char* const name : {"/new.former", "/new.former.1"}) {
        EXPECT_EQ(SaveBeside(mine, folder.Path() / "new"), folder.Path().string() + name);
        EXPECT_EQ(test::ReadFile(folder.Path().string() + name), "former");
    }
    const std::string elsewhere = SaveBeside(mine, "/sys/new"); // takes no file, root's included
    EXPECT_EQ(test::ReadFile(elsewhere), "former") << elsewhere;
    fs::remove(elsewhere);
}

} // namespace
} // namespace ox3d::tool

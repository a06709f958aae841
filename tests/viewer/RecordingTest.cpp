// What clients are told of a recording, whatever becomes of it.
#include "tests/support/Files.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/view/ViewError.h"
#include "tools/ox3d/view/ViewRecording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

using namespace ::testing;

void AddFrame(CViewRecording& recording) {
    const std::vector<uint16_t> samples(64 * 48, 1000);
    FrameView view;
    view.m_depth = {samples.data(), 64, 48, 64};
    recording.Add(view);
}

TEST(ViewRecording, TellsOfEachAFileThatIsThere) {
    const test::CTempFolder folder;
    CViewRecording recording(folder.Path());
    const auto mayBegin = [] { return true; };
    EXPECT_FALSE(recording.Finish(""));
    std::set<std::string> names;
    for (int i = 0; i < 3; ++i) { // within one second, or nearly
        recording.Start("V/1", {}, mayBegin);
        EXPECT_THROW(recording.Start("V/1", {}, mayBegin), CViewError);
        AddFrame(recording);
        EXPECT_TRUE(recording.Finish(i == 2 ? "the camera went offline" : ""));
        const Json told = recording.Describe();
        EXPECT_EQ(told["frames"], 1);
        EXPECT_EQ(told["error"], i == 2 ? Json("the camera went offline") : Json());
        names.insert(told["file"].get<std::string>());
        EXPECT_TRUE(std::filesystem::exists(folder.Path() / told["file"].get<std::string>()));
    }
    EXPECT_EQ(names.size(), 3U);
    EXPECT_THAT(names, Each(StartsWith("V_1-")));
    recording.Start("V/1", {}, mayBegin);
    recording.Finish("");
    EXPECT_EQ(recording.Describe()["file"], "");
    EXPECT_TRUE(recording.Describe().contains("warning"));
}

TEST(ViewRecording, DoesNotBeginWithoutACameraNorAFolder) {
    const test::CTempFolder folder;
    CViewRecording late(folder.Path());
    EXPECT_THROW(late.Start("V", {}, [] { return false; }), CViewError);
    EXPECT_FALSE(late.IsUnderWay());
    CViewRecording nowhere(folder.Path() / "missing");
    try {
        nowhere.Start("V", {}, [] { return true; });
        ADD_FAILURE() << "began";
    } catch (const CToolError& error) {
        EXPECT_THAT(error.what(), Not(HasSubstr(folder.Path().string())));
    }
}

} // namespace
} // namespace ox3d::tool

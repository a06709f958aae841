// The built tool as a user runs it, on virtual cameras.
#include "tests/support/Process.h"
#include "tests/tools/ReadBack.h"
#include "tools/ox3d/TempFiles.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ox3dtool;
using ox3d::test::CProcess;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

namespace fs = std::filesystem;

class ToolRun : public ::testing::Test {
protected:
    struct Outcome {
        int m_code;
        std::string m_output;
    };
    // On virtual cameras, where the test does not choose: without a word the tool looks for real ones.
    CProcess Start(std::vector<std::string> arguments) const {
        if (std::find(arguments.begin(), arguments.end(), "--provider") == arguments.end()) {
            arguments.insert(arguments.end(), {"--provider", "virtual"});
        }
        arguments.insert(arguments.begin(), OX3D_TOOL);
        return {arguments, m_folder.Path().string(), m_variables};
    }
    Outcome Run(const std::vector<std::string>& arguments) const {
        CProcess process = Start(arguments);
        const int code = process.Finish();
        return {code, process.Output()};
    }
    // The cameras that the virtual provider has from now on; the file is named relative to the tool's folder.
    void UseCameras(const std::string& list) {
        WriteText(m_folder.Path() / "cameras.ini", list);
        m_variables.emplace_back("OX3D_VIRTUAL_CAMERAS=cameras.ini");
    }
    std::string Out(const char* name) const { return (m_folder.Path() / "out" / name).string(); }
    bool HasOut(const char* name) const { return fs::exists(Out(name)); }

    CTempFolder m_folder;
    // Without a request the tool takes what is first in the library path.
    std::vector<std::string> m_variables = {"TMPDIR=" + m_folder.Path().string(),
                                            "LD_LIBRARY_PATH=" +
                                                fs::path(OX3D_VIRTUAL_PROVIDER).parent_path().string()};
};

uint64_t CountValid(const DepthImage& depth) {
    return static_cast<uint64_t>(
        std::count_if(depth.m_samples.begin(), depth.m_samples.end(), [](uint16_t d) { return d != 0; }));
}

TEST_F(ToolRun, ListShowsTheCameraAndLeavesNothingBehind) {
    const Outcome run = Run({"list"});
    EXPECT_EQ(run.m_code, 0) << run.m_output;
    EXPECT_THAT(run.m_output, AllOf(HasSubstr("camera control: virtual"), HasSubstr("GigE"),
                                    HasSubstr("VC00000001"), HasSubstr("yes")));
    EXPECT_TRUE(fs::is_empty(m_folder.Path()));
}

TEST_F(ToolRun, InfoShowsRecordFeaturesAndBothCalibrations) {
    const Outcome run = Run({"info", "--serial", "VC00000001"});
    EXPECT_EQ(run.m_code, 0) << run.m_output;
    EXPECT_THAT(run.m_output, AllOf(HasSubstr("192.168."), HasSubstr("DeviceUserID"), HasSubstr("read-write"),
                                    HasSubstr("Calibration of the depth sensor\n  image  "),
                                    HasSubstr("Calibration of the color sensor\n  image  ")));
    EXPECT_TRUE(fs::is_empty(m_folder.Path()));
}

TEST_F(ToolRun, GrabWritesWhatItSaysOfARegisteredFrame) {
    const Outcome run = Run({"grab", "--out", "out", "--frames", "3"});
    ASSERT_EQ(run.m_code, 0) << run.m_output;
    EXPECT_THAT(run.m_output,
                AllOf(HasSubstr("3 frames, "), HasSubstr("% of depth valid"), HasSubstr("overlay.png")));
    const DepthImage depth = ReadDepthPng(Out("depth.png"));
    EXPECT_EQ(depth.m_width, 640U);
    EXPECT_EQ(depth.m_height, 480U);
    EXPECT_GT(CountValid(depth), depth.m_samples.size() / 4);
    const PlyFile cloud = ReadPly(Out("cloud.ply"));
    EXPECT_EQ(cloud.m_vertices, CountValid(depth));
    EXPECT_EQ(cloud.m_body.size(), cloud.m_vertices * 15);
    const RgbImage color = ReadRgbPng(Out("color.png"));
    const RgbImage overlay = ReadRgbPng(Out("overlay.png"));
    EXPECT_EQ(color.m_width, depth.m_width);
    EXPECT_EQ(overlay.m_height, depth.m_height);
    EXPECT_TRUE(HasOut("depth_color.png") && HasOut("cloud.png"));
}

TEST_F(ToolRun, GrabOfAllFramesGivesEachAFolder) {
    ASSERT_EQ(Run({"grab", "--out", "out", "--frames", "2", "--all"}).m_code, 0);
    EXPECT_TRUE(HasOut("frame_000001/depth.png") && HasOut("frame_000002/cloud.ply"));
    EXPECT_FALSE(HasOut("frame_000003"));
}

TEST_F(ToolRun, AUsbCameraGetsACloudWithoutColorsAndNoOverlay) {
    UseCameras("[camera]\ntransport = usb\nserial = U1\n[camera]\nserial = E1\n");
    const Outcome run = Run({"grab", "--out", "out", "--frames", "2", "--serial", "U1"});
    ASSERT_EQ(run.m_code, 0) << run.m_output;
    EXPECT_THAT(run.m_output, HasSubstr("not registered"));
    const PlyFile cloud = ReadPly(Out("cloud.ply"));
    EXPECT_EQ(cloud.m_vertices, CountValid(ReadDepthPng(Out("depth.png"))));
    EXPECT_THAT(cloud.m_header, Not(Contains(HasSubstr("red"))));
    EXPECT_TRUE(HasOut("color.png"));
    EXPECT_FALSE(HasOut("overlay.png"));
}

TEST_F(ToolRun, LostFramesAreCounted) {
    UseCameras("[camera]\nserial = E1\nfps = 60\nfault = drop_every 3\n");
    const Outcome run = Run({"grab", "--out", "out", "--frames", "5"});
    EXPECT_EQ(run.m_code, 0) << run.m_output;
    EXPECT_THAT(run.m_output, AllOf(HasSubstr("5 frames, "), Not(HasSubstr(" 0 lost"))));
}

TEST_F(ToolRun, ALostCameraEndsTheGrabWithWhatHasArrived) {
    UseCameras("[camera]\nserial = E1\nfault = unplug_after 2\n");
    const Outcome run = Run({"grab", "--out", "out", "--frames", "30"});
    EXPECT_EQ(run.m_code, 5) << run.m_output;
    EXPECT_THAT(run.m_output, HasSubstr("the camera went offline"));
    EXPECT_TRUE(HasOut("cloud.ply"));
}

TEST_F(ToolRun, CtrlCClosesTheCameraAndWritesWhatHasArrived) {
    for (const char* const frames : {"0", "100000"}) {
        CProcess tool = Start({"grab", "--out", "out", "--frames", frames});
        ASSERT_TRUE(tool.WaitForOutput("frames are arriving")) << tool.Output();
        tool.Signal(SIGINT);
        EXPECT_EQ(tool.Finish(), std::string(frames) == "0" ? 0 : 130) << tool.Output();
        EXPECT_THAT(tool.Output(), HasSubstr("of depth valid"));
        EXPECT_TRUE(HasOut("cloud.ply"));
        fs::remove_all(m_folder.Path() / "out");
    }
}

TEST_F(ToolRun, NetworkShowsACameraInAWrongSubnetAndMovesIt) {
    UseCameras("[camera]\nserial = E1\nip = 10.9.8.7\ngateway = 10.9.8.1\nhost_ip = 198.51.100.10\n"
               "[camera]\nserial = E2\nip = 198.51.100.22\nhost_ip = 198.51.100.10\n"
               "[camera]\ntransport = usb\nserial = U1\n");
    const Outcome shown = Run({"network"});
    EXPECT_EQ(shown.m_code, 0) << shown.m_output;
    EXPECT_THAT(shown.m_output, AllOf(HasSubstr("static  198.51.100.10  wrong subnet"), HasSubstr("fits"),
                                      HasSubstr("02:00:00:00:00:01  10.9.8.7"), Not(HasSubstr("U1"))));
    const Outcome moved = Run({"network", "--serial", "E1", "--set-ip", "198.51.100.30"});
    EXPECT_EQ(moved.m_code, 0) << moved.m_output;
    EXPECT_THAT(
        moved.m_output,
        AllOf(HasSubstr("E1 is found at 198.51.100.30 now (mask 255.255.255.0, gateway 198.51.100.10"),
              HasSubstr("198.51.100.30  255.255.255.0  198.51.100.10"), HasSubstr("fits"),
              Not(HasSubstr("wrong subnet"))));
    for (const auto& [option, mode] : {std::pair{"--dhcp", "DHCP"}, {"--link-local", "link-local"}}) {
        const Outcome stored = Run({"network", "--serial", "E1", option});
        EXPECT_EQ(stored.m_code, 0) << stored.m_output;
        EXPECT_THAT(stored.m_output, AllOf(HasSubstr(std::string("E1 is set to ") + mode),
                                           HasSubstr(std::string("10.9.8.1  ") + mode)));
    }
    const Outcome taken = Run({"network", "--serial", "E1", "--set-ip", "198.51.100.22"});
    EXPECT_EQ(taken.m_code, 2);
    EXPECT_THAT(taken.m_output, HasSubstr("is the camera E2's"));
    EXPECT_THAT(Run({"network", "--serial", "U1", "--dhcp"}).m_output, HasSubstr("is a USB camera"));
}

TEST_F(ToolRun, DoctorsExitCodeSaysWhetherItFoundAProblem) {
    UseCameras("[camera]\nserial = E1\nip = 10.9.8.7\nhost_ip = 198.51.100.10\n");
    const Outcome run = Run({"doctor", "--serial", "E1"});
    EXPECT_EQ(run.m_code, 8) << run.m_output;
    EXPECT_THAT(run.m_output, AllOf(HasSubstr("problem  camera address: E1: 10.9.8.7"),
                                    HasSubstr("packet size: E1: 1500 bytes"), HasSubstr("receive buffer")));
    const Outcome host = Run({"doctor", "--host-only"});
    const bool isSound = host.m_output.find("problems: 0,") != std::string::npos;
    EXPECT_EQ(host.m_code, isSound ? 0 : 8) << host.m_output;
    EXPECT_THAT(host.m_output, Not(HasSubstr("E1")));
}

TEST_F(ToolRun, SaysWhatIsWrongAndGivesTheExitCodeForIt) {
    WriteText(m_folder.Path() / "file", "");
    WriteText(m_folder.Path() / "libOxCameraControl.so", "no library");
    const struct {
        std::vector<std::string> arguments;
        int code;
        const char* message;
    } rows[] = {
        {{}, 2, "A subcommand is required"},
        {{"grab"}, 2, "--out is required"},
        {{"grab", "--out", "out", "--frames", "-1"}, 2, "--frames"},
        {{"grab", "--out", "out", "--recording", "none"}, 2, "no such recording folder"},
        {{"list", "--recording", ".", "--provider", "aravis"}, 2, "not by aravis"},
        {{"list", "--provider", "none"}, 3, "no libOxCameraControl.so at none"},
        {{"list", "--provider", "."}, 3, "0x8006000b"},
        {{"info", "--serial", "X"}, 4, "present: VC00000001"},
        {{"network", "--dhcp"}, 2, "--dhcp requires --serial"},
        {{"network", "--serial", "X", "--dhcp", "--link-local"}, 2, "excludes"},
        {{"network", "--serial", "X", "--dhcp", "--set-ip", "10.0.0.5"}, 2, "excludes"},
        {{"network", "--serial", "X", "--set-ip", "224.0.0.1"}, 2, "multicast"},
        {{"network", "--serial", "X", "--set-ip", "10.0.0.5"}, 4, "present: VC00000001"},
        {{"doctor", "--provider", "none"}, 3, "no libOxCameraControl.so at none"},
        {{"doctor", "--serial", "X"}, 4, "present: VC00000001"},
        {{"grab", "--out", "file/out"}, 7, "cannot use the folder"},
    };
    for (const auto& row : rows) {
        const Outcome run = Run(row.arguments);
        EXPECT_EQ(run.m_code, row.code) << row.message << "\n" << run.m_output;
        EXPECT_THAT(run.m_output, HasSubstr(row.message));
    }
}

TEST_F(ToolRun, TakesAProviderByItsFileOrFolder) {
    const fs::path file = OX3D_VIRTUAL_PROVIDER;
    for (const fs::path& path : {file, file.parent_path()}) {
        const Outcome run = Run({"list", "--provider", path.string()});
        EXPECT_EQ(run.m_code, 0) << run.m_output;
        EXPECT_THAT(run.m_output, HasSubstr("camera control: given"));
    }
}

TEST_F(ToolRun, PlaysARecording) {
    const fs::path recording = fs::path(OX3D_DATA_DIR) / "office";
    const Outcome run = Run({"grab", "--out", "out", "--frames", "2", "--recording", recording.string()});
    ASSERT_EQ(run.m_code, 0) << run.m_output;
    EXPECT_EQ(ReadRgbPng(Out("color.png")).m_samples,
              ReadRgbPng((recording / "color" / "000000.png").string()).m_samples);
    for (const auto& entry : fs::directory_iterator(m_folder.Path())) {
        EXPECT_EQ(entry.path().filename(), "out") << "left behind";
    }
}

} // namespace

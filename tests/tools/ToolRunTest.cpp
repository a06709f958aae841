// The built tool as a user runs it, on virtual cameras.
#include "tests/tools/ToolRun.h"
#include "recording/RecordingLayout.h"

#include <csignal>
#include <cstring>

namespace ox3d::test {
namespace {

TEST_F(ToolRun, ListAndInfoShowTheCameraAndLeaveNothingBehind) {
    Run({"list"}, 0, {"camera control: virtual", "GigE", "VC00000001", "yes"});
    Run({"info", "--serial", "REC00000001", "--recording", kOffice}, 0,
        {"model                    Recording\n  serial number            REC00000001\n",
         "MAC address              02:00:00:00:00:01\n  IP address               192.168.1.101\n",
         "subnet mask              255.255.255.0\n  gateway                  192.168.1.1\n",
         "PixelFormat              0x011000b8 of 0x01080001, 0x011000b8  (read-only)\n",
         "ChunkModeActive          yes  (read-write)\n", "TriggerSource            7 of 0, 1, 7  (",
         "ExposureTime             5000 [20 .. 1e+06]  (", "1500 [576 .. 16384, step 4]  (",
         "depth sensor\n  image                    640 x 480\n  intrinsics, pixels       fx 390.431",
         "fx 613.204  fy 613.419  cx 319.939  cy 239.183\n"});
    CProcess player({OX3D_TOOL, "list", "--recording", kOffice}, m_folder.Path(), {m_variables.front()});
    EXPECT_EQ(player.Finish(), 0);
    EXPECT_THAT(player.Output(), HasSubstr("GigE  Recording  REC00000001  192.168.1.101        yes\n"));
    EXPECT_TRUE(fs::is_empty(m_folder.Path()));
    m_variables.emplace_back(
        "OX3D_RGBD_DATA_DIR=data"); // from here, not from the folder that the tool works in
    Run({"list"});
    EXPECT_TRUE(fs::exists(m_folder.File("data/Ox3dRgbdLog/Ox3dRgbd_00.log")));
}

TEST_F(ToolRun, GrabWritesWhatItSaysOfARegisteredFrameAndCountsLostOnes) {
    UseCameras({"serial = E1\nfps = 60\nfault = drop_every 3"});
    const std::string said =
        Run({"grab", "--out", "out", "--frames", "5"}, 0, {"5 frames, ", "% of depth valid", "overlay.png"});
    EXPECT_THAT(said, Not(HasSubstr(" 0 lost")));
    const std::string cloud = ReadFile(m_folder.File("out/cloud.ply"));
    EXPECT_TRUE(cloud.find(VertexLine()) != std::string::npos && cloud.find("red") != std::string::npos);
    std::vector<uint16_t> depth = ReadDepth(m_folder.File("out/depth.png"));
    while (depth.back() == 0) {
        depth.pop_back();
    }
    float x = 0.0F; // of the last point, after which its y, its z and its color are written
    std::memcpy(&x, cloud.data() + cloud.size() - 15, sizeof(x));
    const float column = static_cast<float>((depth.size() - 1) % 640);
    EXPECT_THAT(x,
                FloatNear((column + 0.5F - 319.939F) * static_cast<float>(depth.back()) / 613204.0F, 1e-4F));
    EXPECT_TRUE(HasOut("color.png") && HasOut("overlay.png") && HasOut("depth_color.png") &&
                HasOut("cloud.png"));
}

TEST_F(ToolRun, AUsbCameraGetsACloudWithColorsAndNoOverlay) {
    UseCameras({"serial = E1", "transport = usb\nserial = U1\nuser_name = left"});
    Run({"list"}, 0, {"USB   VirtualRgbd-USB   U1      USB 3.0        left  yes\n"});
    Run({"grab", "--out", "out", "--frames", "1", "--serial", "U1"}, 0,
        {"camera: VirtualRgbd-USB U1 (USB 3.0)\n", "acts on Ethernet cameras only", "/out/cloud.ply\n"});
    const std::string cloud = ReadFile(m_folder.File("out/cloud.ply"));
    EXPECT_TRUE(cloud.find(VertexLine()) != std::string::npos && cloud.find("red") != std::string::npos);
    EXPECT_THAT(Run({"info", "--serial", "U1"}, 0, {"USB3 Vision", "1209:0001", "bus"}),
                Not(HasSubstr("address")));
    EXPECT_TRUE(HasOut("color.png") && !HasOut("overlay.png"));
}

TEST_F(ToolRun, PlaysBackToTheBitWhatItHasRecorded) {
    Run({"grab", "--all", "--out", "first", "--frames", "2", "--recording", kDesk});
    Run({"grab", "--all", "--out", "out", "--frames", "3", "--recording", "first"});
    EXPECT_EQ(ReadFile(m_folder.File("out/calibration.xml")), ReadFile(kDesk + "/calibration.xml"));
    // Frame n, from 1 on, is the n-th of the recording, from its beginning again after the last.
    std::string ignored;
    for (const auto& [frameNum, file] : RecordingImages(m_folder.Path() / "first" / "depth", &ignored)) {
        EXPECT_EQ(ReadDepth(file), ReadDepth(kDesk + "/depth/" + RecordingImageName((frameNum - 1) % 2)))
            << file;
    }
    for (const char* const part : {"depth", "color"}) {
        const auto recorded = RecordingImages(m_folder.Path() / "first" / part, &ignored);
        const auto played = RecordingImages(m_folder.Path() / "out" / part, &ignored);
        ASSERT_EQ(recorded.size(), 2U);
        EXPECT_EQ(played.size(), 3U);
        for (const auto& [frameNum, file] : played) {
            const std::string& original = std::next(recorded.begin(), (frameNum - 1) % 2)->second;
            EXPECT_TRUE(ReadFile(file) == ReadFile(original)) << file << " is not " << original;
        }
    }
    Run({"grab", "--all", "--out", "out"}, 7, {"holds a recording already"});
    fs::create_directories(m_folder.File("blocked/calibration.xml"));
    Run({"grab", "--all", "--out", "blocked", "--frames", "1", "--recording", kDesk}, 7,
        {"cannot be played"});
    EXPECT_TRUE(fs::exists(m_folder.File("blocked/depth.png")));
}

TEST_F(ToolRun, RecordsColorAtTheSizeThatTheCameraSends) {
    Run({"grab", "--all", "--out", "out", "--frames", "1"});
    std::string error;
    PngSize size;
    EXPECT_TRUE(ReadPngSize(m_folder.File("out/color/000001.png"), false, &size, &error)) << error;
    EXPECT_EQ(size.m_width, 1280U);
}

TEST_F(ToolRun, ACameraThatSendsNoMoreEndsTheGrabWithWhatHasArrived) {
    UseCameras(
        {"serial = E1\nfault = stall_at 1\nfault = stall_for 5000", "serial = E2\nfault = unplug_after 2"});
    Run({"grab", "--out", "out", "--serial", "E1", "--timeout", "1"}, 6,
        {"no frame for 1 s: no data (0x80060006)"});
    EXPECT_FALSE(HasOut("depth.png"));
    Run({"grab", "--out", "out", "--serial", "E2", "--frames", "30"}, 5, {"the camera went offline"});
    EXPECT_TRUE(HasOut("cloud.ply"));
}

TEST_F(ToolRun, CtrlCClosesTheCameraAndWritesWhatHasArrived) {
    UseCameras({"serial = E1"});
    for (const auto& [frames, signal] :
         {std::pair("0", SIGTERM), std::pair("0", SIGHUP), std::pair("100000", SIGINT)}) {
        CProcess tool = Start({"grab", "--out", "out", "--frames", frames});
        ASSERT_TRUE(tool.WaitForOutput("frames are arriving")) << tool.Output();
        tool.Signal(signal);
        EXPECT_EQ(tool.Finish(), std::string(frames) == "0" ? 0 : 130) << tool.Output();
        EXPECT_THAT(tool.Output(), HasSubstr("of depth valid"));
        EXPECT_TRUE(HasOut("cloud.ply"));
        fs::remove_all(m_folder.File("out"));
    }
}

TEST_F(ToolRun, NetworkShowsACameraInAWrongSubnetAndMovesIt) {
    UseCameras({"serial = E1\nip = 10.9.8.7\ngateway = 10.9.8.1\nhost_ip = 198.51.100.10",
                "serial = E2\nip = 198.51.100.22\ngateway = 198.51.100.3\nhost_ip = 198.51.100.10",
                "serial = E3\nip = 127.0.0.2\nhost_ip = 127.0.0.1", "serial = E4\nip = 127.0.0.2",
                "transport = usb\nserial = U1"});
    const std::string list = Run({"network"}, 0,
                                 {"static  198.51.100.10   wrong subnet", "fits",
                                  "02:00:00:00:00:01  10.9.8.7", "127.0.0.1 (lo)  address in use twice\n"});
    EXPECT_THAT(list, Not(HasSubstr("U1")));
    const std::string moved =
        Run({"network", "--serial", "E1", "--set-ip", "198.51.100.30"}, 0,
            {"E1 is found at 198.51.100.30 now (mask 255.255.255.0, gateway 198.51.100.10",
             "198.51.100.30  255.255.255.0  198.51.100.10", "fits"});
    EXPECT_THAT(moved, AllOf(Not(HasSubstr("wrong subnet")), Not(HasSubstr("E2"))));
    Run({"network", "--serial", "E2", "--set-ip", "198.51.7.8", "--mask", "255.255.0.0"}, 0,
        {"(mask 255.255.0.0, gateway 198.51.100.3)"});
    Run({"network", "--serial", "E1", "--dhcp"}, 0, {"E1 is set to DHCP", "10.9.8.1  DHCP"});
    Run({"network", "--serial", "E1", "--link-local"}, 0,
        {"E1 is set to link-local", "10.9.8.1  link-local"});
    Run({"network", "--serial", "E1", "--set-ip", "198.51.100.22"}, 2, {"is the camera E2's"});
    Run({"network", "--serial", "U1", "--dhcp"}, 2, {"is a USB camera"});
}

TEST_F(ToolRun, DoctorsExitCodeSaysWhetherItFoundAProblem) {
    UseCameras({"serial = E1\nip = 10.9.8.7\nhost_ip = 198.51.100.10", "serial = E2",
                "serial = E3\nfault = deny_open"});
    EXPECT_TRUE(Start({"doctor"}).WaitForOutput("packet size: E3: not asked, it is in use\n"));
    // Depth and three planes of color of 640 x 480, and a header.
    EXPECT_THAT(Run({"doctor", "--serial", "E1"}, 8,
                    {"problem  camera address: E1: 10.9.8.7", "packet size: E1: 1500 bytes",
                     "a frame has 1536048 bytes", " --serial E1 --set-ip ADDRESS\n"}),
                Not(HasSubstr("E2")));
    CProcess host = Start({"doctor", "--host-only"});
    const int code = host.Finish();
    const bool isSound = host.Output().find("problems: 0,") != std::string::npos;
    EXPECT_EQ(code, isSound ? 0 : 8) << host.Output();
    EXPECT_THAT(host.Output(), Not(HasSubstr("E1")));
    m_variables.emplace_back("TMPDIR=/proc"); // without room for temporary files
    Run({"list"}, 7, {"temporary folder"});
    CProcess cramped = Start({"doctor"});
    EXPECT_EQ(cramped.Finish(), code);
    EXPECT_THAT(cramped.Output(), HasSubstr("no camera was asked: cannot make a temporary folder"));
}

TEST_F(ToolRun, SaysWhatIsWrongAndGivesTheExitCodeForIt) {
    WriteFile(m_folder.File("file"), "");
    WriteFile(m_folder.File("libOxCameraControl.so"), "no library");
    const std::tuple<std::vector<std::string>, int, const char*> rows[] = {
        {{}, 2, "A subcommand is required"},
        {{"grab"}, 2, "--out is required"},
        {{"grab", "--out", "out", "--frames", "-1"}, 2, "--frames"},
        {{"grab", "--out", "out", "--recording", "none"}, 7, "no such file or folder"},
#ifdef OX3D_OTHER_PROVIDER
        {{"list", "--recording", ".", "--provider", OX3D_OTHER_PROVIDER}, 2, "not by " OX3D_OTHER_PROVIDER},
#endif
        {{"list", "--provider", "none"}, 3, "no libOxCameraControl.so at none; installed in "},
        {{"list", "--provider", "."},
         3,
         "no libOxCameraControl.so at .;"}, // a name, not the file that is here
        {{"list", "--provider", "./"}, 3, "/libOxCameraControl.so: file too short"},
        {{"info", "--serial", "X"}, 4, "present: VC00000001"},
        {{"network", "--dhcp"}, 2, "--dhcp requires --serial"},
        {{"network", "--serial", "X", "--dhcp", "--link-local"}, 2, "excludes"},
        {{"network", "--serial", "X", "--dhcp", "--set-ip", "10.0.0.5"}, 2, "excludes"},
        {{"network", "--serial", "X", "--set-ip", "224.0.0.1"}, 2, "multicast"},
        {{"network", "--serial", "X", "--set-ip", "10.0.0.5"}, 4, "present: VC00000001"},
        {{"doctor", "--provider", "none"}, 3, "no libOxCameraControl.so at none"},
        {{"doctor", "--serial", "X"}, 4, "present: VC00000001"},
        {{"grab", "--out", "file/out"}, 7, "cannot use the folder"},
        {{"list", "--provider", OX3D_VIRTUAL_PROVIDER}, 0, "camera control: given"},
        {{"list", "--help"}, 0, "virtual, or a path"},
        {{"--version"}, 0, "ox3d 1.1.0\n"},
    };
    for (const auto& [arguments, code, message] : rows) {
        Run(arguments, code, {message});
    }
    CProcess full({"/bin/sh", "-c", "'" OX3D_TOOL "' list --provider virtual >/dev/full"}, ".");
    EXPECT_EQ(full.Finish(), 7) << full.Output();
    UseCameras({});
    Run({"list"}, 0, {"no cameras found\n"});
    Run({"info"}, 4, {"no camera found\n"});
}

} // namespace
} // namespace ox3d::test

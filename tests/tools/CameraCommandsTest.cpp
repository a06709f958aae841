// The commands that ask a camera and set it, on virtual cameras.
#include "tests/tools/ToolRun.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <thread>

namespace ox3d::test {
namespace {

struct Line {
    const char* m_arguments; // with blanks between
    int m_code;
    const char* m_says;
};

class CameraCommands : public ToolRun {
protected:
    CameraCommands() { UseCameras({"serial = E1"}); }
    std::string Say(const Line& line) const {
        SCOPED_TRACE(line.m_arguments);
        std::istringstream words(line.m_arguments);
        return Run({std::istream_iterator<std::string>(words), {}}, line.m_code, {line.m_says});
    }
    // What a command prints on standard output, which has to be one document.
    nlohmann::json Document(const std::string& arguments, int code = 0) const {
        CProcess process({"/bin/sh", "-c", "'" OX3D_TOOL "' " + arguments + " 2>/dev/null"}, m_folder.Path(),
                         m_variables);
        EXPECT_EQ(process.Finish(), code) << process.Output();
        return nlohmann::json::parse(process.Output());
    }
    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(m_folder.Path())) {
            names.push_back(entry.path().filename());
        }
        return names;
    }
};

TEST_F(CameraCommands, FeaturesAreListedReadAndSetByName) {
    const Line lines[] = {
        {"features trigger", 0,
         "TriggerSource    Enumeration  read-write  Software    Line0, Line1, Software\n"},
        {"features E*Time", 0, "ExposureTime  Float  read-write  5000 us  20 .. 1000000\n"},
        {"features ImageAlign --long", 0, "(Integer, read-write, in Ox3d)\n    1   of 0 .. 1\n    Depth is"},
        {"get ExposureTime", 0, "\n5000\n"},
        {"get Width TriggerMode", 0, "Width=640\nTriggerMode=Off\n"},
        {"set TriggerSource=Line1 ExposureTime=7.5e3 ChunkModeActive=no Ox3dThreads=2", 0,
         "TriggerSource=Line1\nExposureTime=7500\nChunkModeActive=no\nOx3dThreads=2\n"},
        {"set TriggerSource=0x7", 0, "TriggerSource=Software\n"},
        {"set ExposureAuto=Continuous DeviceUserID=a=b", 0, "DeviceUserID=a=b\n"},
        {"run TriggerSoftware", 0, ""},
    };
    for (const Line& line : lines) {
        Say(line);
    }
    const auto features = Document("features --json");
    EXPECT_GT(features.size(), 50U);
    const auto values = Document("get ExposureTime TriggerSource ChunkModeActive Height --json");
    EXPECT_EQ(values.dump(),
              R"({"ChunkModeActive":true,"ExposureTime":5000.0,"Height":480,"TriggerSource":"Software"})");
}

TEST_F(CameraCommands, KeysOfTheLibraryAreSetWithANoteOfTheirReach) {
    UseCameras({"serial = E1", "transport = usb\nserial = U1"});
    const std::string note = " acts on Ethernet cameras only; frames of this USB camera stay as they are\n";
    EXPECT_THAT(Say({"set ImageAlign=0 Ox3dThreads=2 --serial U1", 0, "ImageAlign=0\n"}),
                AllOf(HasSubstr("ox3d: ImageAlign" + note), Not(HasSubstr("Ox3dThreads" + note))));
    const std::string end = " is the library's own and ends with this command; ";
    EXPECT_THAT(Say({"set ExposureTime=5000 ImageAlign=0 --serial E1", 0, "ImageAlign=0\n"}),
                AllOf(HasSubstr("ox3d: ImageAlign" + end), Not(HasSubstr("ExposureTime" + end)),
                      Not(HasSubstr(note))));
}

TEST_F(CameraCommands, AWrongNameOrValueIsToldWithWhatIsPossibleBeforeAnythingIsSet) {
    const Line lines[] = {
        {"features nothing", 2, "no feature \"nothing\"; \"ox3d features\" lists them\n"},
        {"get Width ExposureTmie", 2, "no feature \"ExposureTmie\"; did you mean \"ExposureTime\"?\n"},
        {"get TriggerSoftware", 2, "it has no value; \"ox3d run TriggerSoftware\" executes it\n"},
        {"set ExposureTime", 2, "\"ox3d set ExposureTime=VALUE\" sets one\n"},
        {"set ExposureTime=19.5", 2, "\"19.5\" is no value of ExposureTime; possible: 20 .. 1000000\n"},
        {"set ExposureTime=5000us", 2, "possible: 20"},
        {"set ExposureTime=nan", 2, "possible: 20"},
        {"set GevSCPSPacketSize=577", 2, "possible: 576 .. 16384, step 4\n"},
        {"set ChunkModeActive=maybe", 2, "possible: yes, no\n"},
        {"set TriggerSource=Sofware", 2, "possible: Line0, Line1, Software; did you mean \"Software\"?\n"},
        {"set TriggerSource=2", 2, "possible: Line0"},
        {"set DeviceUserID=12345678901234567", 2, "possible: up to "},
        {"set Width=100", 5, "Width cannot be set now: it is read-only\n"},
        {"run ExposureTime", 2, "ExposureTime is no command but a Float; \"ox3d set\" sets it\n"},
        {"run TrigerSoftware", 2, "did you mean \"TriggerSoftware\"?\n"},
        // Nothing is set where a later one is wrong, and what a later one takes back is said.
        {"set TriggerSource=Line1 Exposure=1", 2, "no feature \"Exposure\""},
        {"set TriggerSource=Line1 TriggerMode=Of", 2, "did you mean \"Off\"?\n"},
        {"set TriggerSource=Line1 ExposureTime=1", 2,
         "20 .. 1000000; what was set before it is taken back\n"},
        {"set ExposureAuto=Continuous ExposureTime=30", 5,
         "ExposureTime cannot be set now: it is read-only; what was set before it is taken back\n"},
    };
    for (const Line& line : lines) {
        const std::string said = Say(line);
        EXPECT_EQ(said.find("TriggerSource=Line1"), std::string::npos) << said;
    }
}

TEST_F(CameraCommands, FilesAreWrittenWholeAndReplaceNoneUnasked) {
    fs::create_directory(m_folder.File("folder"));
    WriteFile(m_folder.File("mine"), "mine");
    WriteFile(m_folder.File("empty"), "");
    mkfifo(m_folder.File("pipe").c_str(), 0600);
    fs::create_symlink("mine", m_folder.File("link"));
    const Line lines[] = {
        {"xml", 0, "<RegisterDescription ModelName="},
        {"xml a.xml", 0, ""},
        {"xml mine", 7, "/mine is there already; --force replaces it\n"},
        {"export mine", 7, "is there already"},
        {"file get RGBDSensorCali mine", 7, "is there already"},
        {"calib --export mine", 7, "is there already"},
        {"export none/a", 7, "/none/a: No such file or directory\n"},
        {"xml folder --force", 7, "/folder: Is a directory\n"},
        {"xml pipe --force", 7, "/pipe is no regular file; nothing else is replaced\n"},
        {"export link --force", 7, "/link is no regular file"},
        {"export settings", 0, ""},
        {"import settings", 0, ""},
        {"import mine", 5, "/mine; it has its former ones: "},
        {"import gone", 7, "there is no file /"},
        {"import empty", 7, "/empty is empty or no file\n"},
        {"upgrade folder", 7, "is empty or no file\n"},
        {"file put UserFile1 mine", 0, ""},
        {"file get UserFil1 b", 2, "UserFile4; did you mean \"UserFile1\"?\n"},
        {"file fetch UserFile1 b", 2, "fetch"},
        {"upgrade mine", 0, "the firmware is upgraded\n"},
        {"calib --export calibration.xml", 0, "the rotation is orthonormal"},
    };
    for (const Line& line : lines) {
        Say(line);
    }
    EXPECT_EQ(ReadFile(m_folder.File("mine")), "mine");
    EXPECT_EQ(ReadFile(m_folder.File("calibration.xml")), ReadFile(kOffice + "/calibration.xml"));
    EXPECT_THAT(Files(), UnorderedElementsAre("cameras.ini", "folder", "mine", "empty", "a.xml", "settings",
                                              "calibration.xml", "pipe", "link"));
    Run({"export", "mine", "--force"});
    EXPECT_THAT(ReadFile(m_folder.File("mine")), HasSubstr("ExposureTime"));
    // A disk that is full before the file is whole.
    CProcess full({"/bin/sh", "-c", "ulimit -f 8; trap '' XFSZ; '" OX3D_TOOL "' xml mine --force"},
                  m_folder.Path(), m_variables);
    EXPECT_EQ(full.Finish(), 7) << full.Output();
    EXPECT_THAT(full.Output(), HasSubstr("cannot write "));
    EXPECT_THAT(ReadFile(m_folder.File("mine")), HasSubstr("ExposureTime"));
    EXPECT_EQ(Files().size(), 9U) << "half a file is left";
}

TEST_F(CameraCommands, AnInterruptEndsEveryCommandBetweenItsSteps) {
    UseCameras({"serial = E1\nfault = slow_commands 20"}); // none is done before the signal
    WriteFile(m_folder.File("mine"), "mine");
    for (const char* const arguments :
         {"features", "get Width", "set Gain=1", "run DeviceReset", "xml mine --force", "export mine --force",
          "import mine", "file get A mine --force", "file put UserFile1 mine", "upgrade mine", "calib"}) {
        CProcess process({"/bin/sh", "-c", std::string("exec '" OX3D_TOOL "' ") + arguments}, m_folder.Path(),
                         m_variables);
        ASSERT_TRUE(process.WaitForOutput("camera control: ")) << arguments;
        process.Signal(SIGINT);
        EXPECT_EQ(process.Finish(), 130) << arguments << process.Output();
    }
    EXPECT_EQ(ReadFile(m_folder.File("mine")), "mine");
}

TEST_F(CameraCommands, WhatACameraTakesNeitherAnewNorBackIsKeptBesideTheFile) {
    m_variables.emplace_back("OX3D_PROVIDER=" OX3D_REFUSING_PROVIDER);
    WriteFile(m_folder.File("mine"), "mine");
    const Line lines[] = {
        {"export settings", 0, ""},
        {"file put RGBDSensorCali mine", 5, "; its former one could not be put back; a copy is "},
        {"import mine", 5, "; some may be set; the former ones could not be put back; a copy is "},
        {"upgrade mine", 130,
         "the upgrade was given up at 50 %; the camera may keep its firmware; \"ox3d info\" shows"},
    };
    for (const Line& line : lines) {
        Say(line);
    }
    EXPECT_EQ(ReadFile(m_folder.File("mine.former")), ReadFile(kOffice + "/calibration.xml"));
    EXPECT_EQ(ReadFile(m_folder.File("mine.former.1")), ReadFile(m_folder.File("settings")));
    EXPECT_THAT(Files(),
                UnorderedElementsAre("cameras.ini", "mine", "settings", "mine.former", "mine.former.1"));
}

// By a camera that takes its time for each feature.
TEST_F(CameraCommands, OneFeatureIsAskedForAloneAndSettingsGiveUpWhenTold) {
    UseCameras({"serial = E1\nfault = slow_commands 20"});
    const auto secondsOf = [this](const std::string& arguments) {
        const auto begin = std::chrono::steady_clock::now();
        Say({arguments.c_str(), 0, "ExposureTime"});
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    };
    EXPECT_LT(secondsOf("get ExposureTime DeviceUserID"), secondsOf("features") / 2);
    std::string asked = "get";
    std::vector<std::string> settings = {"set"};
    for (int i = 0; i < 10; ++i) {
        asked += " ExposureTime";
        settings.emplace_back("ExposureTime=99");
    }
    const double untilSet = secondsOf(asked); // every setting is checked before the first
    CProcess set = Start(settings);
    std::this_thread::sleep_for(std::chrono::duration<double>(untilSet + 0.3));
    set.Signal(SIGINT);
    EXPECT_EQ(set.Finish(), 130) << set.Output();
    EXPECT_THAT(set.Output(), HasSubstr("ox3d: interrupted; what was set before it is taken back\n"));
}

TEST_F(CameraCommands, CalibChecksTheRotation) {
    const auto calibration = Document("calib --json");
    EXPECT_NEAR(calibration["depth"]["field_of_view_degrees"][0], 78.6765, 1e-3); // 2 atan(320 / 390.431)
    EXPECT_TRUE(calibration["depth_to_color"]["is_rotation"]);
    EXPECT_EQ(Document("info --json")["calibration"], calibration);
    fs::copy(kOffice, m_folder.File("bent"), fs::copy_options::recursive);
    std::string text = ReadFile(m_folder.File("bent/calibration.xml"));
    text[text.find("r00=\"") + 5] = '2';
    WriteFile(m_folder.File("bent/calibration.xml"), text);
    Run({"calib", "--recording", "bent"}, 8, {"NOT orthonormal"});
}

TEST_F(CameraCommands, StreamTellsHowFramesComeAndShowsTheDepth) {
    UseCameras({"serial = E1\nfault = drop_every 3\nloop = yes", "serial = E2\nfault = unplug_after 2",
                "serial = E3\nfault = stall_at 1\nfault = stall_for 5000"});
    const auto figures = Document("stream --seconds 1 --serial E1 --json");
    EXPECT_GT(figures["frames"], 2);
    EXPECT_GT(figures["lost"], 0);
    EXPECT_EQ(figures["incomplete"], 0);
    EXPECT_NEAR(figures["valid_depth_percent"], 24.4, 0.1);
    Run({"stream", "--seconds", "1", "--serial", "E1"}, 0,
        {"frames/s\n", "latency      p50 ", "@@@@", " mm, . = "});
    Run({"stream", "--serial", "E2"}, 5, {"the camera went offline\n"});
    Run({"stream", "--serial", "E3", "--timeout", "1"}, 6, {"no frame for 1 s"});
    CProcess endless = Start({"stream", "--seconds", "0", "--serial", "E1"});
    ASSERT_TRUE(endless.WaitForOutput("frames are arriving"));
    endless.Signal(SIGINT);
    EXPECT_EQ(endless.Finish(), 0) << endless.Output();
}

TEST_F(CameraCommands, ListsAreDocumentsToo) {
    UseCameras({"serial = E1", "serial = E2\nfault = deny_open", "transport = usb\nserial = U1"});
    const auto list = Document("list --json");
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[0]["serial"].dump() + list[0]["accessible"].dump() + list[1]["accessible"].dump(),
              "\"E1\"truefalse");
    EXPECT_EQ(list[2]["vendor_id"], 0x1209);
    EXPECT_EQ(Document("info --json --serial E1")["features"]["ExposureTime"], 5000);
    const auto network = Document("network --json");
    ASSERT_EQ(network.size(), 2U);
    EXPECT_EQ(network[0]["mask"], "255.255.255.0");
    EXPECT_TRUE(network[0].contains("seen_by"));
    const int code = Start({"doctor", "--host-only"}).Finish();
    EXPECT_FALSE(Document("doctor --host-only --json", code)["findings"].empty());
}

TEST_F(CameraCommands, ACameraThatAnotherProgramHoldsStillTellsWhatItIs) {
    UseCameras({"serial = E1\nfault = deny_open"});
    Run({"info"}, 0,
        {"serial number            E1\n", "access denied", "features and calibration are not shown\n"});
    EXPECT_EQ(Document("info --json")["device"]["serial"], "E1");
    for (const char* const arguments :
         {"features", "get Width", "set Gain=1", "run DeviceReset", "xml", "export a", "calib", "stream"}) {
        Say({arguments, 5, "another application may hold the camera (0x8006000e)\n"});
    }
    EXPECT_THAT(Files(), ElementsAre("cameras.ini"));
}

TEST_F(CameraCommands, WithoutACameraOrRoomForTheOutputNothingIsLost) {
    UseCameras({});
    WriteFile(m_folder.File("mine"), "mine");
    for (const char* const arguments :
         {"features", "get Width", "set Gain=1", "run DeviceReset", "xml mine --force", "export mine --force",
          "import mine", "file get A mine --force", "file put A mine", "upgrade mine", "calib", "stream"}) {
        Say({arguments, 4, "ox3d: no camera found\n"});
    }
    EXPECT_EQ(ReadFile(m_folder.File("mine")), "mine");
    EXPECT_THAT(Files(), UnorderedElementsAre("cameras.ini", "mine"));
    UseCameras({"serial = E1"});
    for (const char* const arguments : {"features --json", "xml", "calib", "completion bash"}) {
        CProcess full({"/bin/sh", "-c", std::string("'" OX3D_TOOL "' ") + arguments + " >/dev/full"},
                      m_folder.Path(), m_variables);
        EXPECT_EQ(full.Finish(), 7) << full.Output();
        EXPECT_THAT(full.Output(), HasSubstr("the output could not be written\n"));
    }
}

TEST_F(CameraCommands, WatchTellsWhichCamerasComeAndGo) {
    CProcess watch = Start({"list", "--watch"});
    ASSERT_TRUE(watch.WaitForOutput("+ VirtualRgbd-GigE E1 (192.168.1.101)\n")) << watch.Output();
    watch.Signal(SIGINT);
    EXPECT_EQ(watch.Finish(), 0);
    Run({"list", "--watch", "--json"}, 2, {"excludes"});
}

TEST_F(CameraCommands, ASlipOfTheKeyboardIsAnsweredWithWhatMayHaveBeenMeant) {
    const Line lines[] = {
        {"lits", 2,
         "ox3d: there is no command \"lits\"; did you mean \"list\"? (\"ox3d --help\" tells more)\n"},
        {"list --jsno", 2, "there is no option --jsno; did you mean \"--json\"? (\"ox3d list --help\""},
        {"grab", 2, "ox3d: --out is required (\"ox3d grab --help\" tells more)\n"},
        {"list --provider virtul", 3, "did you mean \"virtual\"?\n"},
        {"nothing-like-it", 2, "there is no command \"nothing-like-it\" ("},
    };
    for (const Line& line : lines) {
        Say(line);
    }
}

TEST_F(CameraCommands, EveryCommandHasAnExampleAndIsCompletedAndInTheManual) {
    const auto text = [this](const std::string& shell) {
        CProcess process({OX3D_TOOL, "completion", shell}, m_folder.Path());
        EXPECT_EQ(process.Finish(), 0);
        return process.Output();
    };
    const std::string script = text("bash");
    WriteFile(m_folder.File("script"), script);
    const std::string list = script.substr(script.find("words='") + 7);
    std::istringstream words(list.substr(0, list.find('\'')));
    size_t commands = 0;
    for (std::string word; words >> word;) {
        if (word.front() == '-') {
            continue;
        }
        ++commands;
        CProcess help({OX3D_TOOL, word, "--help"}, m_folder.Path());
        EXPECT_EQ(help.Finish(), 0);
        EXPECT_THAT(help.Output(), HasSubstr("ox3d " + word)) << word;
        EXPECT_THAT(help.Output(), ContainsRegex("Examples?: ")) << word;
        EXPECT_THAT(text("zsh"), HasSubstr("    " + word + ")\n        _arguments"));
        EXPECT_THAT(text("fish"), HasSubstr("__fish_use_subcommand -a " + word + " -d "));
        EXPECT_THAT(text("man"), HasSubstr("\n.SS " + word + "\n"));
    }
    EXPECT_GE(commands, 18U);
    CProcess complete(
        {"/bin/bash", "-c",
         ". ./script; COMP_WORDS=(ox3d file ge); COMP_CWORD=2; _ox3d; echo \"<${COMPREPLY[*]}>\""},
        m_folder.Path());
    EXPECT_EQ(complete.Finish(), 0);
    EXPECT_EQ(complete.Output(), "<get>\n");
}

TEST_F(CameraCommands, CloudMakesPointsOfAFileAsTheLibraryDoesOfAFrame) {
    Run({"grab", "--out", "out", "--frames", "1"});
    Run({"calib", "--export", "c.xml"});
    WriteFile(m_folder.File("bad.png"), "no picture");
    const Line lines[] = {
        {"cloud out/depth.png --registered --calibration c.xml --color out/color.png --out mine.ply", 0,
         " points\n"},
        {"cloud out/depth.png --calibration c.xml --out a.pcd", 0, " points\n"},
        {"cloud out/depth.png --calibration c.xml --out a.pcd", 7, "is there already; --force replaces it\n"},
        {"cloud out/depth.png --calibration c.xml --out a.obj", 2,
         "--out has to end in .ply or .pcd: a.obj\n"},
        {"cloud gone.png --calibration c.xml --out b.ply", 7, "there is no file /"},
        {"cloud bad.png --calibration c.xml --out b.ply", 7, "cannot read /"},
        {"cloud out/depth.png --calibration bad.png --out b.ply", 7,
         "bad.png is no calibration file; \"ox3d calib"},
    };
    for (const Line& line : lines) {
        Say(line);
    }
    const std::string ours = ReadFile(m_folder.File("mine.ply"));
    const std::string theirs = ReadFile(m_folder.File("out/cloud.ply"));
    ASSERT_EQ(ours.size(), theirs.size());
    float worst = 0;
    const size_t begin = ours.find("end_header\n") + 11;
    for (size_t at = begin; at + 15 <= ours.size(); at += 15) {
        float a[3];
        float b[3];
        memcpy(a, &ours[at], sizeof(a));
        memcpy(b, &theirs[at], sizeof(b));
        for (size_t i = 0; i < 3; ++i) {
            worst = std::max(worst, std::abs(a[i] - b[i]));
        }
        ASSERT_EQ(ours.substr(at + 12, 3), theirs.substr(at + 12, 3)) << at;
    }
    EXPECT_LT(worst, 1e-5F);
    EXPECT_FALSE(fs::exists(m_folder.File("b.ply")));
}

TEST_F(CameraCommands, ARecordingHasNoHalfFrames) {
    // Depth fits, color does not.
    CProcess full(
        {"/bin/sh", "-c", "ulimit -f 140; trap '' XFSZ; '" OX3D_TOOL "' grab --all --out less --frames 20"},
        m_folder.Path(), m_variables);
    EXPECT_EQ(full.Finish(), 7) << full.Output();
    EXPECT_THAT(full.Output(), HasSubstr("cannot write "));
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder.File("less/color")), fs::directory_iterator()),
              0);
}

} // namespace
} // namespace ox3d::test

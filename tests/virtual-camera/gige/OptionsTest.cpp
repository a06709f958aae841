// OptionsTest.cpp - the cameras that a command line makes.
#include <gtest/gtest.h>

#include "virtual-camera/gige/Options.h"

using namespace ox3d;

TEST(Options, MakeCamerasWithTheirFaults) {
    const char* arguments[] = {
        "program",     "--camera=serial=A,recording=/", "--camera=fps=12.5",  "--drop=2.5",
        "--reorder=1", "--fault=drop_every 7",          "--silent-after=1.5", "--reboot-after=3"};
    gige::Options options;
    int exitCode = 0;
    ASSERT_TRUE(gige::ReadOptions(std::size(arguments), const_cast<char**>(arguments), &options, &exitCode));
    ASSERT_EQ(options.m_cameras.size(), 2U);
    EXPECT_TRUE(options.m_cameras[0].m_source.m_isRecording);
    EXPECT_FALSE(options.m_cameras[1].m_source.m_isRecording);
    EXPECT_EQ(options.m_cameras[1].m_ip, 0x7F000002U);
    const FaultSet& faults = options.m_cameras[1].m_faults;
    EXPECT_EQ(faults.m_dropPerMille, 25U);
    EXPECT_EQ(faults.m_reorderPerMille, 10U);
    EXPECT_EQ(faults.m_dropEvery, 7U);
    EXPECT_EQ(faults.m_silentAfterMs, 1500U);
    EXPECT_EQ(faults.m_rebootAfterMs, 3000U);
    EXPECT_EQ(faults.m_replugAfterMs, 1000U) << "comes up again";
}

TEST(Options, SayTheKindOfTheCamerasThatDoNotSayIt) {
    const char* arguments[] = {"program", "--kind=sfnc3d", "--camera=fps=12.5", "--camera=kind=native"};
    gige::Options options;
    int exitCode = 0;
    ASSERT_TRUE(gige::ReadOptions(std::size(arguments), const_cast<char**>(arguments), &options, &exitCode));
    EXPECT_EQ(options.m_cameras.at(0).m_kind, ECameraKind::Sfnc3d);
    EXPECT_EQ(options.m_cameras[0].m_model, "Virtual3d-GigE");
    EXPECT_EQ(options.m_cameras.at(1).m_kind, ECameraKind::Native);
}

// What the program prints of itself.
std::string Printed(const char* option) {
    const char* arguments[] = {"program", option};
    gige::Options options;
    int exitCode = -1;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(gige::ReadOptions(std::size(arguments), const_cast<char**>(arguments), &options, &exitCode));
    EXPECT_EQ(exitCode, 0);
    return testing::internal::GetCapturedStdout();
}

TEST(Options, AreInTheManualPageAndCompleted) {
    const std::pair<const char*, std::vector<const char*>> documents[] = {
        {"--manual",
         {".TH OX3D\\-VIRTUAL\\-CAMERA 1 ", "\n.SH SYNOPSIS\n.B ox3d\\-virtual\\-camera\n[options]\n",
          "\n\\fB\\-\\-camera\\fR \\fIVALUE\\fR\na camera as KEY", "\n\\fB\\-\\-broken\\-xml\\fR\n",
          "\nExample: "}},
        {"--completion=bash", {" --reboot-after ", "-F _ox3d_virtual_camera ox3d-virtual-camera\n"}},
        {"--completion=zsh", {"#compdef ox3d-virtual-camera\n", "'--reboot-after[", ":value:_files'"}},
        {"--completion=fish", {"\ncomplete -c ox3d-virtual-camera -l reboot-after -r -d '"}},
    };
    for (const auto& [option, parts] : documents) {
        const std::string text = Printed(option);
        for (const char* const part : parts) {
            EXPECT_NE(text.find(part), std::string::npos) << part << " is not in\n" << text;
        }
    }
}

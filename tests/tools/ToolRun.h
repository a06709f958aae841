// ToolRun.h - the fixture of tests that run the built tool as a user does, on virtual cameras.
#ifndef OX3D_TESTS_TOOLS_TOOL_RUN_H
#define OX3D_TESTS_TOOLS_TOOL_RUN_H

#include "base/PngFile.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace ox3d::test {

namespace fs = std::filesystem;
using namespace ::testing;

inline const std::string kDesk = OX3D_DATA_DIR "/desk";
inline const std::string kOffice = OX3D_DATA_DIR "/office";

class ToolRun : public Test {
protected:
    // On virtual cameras, where the test does not choose.
    CProcess Start(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), OX3D_TOOL);
        return {arguments, m_folder.Path().string(), m_variables};
    }
    // The output, after a run that has to end with this code and to say all of this.
    std::string Run(const std::vector<std::string>& arguments, int code = 0,
                    const std::vector<std::string>& says = {}) const {
        CProcess process = Start(arguments);
        EXPECT_EQ(process.Finish(), code) << process.Output();
        for (const std::string& text : says) {
            EXPECT_THAT(process.Output(), HasSubstr(text));
        }
        return process.Output();
    }
    // The cameras that the virtual provider has from now on, each one more section of its list. They play a recording
    // of the scene, which takes long to render. The list is named relative to the tool's folder.
    void UseCameras(const std::vector<std::string>& sections) {
        std::string list;
        for (const std::string& section : sections) {
            list.append("[camera]\nsource = recording\nrecording = ").append(kOffice).append("\n");
            list.append(section).append("\n");
        }
        WriteFile(m_folder.File("cameras.ini"), list);
        m_variables.emplace_back("OX3D_VIRTUAL_CAMERAS=cameras.ini");
    }
    bool HasOut(const std::string& name) const { return fs::exists(m_folder.Path() / "out" / name); }
    static std::vector<uint16_t> ReadDepth(const fs::path& file) {
        PngSize size;
        std::vector<uint16_t> depth;
        std::string error;
        EXPECT_TRUE(ReadDepthPng(file.string(), &size, &depth, &error)) << error;
        EXPECT_EQ(size.m_width * size.m_height, 640U * 480U);
        return depth;
    }
    // The line of cloud.ply for a cloud with a point for each valid sample of depth.png.
    std::string VertexLine() const {
        const std::vector<uint16_t> depth = ReadDepth(m_folder.File("out/depth.png"));
        const ptrdiff_t valid = std::count_if(depth.begin(), depth.end(), [](auto d) { return d != 0; });
        EXPECT_GT(valid, 30000);
        return "\nelement vertex " + std::to_string(valid) + "\n";
    }

    CTempFolder m_folder;
    std::vector<std::string> m_variables = {"TMPDIR=" + m_folder.Path().string(), "OX3D_PROVIDER=virtual"};
};

} // namespace ox3d::test

#endif

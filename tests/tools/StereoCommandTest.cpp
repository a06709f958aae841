// Stereo depth, as a user makes it.
#include "tests/tools/ToolRun.h"

#include "tools/ox3d/stereo/StereoPicture.h"
#include "tools/ox3d/stereo/StereoTruth.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace ox3d::test {
namespace {

const std::string kMotorcycle = OX3D_DATA_DIR "/motorcycle";
constexpr double kSceneFocal = 640 * 0.72; // pixels, of the depth image's lens

class StereoRun : public ToolRun {
protected:
    static std::vector<std::string> Pair(const std::vector<std::string>& more) {
        std::vector<std::string> words = {"stereo", kMotorcycle + "/left.png", kMotorcycle + "/right.png",
                                          "--out", "out"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    std::vector<uint16_t> Samples(const std::string& name) const {
        PngSize size;
        std::vector<uint16_t> samples;
        std::string error;
        EXPECT_TRUE(ReadDepthPng(m_folder.File("out/" + name), &size, &samples, &error)) << error;
        return samples;
    }
};

TEST_F(StereoRun, MakesDepthOfTwoPicturesThatHoldsAgainstTheirTruth) {
    const std::string json = Run(
        Pair({"--fx", "994.978", "--cx", "111.193", "--cy", "114.877", "--baseline", "193.001", "--offset",
              "31.086", "--disparities", "70", "--json", "--truth", kMotorcycle + "/disparity_x256.png"}));
    const auto said = nlohmann::json::parse(json);
    EXPECT_EQ(said["disparities"], 80);
    EXPECT_LT(said["truth"]["bad_1_percent"], 13);
    EXPECT_GT(said["truth"]["found_percent"], 94);
    const std::vector<uint16_t> disparity = Samples("disparity.png");
    const std::vector<uint16_t> depth = Samples("depth.png");
    const tool::FloatImage pixels = tool::ReadTruth(m_folder.File("out/disparity.pfm"));
    ASSERT_EQ(disparity.size(), 300U * 220U);
    size_t valid = 0;
    for (size_t i = 0; i < disparity.size(); ++i) {
        ASSERT_EQ(pixels.m_samples[i] * 16, disparity[i]);
        const double mm = disparity[i] == 0 ? 0 : 994.978 * 193.001 / (disparity[i] / 16.0 + 31.086);
        ASSERT_EQ(depth[i], std::lround(mm));
        valid += disparity[i] != 0 ? 1 : 0;
    }
    EXPECT_NEAR(said["fill_percent"], 100.0 * static_cast<double>(valid) / (300 * 220), 1e-9);
    const std::string cloud = ReadFile(m_folder.File("out/cloud.ply"));
    EXPECT_THAT(cloud, HasSubstr("element vertex " + std::to_string(valid) + "\n"));
    EXPECT_TRUE(HasOut("depth_color.png") && HasOut("overlay.png") && HasOut("cloud.png"));
    EXPECT_FALSE(HasOut("left.png"));
    Run(Pair({"--fx", "995", "--baseline", "193", "--disparities", "80", "--threads", "3"}));
    EXPECT_EQ(Samples("disparity.png"), disparity);
}

#ifdef OX3D_EXAMPLE_STEREO
TEST_F(StereoRun, MakesTheDepthThatTheExampleMakes) {
    for (const std::string name : {"left", "right"}) {
        const tool::GreyImage grey = tool::ReadStereoPicture(fs::path(kMotorcycle) / (name + ".png")).m_grey;
        WriteFile(m_folder.File(name + ".pgm"),
                  "P5\n300 220\n255\n" + std::string(grey.m_samples.begin(), grey.m_samples.end()));
    }
    Run({"stereo", "left.pgm", "right.pgm", "--fx", "995", "--baseline", "20", "--disparities", "112",
         "--out", "out"});
    std::vector<uint16_t> depth = Samples("depth.png");
    std::sort(depth.begin(), depth.end());
    const auto firstValid = std::upper_bound(depth.begin(), depth.end(), 0);
    const auto valid = static_cast<size_t>(depth.end() - firstValid);
    char fill[40];
    std::snprintf(fill, sizeof(fill), "300 x 220 pixels, %.1f %% with depth\n",
                  100.0 * static_cast<double>(valid) / 66000);
    const uint16_t median = firstValid[static_cast<ptrdiff_t>((valid + 1) / 2 - 1)];
    CProcess example({OX3D_EXAMPLE_STEREO, "left.pgm", "right.pgm", "995", "20", "112"},
                     m_folder.Path().string());
    EXPECT_EQ(example.Finish(), 0);
    EXPECT_THAT(example.Output(), AllOf(HasSubstr(fill), HasSubstr("50 % are nearer than " +
                                                                   std::to_string(median + 1) + " mm\n")));
    CProcess refused({OX3D_EXAMPLE_STEREO, "left.pgm", "right.pgm", "995", "20", "300"},
                     m_folder.Path().string());
    EXPECT_EQ(refused.Finish(), 1);
}
#endif

TEST_F(StereoRun, RefusesWhatCannotBecomeDepth) {
    Run(Pair({"--fx", "995"}), 2, {"say --fx and --baseline, or --calib"});
    Run(Pair({"--fx", "995", "--baseline", "193", "--window", "41"}), 2, {"--window"});
    Run(Pair({"--fx", "995", "--baseline", "193", "--calib", "a.json"}), 2, {"--calib"});
    Run({"stereo", "--out", "out"}, 2, {"say --baseline, or --calib"});
    WriteFile(m_folder.File("small.pgm"), "P5\n2 1\n255\nab");
    WriteFile(m_folder.File("torn.pgm"), "P5\n2 1\n255\na");
    const auto withRight = [](const std::string& right, const std::string& truth) {
        return std::vector<std::string>{"stereo", kMotorcycle + "/left.png",
                                        right,    "--fx",
                                        "995",    "--baseline",
                                        "193",    "--out",
                                        "out",    "--truth",
                                        truth};
    };
    const std::string truth = kMotorcycle + "/disparity_x256.png";
    Run(withRight("small.pgm", truth), 7, {"the two pictures differ in size"});
    Run(withRight("torn.pgm", truth), 7, {"torn.pgm: no PGM file with 8 bits a pixel"});
    Run(withRight("none.png", truth), 7, {"none.png"});
    Run(withRight(kMotorcycle + "/right.png", kDesk + "/depth/000000.png"), 7,
        {"the truth has another size"});
    Run(withRight(kMotorcycle + "/right.png", kMotorcycle + "/right.png"), 7, {"16-bit grey"});
    WriteFile(m_folder.File("a.json"), "{");
    Run(Pair({"--calib", "a.json"}), 7, {"a.json is no calibration of a stereo pair"});
    EXPECT_FALSE(HasOut("depth.png"));
}

// The scene is seen from both lenses, so its depth comes out of the recorded pair again; by --calib the same, by way of
// the maps.
TEST_F(StereoRun, MakesDepthOfTheViewsOfACamera) {
    WriteFile(m_folder.File("cameras.ini"), "[camera]\ntransport = usb\nnoise = no\nserial = S\n");
    m_variables.emplace_back("OX3D_VIRTUAL_CAMERAS=cameras.ini");
    Run({"grab", "--all", "--frames", "2", "--out", "exact"});
    Run({"stereo", "--recording", "exact", "--baseline", "50", "--disparities", "128", "--out", "out"}, 0,
        {"640 x 480 pixels, 128 disparities"});
    const std::vector<uint16_t> depth = ReadDepth(m_folder.File("out/depth.png"));
    const std::vector<uint16_t> disparity = Samples("disparity.png");
    const std::vector<uint16_t> exact = ReadDepth(m_folder.File("exact/depth/000001.png"));
    size_t right = 0;
    for (size_t i = 0; i < exact.size(); ++i) { // a quarter of a pixel, and a millimetre for rounding
        const double step = 0.25 * exact[i] * exact[i] / (kSceneFocal * 50) + 1;
        right += depth[i] != 0 && std::abs(depth[i] - exact[i]) <= step ? 1 : 0;
    }
    EXPECT_GT(right, exact.size() * 3 / 4);
    const auto again = [&](const std::vector<std::string>& geometry) {
        std::vector<std::string> words = {"stereo", "out/left.png", "out/right.png", "--disparities",
                                          "128",    "--out",        "again"};
        words.insert(words.end(), geometry.begin(), geometry.end());
        Run(words);
        return ReadDepth(m_folder.File("again/disparity.png"));
    };
    EXPECT_EQ(again({"--fx", "500", "--baseline", "50"}), disparity);
    const std::string camera =
        R"({"fx": 500, "fy": 500, "cx": 320, "cy": 240, "distortion": [0, 0, 0, 0, 0]})";
    const auto calibrate = [&](const std::string& baseLineMm) {
        WriteFile(m_folder.File("stereo.json"),
                  R"({"width": 640, "height": 480, "left": )" + camera + R"(, "right": )" + camera +
                      R"(, "rotation": [1, 0, 0, 0, 1, 0, 0, 0, 1], "translation": [)" + baseLineMm +
                      ", 0, 0]}");
    };
    calibrate("50");
    Run({"stereo", "out/left.png", "out/right.png", "--calib", "stereo.json", "--out", "none"}, 7,
        {"exchange the cameras"});
    calibrate("-50");
    const std::vector<uint16_t> rectified = again({"--calib", "stereo.json"});
    size_t close = 0;
    for (size_t i = 0; i < rectified.size(); ++i) {
        close += std::abs(rectified[i] - disparity[i]) <= 16 ? 1 : 0;
    }
    EXPECT_GT(close, 640U * 480U * 8 / 10);
    Run({"convert", "exact", "copied", "--to", "png"});
    Run({"stereo", "--recording", "copied", "--baseline", "50", "--disparities", "128", "--out", "again"});
    EXPECT_EQ(ReadDepth(m_folder.File("again/disparity.png")), disparity);
    Run({"stereo", "--recording", kOffice, "--baseline", "50", "--out", "none", "--timeout", "3"}, 6,
        {"the camera sends no pair of pictures"});
}

} // namespace
} // namespace ox3d::test

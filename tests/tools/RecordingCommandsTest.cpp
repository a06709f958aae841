// The commands around recordings, as a user runs them.
#include "tests/tools/ToolRun.h"

#include "recording/McapReader.h"
#include "recording/RecordingLayout.h"
#include "recording/RecordingReader.h"

#include <csignal>
#include <cstring>
#include <regex>

namespace ox3d::test {
namespace {

TEST_F(ToolRun, RecordsAFileThatIsTheSameCameraAgain) {
    UseCameras({"serial = E7\nmodel = Eleven\nuser_name = left\nfps = 20\ntransport = usb"});
    Run({"record", "a.mcap", "--frames", "6", "--color", "raw"}, 0, {"\n6 frames, ", " fps, 0 dropped, "});
    Run({"info", "--recording", "a.mcap"}, 0,
        {"USB3 Vision", "model                    Eleven\n", "serial number            E7\n", "left\n",
         "fx 390.431"});
    Run({"play", "a.mcap", "--speed", "2"}, 0, {"\n6 frames, depth 640 x 480, color ", " frames/s, 0 lost"});
    Run({"record", "b.mcap", "--frames", "6", "--color", "raw", "--recording", "a.mcap"});
    std::string error;
    const auto first = CRecordingReader::Open(m_folder.File("a.mcap"), &error);
    const auto second = CRecordingReader::Open(m_folder.File("b.mcap"), &error);
    ASSERT_TRUE(first != nullptr && second != nullptr) << error;
    EXPECT_EQ(second->CalibrationXml(), ReadFile(kOffice + "/calibration.xml"));
    EXPECT_EQ(second->Camera().m_features, first->Camera().m_features);
    EXPECT_EQ(second->Camera().m_description, first->Camera().m_description);
    RecordedFacts facts[2];
    std::vector<uint16_t> depth[2];
    std::vector<uint8_t> color[2];
    for (size_t i = 0; i < 6; ++i) {
        ASSERT_TRUE(first->ReadFacts(i, &facts[0]) && second->ReadFacts(i, &facts[1]));
        EXPECT_EQ(facts[0].m_ticks, facts[1].m_ticks);
        ASSERT_TRUE(first->ReadDepth(i, &depth[0]) && second->ReadDepth(i, &depth[1]));
        EXPECT_EQ(depth[0], depth[1]);
        EXPECT_EQ(depth[0], ReadDepth(kOffice + "/depth/" + RecordingImageName((facts[0].m_number - 1) % 2)));
        ASSERT_TRUE(first->ReadColor(i, &color[0]) && second->ReadColor(i, &color[1]));
        EXPECT_EQ(color[0], color[1]);
    }
}

TEST_F(ToolRun, ARecordingThatCannotBeMadeOrReadIsALineAndLosesNothing) {
    Run({"record", "a.mcap", "--frames", "2", "--recording", kDesk});
    const std::string whole = ReadFile(m_folder.File("a.mcap"));
    Run({"record", "a.mcap", "--recording", kDesk}, 7, {"exists already; --force replaces it"});
    Run({"record", "a.mcap", "--force", "--serial", "none", "--recording", kDesk}, 4,
        {"no camera with serial"});
    EXPECT_EQ(ReadFile(m_folder.File("a.mcap")), whole);
    Run({"record", "no/a.mcap"}, 7, {"cannot write into the folder"});
    Run({"record", "b.mcap", "--serial", "none"}, 4);
    EXPECT_FALSE(fs::exists(m_folder.File("b.mcap")));
    WriteFile(m_folder.File("text"), "no recording");
    Run({"play", "text"}, 7, {"text: no MCAP file\n"});
    Run({"list", "--recording", "text"}, 7, {"text: no MCAP file\n"});
    WriteFile(m_folder.File("a.mcap"), whole.substr(0, whole.size() - 10));
    Run({"play", "a.mcap"}, 0, {"2 frames, depth 640 x 480"});
    // These two take no camera control.
    const auto repair = [&](const char* file, int code) {
        CProcess process({OX3D_TOOL, "repair", file}, m_folder.Path());
        EXPECT_EQ(process.Finish(), code);
        return process.Output();
    };
    EXPECT_THAT(repair("a.mcap", 0), HasSubstr("2 chunks are whole, 0 are damaged; a torn end"));
    EXPECT_EQ(ReadFile(m_folder.File("a.mcap")), whole);
    EXPECT_THAT(repair("text", 7), HasSubstr("cannot be repaired: text: no MCAP file"));
    WriteFile(m_folder.File("b.mcap.7.part"), whole.substr(0, 3000)); // killed before the first frame
    EXPECT_THAT(repair("b.mcap.7.part", 6), HasSubstr(".part: there is no whole frame in it; nothing"));
    CProcess endless = Start({"record", "b.mcap", "--recording", kDesk, "--sync", "0.01"});
    ASSERT_TRUE(endless.WaitForOutput("frames are arriving"));
    endless.Signal(SIGINT);
    EXPECT_EQ(endless.Finish(), 0);
    EXPECT_THAT(endless.Output(),
                AllOf(HasSubstr("/b.mcap.7.part: a recording left it"), HasSubstr(" fps, 0 dropped, ")));
    EXPECT_FALSE(fs::exists(m_folder.File("b.mcap.7.part")));
    EXPECT_THAT(repair("b.mcap", 0), HasSubstr("the file was closed and is as it was"));
}

TEST_F(ToolRun, WhatWasLostStaysLostAndWhatIsDamagedIsToldWhenARecordingIsPlayed) {
    UseCameras({"fps = 60\nfault = drop_every 3"});
    Run({"record", "a.mcap", "--frames", "6", "--color", "none"}, 0, {"frames were lost on the way"});
    Run({"record", "b.mcap", "--frames", "6", "--recording", "a.mcap"});
    for (const char* const name : {"a.mcap", "b.mcap"}) {
        std::string error;
        const auto recording = CRecordingReader::Open(m_folder.File(name), &error);
        ASSERT_NE(recording, nullptr) << error;
        RecordedFacts facts;
        std::vector<uint64_t> numbers;
        std::vector<uint64_t> lost;
        for (size_t i = 0; i < recording->FrameCount(); ++i) {
            ASSERT_TRUE(recording->ReadFacts(i, &facts));
            numbers.push_back(facts.m_number);
            lost.push_back(facts.m_lostBefore);
        }
        EXPECT_THAT(numbers, ElementsAre(1, 2, 4, 5, 7, 8)) << name;
        EXPECT_THAT(lost, ElementsAre(0, 0, 1, 0, 1, 0)) << name;
    }
    Run({"play", "a.mcap"}, 0, {"6 frames, ", ", 2 lost, "});
    // A frame in the middle is passed over; the last one is waited for, and then given up.
    CMcapFile file;
    McapContents contents;
    std::string error;
    ASSERT_TRUE(file.Open(m_folder.File("a.mcap"), false, &error) && ReadMcapSummary(file, &contents));
    std::string bytes = ReadFile(m_folder.File("a.mcap"));
    const auto spoil = [&](size_t frame) {
        const McapChunkInfo& chunk = contents.m_summary.m_chunks.at(frame);
        bytes[chunk.m_offset + chunk.m_lengthBytes / 2] ^= 1;
        WriteFile(m_folder.File("a.mcap"), bytes);
    };
    spoil(3);
    Run({"play", "a.mcap"}, 0, {"5 frames, ", ", 3 lost, "});
    spoil(5);
    Run({"play", "a.mcap", "--speed", "2"}, 6, {"4 frames, ", "ox3d: 2 of 6 frames did not come, the last"});
}

// The points of a binary file, each its place and its red, green and blue, behind a header that is exactly that, with
// their number for each #.
std::vector<std::string> ReadCloud(const std::string& file, const std::string& header, bool isPly) {
    const std::string bytes = ReadFile(file);
    const size_t pointBytes = isPly ? 15 : 16;
    const std::string end = isPly ? "end_header\n" : "DATA binary\n";
    const size_t begin = bytes.find(end) + end.size();
    std::vector<std::string> points((bytes.size() - std::min(begin, bytes.size())) / pointBytes);
    const std::regex number("#");
    EXPECT_EQ(bytes.substr(bytes.find('\n') + 1, begin - bytes.find('\n') - 1),
              std::regex_replace(header, number, std::to_string(points.size())) + end);
    EXPECT_EQ(bytes.size(), begin + points.size() * pointBytes);
    for (size_t i = 0; i < points.size(); ++i) {
        points[i] = bytes.substr(begin + i * pointBytes, pointBytes);
        if (!isPly) { // a word 0x00RRGGBB
            EXPECT_EQ(points[i].back(), '\0');
            points[i].pop_back();
            std::reverse(points[i].begin() + 12, points[i].end());
        }
    }
    return points;
}

std::vector<std::string> ReadPly(const std::string& file) {
    return ReadCloud(file,
                     "format binary_little_endian 1.0\n"
                     "comment unit: metre; camera frame: x to the right, y down, z along the view\n"
                     "element vertex #\nproperty float x\nproperty float y\nproperty float z\n"
                     "property uchar red\nproperty uchar green\nproperty uchar blue\n",
                     true);
}

std::vector<std::string> ReadPcd(const std::string& file) {
    return ReadCloud(file,
                     "VERSION 0.7\nFIELDS x y z rgb\nSIZE 4 4 4 4\nTYPE F F F U\nCOUNT 1 1 1 1\nWIDTH #\n"
                     "HEIGHT 1\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS #\n",
                     false);
}

// Whether the lens of 525, 526, 320, 240 and that distortion sends each point of the file to the pixel that it is of.
void ExpectPointsOnTheirPixels(const std::vector<std::string>& points, const std::vector<uint16_t>& depth,
                               const std::vector<uint8_t>& planes, const std::array<double, 5>& distortion) {
    const auto& [k1, k2, p1, p2, k3] = distortion;
    size_t pixel = 0;
    for (const std::string& point : points) {
        pixel = static_cast<size_t>(std::find_if(depth.begin() + static_cast<ptrdiff_t>(pixel), depth.end(),
                                                 [](auto sample) { return sample != 0; }) -
                                    depth.begin());
        ASSERT_LT(pixel, depth.size());
        float place[3];
        memcpy(place, point.data(), sizeof(place));
        const size_t row = pixel / 640;
        const double z = static_cast<double>(place[2]);
        const double x = static_cast<double>(place[0]) / z;
        const double y = static_cast<double>(place[1]) / z;
        const double r2 = x * x + y * y;
        const double radial = 1 + k1 * r2 + k2 * r2 * r2 + k3 * r2 * r2 * r2;
        ASSERT_NEAR(525 * (x * radial + 2 * p1 * x * y + p2 * (r2 + 2 * x * x)) + 320,
                    static_cast<double>(pixel % 640), 1e-2);
        ASSERT_NEAR(526 * (y * radial + 2 * p2 * x * y + p1 * (r2 + 2 * y * y)) + 240,
                    static_cast<double>(row), 1e-2);
        ASSERT_NEAR(z * 1000, depth[pixel], 1e-3);
        for (size_t channel = 0; channel < 3; ++channel) {
            ASSERT_EQ(static_cast<uint8_t>(point[12 + channel]), planes[channel * depth.size() + pixel]);
        }
        ++pixel;
    }
}

TEST_F(ToolRun, ConvertsBetweenFormsOfRecordings) {
    const auto convert = [&](std::vector<std::string> arguments, int code = 0) {
        arguments.insert(arguments.begin(), {OX3D_TOOL, "convert"});
        CProcess process(arguments, m_folder.Path(), {m_variables.front()});
        EXPECT_EQ(process.Finish(), code) << process.Output();
        return process.Output();
    };
    EXPECT_THAT(convert({kDesk, "a.mcap", "--color", "raw"}), HasSubstr("2 of 2 frames\n"));
    // Other readers know the lenses by their messages, as of what the library records.
    convert({kOffice, "office.mcap"});
    Run({"record", "recorded.mcap", "--frames", "1", "--recording", kOffice});
    std::string error;
    const auto converted = CRecordingReader::Open(m_folder.File("office.mcap"), &error);
    const auto recorded = CRecordingReader::Open(m_folder.File("recorded.mcap"), &error);
    ASSERT_TRUE(converted != nullptr && recorded != nullptr) << error;
    for (const auto lens : {&RecordedCamera::m_depthLens, &RecordedCamera::m_colorLens}) {
        const auto& ours = converted->Camera().*lens;
        const auto& theirs = recorded->Camera().*lens;
        ASSERT_TRUE(ours && theirs);
        EXPECT_EQ(ours->m_width + ours->m_height, theirs->m_width + theirs->m_height);
        EXPECT_NEAR(ours->m_fx, theirs->m_fx, 1e-3);
        EXPECT_NEAR(ours->m_cy, theirs->m_cy, 1e-3);
        EXPECT_THAT(ours->m_distortion, Pointwise(DoubleNear(1e-6), theirs->m_distortion));
    }
    // Color that was packed once is not packed again, unless another quality is asked for.
    convert({"office.mcap", "kept.mcap"});
    convert({"office.mcap", "packed.mcap", "--quality", "50"});
    const auto kept = CRecordingReader::Open(m_folder.File("kept.mcap"), &error);
    const auto packed = CRecordingReader::Open(m_folder.File("packed.mcap"), &error);
    ASSERT_TRUE(kept != nullptr && packed != nullptr) << error;
    std::vector<uint8_t> jpeg[3];
    for (size_t i = 0; i < 2; ++i) {
        ASSERT_TRUE(converted->ReadJpeg(i, &jpeg[0]) && kept->ReadJpeg(i, &jpeg[1]) &&
                    packed->ReadJpeg(i, &jpeg[2]));
        EXPECT_EQ(jpeg[0], jpeg[1]);
        EXPECT_LT(jpeg[2].size(), jpeg[0].size() * 3 / 4);
    }
    fs::remove(m_folder.File("kept.mcap"));
    fs::remove(m_folder.File("packed.mcap"));
    fs::remove(m_folder.File("office.mcap"));
    fs::remove(m_folder.File("recorded.mcap"));
    convert({"a.mcap", "png", "--to", "png"});
    for (const size_t i : {0, 1}) { // under the numbers of the frames, which begin with 1
        EXPECT_EQ(ReadDepth(m_folder.File("png/depth/") + RecordingImageName(i + 1)),
                  ReadDepth(kDesk + "/depth/" + RecordingImageName(i)));
    }
    EXPECT_EQ(ReadFile(m_folder.File("png/calibration.xml")), ReadFile(kDesk + "/calibration.xml"));
    // Depth lies on color in both, in other units.
    convert({"a.mcap", "tum", "--to", "tum"});
    convert({"a.mcap", "redwood", "--to", "redwood"});
    EXPECT_THAT(ReadFile(m_folder.File("redwood/camera_intrinsic.json")),
                HasSubstr("\"intrinsic_matrix\": ["));
    EXPECT_THAT(ReadFile(m_folder.File("tum/associations.txt")),
                HasSubstr("0.000000 rgb/0.000000.png 0.000000 depth/"));
    convert({"tum", "tum.mcap"});
    convert({"redwood", "redwood.mcap"});
    const auto tum = CRecordingReader::Open(m_folder.File("tum.mcap"), &error);
    const auto redwood = CRecordingReader::Open(m_folder.File("redwood.mcap"), &error);
    ASSERT_TRUE(tum != nullptr && redwood != nullptr) << error;
    ASSERT_TRUE(redwood->Camera().m_depthLens);
    EXPECT_NEAR(redwood->Camera().m_depthLens->m_fx, tum->Camera().m_depthLens->m_fx, 1e-4);
    std::vector<uint16_t> samples[2];
    for (size_t i = 0; i < 2; ++i) {
        ASSERT_TRUE(tum->ReadDepth(i, &samples[0]) && redwood->ReadDepth(i, &samples[1]));
        EXPECT_EQ(samples[0], samples[1]);
        EXPECT_EQ(samples[1], ReadDepth(m_folder.File("redwood/depth/00000") + std::to_string(i) + ".png"));
        EXPECT_GT(std::count_if(samples[1].begin(), samples[1].end(), [](auto s) { return s != 0; }), 30000);
    }
    convert({"a.mcap", "ply", "--to", "ply"});
    convert({"a.mcap", "pcd/", "--to", "pcd"});
    const std::vector<std::string> points = ReadPly(m_folder.File("ply/000001.ply"));
    EXPECT_GT(points.size(), 30000U);
    EXPECT_EQ(ReadPcd(m_folder.File("pcd/000001.pcd")), points);
    // Folders of others without a detour.
    convert({"tum", "again", "--to", "redwood"});
    EXPECT_EQ(ReadFile(m_folder.File("again/depth/000001.png")),
              ReadFile(m_folder.File("redwood/depth/000001.png")));
    WriteFile(m_folder.File("tum/calibration.txt"),
              "# lens\n640 480 525 526 320 240 0.2 -0.5 0.003 -0.002 0.6\n");
    convert({"tum", "tum.ply", "--to", "ply"});
    convert({"tum", "tum.pcd", "--to", "pcd"});
    const std::vector<std::string> tumPoints = ReadPly(m_folder.File("tum.ply/000001.ply"));
    EXPECT_EQ(ReadPcd(m_folder.File("tum.pcd/000001.pcd")), tumPoints);
    PngSize size;
    std::vector<uint8_t> planes;
    ASSERT_TRUE(ReadColorPng(m_folder.File("redwood/color/000001.png"), &size, &planes, &error)) << error;
    EXPECT_GT(tumPoints.size(), 30000U);
    ExpectPointsOnTheirPixels(tumPoints, samples[1], planes, {0.2, -0.5, 0.003, -0.002, 0.6});
    // The first frame has no color; the other one keeps its own.
    fs::remove(m_folder.File("redwood/color/000000.png"));
    const std::string list = ReadFile(m_folder.File("tum/rgb.txt"));
    const std::string last = list.substr(list.rfind('\n', list.size() - 2) + 1);
    WriteFile(m_folder.File("tum/rgb.txt"), last + last);
    EXPECT_THAT(convert({"redwood", "redwood2.mcap", "--color", "raw"}), HasSubstr("2 of 2 frames"));
    EXPECT_THAT(convert({"tum", "tum2.mcap", "--color", "raw"}), HasSubstr("1 lines left out"));
    for (const char* const name : {"redwood2.mcap", "tum2.mcap"}) {
        const auto again = CRecordingReader::Open(m_folder.File(name), &error);
        std::vector<uint8_t> own;
        ASSERT_NE(again, nullptr) << error;
        EXPECT_FALSE(again->ReadColor(0, &own));
        ASSERT_TRUE(again->ReadColor(1, &own));
        EXPECT_EQ(own, planes);
    }
    EXPECT_THAT(ReadFile(m_folder.File("tum2.mcap")), HasSubstr("k1=\"0\"")) << "depth lies on color already";
    WriteFile(m_folder.File("redwood/color/000001.png"), "damaged");
    EXPECT_THAT(convert({"redwood", "redwood3.mcap"}), HasSubstr("000001.png: left out: cannot be read"));
    fs::rename(m_folder.File("redwood/color/000001.png"), m_folder.File("redwood/color/other.png"));
    EXPECT_THAT(convert({"redwood", "b.mcap"}, 7), HasSubstr("is not to be told"));
    WriteFile(m_folder.File("tum/calibration.txt"), "640 480 0 526 320 240 0 0 0 0 0\n");
    EXPECT_THAT(convert({"tum", "b.mcap"}, 7), HasSubstr("no focal lengths above 0"));
    // What the source says of its frames goes along, and color stays lossless.
    convert({"a.mcap", "b.mcap"});
    const auto first = CRecordingReader::Open(m_folder.File("a.mcap"), &error);
    const auto second = CRecordingReader::Open(m_folder.File("b.mcap"), &error);
    ASSERT_TRUE(first != nullptr && second != nullptr) << error;
    EXPECT_EQ(second->Camera().m_facts.at("color"), "raw");
    ASSERT_TRUE(first->Camera().m_colorLens && second->Camera().m_depthLens);
    EXPECT_EQ(second->Camera().m_colorLens->m_cx, first->Camera().m_colorLens->m_cx);
    // A frame that cannot be read costs itself alone, and one camera is written where there is no color.
    fs::remove_all(m_folder.File("png/color"));
    fs::copy_file(m_folder.File("png/depth/000001.png"), m_folder.File("png/depth/000003.png"));
    WriteFile(m_folder.File("png/depth/000002.png"),
              ReadFile(m_folder.File("png/depth/000002.png")).substr(0, 3000));
    EXPECT_THAT(convert({"png", "dark", "--to", "redwood"}), HasSubstr("2 of 3 frames\n"));
    EXPECT_TRUE(fs::exists(m_folder.File("dark/camera_intrinsic.json")));
    EXPECT_TRUE(fs::exists(m_folder.File("dark/depth/000002.png")));
    fs::create_symlink("nowhere", m_folder.File("link"));
    for (const char* const taken : {"ply", "link"}) {
        EXPECT_THAT(convert({"a.mcap", taken, "--to", "ply"}, 7), HasSubstr("exists already"));
    }
    EXPECT_THAT(convert({"a.mcap", "other"}, 2), HasSubstr("say --to "));
    EXPECT_THAT(convert({"ply", "c.mcap"}, 7), HasSubstr("no such file"));
    CProcess full({"/bin/sh", "-c", "ulimit -f 8; trap '' XFSZ; '" OX3D_TOOL "' convert a.mcap c.mcap"},
                  m_folder.Path());
    EXPECT_EQ(full.Finish(), 7);
    EXPECT_THAT(full.Output(), HasSubstr("/c.mcap: File too large\n")); // not a name of its own in between
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder.Path()), {}), 17)
        << "nothing half-written is left";
}

} // namespace
} // namespace ox3d::test

// What is published of a camera, read back through the module that speaks DDS.
#include "ros2/CameraTopics.h"
#include "ros2/Discovery.h"
#include "ros2/RosTypes.h"
#include "tests/ros2/TestDomain.h"

#include <cmath>
#include <cstring>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <thread>

namespace ox3d::ros2 {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 10s;

Topic TopicFor(const std::string& name, const RosType& type, bool isRetained = false) {
    Topic topic;
    topic.m_name = "rt/" + name;
    topic.m_type = WireNameOf(type);
    topic.m_isRetained = isRetained;
    topic.m_keptMessages = 0;
    return topic;
}

struct Ros2Topics : testing::Test {
    Ros2Topics() : m_domain(OpenDomain(90, &m_error)) {}

    std::unique_ptr<IReader> Reader(const std::string& name, const RosType& type, bool isRetained = false) {
        auto reader = m_domain->Subscribe(TopicFor(name, type, isRetained), &m_error);
        EXPECT_NE(reader, nullptr) << m_error;
        return reader;
    }
    std::unique_ptr<CCameraTopics> Camera(const CameraTopicsOptions& options) {
        auto camera = CCameraTopics::Make(*m_domain, options, &m_error);
        EXPECT_NE(camera, nullptr) << m_error;
        return camera;
    }

    std::string m_error;
    std::unique_ptr<IDomain> m_domain;
};

RecordedCamera CameraOf(uint32_t width, uint32_t height) {
    RecordedCamera camera;
    camera.m_depthLens = RecordedLens{width, height, 500, 501, 320, 240, {0.1, 0.2, 0.3, 0.4, 0.5}};
    camera.m_colorLens = camera.m_depthLens;
    camera.m_depthToColor = RecordedWay{{0, -1, 0, 1, 0, 0, 0, 0, 1}, {25, -10, 3}};
    return camera;
}

TEST_F(Ros2Topics, ImagesHaveTheStampTheFrameAndEverySample) {
    const auto camera = Camera({"cell/left"});
    const auto depths = Reader("cell/left/depth/image_raw", kImageType);
    const auto colors = Reader("cell/left/color/image_raw", kImageType);
    const auto infos = Reader("cell/left/depth/camera_info", kCameraInfoType);
    camera->SetCamera(CameraOf(5, 3), false, 1);
    const std::vector<uint16_t> samples = {1, 2, 3, 4, 5, 99, 6, 7, 8, 9, 10, 99, 11, 12, 13, 14, 65535};
    const std::vector<uint8_t> planes = {1, 2, 3, 4, 11, 12, 13, 14, 21, 22, 23, 24};
    FrameView frame;
    frame.m_facts.m_hostNs = 7;
    frame.m_facts.m_cameraNs = 1'700'000'001'000'000'002;
    frame.m_depth = {samples.data(), 5, 3, 6};
    frame.m_color = {planes.data(), 2, 2, EColorLayout::Planar};
    ASSERT_TRUE(camera->Publish(frame));

    RosImage image;
    const MessagePointer depth = depths->Take(kPatience);
    ASSERT_TRUE(depth != nullptr && ReadImage(depth->Bytes(), &image));
    EXPECT_EQ(image.m_header.m_stampNs, 1'700'000'001'000'000'002);
    EXPECT_EQ(image.m_header.m_frameId, "cell_left_depth_optical_frame");
    EXPECT_EQ(image.m_encoding, "16UC1");
    EXPECT_EQ(image.m_stepBytes, 10u);
    uint16_t rows[15];
    ASSERT_EQ(image.m_bytes.size(), sizeof(rows));
    std::memcpy(rows, image.m_bytes.data(), sizeof(rows));
    EXPECT_THAT(rows, testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 65535));

    const MessagePointer color = colors->Take(kPatience);
    ASSERT_TRUE(color != nullptr && ReadImage(color->Bytes(), &image));
    EXPECT_EQ(image.m_encoding, "rgb8");
    EXPECT_THAT(image.m_bytes, testing::ElementsAre(1, 11, 21, 2, 12, 22, 3, 13, 23, 4, 14, 24));

    RecordedLens lens;
    const MessagePointer info = infos->Take(kPatience);
    ASSERT_TRUE(info != nullptr && ReadCameraInfo(info->Bytes(), &lens));
    EXPECT_EQ(lens.m_fy, 501);
    EXPECT_EQ(lens.m_distortion[4], 0.5);
}

TEST_F(Ros2Topics, ALensOfAnotherSizeIsNotPublishedForTheImage) {
    const auto camera = Camera({"other"});
    const auto infos = Reader("other/depth/camera_info", kCameraInfoType);
    camera->SetCamera(CameraOf(640, 480), false, 1);
    const uint16_t sample = 1;
    FrameView frame;
    frame.m_depth = {&sample, 1, 1, 1};
    ASSERT_TRUE(camera->Publish(frame));
    RecordedLens lens;
    const MessagePointer info = infos->Take(kPatience);
    ASSERT_TRUE(info != nullptr && ReadCameraInfo(info->Bytes(), &lens));
    EXPECT_EQ(lens.m_fx, 0);
    EXPECT_EQ(lens.m_width, 1u);
}

// The body looks along x; the color camera stands where the calibration says. Who comes late is told as well.
TEST_F(Ros2Topics, TransformsAreThereForWhoComesLate) {
    const auto camera = Camera({"camera"});
    camera->SetCamera(CameraOf(5, 3), false, 5);
    const auto transforms = Reader("tf_static", kTransformsType, true);
    const MessagePointer message = transforms->Take(kPatience);
    ASSERT_NE(message, nullptr);
    CCdrReader cdr(message->Bytes());
    ASSERT_EQ(cdr.Take<uint32_t>(), 2u);
    const auto expect = [&cdr](const char* parent, const char* child, std::array<double, 7> place) {
        EXPECT_EQ(cdr.Take<int32_t>(), 0);
        EXPECT_EQ(cdr.Take<uint32_t>(), 5u);
        EXPECT_EQ(cdr.Text(), parent);
        EXPECT_EQ(cdr.Text(), child);
        for (const double part : place) {
            EXPECT_NEAR(cdr.Take<double>(), part, 1e-12);
        }
    };
    const double half = std::sqrt(0.5);
    expect("camera_link", "camera_depth_optical_frame", {0, 0, 0, -0.5, 0.5, -0.5, 0.5});
    // Of p' = R p + t with R a quarter turn about z: the place -R' t is (10, 25, -3) mm, the turn R'.
    expect("camera_depth_optical_frame", "camera_color_optical_frame",
           {0.010, 0.025, -0.003, 0, 0, -half, half});
    EXPECT_FALSE(cdr.HasFailed());
}

TEST_F(Ros2Topics, CloudsAndDiagnosticsAreAsLongAsTheySay) {
    const auto camera = Camera({"clouds", true, true});
    const auto clouds = Reader("clouds/depth/points", kPointCloudType);
    const auto diagnostics = Reader("diagnostics", kDiagnosticsType);
    ByteVector cdr;
    const auto points = PutPointCloud(&cdr, {9, camera->CloudFrameId()}, 3, 2, true);
    ASSERT_EQ(points.size(), 96u);
    std::fill(points.begin(), points.end(), uint8_t{7});
    ASSERT_TRUE(camera->IsCloudRead());
    ASSERT_TRUE(camera->PublishCloud(std::move(cdr)));
    const MessagePointer cloud = clouds->Take(kPatience);
    ASSERT_NE(cloud, nullptr);
    CCdrReader reader(cloud->Bytes());
    reader.Take<uint64_t>();
    EXPECT_EQ(reader.Text(), "clouds_depth_optical_frame");
    EXPECT_EQ(reader.Take<uint32_t>(), 2u);
    EXPECT_EQ(reader.Take<uint32_t>(), 3u);
    ASSERT_EQ(reader.Take<uint32_t>(), 4u);
    for (const char* name : {"x", "y", "z", "rgb"}) {
        EXPECT_EQ(reader.Text(), name);
        reader.Take<uint32_t>();
        EXPECT_EQ(reader.Take<uint8_t>(), 7u); // FLOAT32
        EXPECT_EQ(reader.Take<uint32_t>(), 1u);
    }
    reader.Take<uint8_t>();
    EXPECT_EQ(reader.Take<uint32_t>(), 16u);
    EXPECT_EQ(reader.Take<uint32_t>(), 48u);
    EXPECT_THAT(reader.Bytes(), testing::SizeIs(96));
    EXPECT_EQ(reader.Take<uint8_t>(), 0u);
    EXPECT_FALSE(reader.HasFailed());

    camera->PublishDiagnostic(3, {ELevel::Warning, "frames", "2 lost", "VC1", {{"lost", "2"}}});
    const MessagePointer diagnostic = diagnostics->Take(kPatience);
    ASSERT_NE(diagnostic, nullptr);
    CCdrReader status(diagnostic->Bytes());
    status.Take<uint64_t>();
    EXPECT_EQ(status.Text(), "");
    EXPECT_EQ(status.Take<uint32_t>(), 1u);
    EXPECT_EQ(status.Take<uint8_t>(), 1u);
    EXPECT_EQ(status.Text(), "clouds: frames");
    EXPECT_EQ(status.Text(), "2 lost");
    EXPECT_EQ(status.Text(), "VC1");
    EXPECT_EQ(status.Take<uint32_t>(), 1u);
    EXPECT_EQ(status.Text(), "lost");
    EXPECT_EQ(status.Text(), "2");
    EXPECT_FALSE(status.HasFailed());
}

// The identities of the graph are 24 bytes in Humble and 16 later, under one name.
TEST_F(Ros2Topics, TheGraphNamesEveryWriterInTheLayoutThatWasChosen) {
    const GraphNode node = Camera({"cell/left"})->Node();
    EXPECT_EQ(node.m_namespace, "/cell");
    EXPECT_EQ(node.m_name, "left");
    EXPECT_EQ(node.m_writers.size(), 6u);
    for (const auto& [layout, gidBytes] :
         {std::pair{EGraphLayout::Humble, 24u}, std::pair{EGraphLayout::Later, 16u}}) {
        ByteVector cdr;
        PutGraph(&cdr, layout, m_domain->Id(), {&node, 1});
        const size_t texts = 4 + 6 + 2 + 4 + 5 + 3;
        EXPECT_EQ(cdr.size(), 4 + gidBytes + 4 + texts + 4 + 4 + 6 * gidBytes);
        EXPECT_EQ(std::memcmp(cdr.data() + 4, m_domain->Id().data(), 16), 0);
    }
}

TEST_F(Ros2Topics, NamesThatRosDoesNotTakeAreRefused) {
    for (const char* name : {"", "/a", "a/", "a//b", "1a", "a/1", "a-b", "a__b", "ä"}) {
        EXPECT_EQ(CCameraTopics::Make(*m_domain, {name}, &m_error), nullptr) << name;
    }
    EXPECT_EQ(TokenOf("VC-01.02"), "VC_01_02");
    DomainOptions foreign;
    foreign.m_interfaces = {"lo\"/><x"};
    void* const module = dlopen(OX3D_ROS2_MODULE, RTLD_NOW | RTLD_LOCAL);
    const auto open = reinterpret_cast<OpenFunction>(dlsym(module, kOpenSymbol));
    EXPECT_EQ(open(foreign, &m_error), nullptr);
}

TEST(Ros2Discovery, IsWhatTheVariablesOfNodesSay) {
    const struct {
        const char* m_localOnly;
        const char* m_range;
        bool m_isDone;
        bool m_isLocal;
        bool m_isNoted;
        std::vector<std::string> m_peers;
    } cases[] = {{"", "", true, false, false, {"own", "a", "10.0.0.2"}},
                 {"0", "SUBNET", true, false, false, {"own", "a", "10.0.0.2"}},
                 {"", "LOCALHOST", true, true, false, {"own", "a", "10.0.0.2"}},
                 {"", "localhost", true, true, true, {"own", "a", "10.0.0.2"}},
                 {"", "SYSTEM_DEFAULT", true, false, false, {"own"}},
                 {"1", "OFF", true, true, false, {"own"}},
                 {"", "OFF", false, false, false, {"own"}}};
    setenv("ROS_STATIC_PEERS", ";a;;10.0.0.2;", 1);
    for (const auto& [localOnly, range, isDone, isLocal, isNoted, peers] : cases) {
        setenv("ROS_LOCALHOST_ONLY", localOnly, 1);
        setenv("ROS_AUTOMATIC_DISCOVERY_RANGE", range, 1);
        DomainOptions options;
        options.m_peers = {"own"};
        std::string note;
        std::string error;
        EXPECT_EQ(ReadDiscovery(&options, &note, &error), isDone) << range;
        EXPECT_EQ(error.empty(), isDone);
        EXPECT_EQ(options.m_isLocal, isLocal) << range;
        EXPECT_EQ(!note.empty(), isNoted) << range;
        EXPECT_EQ(options.m_peers, peers) << range;
    }
}

} // namespace
} // namespace ox3d::ros2

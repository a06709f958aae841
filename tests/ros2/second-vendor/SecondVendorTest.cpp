// Cameras seen by another vendor's DDS, in a private network: what one implementation alone cannot show of names, types,
// qualities and layouts.
#include "interfacesPubSubTypes.h"
#include "ros2/CameraServices.h"
#include "ros2/CameraTopics.h"
#include "tests/ros2/second-vendor/Peer.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ox3d::ros2 {
namespace {

using namespace std::chrono_literals;

using ImagePeer = CPeer<sensor_msgs::msg::dds_::Image_PubSubType>;
using InfoPeer = CPeer<sensor_msgs::msg::dds_::CameraInfo_PubSubType>;
using CloudPeer = CPeer<sensor_msgs::msg::dds_::PointCloud2_PubSubType>;
using TransformPeer = CPeer<tf2_msgs::msg::dds_::TFMessage_PubSubType>;
using DiagnosticPeer = CPeer<diagnostic_msgs::msg::dds_::DiagnosticArray_PubSubType>;
using EventPeer = CPeer<rcl_interfaces::msg::dds_::ParameterEvent_PubSubType>;
using GraphPeer = CPeer<rmw_dds_common::msg::dds_::ParticipantEntitiesInfo_PubSubType>;

constexpr uint32_t kDomain = 0;
constexpr auto kPatience = 20s;
constexpr uint32_t kWidth = 1280;
constexpr uint32_t kHeight = 720;

std::unique_ptr<IDomain> OpenDomain() {
    std::string error;
    void* const module = dlopen(OX3D_ROS2_MODULE, RTLD_NOW | RTLD_LOCAL);
    const auto open = reinterpret_cast<OpenFunction>(dlsym(module, kOpenSymbol));
    DomainOptions options;
    options.m_number = kDomain;
    options.m_interfaces = {"lo"};
    options.m_peers = {"127.0.0.1"};
    std::unique_ptr<IDomain> domain(open(options, &error));
    EXPECT_NE(domain, nullptr) << error;
    return domain;
}

std::unique_ptr<CCameraTopics> CameraOf(IDomain& domain, const CameraTopicsOptions& options) {
    std::string error;
    auto camera = CCameraTopics::Make(domain, options, &error);
    EXPECT_NE(camera, nullptr) << error;
    return camera;
}

// A depth image of its number: no two are alike, and a piece of one in another shows.
class CImages {
public:
    FrameView Of(uint32_t number) {
        uint32_t state = number * 2654435761U + 1;
        for (uint16_t& sample : m_samples) {
            state = state * 1664525U + 1013904223U;
            sample = static_cast<uint16_t>(state >> 16U);
        }
        FrameView frame;
        frame.m_facts.m_cameraNs = uint64_t{1'700'000'000} * 1'000'000'000 + number;
        frame.m_depth = {m_samples.data(), kWidth, kHeight, kWidth};
        return frame;
    }
    bool IsImage(uint32_t number, const sensor_msgs::msg::dds_::Image_& image) {
        Of(number);
        return image.header().stamp().sec() == 1'700'000'000 && image.header().stamp().nanosec() == number &&
               image.header().frame_id() == "camera_depth_optical_frame" && image.width() == kWidth &&
               image.height() == kHeight && image.encoding() == "16UC1" && image.is_bigendian() == 0 &&
               image.step() == kWidth * 2 && image.data().size() == m_samples.size() * 2 &&
               std::memcmp(image.data().data(), m_samples.data(), image.data().size()) == 0;
    }

private:
    std::vector<uint16_t> m_samples = std::vector<uint16_t>(size_t{kWidth} * kHeight);
};

class COneParameter : public IParameters {
public:
    std::vector<std::string> Names() override { return {"Gain"}; }
    ParameterValue Get(const std::string& /*name*/) override { return 2.5; }
    ParameterDescriptor Describe(const std::string& name) override {
        return {name, EParameterType::Double, "", "", false, {}};
    }
    SetResult Set(const Parameter& /*parameter*/) override { return {true, ""}; }
    SetResult SetAll(std::span<const Parameter> /*parameters*/) override { return {true, ""}; }
    SetResult Trigger() override { return {true, ""}; }
};

bool AwaitReaders(const CCameraTopics& camera, uint32_t count) {
    const auto until = std::chrono::steady_clock::now() + kPatience;
    while (camera.Readers() != count && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(10ms);
    }
    return camera.Readers() == count;
}

// No more are on their way than the writer keeps: a machine that is busy makes this slower, and loses nothing.
void ExpectEachImage(uint32_t count, const PeerOptions& options) {
    const auto domain = OpenDomain();
    const auto camera = CameraOf(*domain, {"camera"});
    ImagePeer peer(kDomain, "rt/camera/depth/image_raw", options);
    ASSERT_TRUE(peer.AwaitWriters(1, kPatience));
    ASSERT_TRUE(AwaitReaders(*camera, 1));
    constexpr uint32_t kOnTheirWay = 3;
    CImages images;
    uint32_t received = 0;
    for (uint32_t sent = 0; received < count; ++sent) {
        if (sent < count) {
            ASSERT_TRUE(camera->Publish(images.Of(sent))) << sent;
        }
        if (sent >= kOnTheirWay) {
            const auto image = peer.Take(kPatience);
            ASSERT_TRUE(image) << received;
            ASSERT_TRUE(images.IsImage(received, *image)) << received;
            ++received;
        }
    }
    EXPECT_EQ(peer.Count(), count);
}

TEST(SecondVendor, AThousandReliableImagesComeByteForByte) {
    ExpectEachImage(1000, {});
}

// A socket that holds an eighth of an image: what it drops is sent again.
TEST(SecondVendor, ReadersThatSetNoBufferGetEachImage) {
    PeerOptions options;
    options.m_socketBytes = 0;
    ExpectEachImage(60, options);
}

TEST(SecondVendor, EveryTypeIsReadFieldByField) {
    const auto domain = OpenDomain();
    const auto camera = CameraOf(*domain, {"camera", true, true});
    RecordedCamera described;
    described.m_depthLens = RecordedLens{2, 1, 500, 501, 320, 240, {0.1, 0.2, 0.3, 0.4, 0.5}};
    described.m_depthToColor = RecordedWay{{1, 0, 0, 0, 1, 0, 0, 0, 1}, {25, -10, 3}};
    camera->SetCamera(described, false, 5);
    ByteVector cdr;
    const GraphNode node = camera->Node();
    PutGraph(&cdr, EGraphLayout::Later, domain->Id(), {&node, 1});
    Topic topic{
        "ros_discovery_info", "rmw_dds_common::msg::dds_::ParticipantEntitiesInfo_", "", true, true, 1};
    std::string error;
    const auto graphWriter = domain->Publish(topic, &error);
    ASSERT_NE(graphWriter, nullptr) << error;
    ASSERT_TRUE(graphWriter->Write(std::make_shared<CMessage>(std::move(cdr))));

    COneParameter
        parameters; // services are not called, but announced: what they say of themselves is on the wire
    const auto services = CCameraServices::Make(*domain, "camera", parameters, &error);
    ASSERT_NE(services, nullptr) << error;

    // These come later than what they are told.
    TransformPeer transforms(kDomain, "rt/tf_static", {true});
    const auto transform = transforms.Take(kPatience);
    ASSERT_TRUE(transform);
    ASSERT_EQ(transform->transforms().size(), 2u);
    const auto& optical = transform->transforms()[0];
    EXPECT_EQ(optical.header().frame_id(), "camera_link");
    EXPECT_EQ(optical.child_frame_id(), "camera_depth_optical_frame");
    EXPECT_EQ(optical.transform().rotation().x(), -0.5);
    EXPECT_EQ(optical.transform().rotation().y(), 0.5);
    const auto& color = transform->transforms()[1];
    EXPECT_EQ(color.child_frame_id(), "camera_color_optical_frame");
    EXPECT_NEAR(color.transform().translation().x(), -0.025, 1e-12);
    EXPECT_NEAR(color.transform().translation().y(), 0.010, 1e-12);
    EXPECT_EQ(color.transform().rotation().w(), 1);

    GraphPeer graph(kDomain, "ros_discovery_info", {true});
    const auto entities = graph.Take(kPatience);
    ASSERT_TRUE(entities);
    EXPECT_EQ(entities->gid().data(), domain->Id());
    ASSERT_EQ(entities->node_entities_info_seq().size(), 1u);
    EXPECT_EQ(entities->node_entities_info_seq()[0].node_namespace(), "/");
    EXPECT_EQ(entities->node_entities_info_seq()[0].node_name(), "camera");
    ASSERT_EQ(entities->node_entities_info_seq()[0].writer_gid_seq().size(), 7u);
    EXPECT_EQ(entities->node_entities_info_seq()[0].writer_gid_seq()[6].data(), node.m_writers[6]);

    InfoPeer infos(kDomain, "rt/camera/depth/camera_info", {false, false});
    CloudPeer clouds(kDomain, "rt/camera/depth/points");
    DiagnosticPeer diagnostics(kDomain, "rt/diagnostics");
    ASSERT_TRUE(AwaitReaders(*camera, 1)); // of the points
    ASSERT_TRUE(infos.AwaitWriters(1, kPatience) && diagnostics.AwaitWriters(1, kPatience));
    const uint16_t samples[] = {1, 2};
    FrameView frame;
    frame.m_facts.m_cameraNs = 3'000'000'004;
    frame.m_depth = {samples, 2, 1, 2};
    const auto publishUntil = [&](auto& peer, auto publish) { // writers may not know of the reader yet
        for (int round = 0; round < 100; ++round) {
            publish();
            if (auto message = peer.Take(200ms)) {
                return message;
            }
        }
        return decltype(peer.Take(0ms))();
    };
    const auto info = publishUntil(infos, [&] { camera->Publish(frame); });
    ASSERT_TRUE(info);
    EXPECT_EQ(info->header().stamp().sec(), 3);
    EXPECT_EQ(info->header().stamp().nanosec(), 4u);
    EXPECT_EQ(info->distortion_model(), "plumb_bob");
    EXPECT_THAT(info->d(), testing::ElementsAre(0.1, 0.2, 0.3, 0.4, 0.5));
    EXPECT_THAT(info->k(), testing::ElementsAre(500, 0, 320, 0, 501, 240, 0, 0, 1));
    EXPECT_THAT(info->p(), testing::ElementsAre(500, 0, 320, 0, 0, 501, 240, 0, 0, 0, 1, 0));
    EXPECT_FALSE(info->roi().do_rectify());

    const auto cloud = publishUntil(clouds, [&] {
        ByteVector message;
        const auto points = PutPointCloud(&message, {6, camera->CloudFrameId()}, 100, 99, true);
        std::fill(points.begin(), points.end(), uint8_t{7});
        camera->PublishCloud(std::move(message));
    });
    ASSERT_TRUE(cloud);
    ASSERT_EQ(cloud->fields().size(), 4u);
    EXPECT_EQ(cloud->fields()[3].name(), "rgb");
    EXPECT_EQ(cloud->fields()[3].offset(), 12u);
    EXPECT_EQ(cloud->fields()[3].datatype(), 7u);
    EXPECT_EQ(cloud->row_step(), 1600u);
    EXPECT_EQ(cloud->data(), std::vector<uint8_t>(158400, 7)); // in pieces on the wire
    EXPECT_FALSE(cloud->is_dense());

    EventPeer events(kDomain, "rt/parameter_events");
    topic = {"rt/parameter_events", "rcl_interfaces::msg::dds_::ParameterEvent_", "", true, false, 10};
    const auto eventWriter = domain->Publish(topic, &error);
    ASSERT_NE(eventWriter, nullptr) << error;
    const auto event = publishUntil(events, [&] {
        ByteVector message;
        const std::vector<Parameter> changed = {{"Gain", 2.5}, {"Mode", std::string("On")}, {"Flag", true}};
        PutParameterEvent(&message, 5'000'000'006, "/camera", changed);
        eventWriter->Write(std::make_shared<CMessage>(std::move(message)));
    });
    ASSERT_TRUE(event);
    EXPECT_EQ(event->stamp().sec(), 5);
    EXPECT_EQ(event->stamp().nanosec(), 6u);
    EXPECT_EQ(event->node(), "/camera");
    EXPECT_TRUE(event->new_parameters().empty() && event->deleted_parameters().empty());
    ASSERT_EQ(event->changed_parameters().size(), 3u);
    EXPECT_EQ(event->changed_parameters()[0].name(), "Gain");
    EXPECT_EQ(event->changed_parameters()[0].value().type(), 3);
    EXPECT_EQ(event->changed_parameters()[0].value().double_value(), 2.5);
    EXPECT_EQ(event->changed_parameters()[1].value().string_value(), "On");
    EXPECT_TRUE(event->changed_parameters()[2].value().bool_value());

    const auto diagnostic = publishUntil(diagnostics, [&] {
        camera->PublishDiagnostic(3, {ELevel::Warning, "frames", "2 lost", "VC1", {{"lost", "2"}}});
    });
    ASSERT_TRUE(diagnostic);
    ASSERT_EQ(diagnostic->status().size(), 1u);
    EXPECT_EQ(diagnostic->status()[0].level(), 1);
    EXPECT_EQ(diagnostic->status()[0].name(), "camera: frames");
    ASSERT_EQ(diagnostic->status()[0].values().size(), 1u);
    EXPECT_EQ(diagnostic->status()[0].values()[0].value(), "2");
}

// The slow one would take 20 s for what the fast one gets; it misses images in place of holding anybody up.
TEST(SecondVendor, ASlowReaderSlowsNeitherTheFastOneNorTheWriter) {
    const auto domain = OpenDomain();
    const auto camera = CameraOf(*domain, {"camera"});
    ImagePeer fast(kDomain, "rt/camera/depth/image_raw");
    ImagePeer slow(kDomain, "rt/camera/depth/image_raw", {false, true, 200ms});
    ASSERT_TRUE(AwaitReaders(*camera, 2));
    ASSERT_TRUE(fast.AwaitWriters(1, kPatience) && slow.AwaitWriters(1, kPatience));
    constexpr uint32_t kImages = 100;
    CImages images;
    for (uint32_t number = 0; number < kImages; ++number) {
        ASSERT_TRUE(camera->Publish(images.Of(number))) << number;
        const auto image = fast.Take(kPatience);
        ASSERT_TRUE(image && images.IsImage(number, *image)) << number;
    }
    EXPECT_GT(slow.Count(), 0u);
    EXPECT_LT(slow.Count(), kImages);
}

// Viewers ask for reliable images, and programs that take what comes for best effort; a camera on a wireless network offers no more.
TEST(SecondVendor, ReadersMatchByTheQualityThatIsOffered) {
    const auto domain = OpenDomain();
    const auto wired = CameraOf(*domain, {"wired"});
    const auto wireless = CameraOf(*domain, {"wireless", false});
    PeerOptions any;
    any.m_isReliable = false;
    ImagePeer wiredAny(kDomain, "rt/wired/depth/image_raw", any);
    ImagePeer wirelessAny(kDomain, "rt/wireless/depth/image_raw", any);
    ImagePeer refused(kDomain, "rt/wireless/depth/image_raw");
    ASSERT_TRUE(AwaitReaders(*wired, 1) && AwaitReaders(*wireless, 1));
    CImages images;
    const auto expectImage = [&images](CCameraTopics& camera, ImagePeer& peer) {
        ASSERT_TRUE(peer.AwaitWriters(1, kPatience));
        std::optional<ImagePeer::Message> image;
        for (int i = 0; i < 40 && !image; ++i) { // one that loses a piece is not sent again
            ASSERT_TRUE(camera.Publish(images.Of(1)));
            image = peer.Take(500ms);
        }
        ASSERT_TRUE(image);
        EXPECT_EQ(image->data().size(), size_t{2} * kWidth * kHeight);
    };
    expectImage(*wired, wiredAny);
    expectImage(*wireless, wirelessAny);
    EXPECT_FALSE(refused.AwaitWriters(1, 300ms));
    EXPECT_EQ(wireless->Readers(), 1u);
}

// Who writes the identity before the request is answered, whatever DDS it uses; who tells it beside the request, as
// rmw_fastrtps does, is refused, and disturbs nobody.
TEST(SecondVendor, ClientsAreAnsweredThatWriteTheIdentityBeforeTheRequest) {
    const auto domain = OpenDomain();
    COneParameter parameters;
    std::string error;
    const auto services = CCameraServices::Make(*domain, "camera", parameters, &error);
    ASSERT_NE(services, nullptr) << error;

    PeerOptions options;
    options.m_type = "std_srvs::srv::dds_::Trigger_Response_";
    CPeer<identified::Trigger_Response_PubSubType> replies(kDomain, "rr/camera/triggerReply", options);
    options.m_type = "std_srvs::srv::dds_::Trigger_Request_";
    CPeerWriter<identified::Trigger_Request_PubSubType> requests(kDomain, "rq/camera/triggerRequest",
                                                                 options);
    CPeerWriter<std_srvs::srv::dds_::Trigger_Request_PubSubType> beside(kDomain, "rq/camera/triggerRequest");
    CPeerWriter<rcl_interfaces::srv::dds_::ListParameters_Request_PubSubType> list(
        kDomain, "rq/camera/list_parametersRequest");
    CPeerWriter<rcl_interfaces::srv::dds_::SetParameters_Request_PubSubType> set(
        kDomain, "rq/camera/set_parametersRequest");
    ASSERT_TRUE(replies.AwaitWriters(1, kPatience) && requests.AwaitReader(kPatience) &&
                beside.AwaitReader(kPatience) && list.AwaitReader(kPatience) && set.AwaitReader(kPatience));

    rcl_interfaces::msg::dds_::Parameter_ gain;
    gain.name("Gain");
    gain.value().type(3);
    gain.value().double_value(4.5);
    rcl_interfaces::srv::dds_::SetParameters_Request_ setting;
    setting.parameters({gain});
    // What is sent before the other side knows who sends is lost, so clients ask again.
    const auto expectRefused = [&services](auto&& write) {
        const uint64_t before = services->Figures().m_malformed;
        for (int i = 0; i < 100 && services->Figures().m_malformed == before; ++i) {
            EXPECT_TRUE(write());
            std::this_thread::sleep_for(50ms);
        }
        EXPECT_GT(services->Figures().m_malformed, before);
    };
    expectRefused([&] { return beside.Write({}, replies.Id()); });
    expectRefused([&] { return list.Write({}, replies.Id()); });
    expectRefused([&] { return set.Write(setting, replies.Id()); });
    EXPECT_EQ(services->Figures().m_answered, 0u);
    EXPECT_EQ(replies.Count(), 0u);

    identified::Trigger_Request_ request;
    request.guid(0x1122334455667788);
    request.seq(7);
    std::optional<identified::Trigger_Response_> reply;
    for (int i = 0; i < 20 && !reply; ++i) {
        EXPECT_TRUE(requests.Write(request));
        reply = replies.Take(500ms);
    }
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->guid(), request.guid());
    EXPECT_EQ(reply->seq(), 7);
    EXPECT_TRUE(reply->success());
}

// The command itself, with the virtual camera.
class CPublisher {
public:
    CPublisher() {
        m_process = fork();
        if (m_process == 0) {
            execl(OX3D_TOOL, "ox3d", "ros2", "--provider", OX3D_VIRTUAL_PROVIDER, "--interface", "lo",
                  "--peer", "127.0.0.1", "--no-graph", nullptr);
            _exit(127);
        }
    }
    ~CPublisher() {
        if (m_process > 0) {
            End(SIGKILL);
        }
    }
    CPublisher(const CPublisher&) = delete;
    CPublisher& operator=(const CPublisher&) = delete;

    int End(int signal) {
        int status = 0;
        kill(m_process, signal);
        waitpid(m_process, &status, 0);
        m_process = 0;
        return status;
    }

private:
    pid_t m_process = 0;
};

TEST(SecondVendor, APublisherThatDiesIsReadAgainWhenItReturns) {
    ImagePeer peer(kDomain, "rt/camera/depth/image_raw");
    const auto takeSome = [&peer] {
        for (int i = 0; i < 5; ++i) {
            const auto image = peer.Take(kPatience);
            ASSERT_TRUE(image);
            EXPECT_EQ(image->encoding(), "16UC1");
            EXPECT_EQ(image->data().size(), size_t{image->step()} * image->height());
        }
    };
    {
        CPublisher publisher;
        takeSome();
        publisher.End(SIGKILL);
    }
    while (peer.Take(500ms)) {
    }
    CPublisher returned;
    takeSome();
    EXPECT_EQ(returned.End(SIGINT), 0); // an end by Ctrl-C is no failure
}

// For peers.sh, which runs it on a host of its own.
TEST(SecondVendor, DISABLED_AnImageComesFromAnotherHost) {
    const char* const seconds = std::getenv("OX3D_TEST_SECONDS");
    PeerOptions options;
    options.m_host = std::getenv("OX3D_TEST_PEER");
    ImagePeer peer(kDomain, "rt/camera/depth/image_raw", options);
    EXPECT_TRUE(
        peer.Take(std::chrono::seconds(std::strtol(seconds == nullptr ? "20" : seconds, nullptr, 10))));
}

} // namespace
} // namespace ox3d::ros2

// The command with a virtual camera, as its clients see it.
#include "tests/ros2/ServiceClient.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"

#include <csignal>
#include <gmock/gmock.h>

namespace ox3d::ros2 {
namespace {

// Found on this host without multicast: features are set with the checks of "ox3d set", and a
// trigger makes a frame.
TEST(Ros2Command, SetsTheFeaturesOfACamera) {
    std::string error;
    const auto domain = OpenDomain(92, &error);
    const test::CTempFolder folder;
    test::CProcess tool(
        {OX3D_TOOL, "ros2", "--provider", OX3D_VIRTUAL_PROVIDER, "--domain", "92", "--no-graph"},
        folder.Path().string(), {"CYCLONEDDS_URI=", "ROS_LOCALHOST_ONLY=1"});
    CClient set(*domain, "camera", EService::SetParameters);
    ASSERT_TRUE(set.IsFound()) << "no command, and nobody waits for it with each of the others";
    Topic news;
    news.m_name = "rt/parameter_events";
    news.m_type = WireNameOf(kParameterEventType);
    const auto events = domain->Subscribe(news, &error);
    ASSERT_NE(events, nullptr) << error;
    CClient all(*domain, "camera", EService::SetParametersAtomically);
    CClient get(*domain, "camera", EService::GetParameters);
    CClient list(*domain, "camera", EService::ListParameters);
    CRequestWriter every;
    every.Names({}).Cdr().Add(uint64_t{0});
    uint32_t names = 0;
    const auto until = std::chrono::steady_clock::now() + kPatience;
    while (names == 0 && std::chrono::steady_clock::now() < until) { // until the camera is open
        const ByteVector listed = list.Call(every);
        names = ReplyOf(listed).Take<uint32_t>();
    }
    EXPECT_GT(names, 10u);

    const ByteVector results = set.Call(CRequestWriter().Parameters({{"TriggerMode", std::string("On")},
                                                                     {"TriggerMode", std::string("Maybe")},
                                                                     {"TriggerMode", true},
                                                                     {"ExposureTime", 5000.0},
                                                                     {"ExposureTime", 1e300},
                                                                     {"None", int64_t{1}}}));
    CCdrReader cdr = ReplyOf(results);
    ASSERT_EQ(cdr.Take<uint32_t>(), 6u);
    const auto expect = [&cdr](bool isSet, const std::string& reason) {
        EXPECT_EQ(cdr.Take<uint8_t>(), isSet ? 1u : 0u) << reason;
        EXPECT_THAT(cdr.Text(), testing::HasSubstr(reason));
    };
    expect(true, "");
    expect(false, "possible: ");
    expect(false, "is of another type: Enumeration");
    expect(true, "");
    expect(false, "possible: ");
    expect(false, "no feature");

    // Others are told of what was set, as it is now.
    const MessagePointer event = events->Take(kPatience);
    ASSERT_NE(event, nullptr);
    cdr = CCdrReader(event->Bytes());
    EXPECT_GT(cdr.Take<int32_t>(), 1'600'000'000);
    cdr.Take<uint32_t>();
    EXPECT_EQ(cdr.Text(), "/camera");
    EXPECT_EQ(cdr.Take<uint32_t>(), 0u);
    EXPECT_EQ(cdr.Take<uint32_t>(), 2u);
    EXPECT_EQ(cdr.Text(), "TriggerMode");
    EXPECT_EQ(cdr.Take<uint8_t>(), 4u);

    const ByteVector none = all.Call(
        CRequestWriter().Parameters({{"ExposureTime", 6000.0}, {"TriggerMode", std::string("Maybe")}}));
    cdr = ReplyOf(none);
    expect(false, "taken back");
    const ByteVector values = get.Call(CRequestWriter().Names({"ExposureTime"}));
    cdr = ReplyOf(values);
    EXPECT_EQ(cdr.Take<uint32_t>(), 1u);
    ExpectDouble(&cdr, 5000);

    CClient trigger(*domain, "camera", EService::Trigger);
    trigger.Send({0, 1, 0, 0, 0}); // as clients of the other layer
    ASSERT_TRUE(tool.WaitForOutput("a request was refused that is not as rmw_cyclonedds writes them"));
    Topic images;
    images.m_name = "rt/camera/depth/image_raw";
    images.m_type = WireNameOf(kImageType);
    const auto depths = domain->Subscribe(images, &error);
    ASSERT_NE(depths, nullptr) << error;
    while (depths->Writers() == 0 && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    while (depths->Take(std::chrono::milliseconds(500)) != nullptr &&
           std::chrono::steady_clock::now() < until) {
    } // what came before the trigger's mode was on
    const ByteVector triggered = trigger.Call(TriggerRequest());
    cdr = ReplyOf(triggered);
    expect(true, "");
    EXPECT_NE(depths->Take(kPatience), nullptr);
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Finish(), 0) << tool.Output();
}

} // namespace
} // namespace ox3d::ros2

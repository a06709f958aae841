// The C++ header on the scripted camera: whatever is moved, closed or removed in whatever order, also from inside of
// callbacks, gives a status and leaves nothing behind.
#include "tests/doubles/ScriptedCamera.h"
#include "tests/support/Waiting.h"
#include <ox3drgbd/ox3d.hpp>

namespace {

using ox3d::Camera;
using ox3d::FrameView;

class Cpp : public CScripted {
protected:
    void SetUp() override {
        CScripted::SetUp();
        auto camera = Camera::openSerial(std::string("ETH1"));
        ASSERT_TRUE(camera) << camera.error().text();
        m_camera = *std::move(camera);
        ASSERT_TRUE(m_camera.set("ImageAlign", false));
        ASSERT_TRUE(m_camera.start());
    }
    void TearDown() override {
        m_camera.close();
        EXPECT_TRUE(Eventually([] { return Double().Handles() == 0; })); // closed by another thread, perhaps
        CScripted::TearDown();
    }
    // Counts the frames; more is done by the work.
    [[nodiscard]] ox3d::Subscription Count(std::function<void()> work = [] {}) {
        auto subscription = m_camera.onFrame([this, work = std::move(work)](const FrameView& frame) {
            m_sum += frame.number();
            work();
        });
        EXPECT_TRUE(subscription) << subscription.error().text();
        return *std::move(subscription);
    }
    void Push() {
        Deliver(m_raw);
        EXPECT_TRUE(Double().LentFrames() == 0);
    }
    [[nodiscard]] uint32_t FetchOne() {
        Double().QueueFrame(m_raw.Out());
        return m_camera.fetch().error().code();
    }

    CRawFrame m_raw{64, 48};
    Camera m_camera;
    std::atomic<uint32_t> m_sum{0};
};

TEST_F(Cpp, FramesComeUntilOneDoesNotAndTheRangeSaysWhy) {
    CRawFrame second(64, 48, 2, 777);
    second.AddColor(64, 48, 5);
    Double().QueueFrame(m_raw.Out());
    Double().QueueFrame(second.Out());
    auto frames = m_camera.frames(std::chrono::milliseconds(-1));
    ox3d::Frame kept;
    for (const FrameView& frame : frames) {
        ++m_sum;
        EXPECT_EQ(frame.color().error().code(), frame.number() == 2 ? OX3D_RGBD_OK : OX3D_RGBD_E_NO_DATA);
        kept = *frame.copy();
    }
    EXPECT_EQ(m_sum, 2u);
    EXPECT_EQ(frames.status().name(), "OX3D_RGBD_E_NO_DATA") << "the scripted camera has no more";
    EXPECT_EQ(frames.begin(), frames.end());
    ox3d::Frame moved(std::move(kept));
    EXPECT_EQ(kept->imageCount(), 0u); // NOLINT(bugprone-use-after-move): what it answers then is specified
    EXPECT_EQ(kept->depth().error().code(), OX3D_RGBD_E_NO_DATA);
    const auto times = m_camera.times(*moved);
    ASSERT_TRUE(times);
    EXPECT_EQ(times->nTimeStamp, moved->timeStamp());
    m_camera.close();
    EXPECT_EQ(moved->depth()->row(47)[63], 777);
    EXPECT_EQ(*moved->color()->green.row(0), static_cast<uint8_t>(5 + 64 * 48));
}

TEST_F(Cpp, ACameraThatIsClosedOrMovedFromAnswersAndItsRangeEnds) {
    auto frames = m_camera.frames();
    Double().QueueFrame(m_raw.Out());
    Double().QueueFrame(m_raw.Out());
    Camera other;
    for (const FrameView& frame : frames) {
        m_sum += frame.number();
        if (other) {
            other.close();
        } else {
            other = std::move(m_camera);
            EXPECT_EQ(m_camera.fetch().error().code(), OX3D_RGBD_E_HANDLE);
            EXPECT_EQ(m_camera.onFrame([](const FrameView&) {}).error().code(), OX3D_RGBD_E_HANDLE);
            EXPECT_EQ(m_camera.frames().begin(), frames.end());
            EXPECT_EQ(m_camera.get<int>("Width").error().code(), OX3D_RGBD_E_HANDLE);
        }
    }
    EXPECT_EQ(m_sum, 2u);
    EXPECT_EQ(frames.status().code(), OX3D_RGBD_E_HANDLE);
    EXPECT_EQ(Double().Handles(), 0u);
}

TEST_F(Cpp, ASubscriptionEndsItsCallbackAndMayOutliveTheCamera) {
    {
        const auto subscription = Count();
        Push();
        EXPECT_EQ(FetchOne(), OX3D_RGBD_E_STATE);
    }
    Push();
    EXPECT_EQ(m_sum, 1u);
    Double().Script()->m_frames.clear();
    EXPECT_EQ(FetchOne(), OX3D_RGBD_OK) << "fetching works again";
    auto first = Count();
    auto second = Count();
    first.reset();
    Push();
    EXPECT_EQ(m_sum, 2u) << "what has been replaced takes nothing with it";
    m_camera.close();
    second = ox3d::Subscription();
}

TEST_F(Cpp, ACallbackMayRemoveItselfAndCloseTheCamera) {
    auto witness = std::make_shared<int>();
    auto subscription = Count();
    subscription = Count([&, witness] { subscription.reset(); });
    Push();
    Push();
    EXPECT_EQ(m_sum, 1u);
    EXPECT_EQ(witness.use_count(), 1) << "the function has gone with its subscription";
    subscription = Count([this, witness] { m_camera.close(); });
    Push();
    EXPECT_EQ(m_sum, 2u);
    EXPECT_TRUE(Eventually([] { return Double().Handles() == 0; }));
    EXPECT_EQ(witness.use_count(), 2) << "of the subscription that is left";
}

TEST_F(Cpp, ACallbackThatThrowsMissesNoFrameAndTheCameraIsClosedAtOnce) {
    const auto subscription = Count([] { throw std::runtime_error("of the application"); });
    EXPECT_EQ(LastOf(LinesOf([&] { Push(); })).find("[ImageCallBack]"), 0U);
    Push();
    EXPECT_EQ(m_sum, 2u);
    m_camera.close();
    EXPECT_EQ(Double().Handles(), 0u);
}

TEST_F(Cpp, RemovalWaitsForTheCallInFlight) {
    CFlag isInside;
    std::atomic<bool> isOver{false};
    for (const bool isClosed : {false, true}) {
        auto subscription = Count([&] {
            isInside.Raise();
            std::this_thread::sleep_for(
                std::chrono::milliseconds(20)); // so that a removal that waits not is seen
            isOver = true;
        });
        Deliver(m_raw, false);
        ASSERT_TRUE(isInside.Wait());
        isClosed ? m_camera.close() : subscription.reset();
        EXPECT_TRUE(isOver.exchange(false));
        isInside.Set(false);
    }
}

// The library refuses to wait for a Stop that waits for the callback: what cannot be unregistered then is not called any
// more, and is unregistered when the stream has stopped.
TEST_F(Cpp, ARemovalInsideACallbackThatAStopWaitsForIsMadeUpFor) {
    CFlag isInside;
    ox3d::Subscription subscription;
    subscription = Count([&] {
        isInside.Raise();
        EXPECT_TRUE(
            Eventually([&] { return OX3D_RGBD_InvalidateNodes(m_camera.handle()) == OX3D_RGBD_E_STATE; }));
        subscription.reset();
    });
    Deliver(m_raw, false);
    ASSERT_TRUE(isInside.Wait());
    EXPECT_TRUE(m_camera.stop());
    ASSERT_TRUE(m_camera.start());
    EXPECT_EQ(FetchOne(), OX3D_RGBD_OK);
    EXPECT_EQ(m_sum, 1u);
}

TEST_F(Cpp, ThreadsMayExchangeCallbacksWhileFramesComeAndTheCameraIsClosed) {
    std::thread threads[2];
    for (std::thread& thread : threads) {
        thread = std::thread([this] {
            std::optional<ox3d::Subscription> own;
            for (int i = 0; i < 50; ++i) {
                own = Count();
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        Push();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    auto left = Count();
    const uint32_t before = m_sum;
    Push();
    EXPECT_EQ(m_sum, before + 1);
    std::thread remover([&] { left.reset(); });
    m_camera.close();
    remover.join();
}

TEST_F(Cpp, ARefusedCallbackIsAnErrorAndTheFormerOneStays) {
    auto former = Count();
    Fail(DOUBLE_OX_CC_RegisterImageCallBackEx, OX_CC_E_SUPPORT);
    const auto refused = m_camera.onFrame([](const FrameView&) {});
    EXPECT_EQ(refused.error().code(), OX3D_RGBD_E_CAMERA);
    Push();
    EXPECT_EQ(m_sum, 1u);
}

TEST_F(Cpp, TheLossOfTheCameraIsTold) {
    std::atomic<uint32_t> heard{0};
    const auto subscription =
        m_camera.onException([&, own = std::make_unique<int>()](uint32_t id) { heard = id; });
    Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT);
    EXPECT_EQ(heard, OX3D_RGBD_EXCEPTION_OFFLINE);
}

TEST_F(Cpp, FeaturesAreReadAndWrittenInTheirOwnType) {
    EXPECT_EQ(m_camera.get<uint16_t>("Width").value_or(0), 640);
    EXPECT_EQ(m_camera.get<double>("Width").value_or(0), 640.0);
    EXPECT_EQ(m_camera.get<uint8_t>("Width").error().code(), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(m_camera.get<std::string>("Width").error().code(), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(m_camera.set("Width", "wide").code(), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(m_camera.set("Width", 0.5).code(), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(m_camera.set("Width", ~0ULL).code(), OX3D_RGBD_E_PARAMETER);
    EXPECT_CALLS(m_camera.set("Width", 320.0F).code(), OX3D_RGBD_OK, "OX_XML_GetNodeInterfaceType(Width)",
                 "OX_CC_GetIntValueEx(Width)", "OX_CC_SetIntValueEx(Width, 320)");
    Answer(DOUBLE_OX_XML_GetNodeInterfaceType, OX_IFT_IString);
    EXPECT_EQ(m_camera.set("UserName", std::string(256, 'a')).code(), OX3D_RGBD_E_PARAMETER);
    EXPECT_TRUE(m_camera.set("UserName", std::string(255, 'a')));
    EXPECT_EQ(m_camera.set("UserName", static_cast<const char*>(nullptr)).code(), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(m_camera.get<std::string>(nullptr).error().code(), OX3D_RGBD_E_PARAMETER);
}

TEST_F(Cpp, DevicesAreListedAndOneThatIsNotThereIsAStatus) {
    const auto devices = ox3d::list();
    ASSERT_TRUE(devices);
    ASSERT_EQ(devices->size(), 2u);
    EXPECT_EQ((*devices)[0].serial() + (*devices)[0].ip() + (*devices)[1].model(), "ETH1192.168.1.10RGBD-U");
    EXPECT_EQ(Camera::openSerial("NONE").error().code(), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(Camera::openIp(nullptr).error().code(), OX3D_RGBD_E_PARAMETER);
    EXPECT_TRUE(Camera::open((*devices)[1]));
    EXPECT_EQ(m_camera.info()->serial(), "ETH1");
}

} // namespace

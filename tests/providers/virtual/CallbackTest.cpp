// CallbackTest.cpp - callbacks: on threads of the provider's, and calling back into it from inside.
#include <thread>
#include <vector>

#include "tests/providers/virtual/Provider.h"

using namespace ox3d::test;

namespace {

// An image callback that does what a test wants, and notes what has come.
class CImages {
public:
    struct State {
        std::vector<uint32_t> m_numbers;
        int m_inside = 0;
        bool m_mayLeave = true;
    };
    using Action = std::function<void(uint32_t number)>;

    explicit CImages(Action action = {}) : m_action(std::move(action)) {}
    ~CImages() { CC(OX_CC_StopGrabbing)(m_handle); } // none runs afterwards
    void Register(void* handle) {
        m_handle = handle;
        ASSERT_EQ(CC(OX_CC_RegisterImageCallBackEx)(handle, &CImages::Called, this), 0);
    }
    CWatched<State>& Watch() { return m_state; }
    bool WaitForCount(size_t count) {
        return m_state.WaitFor([=](const State& s) { return s.m_numbers.size() >= count; });
    }
    bool WaitUntilLeft() {
        return m_state.WaitFor([](const State& s) { return s.m_inside == 0; });
    }

private:
    static void Called(uint8_t* data, OX_FRAME_OUT_INFO_EX* info, void* user) {
        auto* self = static_cast<CImages*>(user);
        EXPECT_NE(data, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % 64, 0u) << "images begin on a cache line";
        self->m_state.Change([&](State& s) {
            s.m_numbers.push_back(info->nFrameNum);
            ++s.m_inside;
        });
        if (self->m_action) {
            self->m_action(info->nFrameNum);
        }
        EXPECT_TRUE(self->m_state.WaitFor([](const State& s) { return s.m_mayLeave; }));
        self->m_state.Change([](State& s) { --s.m_inside; });
    }

    const Action m_action;
    void* m_handle = nullptr;
    CWatched<State> m_state;
};

TEST(ImageCallback, GetsEveryFrameInOrder) {
    CHandle handle(CameraText("C1"));
    CImages images;
    handle.Open();
    images.Register(handle);
    ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(handle, 64), 0);
    handle.Start();
    ASSERT_TRUE(images.WaitForCount(10));
    ASSERT_EQ(CC(OX_CC_StopGrabbing)(handle), 0);
    const std::vector<uint32_t> numbers = images.Watch().Get().m_numbers;
    for (size_t i = 0; i < numbers.size(); ++i) {
        EXPECT_EQ(numbers[i], i + 1);
    }
}

TEST(ImageCallback, LosesTheOldestFramesWhenItIsSlow) {
    CHandle handle(CameraText("C3"));
    CImages images;
    handle.Open();
    images.Register(handle);
    ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(handle, 2), 0);
    ASSERT_EQ(CC(OX_CC_SetEnumValueByString)(handle, "AcquisitionMode", "MultiFrame"), 0);
    ASSERT_EQ(CC(OX_CC_SetIntValue)(handle, "AcquisitionFrameCount", 8), 0);
    images.Watch().Change([](CImages::State& s) { s.m_mayLeave = false; });
    handle.Start();
    ASSERT_TRUE(images.WaitForCount(1));
    const uint32_t held = images.Watch().Get().m_numbers[0];
    while (handle.Fetch() != 8) { // until the camera has sent its last
    }
    images.Watch().Change([](CImages::State& s) { s.m_mayLeave = true; });
    ASSERT_TRUE(images.WaitForCount(3));
    EXPECT_EQ(images.Watch().Get().m_numbers, (std::vector<uint32_t>{held, 7, 8}));
}

TEST(ImageCallback, IsOverWhenStopReturns) {
    CHandle handle(CameraText("C4"));
    CImages images;
    handle.Open();
    images.Register(handle);
    images.Watch().Change([](CImages::State& s) { s.m_mayLeave = false; });
    handle.Start();
    ASSERT_TRUE(images.WaitForCount(1));
    CWatched<bool> isStopped;
    std::thread stopper([&] {
        EXPECT_EQ(CC(OX_CC_StopGrabbing)(handle), 0);
        EXPECT_EQ(images.Watch().Get().m_inside, 0);
        isStopped.Set(true);
    });
    OX_FRAME_OUT frame{};
    while (CC(OX_CC_GetImageBuffer)(handle, &frame, 0) != Status(OX_CC_E_CALL_ORDER)) { // until it is inside
        CC(OX_CC_FreeImageBuffer)(handle, &frame);
    }
    EXPECT_FALSE(isStopped.Get());
    images.Watch().Change([](CImages::State& s) { s.m_mayLeave = true; });
    stopper.join();
}

TEST(ImageCallback, IsUnregisteredWithoutWaitingForIt) {
    CHandle handle(CameraText("C5"));
    CImages images;
    handle.Open();
    images.Register(handle);
    images.Watch().Change([](CImages::State& s) { s.m_mayLeave = false; });
    handle.Start();
    ASSERT_TRUE(images.WaitForCount(1));
    ASSERT_EQ(CC(OX_CC_RegisterImageCallBackEx)(handle, nullptr, nullptr), 0);
    EXPECT_EQ(images.Watch().Get().m_inside, 1);
    images.Watch().Change([](CImages::State& s) { s.m_mayLeave = true; });
    EXPECT_NE(handle.Fetch(), 0u);
    EXPECT_NE(handle.Fetch(), 0u);
    EXPECT_EQ(images.Watch().Get().m_numbers.size(), 1u);
}

TEST(ImageCallback, MayStopAndStartAgainFromInside) {
    CHandle handle(CameraText("C6"));
    int restarts = 0;
    CImages images([&](uint32_t number) {
        if (number == 2 && restarts++ < 3) {
            EXPECT_EQ(CC(OX_CC_StopGrabbing)(handle), 0);
            EXPECT_EQ(CC(OX_CC_StopGrabbing)(handle), Status(OX_CC_E_CALL_ORDER));
            EXPECT_EQ(CC(OX_CC_StartGrabbing)(handle), 0);
        }
    });
    handle.Open();
    images.Register(handle);
    handle.Start();
    ASSERT_TRUE(images.WaitForCount(7)); // 1 2, 1 2, 1 2, 1 ...
    ASSERT_EQ(CC(OX_CC_CloseDevice)(handle), 0);
    EXPECT_EQ(images.Watch().Get().m_inside, 0);
    EXPECT_EQ(images.Watch().Get().m_numbers[2], 1u);
}

// Who starts may hold a lock that the callback wants.
TEST(ImageCallback, ThatHasStoppedHoldsUpNoStart) {
    CHandle handle(CameraText("C13"));
    CWatched<bool> hasStopped;
    CWatched<bool> isRestarted;
    CImages images([&](uint32_t) {
        if (!hasStopped.Get()) {
            EXPECT_EQ(CC(OX_CC_StopGrabbing)(handle), 0);
            hasStopped.Set(true);
            EXPECT_TRUE(isRestarted.WaitFor([](bool is) { return is; }));
        }
    });
    handle.Open();
    images.Register(handle);
    handle.Start();
    ASSERT_TRUE(hasStopped.WaitFor([](bool has) { return has; }));
    handle.Start();
    isRestarted.Set(true);
    ASSERT_TRUE(images.WaitForCount(3));
}

TEST(ImageCallback, MayCloseAndOpenAgainFromInside) {
    CHandle handle(CameraText("C7"));
    CImages images([&](uint32_t number) {
        if (number == 1) {
            EXPECT_EQ(CC(OX_CC_CloseDevice)(handle), 0);
            EXPECT_EQ(CC(OX_CC_OpenDevice)(handle, 1, 0), 0);
        }
    });
    handle.Open();
    images.Register(handle);
    handle.Start();
    ASSERT_TRUE(images.WaitForCount(1));
    ASSERT_TRUE(images.WaitUntilLeft());
    handle.Start();
    ASSERT_TRUE(images.WaitForCount(2));
    ASSERT_TRUE(images.WaitUntilLeft());
}

TEST(ImageCallback, MayDestroyItsHandleFromInside) {
    CHandle handle(CameraText("C8"));
    void* raw = handle;
    CImages images([&](uint32_t) { EXPECT_EQ(handle.Destroy(), 0); });
    handle.Open();
    images.Register(handle);
    handle.Start();
    ASSERT_TRUE(images.WaitForCount(1));
    ASSERT_TRUE(images.WaitUntilLeft());
    EXPECT_EQ(CC(OX_CC_StopGrabbing)(raw), Status(OX_CC_E_HANDLE));
    EXPECT_EQ(images.Watch().Get().m_numbers.size(), 1u);
    CHandle next(CameraText("C8")); // and the camera is free
    next.Open();
}

TEST(ImageCallback, MayThrowWithoutHarm) {
    CWatched<int> calls;
    CHandle handle(CameraText("C9"));
    handle.Open();
    CC(OX_CC_RegisterImageCallBackEx)
    (
        handle,
        [](uint8_t*, OX_FRAME_OUT_INFO_EX*, void* user) {
            static_cast<CWatched<int>*>(user)->Change([](int& count) { ++count; });
            throw 1;
        },
        &calls);
    handle.Start();
    EXPECT_TRUE(calls.WaitFor([](int count) { return count >= 2; }));
}

// Unplugging reaches the application on both ways at once; it may end everything from there.
TEST(ExceptionCallback, MayDestroyItsHandleWhileAnImageCallbackRuns) {
    CHandle handle(CameraText("C10", "fault = unplug_after 1"));
    struct Context {
        CHandle* m_handle;
        CWatched<uint32_t> m_raised;
    } context{&handle, {}};
    CImages images([&](uint32_t) {
        // Holds the callback until the exception has been raised beside it.
        EXPECT_TRUE(context.m_raised.WaitFor([](uint32_t type) { return type != 0; }));
    });
    handle.Open();
    images.Register(handle);
    CC(OX_CC_RegisterExceptionCallBack)
    (
        handle,
        [](uint32_t type, void* user) {
            auto* c = static_cast<Context*>(user);
            c->m_raised.Set(type);
            EXPECT_EQ(c->m_handle->Destroy(), 0);
            c->m_raised.Set(1);
        },
        &context);
    handle.Start();
    ASSERT_TRUE(context.m_raised.WaitFor([](uint32_t type) { return type == 1; }));
    EXPECT_EQ(images.Watch().Get().m_inside, 0);
}

TEST(ExceptionCallback, IsRaisedByAResetWithoutAStream) {
    CWatched<uint32_t> raised;
    CHandle handle(CameraText("C11"));
    handle.Open();
    CC(OX_CC_RegisterExceptionCallBack)
    (
        handle, [](uint32_t type, void* user) { static_cast<CWatched<uint32_t>*>(user)->Set(type); },
        &raised);
    EXPECT_EQ(CC(OX_CC_SetCommandValue)(handle, "DeviceReset"), 0);
    EXPECT_TRUE(raised.WaitFor([](uint32_t type) { return type == OX_CC_EXCEPTION_DEV_DISCONNECT; }));
    EXPECT_EQ(CC(OX_CC_CloseDevice)(handle), 0);
    handle.Open();
}

TEST(EventCallback, TellsOfExposuresWhenAskedTo) {
    CWatched<std::vector<uint32_t>> blocks;
    CHandle handle(CameraText("C12"));
    handle.Open();
    const OX_CC_EVENT_CALLBACK note = [](OX_EVENT_OUT_INFO* info, void* user) {
        EXPECT_STREQ(info->chEventName, "ExposureEnd");
        static_cast<CWatched<std::vector<uint32_t>>*>(user)->Change(
            [&](std::vector<uint32_t>& all) { all.push_back(info->nBlockIdLow); });
    };
    EXPECT_EQ(CC(OX_CC_RegisterEventCallBackEx)(handle, "DwsVolume", note, &blocks), Status(OX_CC_E_SUPPORT));
    ASSERT_EQ(CC(OX_CC_RegisterEventCallBackEx)(handle, "ExposureEnd", note, &blocks), 0);
    ASSERT_EQ(CC(OX_CC_SetEnumValueByString)(handle, "EventNotification", "On"), 0);
    handle.Start();
    ASSERT_TRUE(blocks.WaitFor([](const auto& all) { return all.size() >= 3; }));
    EXPECT_EQ(blocks.Get()[0], 1u);
    EXPECT_EQ(blocks.Get()[2], 3u);
    CC(OX_CC_RegisterEventCallBackEx)(handle, "ExposureEnd", nullptr, nullptr);
}

} // namespace

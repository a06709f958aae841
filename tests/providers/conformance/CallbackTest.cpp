// CallbackTest.cpp - callbacks: on threads of the provider's, and calling back into it from inside.
#include <set>
#include <thread>
#include <vector>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/Waiting.h"

using namespace ox3d::test;

namespace {

// All callbacks of a handle: they note what has come, and do what a test wants.
class CCallbacks {
public:
    struct State {
        std::vector<uint32_t> m_numbers; // of images
        std::set<const uint8_t*> m_images;
        std::vector<uint32_t> m_exceptions;
        std::vector<uint32_t> m_events; // their blocks
        int m_inside = 0;               // of the image callback
        bool m_mayLeave = true;
    };
    using Action = std::function<void(uint32_t)>;

    explicit CCallbacks(Action onImage = {}) : m_onImage(std::move(onImage)) {}
    CCallbacks& OnException(Action action) {
        m_onException = std::move(action);
        return *this;
    }
    CCallbacks& OnEvent(Action action) {
        m_onEvent = std::move(action);
        return *this;
    }
    void Register(void* handle) {
        ASSERT_EQ(CC(OX_CC_RegisterImageCallBackEx)(handle, &Image, this), 0);
        ASSERT_EQ(CC(OX_CC_RegisterExceptionCallBack)(handle, &Exception, this), 0);
        if (Rig().HasEvents()) {
            ASSERT_EQ(CC(OX_CC_RegisterEventCallBackEx)(handle, "ExposureEnd", &Event, this), 0);
        }
    }
    static void Unregister(void* handle) {
        CC(OX_CC_RegisterImageCallBackEx)(handle, nullptr, nullptr);
        CC(OX_CC_RegisterExceptionCallBack)(handle, nullptr, nullptr);
        CC(OX_CC_RegisterEventCallBackEx)(handle, "ExposureEnd", nullptr, nullptr);
    }
    State Get() const { return m_state.Get(); }
    void Hold() {
        m_state.Change([](State& s) { s.m_mayLeave = false; });
    }
    void LetGo() {
        m_state.Change([](State& s) { s.m_mayLeave = true; });
    }
    bool WaitForImages(size_t count) {
        return m_state.WaitFor([=](const State& s) { return s.m_numbers.size() >= count; });
    }
    bool WaitForExceptions(size_t count) {
        return m_state.WaitFor([=](const State& s) { return s.m_exceptions.size() >= count; });
    }
    bool WaitForEvents(size_t count) {
        return m_state.WaitFor([=](const State& s) { return s.m_events.size() >= count; });
    }
    bool WaitUntilLeft() {
        return m_state.WaitFor([](const State& s) { return s.m_inside == 0; });
    }

private:
    static void Image(uint8_t* data, OX_FRAME_OUT_INFO_EX* info, void* user) {
        auto* self = static_cast<CCallbacks*>(user);
        EXPECT_TRUE(IsWhole(data, *info));
        self->m_state.Change([&](State& s) {
            s.m_numbers.push_back(info->nFrameNum);
            s.m_images.insert(data);
            ++s.m_inside;
        });
        if (self->m_onImage) {
            self->m_onImage(info->nFrameNum);
        }
        EXPECT_TRUE(self->m_state.WaitFor([](const State& s) { return s.m_mayLeave; }));
        self->m_state.Change([](State& s) { --s.m_inside; });
    }
    static void Exception(uint32_t type, void* user) {
        auto* self = static_cast<CCallbacks*>(user);
        if (self->m_onException) {
            self->m_onException(type);
        }
        self->m_state.Change([&](State& s) { s.m_exceptions.push_back(type); });
    }
    static void Event(OX_EVENT_OUT_INFO* info, void* user) {
        auto* self = static_cast<CCallbacks*>(user);
        EXPECT_STREQ(info->chEventName, "ExposureEnd");
        EXPECT_EQ(info->nEventID, 4);
        if (self->m_onEvent) {
            self->m_onEvent(info->nBlockIdLow);
        }
        self->m_state.Change([&](State& s) { s.m_events.push_back(info->nBlockIdLow); });
    }

    Action m_onImage;
    Action m_onException;
    Action m_onEvent;
    CWatched<State> m_state;
};

TEST(ImageCallback, GetsEveryFrameInOrderInMemoryThatIsUsedAgain) {
    CCallbacks callbacks;
    const CHandle handle("fps = 240\n");
    handle.Open();
    handle.EnableColor();
    callbacks.Register(handle);
    ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(handle, 16), 0);
    handle.Start();
    ASSERT_TRUE(callbacks.WaitForImages(200));
    EXPECT_EQ(handle.Lost(), 0) << "nobody fetches, but all are seen";
    ASSERT_EQ(handle.Stop(), 0);
    const auto state = callbacks.Get();
    for (size_t i = 0; i < state.m_numbers.size(); ++i) {
        ASSERT_EQ(state.m_numbers[i], i + 1);
    }
    EXPECT_LE(state.m_images.size(), 60U) << "memory grows";
}

TEST(ImageCallback, LosesTheOldestFramesWhenItIsSlow) {
    CCallbacks callbacks;
    const CHandle handle;
    handle.Open();
    callbacks.Register(handle);
    ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(handle, 2), 0);
    handle.Set("AcquisitionMode", 2);
    ASSERT_EQ(CC(OX_CC_SetIntValue)(handle, "AcquisitionFrameCount", 8), 0);
    callbacks.Hold();
    handle.Start();
    ASSERT_TRUE(callbacks.WaitForImages(1));
    const uint32_t held = callbacks.Get().m_numbers[0];
    while (handle.Fetch() != 8) { // until the camera has sent its last
    }
    callbacks.LetGo();
    ASSERT_TRUE(callbacks.WaitForImages(3));
    EXPECT_EQ(callbacks.Get().m_numbers, (std::vector<uint32_t>{held, 7, 8}));
    EXPECT_EQ(handle.Stop(), 0);
}

TEST(ImageCallback, IsOverWhenStopReturns) {
    CCallbacks callbacks;
    const CHandle handle;
    handle.Open();
    callbacks.Register(handle);
    callbacks.Hold();
    handle.Start();
    ASSERT_TRUE(callbacks.WaitForImages(1));
    CWatched<bool> isStopped;
    std::thread stopper([&] {
        EXPECT_EQ(handle.Stop(), 0);
        EXPECT_EQ(callbacks.Get().m_inside, 0);
        isStopped.Set(true);
    });
    while (handle.FetchStatus() != kCallOrder) { // until it is inside
    }
    EXPECT_FALSE(isStopped.Get());
    callbacks.LetGo();
    stopper.join();
    EXPECT_EQ(callbacks.Get().m_numbers.size(), 1U);
}

TEST(ImageCallback, IsUnregisteredWithoutWaitingForIt) {
    CCallbacks callbacks;
    const CHandle handle;
    handle.Open();
    callbacks.Register(handle);
    callbacks.Hold();
    handle.Start();
    ASSERT_TRUE(callbacks.WaitForImages(1));
    CCallbacks::Unregister(handle);
    EXPECT_EQ(callbacks.Get().m_inside, 1);
    callbacks.LetGo();
    EXPECT_TRUE(callbacks.WaitUntilLeft());
    ASSERT_EQ(CC(OX_CC_ClearImageBuffer)(handle), 0);
    EXPECT_NE(handle.Fetch(), 0U);
    EXPECT_NE(handle.Fetch(), 0U);
    EXPECT_EQ(callbacks.Get().m_numbers.size(), 1U);
    callbacks.Register(handle); // and again, while frames come
    EXPECT_TRUE(callbacks.WaitForImages(3));
    EXPECT_EQ(handle.Close(), 0);
}

TEST(ImageCallback, MayStopAndStartAgainFromInside) {
    CHandle handle;
    int restarts = 0;
    CCallbacks callbacks([&](uint32_t number) {
        if (number == 2 && restarts++ < 3) {
            EXPECT_EQ(handle.Stop(), 0);
            EXPECT_EQ(handle.Stop(), kCallOrder);
            EXPECT_EQ(CC(OX_CC_StartGrabbing)(handle), 0);
        }
    });
    handle.Open();
    callbacks.Register(handle);
    handle.Start();
    ASSERT_TRUE(callbacks.WaitForImages(7)); // 1 2, 1 2, 1 2, 1 ...
    ASSERT_EQ(handle.Close(), 0);
    EXPECT_EQ(callbacks.Get().m_inside, 0);
    EXPECT_EQ(callbacks.Get().m_numbers[2], 1U);
}

// The thread that starts may hold a lock that the callback wants.
TEST(ImageCallback, ThatHasStoppedHoldsUpNoStart) {
    const CHandle handle;
    CWatched<bool> hasStopped;
    CWatched<bool> isRestarted;
    CCallbacks callbacks([&](uint32_t) {
        if (!hasStopped.Get()) {
            EXPECT_EQ(handle.Stop(), 0);
            hasStopped.Set(true);
            EXPECT_TRUE(isRestarted.WaitFor([](bool is) { return is; }));
        }
    });
    handle.Open();
    callbacks.Register(handle);
    handle.Start();
    ASSERT_TRUE(hasStopped.WaitFor([](bool has) { return has; }));
    handle.Start();
    isRestarted.Set(true);
    ASSERT_TRUE(callbacks.WaitForImages(3));
    EXPECT_EQ(handle.Close(), 0);
}

TEST(ImageCallback, MayThrowWithoutHarm) {
    CWatched<int> calls;
    const CHandle handle;
    handle.Open();
    const OX_CC_IMAGE_CALLBACK thrower = [](uint8_t*, OX_FRAME_OUT_INFO_EX*, void* user) {
        static_cast<CWatched<int>*>(user)->Change([](int& count) { ++count; });
        throw 1;
    };
    CC(OX_CC_RegisterImageCallBackEx)(handle, thrower, &calls);
    handle.Start();
    EXPECT_TRUE(calls.WaitFor([](int count) { return count >= 2; }));
    EXPECT_EQ(handle.Close(), 0);
}

TEST(ExceptionCallback, IsRaisedByAResetWithoutAStream) {
    CCallbacks callbacks;
    const CHandle handle(kComesBack);
    handle.Open();
    callbacks.Register(handle);
    handle.Reset();
    EXPECT_TRUE(callbacks.WaitForExceptions(1));
    EXPECT_EQ(handle.Close(), 0);
    EXPECT_EQ(callbacks.Get().m_exceptions, std::vector<uint32_t>{OX_CC_EXCEPTION_DEV_DISCONNECT});
    EXPECT_EQ(handle.OpenAgain(), 0);
    OX_CC_FLOAT_VALUE gain{};
    EXPECT_EQ(CC(OX_CC_GetFloatValue)(handle, "Gain", &gain), 0);
}

TEST(EventCallback, TellsOfExposuresWhenAskedTo) {
    if (!Rig().HasEvents()) {
        const CHandle handle;
        EXPECT_EQ(CC(OX_CC_RegisterAllEventCallBack)(handle, nullptr, nullptr), 0);
        return;
    }
    CCallbacks named;
    CCallbacks all;
    CHandle handle;
    handle.Open();
    named.Register(handle);
    const OX_CC_EVENT_CALLBACK note = [](OX_EVENT_OUT_INFO* info, void* user) {
        static_cast<CWatched<int>*>(user)->Set(info->nEventID);
    };
    CWatched<int> id;
    ASSERT_EQ(CC(OX_CC_RegisterAllEventCallBack)(handle, note, &id), 0);
    handle.Start();
    EXPECT_TRUE(named.WaitForImages(3));
    EXPECT_EQ(named.Get().m_events.size(), 0U) << "nobody asked";
    EXPECT_EQ(handle.Stop(), 0);
    handle.Set("EventNotification", 1);
    handle.Start();
    ASSERT_TRUE(named.WaitForEvents(3));
    const auto blocks = named.Get().m_events;
    EXPECT_EQ(blocks[2], blocks[0] + 2);
    EXPECT_TRUE(id.WaitFor([](int number) { return number == 4; }));
    CCallbacks::Unregister(handle);
    id.Set(0);
    EXPECT_TRUE(id.WaitFor([](int number) { return number == 4; })) << "all events go on";
    EXPECT_EQ(handle.Destroy(), 0);
}

// ---- From inside ----

struct Reentry {
    const char* m_name;
    int (*m_run)(CHandle& handle);
};

const Reentry kReentries[] = {
    {"Stop", [](CHandle& h) { return h.Stop(); }},
    {"Close", [](CHandle& h) { return h.Close(); }},
    {"Destroy", [](CHandle& h) { return h.Destroy(); }},
    {"Unregister",
     [](CHandle& h) {
         CCallbacks::Unregister(h);
         return 0;
     }},
    {"GetAndSet",
     [](CHandle& h) {
         OX_CC_FLOAT_VALUE gain{};
         const int got = CC(OX_CC_GetFloatValue)(h, "Gain", &gain);
         return got == 0 ? CC(OX_CC_SetFloatValue)(h, "Gain", 2.5F) : got;
     }},
    {"CloseAndOpen", [](CHandle& h) { return h.Close() == 0 ? h.OpenAgain() : 1; }},
};

enum class EKind { Image, Exception, Event };

class FromInside : public testing::TestWithParam<std::tuple<EKind, Reentry>> {};

TEST_P(FromInside, ACallbackMayCallTheProvider) {
    const EKind kind = std::get<EKind>(GetParam());
    if (kind == EKind::Event && !Rig().HasEvents()) {
        return;
    }
    const CHandle camera(kComesBack);
    CHandle handle(camera.Record());
    const std::string name = std::get<Reentry>(GetParam()).m_name;
    const int wanted = kind == EKind::Exception && name == "GetAndSet" ? kGone : 0;
    CWatched<int> calls;
    const auto act = [&](uint32_t) {
        if (calls.Get() == 0) {
            EXPECT_EQ(std::get<Reentry>(GetParam()).m_run(handle), wanted);
        }
        calls.Change([](int& count) { ++count; });
    };
    CCallbacks callbacks(kind == EKind::Image ? act : CCallbacks::Action());
    callbacks.OnException(kind == EKind::Exception ? act : CCallbacks::Action());
    callbacks.OnEvent(kind == EKind::Event ? act : CCallbacks::Action());
    handle.Open();
    callbacks.Register(handle);
    handle.Set("EventNotification", 1);
    handle.Start();
    if (kind == EKind::Exception) {
        ASSERT_TRUE(callbacks.WaitForImages(1));
        handle.Reset();
    }
    ASSERT_TRUE(calls.WaitFor([](int count) { return count > 0; }));
    EXPECT_EQ(handle.Destroy(), 0); // no callback begins afterwards
    EXPECT_TRUE(callbacks.WaitUntilLeft());
    const size_t images = callbacks.Get().m_numbers.size();
    const CHandle next(camera.Record()); // and the camera is free
    ASSERT_EQ(next.OpenAgain(), 0);
    next.Start();
    EXPECT_EQ(next.Fetch(), 1U);
    EXPECT_EQ(callbacks.Get().m_numbers.size(), images);
}

std::string NameOf(const testing::TestParamInfo<std::tuple<EKind, Reentry>>& row) {
    constexpr const char* kKinds[] = {"Image", "Exception", "Event"};
    return std::string(kKinds[static_cast<int>(std::get<EKind>(row.param))]) +
           std::get<Reentry>(row.param).m_name;
}

INSTANTIATE_TEST_SUITE_P(Kinds, FromInside,
                         testing::Combine(testing::Values(EKind::Image, EKind::Exception, EKind::Event),
                                          testing::ValuesIn(kReentries)),
                         NameOf);

// Unplugging reaches the application on both ways at once; it may end everything from there.
TEST(TwoCallbacks, UnregisterEachOtherAndTheOneEndsTheHandle) {
    CHandle handle(kComesBack);
    CWatched<int> steps; // how far the two have come
    const auto reach = [&](int step) {
        steps.Set(step);
        EXPECT_TRUE(steps.WaitFor([=](int now) { return now > step; }));
    };
    CCallbacks callbacks([&](uint32_t) {
        if (steps.Get() == 0) {
            reach(1); // the camera is reset, and the exception comes
            EXPECT_EQ(CC(OX_CC_RegisterExceptionCallBack)(handle, nullptr, nullptr), 0);
            steps.Set(3);
        }
    });
    callbacks.OnException([&](uint32_t) {
        reach(2);
        EXPECT_EQ(CC(OX_CC_RegisterImageCallBackEx)(handle, nullptr, nullptr), 0);
        EXPECT_EQ(handle.Destroy(), 0);
        EXPECT_EQ(callbacks.Get().m_inside, 0);
    });
    handle.Open();
    callbacks.Register(handle);
    handle.Start();
    ASSERT_TRUE(steps.WaitFor([](int step) { return step == 1; }));
    handle.Reset();
    ASSERT_TRUE(callbacks.WaitForExceptions(1));
}

} // namespace

// CallbackTest.cpp - callbacks: on threads of the provider's, and calling back into it from inside.
#include <csignal>
#include <functional>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/Waiting.h"

using namespace ox3d::test;

namespace {

struct Seen {
    std::vector<uint32_t> m_numbers; // of images
    std::set<const uint8_t*> m_images;
    std::vector<uint32_t> m_exceptions;
    std::vector<uint32_t> m_events; // their blocks
    std::map<uint32_t, uint64_t> m_imageTimes;
    std::map<uint32_t, uint64_t> m_eventTimes;
    int m_inside = 0; // callbacks that run
    bool m_mayLeave = true;
};

// An open camera whose callbacks note what has come, and do what a test wants.
class CObservedCamera : public COpenCamera {
public:
    using Action = std::function<void(uint32_t)>;

    explicit CObservedCamera(const std::string& lines = "") : COpenCamera(lines) { Register(true); }
    ~CObservedCamera() { Destroy(); } // before what the callbacks use
    void Register(bool isOn) {
        EXPECT_EQ(CC(OX_CC_RegisterImageCallBackEx)(*this, isOn ? &Image : nullptr, this), 0);
        EXPECT_EQ(CC(OX_CC_RegisterExceptionCallBack)(*this, isOn ? &Exception : nullptr, this), 0);
        EXPECT_EQ(CC(OX_CC_RegisterEventCallBackEx)(*this, "ExposureEnd", isOn ? &Event : nullptr, this), 0);
    }
    void Hold(bool isHeld) {
        m_seen.Change([=](Seen& s) { s.m_mayLeave = !isHeld; });
    }
    bool WaitFor(std::vector<uint32_t> Seen::*list, size_t count) {
        return m_seen.WaitFor([=](const Seen& s) { return (s.*list).size() >= count; });
    }
    bool WaitUntilLeft() {
        return m_seen.WaitFor([](const Seen& s) { return s.m_inside == 0; });
    }

    CWatched<Seen> m_seen;
    Action m_onImage = [](uint32_t) {};
    Action m_onException = m_onImage;
    Action m_onEvent = m_onImage;

private:
    void Enter(std::vector<uint32_t> Seen::*list, uint32_t value, const Action& action) {
        m_seen.Change([=](Seen& s) {
            (s.*list).push_back(value);
            ++s.m_inside;
        });
        action(value);
        EXPECT_TRUE(m_seen.WaitFor([](const Seen& s) { return s.m_mayLeave; }));
        m_seen.Change([](Seen& s) { --s.m_inside; });
    }
    static void Image(uint8_t* data, OX_FRAME_OUT_INFO_EX* info, void* user) {
        auto* self = static_cast<CObservedCamera*>(user);
        EXPECT_TRUE(IsWhole(data, *info));
        self->m_seen.Change([&](Seen& s) {
            s.m_images.insert(data);
            s.m_imageTimes[info->nFrameNum] =
                uint64_t{info->nDevTimeStampHigh} << 32 | info->nDevTimeStampLow;
        });
        self->Enter(&Seen::m_numbers, info->nFrameNum, self->m_onImage);
    }
    static void Exception(uint32_t type, void* user) {
        auto* self = static_cast<CObservedCamera*>(user);
        self->Enter(&Seen::m_exceptions, type, self->m_onException);
    }
    static void Event(OX_EVENT_OUT_INFO* info, void* user) {
        auto* self = static_cast<CObservedCamera*>(user);
        EXPECT_STREQ(info->chEventName, "ExposureEnd");
        EXPECT_EQ(info->nEventID, 4);
        self->m_seen.Change([&](Seen& s) {
            s.m_eventTimes[info->nBlockIdLow] = uint64_t{info->nTimestampHigh} << 32 | info->nTimestampLow;
        });
        self->Enter(&Seen::m_events, info->nBlockIdLow, self->m_onEvent);
    }
};

TEST(ImageCallback, GetsEveryFrameInOrderInMemoryThatIsUsedAgain) {
    CObservedCamera camera("fps = 240\n");
    camera.m_onImage = [](uint32_t) {
        sigset_t blocked;
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        EXPECT_EQ(sigismember(&blocked, SIGALRM), 1) << "signals are the application's";
        EXPECT_EQ(sigismember(&blocked, SIGSEGV), 0) << "faults reach its crash handler";
    };
    camera.EnableColor();
    camera.Start();
    ASSERT_TRUE(camera.WaitFor(&Seen::m_numbers, 300));
    EXPECT_EQ(camera.Lost(), 0) << "nobody fetches, but all are seen";
    ASSERT_EQ(camera.Stop(), 0);
    const Seen seen = camera.m_seen.Get();
    for (size_t i = 0; i < seen.m_numbers.size(); ++i) {
        ASSERT_EQ(seen.m_numbers[i], i + 1);
    }
    EXPECT_LE(seen.m_images.size(), 160U) << "memory grows";
}

TEST(ImageCallback, LosesTheOldestFramesWhenItIsSlow) {
    CObservedCamera camera;
    camera.SetNodes(2);
    camera.Set("AcquisitionMode", 2);
    ASSERT_EQ(CC(OX_CC_SetIntValue)(camera, "AcquisitionFrameCount", 8), 0);
    camera.Hold(true);
    camera.Start();
    ASSERT_TRUE(camera.WaitFor(&Seen::m_numbers, 1));
    const uint32_t held = camera.m_seen.Get().m_numbers[0];
    while (camera.Fetch() != 8) { // until the camera has sent its last
    }
    camera.Hold(false);
    ASSERT_TRUE(camera.WaitFor(&Seen::m_numbers, 3));
    EXPECT_EQ(camera.m_seen.Get().m_numbers, (std::vector<uint32_t>{held, 7, 8}));
    EXPECT_EQ(camera.Stop(), 0);
}

TEST(ImageCallback, IsOverWhenStopReturns) {
    CObservedCamera camera;
    camera.Hold(true);
    camera.Start();
    ASSERT_TRUE(camera.WaitFor(&Seen::m_numbers, 1));
    CFlag isStopped;
    std::thread stopper([&] {
        EXPECT_EQ(camera.Stop(), 0);
        EXPECT_EQ(camera.m_seen.Get().m_inside, 0);
        isStopped.Raise();
    });
    while (camera.Fetch(0) != kCallOrder) { // until it is inside
    }
    EXPECT_FALSE(isStopped.IsRaised());
    camera.Hold(false);
    stopper.join();
    EXPECT_EQ(camera.m_seen.Get().m_numbers.size(), 1U);
}

TEST(ImageCallback, IsUnregisteredWithoutWaitingForIt) {
    CObservedCamera camera;
    camera.Hold(true);
    camera.Register(false);
    camera.Start();
    ASSERT_TRUE(Eventually([&] { return camera.Lost() > 0; })); // more wait than there is room for
    camera.Register(true);
    ASSERT_TRUE(camera.WaitFor(&Seen::m_numbers, 1));
    camera.Register(false);
    EXPECT_EQ(camera.m_seen.Get().m_inside, 1);
    camera.Hold(false);
    EXPECT_TRUE(camera.WaitUntilLeft());
    EXPECT_EQ(camera.Fetch(), static_cast<int>(camera.m_seen.Get().m_numbers.at(0) + 1))
        << "none twice, none older";
    EXPECT_EQ(camera.m_seen.Get().m_numbers.size(), 1U);
    camera.Register(true); // and again, while frames come
    EXPECT_TRUE(camera.WaitFor(&Seen::m_numbers, 3));
}

TEST(ImageCallback, MayStopAndStartAgainFromInside) {
    int restarts = 0;
    CObservedCamera camera;
    camera.m_onImage = [&](uint32_t number) {
        if (number == 2 && restarts++ < 3) {
            EXPECT_EQ(camera.Stop(), 0);
            EXPECT_EQ(camera.Stop(), kCallOrder);
            EXPECT_EQ(CC(OX_CC_StartGrabbing)(camera), 0);
        }
    };
    camera.Start();
    ASSERT_TRUE(camera.WaitFor(&Seen::m_numbers, 7)); // 1 2, 1 2, 1 2, 1 ...
    ASSERT_EQ(camera.Close(), 0);
    EXPECT_EQ(camera.m_seen.Get().m_inside, 0);
    EXPECT_EQ(camera.m_seen.Get().m_numbers[2], 1U);
}

// The thread that starts may hold a lock that the callback wants.
TEST(ImageCallback, ThatHasStoppedHoldsUpNoStart) {
    CFlag hasStopped;
    CFlag isRestarted;
    CObservedCamera camera;
    camera.m_onImage = [&](uint32_t) {
        if (!hasStopped.IsRaised()) {
            EXPECT_EQ(camera.Stop(), 0);
            hasStopped.Raise();
            EXPECT_TRUE(isRestarted.Wait());
        }
    };
    camera.Start();
    ASSERT_TRUE(hasStopped.Wait());
    camera.Start();
    isRestarted.Raise();
    ASSERT_TRUE(camera.WaitFor(&Seen::m_numbers, 3));
}

TEST(ImageCallback, MayThrowWithoutHarm) {
    CObservedCamera camera;
    camera.m_onImage = [](uint32_t) { throw 1; };
    camera.Start();
    EXPECT_TRUE(camera.WaitFor(&Seen::m_numbers, 2));
    EXPECT_EQ(camera.Close(), 0);
}

TEST(ExceptionCallback, IsRaisedByAResetWithoutAStream) {
    CObservedCamera camera(kComesBack);
    camera.Reset();
    EXPECT_TRUE(camera.WaitFor(&Seen::m_exceptions, 1));
    EXPECT_EQ(camera.Close(), 0);
    EXPECT_EQ(camera.m_seen.Get().m_exceptions, std::vector<uint32_t>{OX_CC_EXCEPTION_DEV_DISCONNECT});
    EXPECT_EQ(camera.OpenAgain(), 0);
    EXPECT_EQ(camera.Gain(), 0);
}

TEST(EventCallback, TellsOfExposuresWhenAskedTo) {
    CWatched<int> id;
    CObservedCamera camera;
    const OX_CC_EVENT_CALLBACK note = [](OX_EVENT_OUT_INFO* info, void* user) {
        static_cast<CWatched<int>*>(user)->Set(info->nEventID);
    };
    ASSERT_EQ(CC(OX_CC_RegisterAllEventCallBack)(camera, note, &id), 0);
    if (!kHasEvents) {
        return;
    }
    camera.Start();
    EXPECT_TRUE(camera.WaitFor(&Seen::m_numbers, 3));
    EXPECT_EQ(camera.m_seen.Get().m_events.size(), 0U) << "nobody asked";
    EXPECT_EQ(camera.Stop(), 0);
    camera.Set("EventNotification", 1);
    camera.m_seen.Set({});
    camera.Start();
    // The clock began when the camera came: it has soon more than 32 bits.
    ASSERT_TRUE(camera.m_seen.WaitFor([](const Seen& s) {
        return s.m_events.size() > 2 && s.m_eventTimes.rbegin()->second > UINT32_MAX &&
               s.m_numbers.size() > 2 && s.m_imageTimes.rbegin()->second > UINT32_MAX;
    }));
    const Seen seen = camera.m_seen.Get();
    EXPECT_EQ(seen.m_events[2], seen.m_events[0] + 2);
    for (const auto& [number, time] : seen.m_imageTimes) {
        const auto event = seen.m_eventTimes.find(number);
        EXPECT_TRUE(event == seen.m_eventTimes.end() || event->second == time) << number;
    }
    EXPECT_TRUE(id.WaitFor([](int number) { return number == 4; }));
    camera.Register(false);
    id.Set(0);
    EXPECT_TRUE(id.WaitFor([](int number) { return number == 4; })) << "all events go on";
}

// ---- From inside ----

struct Reentry {
    const char* m_name;
    int (*m_call)(CObservedCamera& camera);
    int m_statusWhenGone;
};

const Reentry kReentries[] = {
    {"stop", [](CObservedCamera& c) { return c.Stop(); }, 0},
    {"close", [](CObservedCamera& c) { return c.Close(); }, 0},
    {"destroy", [](CObservedCamera& c) { return c.Destroy(); }, 0},
    {"unregister",
     [](CObservedCamera& c) {
         c.Register(false);
         return 0;
     },
     0},
    {"set", [](CObservedCamera& c) { return c.SetGain(2.5F); }, kGone},
    {"open again", [](CObservedCamera& c) { return c.Close() == 0 ? c.OpenAgain() : 1; }, 0},
};

void CallFromInside(CObservedCamera::Action CObservedCamera::*callback, const Reentry& reentry) {
    const bool isGone = callback == &CObservedCamera::m_onException;
    CFlag hasCalled;
    CObservedCamera camera(kComesBack);
    camera.*callback = [&](uint32_t) {
        if (!hasCalled.IsRaised()) {
            EXPECT_EQ(reentry.m_call(camera), isGone ? reentry.m_statusWhenGone : 0);
        }
        hasCalled.Raise();
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // long enough to be found inside
    };
    camera.Set("EventNotification", 1);
    camera.Start();
    if (isGone) {
        ASSERT_TRUE(camera.WaitFor(&Seen::m_numbers, 1));
        camera.Reset();
    }
    ASSERT_TRUE(hasCalled.Wait());
    const bool isDestroyed = static_cast<void*>(camera) == nullptr;
    EXPECT_EQ(camera.Destroy(), 0); // no callback begins afterwards
    EXPECT_TRUE(isDestroyed || camera.m_seen.Get().m_inside == 0) << "destroying waits for it";
    EXPECT_TRUE(camera.WaitUntilLeft());
    const size_t images = camera.m_seen.Get().m_numbers.size();
    const CHandle next(camera.Record()); // and the camera is free
    ASSERT_EQ(next.OpenAgain(), 0);
    next.Start();
    EXPECT_EQ(next.Fetch(), 1);
    EXPECT_EQ(camera.m_seen.Get().m_numbers.size(), images);
}

TEST(EveryCallback, MayCallTheProvider) {
    for (const Reentry& reentry : kReentries) {
        SCOPED_TRACE(reentry.m_name);
        CallFromInside(&CObservedCamera::m_onImage, reentry);
        CallFromInside(&CObservedCamera::m_onException, reentry);
        if (kHasEvents) {
            CallFromInside(&CObservedCamera::m_onEvent, reentry);
        }
    }
}

// Unplugging reaches the application on both ways at once; it may end everything from there.
TEST(TwoCallbacks, UnregisterEachOtherAndTheOneEndsTheHandle) {
    CWatched<int> steps; // how far the two have come
    const auto reach = [&](int step) {
        steps.Set(step);
        EXPECT_TRUE(steps.WaitFor([=](int now) { return now > step; }));
    };
    CObservedCamera camera(kComesBack);
    camera.m_onImage = [&](uint32_t) {
        if (steps.Get() == 0) {
            reach(1); // the camera is reset, and the exception comes
            EXPECT_EQ(CC(OX_CC_RegisterExceptionCallBack)(camera, nullptr, nullptr), 0);
            steps.Set(3);
        }
    };
    camera.m_onException = [&](uint32_t) {
        reach(2);
        EXPECT_EQ(CC(OX_CC_RegisterImageCallBackEx)(camera, nullptr, nullptr), 0);
        EXPECT_EQ(camera.Destroy(), 0);
        EXPECT_EQ(camera.m_seen.Get().m_inside, 1) << "itself";
    };
    camera.Start();
    ASSERT_TRUE(steps.WaitFor([](int step) { return step == 1; }));
    camera.Reset();
    ASSERT_TRUE(camera.WaitFor(&Seen::m_exceptions, 1));
    EXPECT_TRUE(camera.WaitUntilLeft());
}

} // namespace

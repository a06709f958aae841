// LoadScenarios.cpp - long runs of what applications do: devices that are lost, opened and closed, frames without end,
// and many threads at once.
#include <malloc.h>

#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>

#include "fuzz/session/Checks.h"
#include "fuzz/session/OwnTime.h"
#include "fuzz/session/Player.h"
#include "fuzz/session/Scenarios.h"
#include "tests/doubles/ScriptedCamera.h"

namespace ox3d::session {
namespace {

using std::chrono::milliseconds;

constexpr uint32_t kTimeoutMs = 5;

// The ledger would grow with every call.
void ForgetCalls() {
    const CDouble::Locked script = Double().Script();
    script->m_calls.clear();
}

void LookAtLog() {
    uint32_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator("Ox3dRgbdLog")) {
        ++files;
        if (entry.file_size() > (uintmax_t{100} << 20) + 8192) {
            Complain("a log file is over its limit");
        }
    }
    if (files > 2) {
        Complain("the log has more than two files");
    }
}

void LookAtCamera() {
    if (Double().Handles() != 0 || Double().LentFrames() != 0 || Double().Script()->m_faults != 0) {
        Complain("the camera's ledger is not balanced");
    }
}

void* OpenDevice(const char* serial) {
    void* handle = nullptr;
    Expect("open", OX3D_RGBD_OpenDeviceBySerialNumber(&handle, serial), OX3D_RGBD_OK);
    return handle;
}

// ---- A device that is lost ---------------------------------------------------------------------------------

// From here on the camera answers nothing, and takes its time to stop. The camera library may say so more than once.
void Unplug(uint32_t times) {
    for (uint32_t i = 0; i < times; ++i) {
        Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT);
    }
    for (const uint32_t function :
         {DOUBLE_OX_CC_SetEnumValue, DOUBLE_OX_CC_SetCommandValue, DOUBLE_OX_CC_GetIntValueEx,
          DOUBLE_OX_CC_GetDeviceInfo, DOUBLE_OX_CC_FileAccessRead}) {
        Double().AddRule({.m_function = function, .m_status = OX_CC_E_NO_DATA});
    }
    Double().AddRule({.m_function = DOUBLE_OX_CC_StopGrabbing,
                      .m_work = [](const DoubleCall&) { std::this_thread::sleep_for(milliseconds(2)); }});
}

// The camera is back as it was, and gives frames to a new session; nothing resets it in between.
void OpenAgain(const char* serial, CRawFrame& frame) {
    void* handle = nullptr;
    Expect("open while it is away", OX3D_RGBD_OpenDeviceBySerialNumber(&handle, serial), OX3D_RGBD_E_NO_DATA);
    PlugIn();
    handle = OpenDevice(serial);
    Expect("switch", SetSwitch(handle, "ImageAlign", 0), OX3D_RGBD_OK);
    Expect("start", OX3D_RGBD_Start(handle), OX3D_RGBD_OK);
    Double().QueueFrame(frame.Out());
    OX3D_RGBD_FRAME_DATA record;
    Expect("fetch after the return", OX3D_RGBD_FetchFrame(handle, &record, 1000), OX3D_RGBD_OK);
    Expect("close", OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
}

void LoseDevice(Run& run, bool isPushed) {
    SetUpCamera();
    Seen seen;
    CRawFrame frame(64, 48);
    const char* const serial = Pick(run, 0, 1) == 0 ? "ETH1" : "USB1";
    void* handle = OpenDevice(serial);
    Expect("switch", SetSwitch(handle, "ImageAlign", 0), OX3D_RGBD_OK);
    Expect("register", OX3D_RGBD_RegisterExceptionCallBack(handle, CountSeenLoss, &seen), OX3D_RGBD_OK);
    if (isPushed) {
        Expect("register", OX3D_RGBD_RegisterFrameCallBack(handle, CountSeenFrame, &seen), OX3D_RGBD_OK);
    }
    Expect("start", OX3D_RGBD_Start(handle), OX3D_RGBD_OK);
    const uint32_t frames = Pick(run, 0, 5);
    const uint32_t losses = Pick(run, 1, 3);
    std::thread camera([&] {
        for (uint32_t i = 0; i < frames; ++i) {
            isPushed ? Double().DeliverFrame(frame.m_main.data(), frame.Info())
                     : Double().QueueFrame(frame.Out());
        }
        Unplug(losses);
        for (uint32_t i = 0; isPushed && i < 3; ++i) { // late ones
            Double().DeliverFrame(frame.m_main.data(), frame.Info());
        }
    });
    OX3D_RGBD_FRAME_DATA record;
    const uint32_t before = Pick(run, 0, frames);
    for (uint32_t i = 0; !isPushed && i < before; ++i) {
        ExpectInTime("fetch before the loss", OX3D_RGBD_OK, 1000,
                     [&] { return OX3D_RGBD_FetchFrame(handle, &record, 1000); });
    }
    camera.join();
    for (uint32_t i = before; !isPushed && i < frames; ++i) {
        Expect("fetch of what came before", OX3D_RGBD_FetchFrame(handle, &record, kTimeoutMs), OX3D_RGBD_OK);
    }
    ExpectInTime("fetch", isPushed ? OX3D_RGBD_E_STATE : OX3D_RGBD_E_NO_DATA, kTimeoutMs,
                 [&] { return OX3D_RGBD_FetchFrame(handle, &record, kTimeoutMs); });
    if (Pick(run, 0, 1) == 0) {
        ExpectInTime("stop", OX3D_RGBD_OK, 0, [&] { return OX3D_RGBD_Stop(handle); });
    }
    ExpectInTime("close", OX3D_RGBD_OK, 0, [&] { return OX3D_RGBD_CloseDevice(&handle); });
    Expect("frames", seen.m_frames, isPushed ? frames + 3 : 0);
    Expect("losses", seen.m_losses, losses);
    OpenAgain(serial, frame);
    LookAtCamera();
}

} // namespace

void RunUnplug(Run& run) {
    for (; run.m_done < run.m_count; ++run.m_done) {
        LoseDevice(run, run.m_done % 2 == 0);
        ++run.m_faults;
    }
}

void RunCycles(Run& run) {
    constexpr uint64_t kWarmUps = 1000;
    SetUpCamera();
    CGrowth growth;
    for (; run.m_done < run.m_count; ++run.m_done) {
        void* handle = OpenDevice(run.m_done % 2 == 0 ? "ETH1" : "USB1");
        Expect("close", OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
        ForgetCalls();
        if (run.m_done >= kWarmUps && run.m_done % 100 == 0) {
            growth.Look("opening and closing");
        }
    }
    LookAtCamera();
    LookAtLog();
}

namespace {

// As the camera's thread does.
void Push(CRawFrame& frame, uint32_t number) {
    frame.m_info.nFrameNum = number;
    const auto& lane = Double().m_frames;
    lane.m_callback(frame.m_main.data(), frame.Info(), lane.m_user);
}

} // namespace

void RunFrames(Run& run) {
    SetUpCamera();
    Seen seen;
    CRawFrame frame(64, 48);
    frame.AddColor(64, 48);
    void* handle = OpenDevice("USB1");
    Expect("register", OX3D_RGBD_RegisterFrameCallBack(handle, CountSeenFrame, &seen), OX3D_RGBD_OK);
    Expect("start", OX3D_RGBD_Start(handle), OX3D_RGBD_OK);
    CGrowth growth;
    for (; run.m_done < run.m_count; ++run.m_done) {
        Push(frame, static_cast<uint32_t>(run.m_done + 1));
        if (run.m_done >= 1000 && run.m_done % 10000 == 0) {
            growth.Look("a stream");
        }
    }
    Expect("close", OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
    Expect("frames", seen.m_frames, static_cast<uint32_t>(run.m_count));
    LookAtCamera();
    LookAtLog();
}

// Depth is registered and becomes points, color is scaled, the RGB-D image is made; every second frame is fetched in a
// session without callback. The log is in its debug mode.
void RunFramesOfAllKinds(Run& run) {
    // Else the heap keeps freed images as it likes, and resident memory says nothing of what is held.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    std::ofstream("Ox3dRgbdCfg.ini") << "[Debug]\nDebugMode=1\n[CameraConfig]\nBufferNode=3\n";
    SetUpCamera();
    constexpr uint16_t kSizes[][2] = {{640, 480}, {1280, 720}, {640, 512},
                                      {800, 600}, {1280, 960}, {640, 480}};
    constexpr size_t kLargest = 4;
    std::array<std::unique_ptr<CRawFrame>, std::size(kSizes)> frames;
    for (size_t i = 0; i < frames.size(); ++i) {
        frames[i] = std::make_unique<CRawFrame>(kSizes[i][0], kSizes[i][1]);
        frames[i]->AddColor(kSizes[(i + 1) % frames.size()][0], kSizes[(i + 2) % frames.size()][1]);
    }
    CGrowth growth;
    const uint64_t sessionFrames = std::clamp<uint64_t>(run.m_count / 8, 1, 500);
    while (run.m_done < run.m_count) {
        const bool isPushed = run.m_done / sessionFrames % 2 == 0;
        Seen seen;
        void* handle = OpenDevice("ETH1");
        Expect("switch", SetSwitch(handle, "OutputRgbd", 1), OX3D_RGBD_OK);
        if (isPushed) {
            Expect("register", OX3D_RGBD_RegisterFrameCallBack(handle, CountSeenFrame, &seen), OX3D_RGBD_OK);
        }
        Expect("start", OX3D_RGBD_Start(handle), OX3D_RGBD_OK);
        for (uint32_t i = 1; i <= sessionFrames && run.m_done < run.m_count; ++i, ++run.m_done) {
            // The first of a session fixes how large the scaled color of the later ones may be.
            CRawFrame& frame = *frames[i == 1 ? kLargest : Pick(run, 0, frames.size() - 1)];
            if (isPushed) {
                Push(frame, i);
            } else {
                frame.m_info.nFrameNum = i;
                Double().QueueFrame(frame.Out());
                OX3D_RGBD_FRAME_DATA record;
                Expect("fetch", OX3D_RGBD_FetchFrame(handle, &record, 1000), OX3D_RGBD_OK);
                ++seen.m_frames;
                OX3D_RGBD_IMAGE_DATA points = {};
                Expect("points", OX3D_RGBD_MapDepthToPointCloud(handle, &record.stImageData[0], &points),
                       OX3D_RGBD_OK);
            }
            Expect("frames", seen.m_frames, i);
        }
        Expect("close", OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
        ForgetCalls();
        if (run.m_done >= 4 * sessionFrames) {
            growth.Look("a stream of all kinds");
        }
    }
    LookAtCamera();
    LookAtLog();
}

// ---- Many threads ------------------------------------------------------------------------------------------

namespace {

constexpr uint32_t kThreads = 8;
constexpr milliseconds kStall{10000};

struct Crowd {
    std::atomic<void*> m_handle{nullptr};
    std::atomic<uint64_t> m_calls{0};
    std::atomic<uint64_t> m_limit{0};
    std::array<std::atomic<milliseconds::rep>, kThreads> m_seen{};
    Seen m_frames;
};

void CrowdFrame(OX3D_RGBD_FRAME_DATA* frame, void* user);

// How often each kind of call comes: a letter each.
constexpr char kMix[] = "KSSSSXXRRNNEFFFFFFFFFCCCCTTTTTTTTTTGGGGGGGGGGPPPPPPPPPPPPPPPPPPP";

// One call of any kind, at any time. Any status is right; nothing may hang, race, crash or leak.
void CallSomething(Crowd& crowd, std::minstd_rand& random) {
    void* const handle = crowd.m_handle;
    OX3D_RGBD_FRAME_DATA frame;
    OX3D_RGBD_PARAM param = IntParam(random() % 2);
    OX3D_RGBD_CALIB_INFO calibration;
    uint32_t status = OX3D_RGBD_E_HANDLE;
    switch (kMix[random() % (sizeof(kMix) - 1)]) {
    case 'K': {
        if (random() % 8 != 0) {
            break;
        }
        void* copy = handle;
        status = OX3D_RGBD_CloseDevice(&copy);
        if (status == OX3D_RGBD_OK) {
            void* closed = handle;
            crowd.m_handle.compare_exchange_strong(closed, nullptr);
        }
        break;
    }
    case 'S':
        status = OX3D_RGBD_Start(handle);
        break;
    case 'X':
        status = OX3D_RGBD_Stop(handle);
        break;
    case 'R':
        status = OX3D_RGBD_RegisterFrameCallBack(handle, CrowdFrame, &crowd);
        break;
    case 'N':
        status = OX3D_RGBD_RegisterFrameCallBack(handle, nullptr, nullptr);
        break;
    case 'E':
        status = OX3D_RGBD_RegisterExceptionCallBack(handle, random() % 2 == 0 ? CountSeenLoss : nullptr,
                                                     &crowd.m_frames);
        break;
    case 'F':
        status = OX3D_RGBD_FetchFrame(handle, &frame, random() % 3);
        break;
    case 'C':
        status = OX3D_RGBD_GetCalibInfo(handle, OX3D_RGBD_CALIB_DEPTH, &calibration);
        break;
    case 'T':
        status = OX3D_RGBD_SoftTrigger(handle);
        break;
    case 'G':
        status = OX3D_RGBD_GetParam(handle, "Width", &param);
        break;
    default:
        status = OX3D_RGBD_SetParam(handle, random() % 2 == 0 ? "OutputRgbd" : "Width", &param);
        break;
    }
    crowd.m_calls += status != OX3D_RGBD_E_HANDLE ? 1 : 0; // without a device a call meets no other
}

void CrowdFrame(OX3D_RGBD_FRAME_DATA* /*frame*/, void* user) {
    thread_local std::minstd_rand s_random{7};
    auto& crowd = *static_cast<Crowd*>(user);
    ++crowd.m_frames.m_frames;
    CallSomething(crowd, s_random);
}

void RunMember(Crowd& crowd, uint32_t index, uint32_t seed) {
    std::minstd_rand random{seed};
    while (crowd.m_calls < crowd.m_limit) {
        crowd.m_seen[index] = OwnTime().count();
        if (index == 0 && crowd.m_handle == nullptr) { // who opens
            void* handle = nullptr;
            if (OX3D_RGBD_OpenDeviceBySerialNumber(&handle, random() % 2 == 0 ? "ETH1" : "USB1") ==
                OX3D_RGBD_OK) {
                SetSwitch(handle, "ImageAlign", 0);
                OX3D_RGBD_Start(handle);
                crowd.m_handle = handle;
                // A thread that had not yet used the same address of a former device may have closed this one.
                if (OX3D_RGBD_SoftTrigger(handle) == OX3D_RGBD_E_HANDLE) {
                    crowd.m_handle.compare_exchange_strong(handle, nullptr);
                }
            }
            ForgetCalls();
            ++crowd.m_calls;
        }
        if (crowd.m_handle == nullptr && random() % 16 != 0) { // some calls without a device are enough
            std::this_thread::yield();
            continue;
        }
        CallSomething(crowd, random);
    }
    crowd.m_seen[index] = milliseconds::max().count();
}

void WatchForStalls(const Crowd& crowd) {
    uint64_t calls = 0;
    auto lastCall = OwnTime();
    while (crowd.m_calls < crowd.m_limit) {
        std::this_thread::sleep_for(milliseconds(100));
        lastCall = std::exchange(calls, crowd.m_calls.load()) != calls ? OwnTime() : lastCall;
        if (OwnTime() - lastCall > kStall) {
            fputs("complaint: no call has found a device for 10 s\n", stderr);
            abort();
        }
        const auto oldest = (OwnTime() - kStall).count();
        for (const auto& seen : crowd.m_seen) {
            if (seen < oldest) {
                fputs("complaint: a call stalls for more than 10 s\n", stderr);
                abort(); // the threads are to be looked at
            }
        }
    }
}

} // namespace

void RunThreads(Run& run) {
    SetUpCamera();
    auto crowd = std::make_unique<Crowd>();
    crowd->m_limit = run.m_count;
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < kThreads; ++i) {
        crowd->m_seen[i] = OwnTime().count();
        threads.emplace_back(RunMember, std::ref(*crowd), i, static_cast<uint32_t>(run.m_random()));
    }
    std::thread watch(WatchForStalls, std::cref(*crowd));
    CRawFrame frame(64, 48);
    frame.AddColor(64, 48);
    for (uint32_t i = 0; crowd->m_calls < crowd->m_limit; ++i) {
        if (Double().Script()->m_frames.size() < 3) {
            Double().QueueFrame(frame.Out());
        }
        Double().DeliverFrame(frame.m_main.data(), frame.Info());
        if (i % 16 == 0) {
            Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT);
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    watch.join();
    void* handle = crowd->m_handle;
    if (handle != nullptr) {
        Expect("close", OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
    }
    Eventually([] { return Double().Handles() == 0; }); // a close from a callback ends behind it
    LookAtCamera();
    run.m_done = crowd->m_calls;
    run.m_faults = crowd->m_frames.m_losses;
    printf("%u frames and %u losses reached a callback\n", crowd->m_frames.m_frames.load(),
           crowd->m_frames.m_losses.load());
}

} // namespace ox3d::session

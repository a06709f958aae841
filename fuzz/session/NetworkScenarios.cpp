// NetworkScenarios.cpp - the virtual network camera, killed and started again. Runs in a network of its own, with the
// provider over Aravis where the dynamic linker finds it first.
#include <algorithm>
#include <csignal>
#include <sstream>
#include <thread>

#include "fuzz/session/Checks.h"
#include "tests/support/Process.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>

namespace ox3d::session {
namespace {

constexpr uint32_t kFetchMs = 200;
constexpr uint32_t kPartingMs = 0; // nothing is asked of a camera that is known to be gone
const char* const kSerial = "SOAK";

CProcess* StartCamera(const char* ip = "127.0.0.1") {
    auto* camera = new CProcess(
        {OX3D_VIRTUAL_CAMERA, "--camera", std::string("serial=SOAK,width=640,height=480,fps=30,ip=") + ip},
        ".");
    if (!camera->WaitForOutput("\nready\n")) {
        Complain("no camera: " + camera->Output());
    }
    return camera;
}

void* OpenCamera() {
    void* handle = nullptr;
    if (!Eventually([&] { return OX3D_RGBD_OpenDeviceBySerialNumber(&handle, kSerial) == OX3D_RGBD_OK; })) {
        Complain("the camera does not open again");
    }
    return handle;
}

// One stream, ended by the camera's death.
void KillCamera(Run& run, bool isPushed) {
    const std::unique_ptr<CProcess> camera(StartCamera());
    Seen seen;
    void* handle = OpenCamera();
    Expect("switch", SetSwitch(handle, "ImageAlign", 0), OX3D_RGBD_OK);
    Expect("register", OX3D_RGBD_RegisterExceptionCallBack(handle, CountSeenLoss, &seen), OX3D_RGBD_OK);
    if (isPushed) {
        Expect("register", OX3D_RGBD_RegisterFrameCallBack(handle, CountSeenFrame, &seen), OX3D_RGBD_OK);
    }
    Expect("start", OX3D_RGBD_Start(handle), OX3D_RGBD_OK);
    OX3D_RGBD_FRAME_DATA frame;
    const auto hasFrames = [&] {
        seen.m_frames += !isPushed && OX3D_RGBD_FetchFrame(handle, &frame, 1000) == OX3D_RGBD_OK ? 1 : 0;
        return seen.m_frames >= 3;
    };
    if (!Eventually(hasFrames)) {
        Complain("no frames");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(Pick(run, 0, 100)));
    camera->Signal(SIGKILL);
    camera->Finish();
    if (!Eventually([&] { return seen.m_losses == 1; })) {
        Complain("the loss is not reported");
    }
    while (!isPushed && OX3D_RGBD_FetchFrame(handle, &frame, 0) == OX3D_RGBD_OK) { // what had come before
    }
    ExpectInTime("fetch", isPushed ? OX3D_RGBD_E_STATE : OX3D_RGBD_E_NO_DATA, kFetchMs,
                 [&] { return OX3D_RGBD_FetchFrame(handle, &frame, kFetchMs); });
    const int64_t stopMs =
        ExpectInTime("stop", OX3D_RGBD_OK, kPartingMs, [&] { return OX3D_RGBD_Stop(handle); });
    const int64_t closeMs =
        ExpectInTime("close", OX3D_RGBD_OK, kPartingMs, [&] { return OX3D_RGBD_CloseDevice(&handle); });
    Expect("losses", seen.m_losses, 1);
    printf("killed: stop took %lld ms, close %lld ms\n", static_cast<long long>(stopMs),
           static_cast<long long>(closeMs));
    fflush(stdout);
}

OX3D_RGBD_PARAM Gain(float value) {
    OX3D_RGBD_PARAM gain{};
    gain.enParamType = OX3D_RGBD_PARAM_FLOAT;
    gain.stFloatParam.fCurValue = value;
    return gain;
}

struct Told {
    std::atomic<uint32_t> m_lost{0};
    std::atomic<uint32_t> m_back{0};
    std::atomic<uint32_t> m_other{0};
};

void CountTold(OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
    auto* told = static_cast<Told*>(user);
    ++(info->nExceptionId == OX3D_RGBD_EXCEPTION_RETRYING      ? told->m_lost
       : info->nExceptionId == OX3D_RGBD_EXCEPTION_RECONNECTED ? told->m_back
                                                               : told->m_other);
}

} // namespace

void RunNetworkUnplug(Run& run) {
    for (; run.m_done < run.m_count; ++run.m_done) {
        KillCamera(run, run.m_done % 2 == 0);
        ++run.m_faults;
    }
}

// One handle and one stream, whose camera dies and comes back with its factory settings, each fifth time at another
// address.
void RunNetworkReturns(Run& run) {
    std::unique_ptr<CProcess> camera(StartCamera());
    Told told;
    OX3D_RGBD_FRAME_DATA frame;
    void* handle = OpenCamera();
    OX3D_RGBD_PARAM gain = Gain(6);
    Expect("switch", SetSwitch(handle, "ImageAlign", 0), OX3D_RGBD_OK);
    Expect("switch", SetSwitch(handle, OX3D_RGBD_KEY_AUTO_RECONNECT, 1), OX3D_RGBD_OK);
    Expect("gain", OX3D_RGBD_SetParam(handle, "Gain", &gain), OX3D_RGBD_OK);
    Expect("register", OX3D_RGBD_RegisterExceptionCallBack(handle, CountTold, &told), OX3D_RGBD_OK);
    Expect("start", OX3D_RGBD_Start(handle), OX3D_RGBD_OK);
    const auto hasFrame = [&] { return OX3D_RGBD_FetchFrame(handle, &frame, 1000) == OX3D_RGBD_OK; };
    for (; run.m_done < run.m_count; ++run.m_done) {
        if (!Eventually(hasFrame)) {
            Complain("no frames");
        }
        camera->Signal(SIGKILL);
        camera->Finish();
        if (!Eventually([&] { return told.m_lost == run.m_done + 1; })) {
            Complain("the loss is not reported");
        }
        ExpectInTime("fetch", OX3D_RGBD_E_NO_DATA, kFetchMs,
                     [&] { return OX3D_RGBD_FetchFrame(handle, &frame, kFetchMs); });
        camera.reset(StartCamera(run.m_done % 5 == 3 ? "127.0.0.2" : "127.0.0.1"));
        if (!Eventually([&] { return told.m_back == run.m_done + 1; })) {
            Complain("the camera is not back");
        }
        gain = Gain(0);
        Expect("gain", OX3D_RGBD_GetParam(handle, "Gain", &gain), OX3D_RGBD_OK);
        if (gain.stFloatParam.fCurValue != 6) {
            Complain("a setting is lost");
        }
        ++run.m_faults;
    }
    if (!Eventually(hasFrame)) {
        Complain("no frames");
    }
    Expect("stop", OX3D_RGBD_Stop(handle), OX3D_RGBD_OK);
    Expect("close", OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
    Expect("other exceptions", told.m_other, 0);
}

void RunNetworkCycles(Run& run) {
    const uint64_t warmUps = std::min(run.m_count / 4, uint64_t{200});
    const std::unique_ptr<CProcess> camera(StartCamera());
    CGrowth growth;
    size_t files = 0;
    for (; run.m_done < run.m_count; ++run.m_done) {
        void* handle = OpenCamera();
        Expect("close", OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
        files = run.m_done == warmUps ? OpenFiles() : files;
        if (run.m_done >= warmUps && run.m_done % std::min(warmUps, uint64_t{50}) == 0) {
            growth.Look("opening and closing over the network");
        }
    }
    Expect("open files", static_cast<uint32_t>(OpenFiles()), static_cast<uint32_t>(files));
}

// The program of attacks, whose output has a line for each kind; the count is its scale.
void RunNetworkAttack(Run& run) {
    CProcess attack({OX3D_ATTACK_CAMERA, std::to_string(run.m_random()), std::to_string(run.m_count)}, ".");
    Expect("the program of attacks", static_cast<uint32_t>(attack.Finish()), 0);
    std::istringstream lines(attack.Output());
    for (std::string line; std::getline(lines, line); ++run.m_done) {
        puts(line.c_str());
        if (!line.ends_with(": ok")) {
            Complain(line);
        }
    }
    if (run.m_done == 0) {
        Complain("no attack");
    }
}

} // namespace ox3d::session

// ox3d upgrade: a camera's firmware from a file.
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/TargetFile.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/Progress.h"

#include <chrono>
#include <cstdio>
#include <ox3drgbd/Ox3dRgbdApi.h>
#include <thread>

namespace ox3d::tool {
namespace {

constexpr uint32_t kDone = 100;
constexpr auto kLookAgain = std::chrono::milliseconds(100);
// A camera that erases its memory may say one percentage for minutes.
constexpr auto kStandstill = std::chrono::minutes(10);

[[noreturn]] void End(EExitCode code, const std::string& what, uint32_t percent, const std::string& why) {
    throw CToolError(code, "the upgrade " + what + " at " + std::to_string(percent) + " %" + why +
                               "; \"ox3d info\" shows the version that the camera has");
}

void WaitForEnd(const CCamera& camera) {
    using Clock = std::chrono::steady_clock;
    CPercentBar bar;
    uint32_t last = 0;
    Clock::time_point moved = Clock::now();
    for (uint32_t percent = 0; percent < kDone; std::this_thread::sleep_for(kLookAgain)) {
        if (IsInterrupted()) { // closing the camera gives the upgrade up
            End(EExitCode::Interrupted, "was given up", percent, "; the camera may keep its firmware");
        }
        const uint32_t status = OX3D_RGBD_GetUpgradeProcess(camera.Handle(), &percent);
        if (status != OX3D_RGBD_OK) {
            End(EExitCode::Camera, "ended", percent, ": " + StatusText(status));
        }
        if (percent != last) {
            last = percent;
            moved = Clock::now();
        } else if (Clock::now() - moved > kStandstill) {
            End(EExitCode::Camera, "has stood still for 10 minutes", percent, "");
        }
        bar.Update(percent);
    }
}

} // namespace

EExitCode RunUpgrade(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    const std::string file = SourceFile(arguments.m_file.m_local);
    CSession session(provider, arguments.m_serial);
    CheckInterrupted();
    if (const uint32_t status = OX3D_RGBD_LocalUpgrade(session.Handle(), file.c_str());
        status != OX3D_RGBD_OK) {
        throw CToolError(EExitCode::Camera, "the camera does not take the firmware: " + StatusText(status));
    }
    WaitForEnd(session.Camera());
    std::puts("the firmware is upgraded");
    return EExitCode::Ok;
}

} // namespace ox3d::tool

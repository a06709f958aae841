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

void WaitForEnd(const CCamera& camera) {
    CPercentBar bar;
    for (uint32_t percent = 0; percent < kDone; std::this_thread::sleep_for(kLookAgain)) {
        if (IsInterrupted()) { // closing the camera gives the upgrade up
            throw CToolError(EExitCode::Interrupted, "the upgrade was given up at " +
                                                         std::to_string(percent) +
                                                         " %; the camera keeps its firmware");
        }
        const uint32_t status = OX3D_RGBD_GetUpgradeProcess(camera.Handle(), &percent);
        if (status != OX3D_RGBD_OK) {
            throw CToolError(EExitCode::Camera, "the upgrade ended at " + std::to_string(percent) +
                                                    " %: " + StatusText(status) +
                                                    "; \"ox3d info\" shows the version that the camera has");
        }
        bar.Update(percent);
    }
}

} // namespace

EExitCode RunUpgrade(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    const std::string file = SourceFile(arguments.m_file.m_local);
    CSession session(provider, arguments.m_serial);
    if (const uint32_t status = OX3D_RGBD_LocalUpgrade(session.Handle(), file.c_str());
        status != OX3D_RGBD_OK) {
        throw CToolError(EExitCode::Camera, "the camera does not take the firmware: " + StatusText(status));
    }
    WaitForEnd(session.Camera());
    std::puts("the firmware is upgraded");
    return EExitCode::Ok;
}

} // namespace ox3d::tool

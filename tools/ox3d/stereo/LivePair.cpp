// The pair of pictures that a camera's depth is made of.
#include "tools/ox3d/stereo/LivePair.h"

#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Status.h"

#include <chrono>
#include <thread>

namespace ox3d::tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kSliceMs = 200; // a fetch waits no longer, so that Ctrl-C is answered soon

} // namespace

ViewPair FetchPair(CCamera& camera, uint32_t patienceSeconds) {
    constexpr int kMaxFramesWithout = 30;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(patienceSeconds);
    uint32_t status = OX3D_RGBD_E_NO_DATA;
    for (int without = 0; without < kMaxFramesWithout && Clock::now() < end;) {
        CheckInterrupted();
        OX3D_RGBD_FRAME_DATA frame{};
        status = OX3D_RGBD_FetchFrame(camera.Handle(), &frame, kSliceMs);
        if (status == OX3D_RGBD_OK) {
            ViewPair pair = DecodePair(frame);
            if (!pair.IsEmpty()) {
                return pair;
            }
            ++without;
        } else if (camera.IsLost()) {
            throw CToolError(EExitCode::Camera, "the camera went offline");
        } else if (status != OX3D_RGBD_E_NO_DATA) {
            std::this_thread::sleep_for(
                std::chrono::milliseconds(5)); // a fetch that fails at once must not spin
        }
    }
    if (status == OX3D_RGBD_OK) {
        throw CToolError(
            EExitCode::NoFrame,
            "the camera sends no pair of pictures: USB cameras do whose chunk \"DemosaicPair\" is on");
    }
    throw CToolError(EExitCode::NoFrame,
                     "no frame for " + std::to_string(patienceSeconds) + " s: " + StatusText(status));
}

} // namespace ox3d::tool

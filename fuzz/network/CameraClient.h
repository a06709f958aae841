// CameraClient.h - an application that streams from the only camera of the network, and looks at every frame.
//
// A thread fetches all the time. The camera shows a few images over and over, which are learnt from the first frames:
// a frame is genuine when it is, to the byte, the one that belongs to its number.
#ifndef OX3D_FUZZ_NETWORK_CAMERA_CLIENT_H
#define OX3D_FUZZ_NETWORK_CAMERA_CLIENT_H

#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "base/Ipv4.h"
#include <ox3drgbd/OxCameraControl.h>

namespace ox3d::attack {

constexpr uint32_t kCycle = 4; // images of the camera

using std::chrono::milliseconds;

class CCameraClient {
public:
    CCameraClient() = default;
    ~CCameraClient() { End(); }
    CCameraClient(const CCameraClient&) = delete;
    CCameraClient& operator=(const CCameraClient&) = delete;

    // Looks for the camera until it has been found, opens it and starts. Without a packet socket it receives by plain
    // UDP.
    bool Begin(bool hasPacketSocket, milliseconds patience);
    // Stops, closes and destroys; ends also what did not begin. False when a call takes longer than it may.
    bool End();
    // Whether a frame comes that the camera has sent after this call.
    bool HasNextFrame(milliseconds patience) const;
    bool WaitForLoss(milliseconds patience) const;
    // Another application's attempt to open the camera.
    int OpenBeside(uint32_t accessMode) const;

    Endpoint StreamPort() const;
    uint32_t Losses() const { return m_losses.load(); }
    uint64_t Frames() const { return m_frames.load(); }
    uint64_t Forged() const { return m_forged.load(); }
    // The longest that a fetch has taken beyond its time-out.
    milliseconds LatestFetch() const { return milliseconds(m_latestFetchMs.load()); }

private:
    bool Open(milliseconds patience);
    bool HasNextFrames(uint64_t count, milliseconds patience) const;
    void Watch(const std::stop_token& stop);
    void Look(const OX_FRAME_OUT& frame);

    OX_CC_DEVICE_INFO m_record{};
    void* m_handle = nullptr;
    std::jthread m_watcher;
    std::array<uint64_t, kCycle> m_images{}; // of the watcher; 0: not learnt yet
    std::atomic<uint32_t> m_losses{0};
    std::atomic<uint64_t> m_frames{0};
    std::atomic<uint64_t> m_forged{0};
    std::atomic<int64_t> m_latestFetchMs{0};
};

} // namespace ox3d::attack

#endif

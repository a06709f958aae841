// Connection.h - one opening of a camera: which camera it is, whether it is still there, and the thread that
// tells the application about exceptions and events.
#ifndef OX3D_PROVIDER_CONNECTION_H
#define OX3D_PROVIDER_CONNECTION_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include <ox3drgbd/OxCameraControl.h>

#include "CallbackSlot.h"
#include "Worker.h"
#include "virtual-camera/CameraModel.h"

namespace ox3d {

// The callbacks of a handle; they outlive its openings.
struct HandleCallbacks {
    using Event = CCallbackSlot<OX_EVENT_OUT_INFO*>;

    CCallbackSlot<uint8_t*, OX_FRAME_OUT_INFO_EX*> m_image;
    CCallbackSlot<uint32_t> m_exception;
    Event m_exposureEnd;
    Event m_allEvents;
};

class CConnection : public std::enable_shared_from_this<CConnection> {
public:
    CConnection(std::shared_ptr<CCameraModel> model, std::shared_ptr<HandleCallbacks> callbacks,
                uint32_t accessMode);

    CCameraModel& Model() const { return *m_model; }
    HandleCallbacks& Callbacks() const { return *m_callbacks; }
    uint32_t PlugCount() const { return m_plugCount; }
    uint32_t AccessMode() const { return m_accessMode; }
    bool MayWrite() const { return m_accessMode != OX_CC_ACCESS_MONITOR; }

    // Starts the thread for exceptions and events.
    bool Start();
    void RequestStop();
    void Join() { m_worker.Join(); }

    // Whether the camera is still the one that was opened. Finding it gone raises the exception, once.
    bool IsAlive();
    void MarkGone();
    void RaiseExposureEnd(const CameraFrame& frame);

private:
    struct Notice {
        uint32_t m_exception = 0; // 0: an event
        OX_EVENT_OUT_INFO m_event{};
    };
    void Push(const Notice& notice);
    void Run();

    const std::shared_ptr<CCameraModel> m_model;
    const std::shared_ptr<HandleCallbacks> m_callbacks;
    const uint32_t m_plugCount;
    const uint32_t m_accessMode;
    std::atomic<bool> m_isGone{false};

    std::mutex m_mutex; // the notices
    std::condition_variable m_changed;
    std::vector<Notice> m_notices;
    bool m_isStopping = false;
    CWorker m_worker;
};

} // namespace ox3d

#endif

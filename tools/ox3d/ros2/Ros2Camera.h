// A camera that is published: opened, and opened again when it was lost, by a thread of its own, which also packs and sends.
// Frames come by callback and are copied there: nobody on the network holds the camera up.
#ifndef OX3D_TOOL_ROS2_CAMERA_H
#define OX3D_TOOL_ROS2_CAMERA_H

#include "base/Mutex.h"
#include "ros2/CameraServices.h"
#include "ros2/CameraTopics.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/ros2/Ros2Parameters.h"
#include "tools/ox3d/view/ViewStats.h"

#include <deque>
#include <thread>

namespace ox3d::tool {

class CRos2Camera {
public:
    using TopicsPointer = std::unique_ptr<ros2::CCameraTopics>;

    // What clients ask of the camera. The services may be none.
    struct Services {
        std::unique_ptr<CRos2Parameters> m_parameters;
        std::unique_ptr<ros2::CCameraServices> m_services;
    };

    // `isRegistered`: depth is laid onto color.
    CRos2Camera(const ProviderChoice& provider, const DeviceRecord& record, bool isRegistered,
                TopicsPointer topics, Services services);
    ~CRos2Camera();
    CRos2Camera(const CRos2Camera&) = delete;
    CRos2Camera& operator=(const CRos2Camera&) = delete;

    ros2::GraphNode Node() const;

private:
    using Clock = std::chrono::steady_clock;
    struct FreeCopy {
        void operator()(OX3D_RGBD_FRAME_DATA* copy) const { OX3D_RGBD_FreeFrame(copy); }
    };
    using FrameCopy = std::unique_ptr<OX3D_RGBD_FRAME_DATA, FreeCopy>;

    void Run() noexcept OX_EXCLUDES(m_mutex);
    void Stream() OX_EXCLUDES(m_mutex);
    static void OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user);
    void Take(const OX3D_RGBD_FRAME_DATA& frame) OX_EXCLUDES(m_mutex);
    FrameCopy Next() OX_EXCLUDES(m_mutex);
    void Send(const OX3D_RGBD_FRAME_DATA& frame, CFrameViews& views);
    void SendCloud(const OX3D_RGBD_FRAME_DATA& frame, uint64_t stampNs);
    void TellOfRefused(const ros2::ServiceFigures& requests);
    void SendDiagnostic(ros2::ELevel level, const std::string& message) OX_EXCLUDES(m_mutex);
    bool IsEnding() const OX_EXCLUDES(m_mutex);

    const ProviderChoice m_provider;
    const DeviceRecord m_record;
    const bool m_isRegistered;
    const TopicsPointer m_topics; // the thread's, as is what follows
    const Services m_services;
    std::optional<CCamera> m_camera;
    CViewStats m_stats;
    uint64_t m_unsent = 0; // frames of which a reader was told no more
    bool m_isDescribed = false;
    bool m_isRefusalTold = false;
    Clock::time_point m_nextSecond;

    mutable CMutex m_mutex;
    CCondition m_changed;
    std::deque<FrameCopy> m_waiting OX_GUARDED_BY(m_mutex);
    void* m_handle OX_GUARDED_BY(m_mutex) = nullptr; // of the camera that brings frames
    uint64_t m_skipped OX_GUARDED_BY(m_mutex) = 0;   // frames that newer ones replaced
    bool m_isEnding OX_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

} // namespace ox3d::tool

#endif

// StreamSender.h - the stream channel: frames of the model become packets, spread over the frame period.
//
// Two threads, so that a frame is rendered while the one before it is on the wire. m_mutex guards what the
// control channel changes; no packet is sent under it.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_STREAM_SENDER_H
#define OX3D_VIRTUAL_CAMERA_GIGE_STREAM_SENDER_H

#include <thread>

#include "base/Mutex.h"
#include "virtual-camera/gige/CameraSocket.h"
#include "virtual-camera/gige/DeviceControl.h"
#include "virtual-camera/gige/FramePool.h"
#include "virtual-camera/gige/MessageChannel.h"
#include "virtual-camera/gige/SendPlan.h"

namespace ox3d::gige {

class CStreamSender : public CDevicePorts {
public:
    CStreamSender(CCameraModel& model, CMessageChannel& messages);
    ~CStreamSender() override;

    void Start();
    // The camera's new address; what is on its way is given up.
    void Move(uint32_t ip);
    // A camera that is dead to its network.
    void SetMuted(bool isMuted) { m_isMuted = isMuted; }

    void OnChannelWritten() override;
    void FireTestPacket() override;
    void Resend(const ResendRequest& request) override;
    void Notify(const CameraEvent& event) override { m_messages.Send(event); }

private:
    // Where packets go. Every change of the channel makes a new one; an old one's frames are given up.
    struct Channel {
        std::shared_ptr<const CUdpSocket> m_socket;
        Endpoint m_to;
        uint32_t m_serial = 0;

        bool IsOpen() const { return m_socket != nullptr && m_to.m_port != 0 && m_to.m_ip != 0; }
    };
    struct Job {
        std::vector<std::shared_ptr<GvspFrame>> m_blocks; // of one frame
        Channel m_channel;
    };

    Channel Current() const;
    bool IsCurrent(const Channel& channel) const { return channel.m_serial == m_channelSerial.load(); }
    void ApplyDoNotFragment(const Channel& channel) const;
    void Renew(std::shared_ptr<const CUdpSocket> socket);
    void Wake();
    void RunCamera(const std::stop_token& stop);
    void RunSender(const std::stop_token& stop);
    void TakeFrame(const std::stop_token& stop);
    std::optional<Job> WaitForJob(const std::stop_token& stop);
    void Enqueue(const CameraFrame& frame, const std::stop_token& stop);
    std::vector<std::shared_ptr<GvspFrame>> PackBlocks(const CameraFrame& frame);
    void SendFrame(const Job& job, const std::stop_token& stop);
    bool SendBlock(const Job& job, GvspFrame& block, const SendPlan& plan, Time* due,
                   const std::stop_token& stop);
    void SendGroup(const Job& job, const GvspFrame& block, uint32_t first, uint32_t count);

    CCameraModel& m_model;
    CMessageChannel& m_messages;
    std::atomic<bool> m_isMuted{false};
    std::atomic<uint32_t> m_channelSerial{0};
    CFramePool m_pool;
    CameraFrame m_frame; // of the camera thread
    CPacketDice m_dice;  // of the sender thread

    mutable CMutex m_mutex;
    CCondition m_changed;
    Channel m_channel OX_GUARDED_BY(m_mutex);
    CBlockIds m_blockIds OX_GUARDED_BY(m_mutex);
    std::optional<Job> m_waiting OX_GUARDED_BY(m_mutex); // rendered, not yet taken by the sender

    std::jthread m_sender;
    std::jthread m_camera;
};

} // namespace ox3d::gige

#endif

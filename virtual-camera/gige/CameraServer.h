// CameraServer.h - one camera on the network: its model, its sockets and the thread of its control channel.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_CAMERA_SERVER_H
#define OX3D_VIRTUAL_CAMERA_GIGE_CAMERA_SERVER_H

#include "virtual-camera/gige/StreamSender.h"

namespace ox3d::gige {

class CCameraServer {
public:
    CCameraServer(const CameraConfig& config, std::string interface);
    CCameraServer(const CCameraServer&) = delete;
    CCameraServer& operator=(const CCameraServer&) = delete;

    // Makes the images' source and the sockets, and starts to answer.
    bool Start(std::string* error);
    const CameraConfig& Config() const { return m_model.Config(); }

private:
    bool OpenBroadcast(std::string* error);
    bool Move(uint32_t ip, std::string* error);
    void FollowAddress(Time now);
    void Run(const std::stop_token& stop);
    void ReceiveFrom(const CUdpSocket& socket, bool isBroadcast);
    void Say(const std::string& text) const;

    const std::string m_interface;
    CCameraModel m_model;
    CMessageChannel m_messages;
    CStreamSender m_stream;
    CDeviceControl m_control;
    CUdpSocket m_broadcast;
    CUdpSocket m_unicast; // closed while the camera has an address that this host does not have
    uint32_t m_ip = 0;
    Time m_nextMove; // when an address is tried again that the host did not have
    std::jthread m_thread;
};

} // namespace ox3d::gige

#endif

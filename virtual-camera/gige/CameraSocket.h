// CameraSocket.h - sockets as a camera on the network opens them and streams through them.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_CAMERA_SOCKET_H
#define OX3D_VIRTUAL_CAMERA_GIGE_CAMERA_SOCKET_H

#include <string>

#include "base/UdpSocket.h"
#include "virtual-camera/gige/GvspFrame.h"

namespace ox3d::gige {

// Port 0 takes any free one. A socket of the broadcast address can be shared, others cannot: the second camera
// with an address has to notice.
bool OpenCameraSocket(const Endpoint& local, CUdpSocket* socket, std::string* error);

// Head and payload go out from where they lie.
void SendPackets(const CUdpSocket& socket, std::span<const GvspPacket> packets, const Endpoint& to);

} // namespace ox3d::gige

#endif

// StreamFilter.h - keeps datagrams of other hosts from a camera's stream.
#ifndef OX3D_ARAVIS_STREAM_FILTER_H
#define OX3D_ARAVIS_STREAM_FILTER_H

#include <cstdint>

#include "base/Ipv4.h"

namespace ox3d {

// Has the kernel drop what reaches this process's UDP socket `local` from any address but the camera's, whatever
// its port, and returns when what had come before is read. Aravis takes the length of a frame from any datagram that
// looks like one, and ends the process when it cannot have so much memory. The socket is Aravis's own, so it is
// searched for among the open files; false where they cannot be listed or the socket is not there.
bool AcceptOnlyFrom(uint32_t cameraIp, const Endpoint& local);

} // namespace ox3d

#endif

// MessageChannel.h - events of the camera on their way to the application that has opened a message channel.
//
// All functions may be called by any thread.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_MESSAGE_CHANNEL_H
#define OX3D_VIRTUAL_CAMERA_GIGE_MESSAGE_CHANNEL_H

#include "base/Mutex.h"
#include "virtual-camera/CameraModel.h"
#include "virtual-camera/gige/CameraEvent.h"
#include "virtual-camera/gige/CameraSocket.h"

namespace ox3d::gige {

// The payload of an event command; whole words, as all commands.
Bytes EventPayload(const CameraEvent& event);

class CMessageChannel {
public:
    explicit CMessageChannel(CCameraModel& model) : m_model(model) {}

    // The camera's new address.
    void Move(uint32_t ip);
    void SetMuted(bool isMuted);
    // Nothing when no channel is open.
    void Send(const CameraEvent& event);

private:
    CCameraModel& m_model;
    CMutex m_mutex;
    CUdpSocket m_socket OX_GUARDED_BY(m_mutex);
    bool m_isMuted OX_GUARDED_BY(m_mutex) = false;
    uint16_t m_requestId OX_GUARDED_BY(m_mutex) = 0;
};

} // namespace ox3d::gige

#endif

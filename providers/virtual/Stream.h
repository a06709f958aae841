// Stream.h - the two threads of one acquisition: the camera's own, and the one that calls back.
//
// The camera's thread never runs code of the application, so anybody may wait for it. The other one does; it
// is waited for by everyone but itself.
#ifndef OX3D_PROVIDER_STREAM_H
#define OX3D_PROVIDER_STREAM_H

#include <memory>
#include <stop_token>

#include "Connection.h"
#include "FrameBuffer.h"
#include "Worker.h"

namespace ox3d {

class CStream : public std::enable_shared_from_this<CStream> {
public:
    CStream(std::shared_ptr<CConnection> connection, std::shared_ptr<CFrameBuffer> buffer)
        : m_connection(std::move(connection)), m_buffer(std::move(buffer)) {}

    bool Start();
    // Ends the acquisition without waiting; frames that wait are dropped.
    void RequestStop();
    void JoinCamera() { m_camera.Join(); }
    void JoinDelivery() { m_delivery.Join(); }

private:
    void RunCamera();
    bool TakeFrame();
    void RunDelivery();

    const std::shared_ptr<CConnection> m_connection;
    const std::shared_ptr<CFrameBuffer> m_buffer;
    uint32_t m_acquisition = 0; // set before the threads start
    std::stop_source m_stop;
    CWorker m_camera;
    CWorker m_delivery;
};

} // namespace ox3d

#endif

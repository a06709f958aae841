// Stream.h - the two threads of one acquisition: the one that takes frames from the camera, and the one that
// calls back.
//
// The camera's thread never runs code of the application, so every thread may wait for it. The other one does; every
// thread but itself waits for it.
#ifndef OX3D_PROVIDER_STREAM_H
#define OX3D_PROVIDER_STREAM_H

#include <memory>
#include <stop_token>

#include "providers/common/Connection.h"
#include "providers/common/FrameBuffer.h"
#include "providers/common/Worker.h"

namespace ox3d {

class CStream : public std::enable_shared_from_this<CStream> {
public:
    CStream(std::shared_ptr<CHandleCallbacks> callbacks, std::shared_ptr<CFrameBuffer> buffer)
        : m_callbacks(std::move(callbacks)), m_buffer(std::move(buffer)) {}
    virtual ~CStream() = default;
    CStream(const CStream&) = delete;
    CStream& operator=(const CStream&) = delete;

    bool Start();
    // Ends the acquisition without waiting; frames that wait are dropped.
    void RequestStop();
    void JoinCamera() { m_camera.Join(); }
    void JoinDelivery() { m_delivery.Join(); }
    bool IsDelivering() const { return m_delivery.IsRunning(); }

protected:
    // Fills nodes until the stop is asked for or the camera is gone.
    virtual void RunCamera() = 0;

    CFrameBuffer& Buffer() const { return *m_buffer; }
    std::stop_token StopToken() const { return m_stop.get_token(); }
    void Commit(FrameNode* node) {
        m_buffer->Commit(m_acquisition, node, m_callbacks->m_image.IsRegistered());
    }

private:
    void RunDelivery();

    const std::shared_ptr<CHandleCallbacks> m_callbacks;
    const std::shared_ptr<CFrameBuffer> m_buffer;
    uint32_t m_acquisition = 0; // set before the threads start
    std::stop_source m_stop;
    CWorker m_camera;
    CWorker m_delivery;
};

} // namespace ox3d

#endif

// Stream.cpp - from the camera into the image nodes, and from there to the application's callback.
#include "providers/common/Stream.h"

#include <new>

#include "providers/common/CallbackThread.h"

namespace ox3d {

bool CStream::Start() {
    m_acquisition = m_buffer->Open();
    if (!m_delivery.Start([self = shared_from_this()] { self->RunDelivery(); })) {
        m_buffer->Shut();
        return false;
    }
    const auto run = [self = shared_from_this()] {
        try {
            self->RunCamera();
        } catch (const std::bad_alloc&) {
            self->m_buffer->Finish(); // without memory there are no further frames
        }
    };
    if (!m_camera.Start(run)) {
        RequestStop();
        m_delivery.Join();
        return false;
    }
    return true;
}

void CStream::RequestStop() {
    m_stop.request_stop();
    m_buffer->Shut();
}

void CStream::RunDelivery() {
    CallbackThread::Current() = {m_callbacks.get(), ECallbackRole::Images};
    const std::stop_token stop = m_stop.get_token();
    while (!stop.stop_requested()) {
        FrameNode* node = m_buffer->WaitForCallback(m_acquisition);
        if (node == nullptr) {
            return;
        }
        OX_FRAME_OUT_INFO_EX info = node->m_info;
        CallApplication(m_callbacks->m_image, node->m_image, &info);
        m_buffer->Release(node);
    }
}

} // namespace ox3d

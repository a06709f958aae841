// Stream.cpp - from the camera model into the image nodes, and from there to the application's callback.
#include "Stream.h"

#include <new>

#include "CallbackThread.h"

namespace ox3d {

bool CStream::Start() {
    m_acquisition = m_buffer->Open();
    if (!m_delivery.Start([self = shared_from_this()] { self->RunDelivery(); })) {
        m_buffer->Shut();
        return false;
    }
    if (!m_camera.Start([self = shared_from_this()] { self->RunCamera(); })) {
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

void CStream::RunCamera() {
    try {
        while (TakeFrame()) {
        }
    } catch (const std::bad_alloc&) {
        m_buffer->Finish(); // without memory there are no further frames
    }
}

bool CStream::TakeFrame() {
    FrameNode* node = m_buffer->TakeEmpty();
    const ENextFrame result =
        m_connection->Model().NextFrame(m_connection->PlugCount(), m_stop.get_token(), &node->m_frame);
    if (result != ENextFrame::Frame) {
        m_buffer->Release(node);
        if (result == ENextFrame::Gone) {
            m_buffer->Finish();
            m_connection->MarkGone();
        }
        return false;
    }
    node->FillInfo();
    if (node->m_frame.m_isExposureEventWanted) {
        m_connection->RaiseExposureEnd(node->m_frame);
    }
    m_buffer->Commit(m_acquisition, node, m_connection->Callbacks().m_image.IsSet());
    return true;
}

void CStream::RunDelivery() {
    CallbackThread::Current() = {&m_connection->Callbacks(), ECallbackRole::Images};
    const std::stop_token stop = m_stop.get_token();
    while (!stop.stop_requested()) {
        FrameNode* node = m_buffer->WaitForCallback(m_acquisition);
        if (node == nullptr) {
            return;
        }
        OX_FRAME_OUT_INFO_EX info = node->m_info;
        m_connection->Callbacks().m_image.Call(node->m_frame.m_image.data(), &info);
        m_buffer->Release(node);
    }
}

} // namespace ox3d

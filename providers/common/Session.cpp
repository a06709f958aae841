// Session.cpp - opening and closing, starting and stopping, from outside and from inside callbacks.
#include "providers/common/Session.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "providers/common/CallbackThread.h"
#include "providers/common/Status.h"

namespace ox3d {

namespace {

template <typename Item>
bool IsIn(const std::vector<Item>& list, const Item& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

} // namespace

CSession::CSession(std::shared_ptr<CCamera> camera, const OX_CC_DEVICE_INFO& record)
    : m_camera(std::move(camera)), m_record(record), m_callbacks(std::make_shared<CHandleCallbacks>()),
      m_frames(std::make_shared<CFrameBuffer>(m_camera->Nodes())) {}

OX_CC_DEVICE_INFO CSession::Record() const {
    return m_camera->Record(m_record);
}

int CSession::Open(uint32_t accessMode) {
    JoinEnded();
    const CLock lock(m_mutex);
    if (m_connection != nullptr) {
        return Code(OX_CC_E_CALL_ORDER);
    }
    return m_camera->Open(accessMode, m_callbacks, &m_connection);
}

// A callback that has stopped its stream may still be running, and the thread that starts may hold a lock that the
// callback wants: so a start waits for the camera threads only.
void CSession::ReapEnded() {
    std::vector<std::shared_ptr<CStream>> streams;
    {
        const CLock lock(m_mutex);
        streams = m_endedStreams;
    }
    for (const auto& stream : streams) {
        stream->JoinCamera();
    }
    const CLock lock(m_mutex);
    std::erase_if(m_endedStreams,
                  [&](const auto& stream) { return !stream->IsDelivering() && IsIn(streams, stream); });
}

int CSession::Start() {
    ReapEnded();
    const CLock lock(m_mutex);
    if (m_connection == nullptr || m_stream != nullptr) {
        return Code(OX_CC_E_CALL_ORDER);
    }
    if (!m_connection->IsAlive()) {
        return kDeviceGone;
    }
    if (!m_connection->MayWrite()) {
        return Code(OX_CC_E_ACCESS_DENIED);
    }
    const std::shared_ptr<CStream> stream = m_connection->MakeStream(m_frames);
    m_endedStreams.reserve(m_endedStreams.size() + 1); // stopping must not fail for want of memory
    m_endedConnections.reserve(m_endedConnections.size() + 1);
    return Launch(stream);
}

int CSession::Launch(const std::shared_ptr<CStream>& stream) {
    if (const int code = m_connection->PrepareStream(*stream); code != kOk) {
        return code;
    }
    if (!stream->Start()) {
        return Code(OX_CC_E_RESOURCE);
    }
    m_stream = stream;
    // The camera starts last: its clock begins when everything is ready for the first frame.
    const int code = m_connection->StartAcquisition();
    if (code != kOk) {
        EndStream();
    }
    return code;
}

// Does everything that must precede the next start; waiting is left to the caller.
void CSession::EndStream() {
    if (m_stream == nullptr) {
        return;
    }
    m_stream->RequestStop();
    if (m_connection->IsAlive()) {
        m_connection->StopAcquisition();
    }
    m_endedStreams.push_back(std::move(m_stream));
    m_stream = nullptr;
}

void CSession::JoinEnded() {
    std::vector<std::shared_ptr<CStream>> streams;
    std::vector<std::shared_ptr<CConnection>> connections;
    {
        const CLock lock(m_mutex);
        streams = m_endedStreams;
        connections = m_endedConnections;
    }
    const ECallbackRole role = CallbackThread::RoleFor(m_callbacks.get());
    for (const auto& stream : streams) {
        stream->JoinCamera();
        if (role != ECallbackRole::Images) {
            stream->JoinDelivery();
        }
    }
    for (const auto& connection : connections) {
        if (role == ECallbackRole::None) {
            connection->Join();
        }
    }
    // Streams and connections that were not waited for stay listed, for a later caller from outside.
    const CLock lock(m_mutex);
    if (role != ECallbackRole::Images) {
        std::erase_if(m_endedStreams, [&](const auto& stream) { return IsIn(streams, stream); });
    }
    if (role == ECallbackRole::None) {
        std::erase_if(m_endedConnections, [&](const auto& ended) { return IsIn(connections, ended); });
    }
}

int CSession::Stop() {
    {
        const CLock lock(m_mutex);
        if (m_stream == nullptr) {
            return Code(OX_CC_E_CALL_ORDER);
        }
        EndStream();
    }
    JoinEnded();
    return kOk;
}

int CSession::Close() {
    std::shared_ptr<CConnection> connection;
    std::shared_ptr<CUpgrade> upgrade;
    {
        const CLock lock(m_mutex);
        if (m_connection == nullptr) {
            return Code(OX_CC_E_CALL_ORDER);
        }
        EndStream();
        connection = std::move(m_connection);
        m_connection = nullptr;
        upgrade = std::move(m_upgrade);
        m_upgrade = nullptr;
        connection->RequestStop();
        m_endedConnections.push_back(connection);
    }
    if (upgrade != nullptr) {
        upgrade->Stop();
    }
    JoinEnded();
    m_camera->Close(connection);
    ReturnCopied(nullptr);
    m_frames->Trim();
    return kOk;
}

void CSession::Shutdown() {
    Close(); // not open is as good
    JoinEnded();
}

int CSession::Connected(bool isForWriting, std::shared_ptr<CConnection>* connection) {
    {
        const CLock lock(m_mutex);
        *connection = m_connection;
    }
    if (*connection == nullptr) {
        return Code(OX_CC_E_CALL_ORDER);
    }
    if (!(*connection)->IsAlive()) {
        return kDeviceGone;
    }
    return isForWriting && !(*connection)->MayWrite() ? Code(OX_CC_E_ACCESS_DENIED) : kOk;
}

bool CSession::IsGrabbing() const {
    const CLock lock(m_mutex);
    return m_stream != nullptr;
}

// An unplugged camera's last frames are still there to be fetched, so only the stream is asked for.
int CSession::Fetch(uint32_t timeoutMs, uint64_t maxBytes, FrameNode** node) {
    return IsGrabbing() ? m_frames->Fetch(timeoutMs, maxBytes, node) : Code(OX_CC_E_CALL_ORDER);
}

int CSession::FetchCopy(uint32_t timeoutMs, uint8_t* image, uint64_t sizeBytes, OX_FRAME_OUT_INFO_EX* info) {
    FrameNode* node = nullptr;
    const int code = Fetch(timeoutMs, sizeBytes, &node);
    if (code != kOk) {
        return code;
    }
    std::memcpy(image, node->m_image, node->m_info.nFrameLen);
    *info = node->m_info;
    ReturnCopied(node->m_image);
    return kOk;
}

void CSession::ReturnCopied(const uint8_t* next) {
    const uint8_t* before = nullptr;
    {
        const CLock lock(m_mutex);
        before = std::exchange(m_copiedImage, next);
    }
    if (before != nullptr) {
        m_frames->Return(before);
    }
}

} // namespace ox3d

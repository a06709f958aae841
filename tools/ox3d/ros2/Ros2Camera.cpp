// A camera that is published.
#include "tools/ox3d/ros2/Ros2Camera.h"

#include "base/ExceptionBarrier.h"
#include "base/SignalMask.h"
#include "recording/camera/FrameImages.h"
#include "tools/ox3d/Status.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace ox3d::tool {
namespace {

using namespace std::chrono_literals;

constexpr auto kStep = 100ms;
constexpr auto kRetry = 1s;         // for a camera that is not there
constexpr size_t kMaxWaiting = 4;   // frames between the callback and the network
constexpr float kMmPerMetre = 1000; // points

uint64_t NowNs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::nanoseconds(now).count());
}

std::string Rounded(double number) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f", number);
    return text;
}

// The library's points are millimetres, and zeros where there is none; readers want metres, and NaN.
void PutPoints(const OX3D_RGBD_CLOUD& cloud, bool isColored, uint8_t* out) {
    const auto* in = static_cast<const uint8_t*>(cloud.pPoints);
    for (uint32_t i = 0; i < cloud.nCount; ++i, in += cloud.nPointStride) {
        float xyz[3];
        std::memcpy(xyz, in, sizeof(xyz));
        const bool isThere = xyz[0] != 0 || xyz[1] != 0 || xyz[2] != 0;
        for (float& part : xyz) {
            part = isThere ? part / kMmPerMetre : std::numeric_limits<float>::quiet_NaN();
        }
        std::memcpy(out, xyz, sizeof(xyz));
        out += sizeof(xyz);
        if (isColored) {
            const uint8_t* const rgba = in + sizeof(xyz);
            const uint8_t bgr0[4] = {rgba[2], rgba[1], rgba[0], 0};
            std::memcpy(out, bgr0, sizeof(bgr0));
            out += sizeof(bgr0);
        }
    }
}

} // namespace

CRos2Camera::CRos2Camera(const ProviderChoice& provider, const DeviceRecord& record, bool isRegistered,
                         TopicsPointer topics, Services services)
    : m_provider(provider), m_record(record), m_isRegistered(isRegistered), m_topics(std::move(topics)),
      m_services(std::move(services)) {
    const CSignalsBlocked blocked;
    m_thread = std::thread([this] { Run(); });
}

CRos2Camera::~CRos2Camera() {
    {
        const CLock lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.NotifyAll();
    m_thread.join();
}

ros2::GraphNode CRos2Camera::Node() const {
    ros2::GraphNode node = m_topics->Node();
    if (m_services.m_services != nullptr) {
        m_services.m_services->AddTo(&node);
    }
    return node;
}

bool CRos2Camera::IsEnding() const {
    const CLock lock(m_mutex);
    return m_isEnding;
}

// A camera that is not there, or not any more, is looked for until the end.
void CRos2Camera::Run() noexcept {
    while (!IsEnding()) {
        std::string problem;
        ExceptionBarrier(
            [this] { Stream(); },
            [&](const std::exception* error) { problem = error == nullptr ? "unknown" : error->what(); });
        ExceptionBarrier(
            [&] {
                m_services.m_parameters->Attach(nullptr);
                m_camera.reset(); // no callback runs from here on
                const CLock lock(m_mutex);
                m_waiting.clear();
                m_handle = nullptr;
            },
            [](const std::exception*) {});
        if (!problem.empty()) {
            std::fprintf(stderr, "ox3d: %s: %s\n", TextOf(m_record.chSerialNumber).c_str(), problem.c_str());
            ExceptionBarrier([&] { SendDiagnostic(ros2::ELevel::Error, problem); },
                             [](const std::exception*) {});
        }
        CLock lock(m_mutex);
        if (!m_isEnding) {
            m_changed.WaitFor(m_mutex, kRetry);
        }
    }
}

void CRos2Camera::Stream() {
    const std::string serial = TextOf(m_record.chSerialNumber);
    m_camera.emplace(m_provider, PickCamera(ListCameras(m_provider), serial));
    m_camera->Switch(OX3D_RGBD_KEY_IMAGE_ALIGN, m_isRegistered);
    m_camera->Switch(OX3D_RGBD_KEY_RESOLUTION_ALIGN, false);
    void* const handle = m_camera->Handle();
    {
        const CLock lock(m_mutex);
        m_handle = handle;
    }
    if (const uint32_t status = OX3D_RGBD_RegisterFrameCallBack(handle, OnFrame, this);
        status != OX3D_RGBD_OK) {
        throw CStatusError(EExitCode::Camera, "cannot be told of frames: " + StatusText(status), status);
    }
    m_camera->Start();
    m_services.m_parameters->Attach(handle);
    m_isDescribed = false;
    CFrameViews views(handle);
    while (!IsEnding()) {
        if (m_camera->IsLost()) {
            throw CToolError(EExitCode::Camera, "the camera went offline; it is looked for");
        }
        if (const FrameCopy frame = Next(); frame != nullptr) {
            Send(*frame, views);
        }
        if (const Clock::time_point now = Clock::now(); now >= m_nextSecond) {
            m_nextSecond = now + 1s;
            SendDiagnostic(ros2::ELevel::Ok, "streaming");
        }
    }
}

// Nothing leaves a callback: a frame for which there is no memory is lost.
void CRos2Camera::OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user) {
    if (frame != nullptr) {
        ExceptionBarrier([&] { static_cast<CRos2Camera*>(user)->Take(*frame); },
                         [](const std::exception*) {});
    }
}

void CRos2Camera::Take(const OX3D_RGBD_FRAME_DATA& frame) {
    void* handle = nullptr;
    {
        const CLock lock(m_mutex);
        handle = m_handle;
    }
    OX3D_RGBD_FRAME_DATA* copied = nullptr;
    if (OX3D_RGBD_CopyFrame(handle, &frame, &copied) != OX3D_RGBD_OK) {
        m_stats.AddBad();
        return;
    }
    FrameCopy copy(copied);
    {
        const CLock lock(m_mutex);
        if (m_waiting.size() >= kMaxWaiting) {
            std::swap(copy, m_waiting.front());
            m_waiting.push_back(std::move(m_waiting.front()));
            m_waiting.pop_front();
            ++m_skipped;
        } else {
            m_waiting.push_back(std::move(copy));
        }
    }
    m_changed.NotifyAll();
}

CRos2Camera::FrameCopy CRos2Camera::Next() {
    CLock lock(m_mutex);
    if (m_waiting.empty() && !m_isEnding) {
        m_changed.WaitFor(m_mutex, kStep);
    }
    if (m_waiting.empty()) {
        return nullptr;
    }
    FrameCopy frame = std::move(m_waiting.front());
    m_waiting.pop_front();
    return frame;
}

void CRos2Camera::Send(const OX3D_RGBD_FRAME_DATA& frame, CFrameViews& views) {
    const OX3D_RGBD_IMAGE_DATA* const depth = FindDepth(frame);
    if (depth == nullptr) {
        m_stats.AddBad();
        return;
    }
    const FrameView view = views.Of(frame, *depth);
    views.WasTaken(view.m_facts.m_number);
    m_stats.Add(view.m_facts);
    if (!m_isDescribed) { // sizes are known from the first frame on
        m_isDescribed = true;
        RecordedCamera described;
        AddLenses(m_camera->Handle(), &described);
        m_topics->SetCamera(described, m_isRegistered, NowNs());
    }
    bool isSent = m_topics->Publish(view);
    if (m_topics->IsCloudRead()) {
        SendCloud(frame, view.m_facts.m_cameraNs == 0 ? view.m_facts.m_hostNs : view.m_facts.m_cameraNs);
    }
    m_unsent += isSent ? 0 : 1;
}

void CRos2Camera::SendCloud(const OX3D_RGBD_FRAME_DATA& frame, uint64_t stampNs) {
    OX3D_RGBD_CLOUD_OPTIONS options{};
    options.nCamera = m_isRegistered ? OX3D_RGBD_CAMERA_COLOR : OX3D_RGBD_CAMERA_DEPTH;
    options.nColor = OX3D_RGBD_CLOUD_COLOR_INTERLEAVED;
    OX3D_RGBD_CLOUD cloud{};
    uint32_t status = OX3D_RGBD_MapFrameToPointCloud(m_camera->Handle(), &frame, &options, &cloud);
    if (status == OX3D_RGBD_E_NO_DATA) { // no color in this frame
        options.nColor = OX3D_RGBD_CLOUD_NO_COLOR;
        status = OX3D_RGBD_MapFrameToPointCloud(m_camera->Handle(), &frame, &options, &cloud);
    }
    if (status != OX3D_RGBD_OK) {
        return; // a camera without calibration has no points
    }
    const bool isColored = options.nColor != OX3D_RGBD_CLOUD_NO_COLOR;
    ByteVector cdr;
    cdr.reserve(size_t{cloud.nCount} * ros2::PointBytes(isColored) + 512);
    const auto room = ros2::PutPointCloud(&cdr, {stampNs, m_topics->CloudFrameId()}, cloud.nWidth,
                                          cloud.nHeight, isColored);
    PutPoints(cloud, isColored, room.data());
    m_topics->PublishCloud(std::move(cdr));
}

// Whoever waits in vain looks here. Once: a client asks again and again.
void CRos2Camera::TellOfRefused(const ros2::ServiceFigures& requests) {
    if (requests.m_malformed > 0 && !m_isRefusalTold) {
        m_isRefusalTold = true;
        std::fprintf(
            stderr,
            "ox3d: %s: a request was refused that is not as rmw_cyclonedds writes them; clients with "
            "another RMW_IMPLEMENTATION get no answer\n",
            TextOf(m_record.chSerialNumber).c_str());
    }
}

void CRos2Camera::SendDiagnostic(ros2::ELevel level, const std::string& message) {
    const ViewFigures figures = m_stats.Close(0);
    uint64_t skipped = 0;
    {
        const CLock lock(m_mutex);
        skipped = m_skipped;
    }
    ros2::Diagnostic diagnostic;
    diagnostic.m_level = level;
    diagnostic.m_name = "stream";
    diagnostic.m_message = message;
    diagnostic.m_hardwareId = TextOf(m_record.chSerialNumber);
    diagnostic.m_values = {{"frames", std::to_string(figures.m_frames)},
                           {"frames lost", std::to_string(figures.m_lost)},
                           {"frames incomplete", std::to_string(figures.m_incomplete)},
                           {"frames skipped", std::to_string(skipped)},
                           {"frames not sent whole", std::to_string(m_unsent)},
                           {"frames per second", Rounded(figures.m_fps)},
                           {"latency p50 ms", Rounded(figures.m_latencyMs50)},
                           {"latency p99 ms", Rounded(figures.m_latencyMs99)},
                           {"readers", std::to_string(m_topics->Readers())}};
    if (m_services.m_services != nullptr) {
        const ros2::ServiceFigures requests = m_services.m_services->Figures();
        TellOfRefused(requests);
        diagnostic.m_values.insert(diagnostic.m_values.end(),
                                   {{"requests answered", std::to_string(requests.m_answered)},
                                    {"requests dropped", std::to_string(requests.m_dropped)},
                                    {"requests not well formed", std::to_string(requests.m_malformed)}});
    }
    m_topics->PublishDiagnostic(NowNs(), std::move(diagnostic));
}

} // namespace ox3d::tool

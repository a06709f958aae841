// ox3d stream: how well frames come: rate, losses, latency, valid depth, and a small picture of the depth in characters.
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/FrameStats.h"
#include "tools/ox3d/commands/Progress.h"
#include "tools/ox3d/pictures/DepthText.h"
#include "tools/ox3d/pictures/FrameDecode.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

namespace ox3d::tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kSliceMs = 200; // a fetch waits no longer, so that Ctrl-C is answered soon
constexpr size_t kMaxLatencies = 1000000;
constexpr uint32_t kTextColumns = 64;

uint64_t UtcNs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

class CStream {
public:
    CStream(CCamera& camera, const StreamOptions& options)
        : m_camera(camera), m_options(options), m_progress(0) {}

    EExitCode Run();
    // In milliseconds; empty where no frame told when it was taken.
    std::optional<double> Latency(double share);
    const CFrameStats& Stats() const { return m_stats; }
    const DepthImage& LastDepth() const { return m_depth; }

private:
    bool FetchOne();
    void NoteLatency(const OX3D_RGBD_FRAME_DATA& frame);

    CCamera& m_camera;
    const StreamOptions& m_options;
    CProgress m_progress;
    CFrameStats m_stats;
    DepthImage m_depth;
    std::vector<double> m_latenciesMs;
    uint32_t m_lastStatus = OX3D_RGBD_E_NO_DATA;
};

// From the moment at which the camera took the frame, as far as its clock is known, to here: all that lies between, the
// library's work included.
void CStream::NoteLatency(const OX3D_RGBD_FRAME_DATA& frame) {
    OX3D_RGBD_FRAME_TIMES times{};
    const uint64_t now = UtcNs();
    if (OX3D_RGBD_GetFrameTimes(m_camera.Handle(), &frame, &times) == OX3D_RGBD_OK &&
        times.nSource != OX3D_RGBD_CLOCK_NONE && m_latenciesMs.size() < kMaxLatencies) {
        m_latenciesMs.push_back(static_cast<double>(static_cast<int64_t>(now - times.nCaptureUtcNs)) / 1e6);
    }
}

bool CStream::FetchOne() {
    OX3D_RGBD_FRAME_DATA frame{};
    m_lastStatus = OX3D_RGBD_FetchFrame(m_camera.Handle(), &frame, kSliceMs);
    if (m_lastStatus == OX3D_RGBD_OK && FindDepth(frame) != nullptr) {
        const double seconds = std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
        NoteLatency(frame);
        m_depth = DecodeDepth(frame);
        m_stats.Add(FindDepth(frame)->nFrameNum, seconds, m_depth);
        m_progress.Update(m_stats);
        return true;
    }
    if (m_lastStatus != OX3D_RGBD_E_NO_DATA) {
        m_stats.AddBad();
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // a fetch that fails at once must not spin
    }
    return false;
}

EExitCode CStream::Run() {
    m_camera.ExpectDepth();
    m_camera.AlignWhereKnown();
    m_camera.Start();
    const Clock::time_point begin = Clock::now();
    Clock::time_point lastGood = begin;
    EExitCode code = EExitCode::Ok;
    const std::chrono::seconds patience(m_options.m_patienceSeconds);
    while (code == EExitCode::Ok &&
           (m_options.m_seconds == 0 || Clock::now() - begin < std::chrono::seconds(m_options.m_seconds))) {
        if (IsInterrupted()) {
            code = m_options.m_seconds == 0 ? EExitCode::Ok : EExitCode::Interrupted;
            break;
        }
        if (FetchOne()) {
            lastGood = Clock::now();
        } else if (m_camera.IsLost()) {
            m_progress.Finish();
            std::fputs("ox3d: the camera went offline\n", stderr);
            code = EExitCode::Camera;
        } else if (Clock::now() - lastGood > patience) {
            m_progress.Finish();
            std::fprintf(stderr, "ox3d: no frame for %u s: %s\n", m_options.m_patienceSeconds,
                         StatusText(m_lastStatus).c_str());
            code = EExitCode::NoFrame;
        }
    }
    m_progress.Finish();
    m_camera.Stop();
    return m_stats.Frames() == 0 && code == EExitCode::Ok ? EExitCode::NoFrame : code;
}

std::optional<double> CStream::Latency(double share) {
    if (m_latenciesMs.empty()) {
        return std::nullopt;
    }
    const auto place = static_cast<size_t>(share * static_cast<double>(m_latenciesMs.size() - 1));
    const auto nth = m_latenciesMs.begin() + static_cast<std::ptrdiff_t>(place);
    std::nth_element(m_latenciesMs.begin(), nth, m_latenciesMs.end());
    return *nth;
}

void Print(CStream& stream) {
    const CFrameStats& stats = stream.Stats();
    std::printf("frames       %llu\nrate         %.1f frames/s\nlost         %llu\nincomplete   %llu\n",
                static_cast<unsigned long long>(stats.Frames()), stats.FrameRate(),
                static_cast<unsigned long long>(stats.LostFrames()),
                static_cast<unsigned long long>(stats.BadFrames()));
    if (const std::optional<double> median = stream.Latency(0.5)) {
        std::printf("latency      p50 %.1f ms, p99 %.1f ms\n", *median, *stream.Latency(0.99));
    } else {
        std::puts("latency      not known: the camera's clock is not");
    }
    std::printf("valid depth  %.1f %%\n", stats.ValidDepthPercent());
    std::fputs(DepthText(stream.LastDepth(), kTextColumns).c_str(), stdout);
}

Json Document(CStream& stream) {
    const CFrameStats& stats = stream.Stats();
    Json json = {{"frames", stats.Frames()},   {"frames_per_second", stats.FrameRate()},
                 {"lost", stats.LostFrames()}, {"incomplete", stats.BadFrames()},
                 {"latency_ms", nullptr},      {"valid_depth_percent", stats.ValidDepthPercent()}};
    if (const std::optional<double> median = stream.Latency(0.5)) {
        json["latency_ms"] = {{"p50", *median}, {"p99", *stream.Latency(0.99)}};
    }
    return json;
}

} // namespace

EExitCode RunStream(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    CSession session(provider, arguments.m_serial);
    CStream stream(session.Camera(), arguments.m_stream);
    const EExitCode code = stream.Run();
    if (arguments.m_isJson) {
        PrintJson(Document(stream));
    } else {
        Print(stream);
    }
    return code;
}

} // namespace ox3d::tool

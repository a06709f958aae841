// ox3d grab: fetches frames and writes pictures and a point cloud of them.
#include "recording/RecordingWriter.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/WorkFolder.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/FrameStats.h"
#include "tools/ox3d/commands/Progress.h"
#include "tools/ox3d/commands/RecordingQueue.h"
#include "tools/ox3d/pictures/FrameDecode.h"
#include "tools/ox3d/pictures/Results.h"

#include <chrono>
#include <cstdio>
#include <optional>
#include <thread>

namespace ox3d::tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kSliceMs = 200; // a fetch waits no longer, so that Ctrl-C is answered soon

double SecondsOf(Clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

class CGrab {
public:
    // recording: null when frames are not to be recorded.
    CGrab(CCamera& camera, const GrabOptions& options, std::filesystem::path out, CRecordingWriter* recording)
        : m_camera(camera), m_options(options), m_out(std::move(out)), m_recording(recording),
          m_progress(options.m_frames) {}

    EExitCode Run();

private:
    bool IsDone() const { return m_options.m_frames != 0 && m_stats.Frames() >= m_options.m_frames; }
    EExitCode FetchAll();
    bool FetchOne();
    void Take(const OX3D_RGBD_FRAME_DATA& frame);
    void BeginRecording();
    void AddCloud();
    void Report(const std::vector<std::string>& files) const;

    CCamera& m_camera;
    const GrabOptions& m_options;
    const std::filesystem::path m_out;
    CRecordingWriter* const m_recording;
    std::optional<CRecordingQueue> m_queue; // with a recording
    CProgress m_progress;
    CFrameStats m_stats;
    GrabbedFrame m_last;                  // the last good frame
    OX3D_RGBD_FRAME_DATA m_delivered{};   // the same; its images stay until the next frame
    bool m_isAligned = true;              // depth is registered to color
    bool m_isPlayable = true;             // the recording; not without its calibration file
    uint32_t m_lastStatus = OX3D_RGBD_OK; // of the last fetch that failed
};

// One fetch; whether it gave a good frame.
bool CGrab::FetchOne() {
    OX3D_RGBD_FRAME_DATA frame{};
    const Clock::time_point begin = Clock::now();
    const uint32_t status = OX3D_RGBD_FetchFrame(m_camera.Handle(), &frame, kSliceMs);
    if (status == OX3D_RGBD_OK && FindDepth(frame) != nullptr) {
        Take(frame);
        return true;
    }
    m_lastStatus = status == OX3D_RGBD_OK ? OX3D_RGBD_E_NO_DATA : status;
    if (status != OX3D_RGBD_E_NO_DATA) {
        m_delivered = {}; // its images are overwritten
        m_stats.AddBad();
    }
    if (Clock::now() - begin < std::chrono::milliseconds(5)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // a fetch that fails at once must not spin
    }
    return false;
}

void CGrab::Take(const OX3D_RGBD_FRAME_DATA& frame) {
    m_delivered = frame;
    m_last.m_depth = DecodeDepth(frame);
    m_last.m_color = DecodeColor(frame);
    m_last.m_frameNum = FindDepth(frame)->nFrameNum;
    m_last.m_isRegistered = m_camera.IsRegistered() && m_isAligned && m_recording == nullptr;
    m_stats.Add(m_last.m_frameNum, SecondsOf(Clock::now()), m_last.m_depth);
    m_progress.Update(m_stats);
    if (m_recording != nullptr) {
        m_queue->Add(m_last.m_frameNum, m_last.m_depth, m_last.m_color, DecodePair(frame));
    }
}

EExitCode CGrab::FetchAll() {
    const std::chrono::seconds patience(m_options.m_patienceSeconds);
    Clock::time_point lastGood = Clock::now();
    while (!IsDone()) {
        if (IsInterrupted()) {
            return m_options.m_frames == 0 ? EExitCode::Ok : EExitCode::Interrupted;
        }
        if (FetchOne()) {
            lastGood = Clock::now();
        } else if (m_camera.IsLost()) {
            m_progress.Finish();
            std::fputs("ox3d: the camera went offline\n", stderr);
            return EExitCode::Camera;
        } else if (Clock::now() - lastGood > patience) {
            m_progress.Finish();
            std::fprintf(stderr, "ox3d: no frame for %u s: %s\n", m_options.m_patienceSeconds,
                         StatusText(m_lastStatus).c_str());
            return EExitCode::NoFrame;
        }
    }
    return EExitCode::Ok;
}

// Seen from the color camera, whatever was done to the frame: its colors are where they belong. There is none where
// a bad frame was the last to come.
void CGrab::AddCloud() {
    m_last.m_cloud = {};
    OX3D_RGBD_CLOUD_OPTIONS options{};
    options.nCamera = OX3D_RGBD_CAMERA_COLOR;
    options.nColor = OX3D_RGBD_CLOUD_COLOR_BESIDE;
    OX3D_RGBD_CLOUD cloud{};
    uint32_t status = OX3D_RGBD_MapFrameToPointCloud(m_camera.Handle(), &m_delivered, &options, &cloud);
    if (status == OX3D_RGBD_E_NO_DATA) { // no color, or none that the library knows
        options.nColor = OX3D_RGBD_CLOUD_NO_COLOR;
        status = OX3D_RGBD_MapFrameToPointCloud(m_camera.Handle(), &m_delivered, &options, &cloud);
    }
    if (status != OX3D_RGBD_OK) {
        std::fprintf(stderr, "ox3d: no point cloud: %s\n", StatusText(status).c_str());
        return;
    }
    m_last.m_cloud = CloudOf(cloud);
}

// A recording holds what the camera sends, which the library registers when it is played, by the same
// calibration.
void CGrab::BeginRecording() {
    m_queue.emplace(*m_recording);
    m_camera.Switch(OX3D_RGBD_KEY_IMAGE_ALIGN, false);
    m_camera.Switch(OX3D_RGBD_KEY_RESOLUTION_ALIGN, false);
    if (const uint32_t status = m_camera.SaveCalibration(m_recording->CalibrationFile());
        status != OX3D_RGBD_OK) {
        m_isPlayable = false;
        std::fprintf(stderr, "ox3d: the recording cannot be played without the camera's calibration: %s\n",
                     StatusText(status).c_str());
    }
}

void CGrab::Report(const std::vector<std::string>& files) const {
    std::printf("%s\n", m_stats.Summary().c_str());
    if (!m_last.m_isRegistered && !files.empty()) {
        std::puts(
            m_recording != nullptr
                ? "depth is recorded as the camera sends it, not registered to color: no overlay; "
                  "\"ox3d grab --recording\" makes one of the recording"
            : !m_isAligned
                ? "depth is not registered to color: no overlay"
                : "depth of USB cameras is not registered to color, \"ImageAlign\" acts on Ethernet cameras "
                  "only: no overlay");
    }
    for (const std::string& file : files) {
        std::printf("  %s\n", (m_out / file).c_str());
    }
}

EExitCode CGrab::Run() {
    m_camera.ExpectDepth();
    if (m_recording != nullptr) {
        BeginRecording();
    } else {
        m_isAligned = m_camera.AlignWhereKnown();
        m_camera.Switch(OX3D_RGBD_KEY_RESOLUTION_ALIGN, true);
    }
    m_camera.Start();
    const EExitCode code = FetchAll();
    m_progress.Finish();
    m_camera.Stop();
    if (m_queue) {
        m_queue->Finish();
    }
    if (m_stats.Frames() == 0) {
        m_camera.Close();
        Report({});
        return code == EExitCode::Ok ? EExitCode::Interrupted : code;
    }
    AddCloud();
    m_camera.Close(); // others may have it while the files are written
    Report(WriteResults(m_out, m_last));
    return code == EExitCode::Ok && !m_isPlayable ? EExitCode::File : code;
}

} // namespace

EExitCode RunGrab(CCameraControl& control, const Arguments& arguments) {
    const std::filesystem::path out = std::filesystem::absolute(arguments.m_grab.m_out);
    const ProviderChoice& provider = control.Enter();
    EnterFolder(out);
    CRecordingWriter recording(out);
    std::string error;
    if (arguments.m_grab.m_isRecording && !recording.Begin(&error)) {
        throw CToolError(EExitCode::File, error);
    }
    const std::vector<DeviceRecord> cameras = ListCameras(provider);
    CCamera camera(provider, PickCamera(cameras, arguments.m_serial));
    const DeviceRecord& record = camera.Record();
    std::fprintf(stderr, "camera: %s %s (%s)\n", TextOf(record.chModelName).c_str(),
                 TextOf(record.chSerialNumber).c_str(), AddressOf(record).c_str());
    return CGrab(camera, arguments.m_grab, out, arguments.m_grab.m_isRecording ? &recording : nullptr).Run();
}

} // namespace ox3d::tool
